#include "ui/keys/KeyNames.h"

#include "core/Text.h"

namespace vantor::ui {

namespace {

// The shell's text buffer holds 200 UTF-16 units, terminator included.
constexpr std::size_t kShellNameBufferBytes = 200 * 2;

struct FixedName {
    std::int32_t code;
    const char* name;
};

// Keys with names of their own; Center wins over the F-key range it lies in.
constexpr FixedName kFixedNames[] = {
    {8, "Backspace"}, {9, "Tab"},        {12, "Clear"},  {13, "Enter"},
    {16, "Shift"},    {17, "Ctrl"},      {27, "Esc"},    {32, "Space"},
    {33, "Page Up"},  {34, "Page Down"}, {35, "End"},    {36, "Home"},
    {37, "Left"},     {38, "Up"},        {39, "Right"},  {40, "Down"},
    {45, "Insert"},   {46, "Delete"},    {106, "Num *"}, {107, "Num +"},
    {109, "Num -"},   {110, "Num ."},    {111, "Num /"}, {kVkCenter, "Center"},
    {186, ";"},       {187, "="},        {188, ","},     {189, "-"},
    {190, "."},       {191, "/"},        {192, "`"},     {219, "["},
    {220, "\\"},      {221, "]"},        {222, "'"},
};

std::string ShellName(std::int32_t code, const RegistryStore* shellKeys) {
    if (shellKeys == nullptr) {
        return {};
    }
    return shellKeys
        ->QueryString(Format("%s%X", kShellKeysPrefix, static_cast<unsigned>(code)), "Name",
                      kShellNameBufferBytes)
        .value_or(std::string());
}

}  // namespace

std::string GetKeyName(std::int32_t code, const RegistryStore* shellKeys) {
    if (code == 0) {
        return {};  // a key without a virtual-key number
    }
    for (const FixedName& fixed : kFixedNames) {
        if (fixed.code == code) {
            return fixed.name;
        }
    }
    if ((code >= '0' && code <= '9') || (code >= 'A' && code <= 'Z')) {
        return std::string(1, static_cast<char>(code));
    }
    if (code >= 96 && code <= 105) {
        return Format("Num %d", code - 96);
    }
    if (code >= 112 && code <= 135) {
        return Format("F%d", code - 111);
    }
    if (code >= kVkFirstAppButton && code <= kVkLastAppButton) {
        std::string name = ShellName(code, shellKeys);
        return name.empty() ? Format("Button %d", code - 192) : name;
    }
    return Format("Button %X", static_cast<unsigned>(code));
}

}  // namespace vantor::ui
