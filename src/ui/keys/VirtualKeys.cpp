#include "ui/keys/VirtualKeys.h"

#include <QKeyEvent>
#include <string_view>

#include "ui/keys/KeyNames.h"

namespace vantor::ui {

namespace {

struct KeyNumber {
    int qtKey;
    std::int32_t vk;
};

// Windows' numbers of the punctuation keys (the "OEM" keys of a US board).
constexpr std::int32_t kVkSemicolon = 186, kVkEquals = 187, kVkComma = 188, kVkMinus = 189,
                       kVkPeriod = 190, kVkSlash = 191, kVkBackquote = 192, kVkOpenBracket = 219,
                       kVkBackslash = 220, kVkCloseBracket = 221, kVkQuote = 222;

// The keypad's operators; its digits are 96-105.
constexpr KeyNumber kKeypad[] = {{Qt::Key_Asterisk, 106}, {Qt::Key_Plus, 107},
                                 {Qt::Key_Minus, 109},    {Qt::Key_Period, 110},
                                 {Qt::Key_Comma, 110},  // where the decimal key writes a comma
                                 {Qt::Key_Slash, 111}};

// clang-format off
constexpr KeyNumber kNamed[] = {
    {Qt::Key_Backspace, 8}, {Qt::Key_Tab, 9}, {Qt::Key_Backtab, 9}, {Qt::Key_Clear, 12},
    {Qt::Key_Return, kVkReturn}, {Qt::Key_Enter, kVkReturn}, {Qt::Key_Shift, 16},
    {Qt::Key_Control, 17}, {Qt::Key_Alt, 18}, {Qt::Key_Pause, 19}, {Qt::Key_CapsLock, 20},
    {Qt::Key_Escape, 27}, {Qt::Key_Space, 32}, {Qt::Key_PageUp, 33}, {Qt::Key_PageDown, 34},
    {Qt::Key_End, 35}, {Qt::Key_Home, 36}, {Qt::Key_Left, kVkLeft}, {Qt::Key_Up, kVkUp},
    {Qt::Key_Right, kVkRight}, {Qt::Key_Down, kVkDown}, {Qt::Key_Print, 44}, {Qt::Key_Insert, 45},
    {Qt::Key_Delete, 46}, {Qt::Key_Meta, 91}, {Qt::Key_Menu, 93}, {Qt::Key_Select, kVkCenter},
    {Qt::Key_NumLock, 144}, {Qt::Key_ScrollLock, 145}, {Qt::Key_Back, 0xA6},
    {Qt::Key_Forward, 0xA7}, {Qt::Key_Refresh, 0xA8}, {Qt::Key_Stop, 0xA9}, {Qt::Key_Search, 0xAA},
    {Qt::Key_Favorites, 0xAB}, {Qt::Key_HomePage, 0xAC}, {Qt::Key_VolumeMute, 0xAD},
    {Qt::Key_VolumeDown, 0xAE}, {Qt::Key_VolumeUp, 0xAF}, {Qt::Key_MediaNext, 0xB0},
    {Qt::Key_MediaPrevious, 0xB1}, {Qt::Key_MediaStop, 0xB2}, {Qt::Key_MediaTogglePlayPause, 0xB3},
    {Qt::Key_MediaPlay, 0xB3}, {Qt::Key_MediaPause, 0xB3}, {Qt::Key_LaunchMail, 0xB4},
    {Qt::Key_LaunchMedia, 0xB5}, {Qt::Key_Launch0, 0xB6}, {Qt::Key_Launch1, 0xB7},
    {Qt::Key_Semicolon, kVkSemicolon}, {Qt::Key_Equal, kVkEquals}, {Qt::Key_Comma, kVkComma},
    {Qt::Key_Minus, kVkMinus}, {Qt::Key_Period, kVkPeriod}, {Qt::Key_Slash, kVkSlash},
    {Qt::Key_QuoteLeft, kVkBackquote}, {Qt::Key_BracketLeft, kVkOpenBracket},
    {Qt::Key_Backslash, kVkBackslash}, {Qt::Key_BracketRight, kVkCloseBracket},
    {Qt::Key_Apostrophe, kVkQuote},
};
// clang-format on

// Shifted symbols, by the key that carries them on a US keyboard.
// clang-format off
constexpr KeyNumber kUsShifted[] = {
    {Qt::Key_Exclam, '1'}, {Qt::Key_At, '2'}, {Qt::Key_NumberSign, '3'}, {Qt::Key_Dollar, '4'},
    {Qt::Key_Percent, '5'}, {Qt::Key_AsciiCircum, '6'}, {Qt::Key_Ampersand, '7'},
    {Qt::Key_Asterisk, '8'}, {Qt::Key_ParenLeft, '9'}, {Qt::Key_ParenRight, '0'},
    {Qt::Key_Underscore, kVkMinus}, {Qt::Key_Plus, kVkEquals}, {Qt::Key_BraceLeft, kVkOpenBracket},
    {Qt::Key_BraceRight, kVkCloseBracket}, {Qt::Key_Bar, kVkBackslash},
    {Qt::Key_Colon, kVkSemicolon}, {Qt::Key_QuoteDbl, kVkQuote}, {Qt::Key_AsciiTilde, kVkBackquote},
    {Qt::Key_Less, kVkComma}, {Qt::Key_Greater, kVkPeriod}, {Qt::Key_Question, kVkSlash},
};
// clang-format on

template <std::size_t N>
std::int32_t Look(const KeyNumber (&table)[N], int qtKey) {
    for (const KeyNumber& entry : table) {
        if (entry.qtKey == qtKey) {
            return entry.vk;
        }
    }
    return 0;
}

// The typewriter keys by their place on the keyboard, as the kernel
// numbers them: X11 and Wayland report that number plus 8 as the native
// scan code. Each row from its first kernel code.
struct Row {
    int firstCode;
    const char* keys;
};
constexpr Row kRows[] = {{2, "1234567890"}, {16, "QWERTYUIOP"}, {30, "ASDFGHJKL"}, {44, "ZXCVBNM"}};
// The punctuation keys by kernel code.
// clang-format off
constexpr KeyNumber kPlacedPunctuation[] = {
    {12, kVkMinus}, {13, kVkEquals}, {26, kVkOpenBracket}, {27, kVkCloseBracket},
    {39, kVkSemicolon}, {40, kVkQuote}, {41, kVkBackquote}, {43, kVkBackslash}, {51, kVkComma},
    {52, kVkPeriod}, {53, kVkSlash},
};
// clang-format on

std::int32_t KeyAtPlace(std::uint32_t scanCode) {
    if (scanCode < 8) {
        return 0;
    }
    const int code = static_cast<int>(scanCode - 8);
    for (const Row& row : kRows) {
        const std::string_view keys(row.keys);
        if (code >= row.firstCode && code < row.firstCode + static_cast<int>(keys.size())) {
            return keys[static_cast<std::size_t>(code - row.firstCode)];
        }
    }
    return Look(kPlacedPunctuation, code);
}

}  // namespace

std::int32_t VirtualKeyOf(int qtKey, Qt::KeyboardModifiers modifiers,
                          std::uint32_t nativeScanCode) {
    if (modifiers.testFlag(Qt::KeypadModifier)) {
        if (qtKey >= Qt::Key_0 && qtKey <= Qt::Key_9) {
            return 96 + (qtKey - Qt::Key_0);
        }
        if (const std::int32_t op = Look(kKeypad, qtKey)) {
            return op;
        }
        // NumLock off: the keypad's navigation keys are named below.
    }
    // Qt and Windows share the ASCII capitals and digits.
    if ((qtKey >= Qt::Key_A && qtKey <= Qt::Key_Z) || (qtKey >= Qt::Key_0 && qtKey <= Qt::Key_9)) {
        return qtKey;
    }
    if (qtKey >= Qt::Key_F1 && qtKey <= Qt::Key_F24) {
        return 112 + (qtKey - Qt::Key_F1);
    }
    if (const std::int32_t named = Look(kNamed, qtKey)) {
        return named;
    }
    if (const std::int32_t placed = KeyAtPlace(nativeScanCode)) {
        return placed;
    }
    return Look(kUsShifted, qtKey);
}

std::int32_t VirtualKeyOf(const QKeyEvent& event) {
    return VirtualKeyOf(event.key(), event.modifiers(), event.nativeScanCode());
}

}  // namespace vantor::ui
