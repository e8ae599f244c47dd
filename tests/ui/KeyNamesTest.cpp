// Key names at the edges of every range of the name table, the
// application buttons with and without the shell's names, and Qt's keys
// turned into the numbers those names are looked up by.

#include <gtest/gtest.h>

#include <QKeyEvent>
#include <filesystem>

#include "ui/keys/KeyNames.h"
#include "ui/keys/VirtualKeys.h"

namespace vantor::ui {
namespace {

struct NameCase {
    std::int32_t code;
    const char* name;
};

TEST(KeyNamesTest, EveryRangeAtItsEdgesAndEveryGapBetween) {
    // 0 is a key without a number (it cannot be bound); 0x86 lies among
    // the F keys; 70000 and -5 are codes no key gives, as a hand-edited
    // file may hold.
    // clang-format off
    const NameCase cases[] = {
        {0, ""}, {7, "Button 7"}, {8, "Backspace"}, {9, "Tab"}, {10, "Button A"},
        {11, "Button B"}, {12, "Clear"}, {13, "Enter"}, {14, "Button E"}, {15, "Button F"},
        {16, "Shift"}, {17, "Ctrl"}, {18, "Button 12"}, {26, "Button 1A"}, {27, "Esc"},
        {28, "Button 1C"}, {31, "Button 1F"}, {32, "Space"}, {33, "Page Up"},
        {34, "Page Down"}, {35, "End"}, {36, "Home"}, {37, "Left"}, {38, "Up"}, {39, "Right"},
        {40, "Down"}, {41, "Button 29"}, {44, "Button 2C"}, {45, "Insert"}, {46, "Delete"},
        {47, "Button 2F"}, {48, "0"}, {57, "9"}, {58, "Button 3A"}, {64, "Button 40"},
        {65, "A"}, {90, "Z"}, {91, "Button 5B"}, {95, "Button 5F"}, {96, "Num 0"},
        {105, "Num 9"}, {106, "Num *"}, {107, "Num +"}, {108, "Button 6C"}, {109, "Num -"},
        {110, "Num ."}, {111, "Num /"}, {112, "F1"}, {133, "F22"}, {134, "Center"},
        {135, "F24"}, {136, "Button 88"}, {173, "Button AD"}, {179, "Button B3"},
        {185, "Button B9"}, {186, ";"}, {187, "="}, {188, ","}, {189, "-"}, {190, "."},
        {191, "/"}, {192, "`"}, {193, "Button 1"}, {198, "Button 6"}, {199, "Button C7"},
        {218, "Button DA"}, {219, "["}, {220, "\\"}, {221, "]"}, {222, "'"},
        {223, "Button DF"}, {255, "Button FF"}, {256, "Button 100"},
        {70000, "Button 11170"}, {-5, "Button FFFFFFFB"},
    };
    // clang-format on
    for (const NameCase& c : cases) {
        EXPECT_EQ(GetKeyName(c.code, nullptr), c.name) << c.code;
    }
}

TEST(KeyNamesTest, ApplicationButtonsTakeTheShellsNamesWhereItHasThem) {
    const std::filesystem::path file =
        std::filesystem::path(::testing::TempDir()) / "shell-keys.reg";
    RegistryStore shell(file.string());
    const auto name = [&](const char* hex, const std::string& text) {
        const std::string key = std::string(kShellKeysPrefix) + hex;
        shell.CreateKey(key);
        shell.SetString(key, "Name", text);
    };
    name("C1", "Calendar");
    name("C2", "");                     // empty: the number
    name("C3", std::string(200, 'x'));  // more than the buffer holds: the number
    name("C6", "Contacts");
    name("C7", "Not a button");                             // beyond the application buttons
    shell.CreateKey(std::string(kShellKeysPrefix) + "C4");  // no "Name" at all
    const NameCase cases[] = {{0xC1, "Calendar"}, {0xC2, "Button 2"}, {0xC3, "Button 3"},
                              {0xC4, "Button 4"}, {0xC5, "Button 5"}, {0xC6, "Contacts"},
                              {0xC7, "Button C7"}};
    for (const NameCase& c : cases) {
        EXPECT_EQ(GetKeyName(c.code, &shell), c.name) << c.code;
    }
    name("C3", std::string(199, 'x'));  // fits with its terminator
    EXPECT_EQ(GetKeyName(0xC3, &shell), std::string(199, 'x'));
}

struct KeyCase {
    int key;
    Qt::KeyboardModifiers modifiers;
    std::uint32_t scanCode;
    std::int32_t vk;
};

TEST(VirtualKeysTest, QtKeysGiveTheNumbersTheTableNames) {
    const Qt::KeyboardModifiers none;
    const Qt::KeyboardModifiers keypad = Qt::KeypadModifier;
    const Qt::KeyboardModifiers shift = Qt::ShiftModifier;
    // clang-format off
    const KeyCase cases[] = {
        {Qt::Key_A, none, 0, 'A'}, {Qt::Key_Z, shift, 0, 'Z'}, {Qt::Key_0, none, 0, '0'},
        {Qt::Key_9, none, 0, '9'}, {Qt::Key_F1, none, 0, 112}, {Qt::Key_F24, none, 0, 135},
        {Qt::Key_Return, none, 0, 13}, {Qt::Key_Enter, keypad, 0, 13},
        {Qt::Key_Escape, none, 0, 27}, {Qt::Key_Space, none, 0, 32},
        {Qt::Key_Backspace, none, 0, 8}, {Qt::Key_Tab, none, 0, 9},
        {Qt::Key_Backtab, shift, 0, 9}, {Qt::Key_PageUp, none, 0, 33},
        {Qt::Key_PageDown, none, 0, 34}, {Qt::Key_End, none, 0, 35},
        {Qt::Key_Home, none, 0, 36}, {Qt::Key_Left, none, 0, 37}, {Qt::Key_Up, none, 0, 38},
        {Qt::Key_Right, none, 0, 39}, {Qt::Key_Down, none, 0, 40},
        {Qt::Key_Insert, none, 0, 45}, {Qt::Key_Delete, none, 0, 46},
        {Qt::Key_Shift, shift, 0, 16}, {Qt::Key_Control, Qt::ControlModifier, 0, 17},
        // The keypad, NumLock on and off.
        {Qt::Key_0, keypad, 0, 96}, {Qt::Key_9, keypad, 0, 105},
        {Qt::Key_Asterisk, keypad, 0, 106}, {Qt::Key_Plus, keypad, 0, 107},
        {Qt::Key_Minus, keypad, 0, 109}, {Qt::Key_Period, keypad, 0, 110},
        {Qt::Key_Comma, keypad, 0, 110}, {Qt::Key_Slash, keypad, 0, 111},
        {Qt::Key_Left, keypad, 0, 37}, {Qt::Key_Clear, keypad, 0, 12},
        // Punctuation, plain and shifted, by the key that carries it.
        {Qt::Key_Semicolon, none, 0, 186}, {Qt::Key_Colon, shift, 0, 186},
        {Qt::Key_Equal, none, 0, 187}, {Qt::Key_Plus, shift, 0, 187},
        {Qt::Key_Comma, none, 0, 188}, {Qt::Key_Minus, none, 0, 189},
        {Qt::Key_Underscore, shift, 0, 189}, {Qt::Key_Period, none, 0, 190},
        {Qt::Key_Slash, none, 0, 191}, {Qt::Key_Question, shift, 0, 191},
        {Qt::Key_QuoteLeft, none, 0, 192}, {Qt::Key_BracketLeft, none, 0, 219},
        {Qt::Key_Backslash, none, 0, 220}, {Qt::Key_BracketRight, none, 0, 221},
        {Qt::Key_Apostrophe, none, 0, 222}, {Qt::Key_QuoteDbl, shift, 0, 222},
        {Qt::Key_Exclam, shift, 0, '1'}, {Qt::Key_Asterisk, shift, 0, '8'},
        // Where the event gives the key's place, the place decides: a French
        // '!' is on the key a US keyboard has '/' on; Cyrillic ZE is on "P".
        {Qt::Key_Exclam, none, 53 + 8, 191}, {0x0417, none, 25 + 8, 'P'},
        {Qt::Key_Odiaeresis, none, 39 + 8, 186}, {0x0410, none, 0, 0},
        // The direction pad's action key, and the media keys.
        {Qt::Key_Select, none, 0, 134}, {Qt::Key_MediaNext, none, 0, 0xB0},
        {Qt::Key_MediaPrevious, none, 0, 0xB1}, {Qt::Key_MediaStop, none, 0, 0xB2},
        {Qt::Key_MediaPlay, none, 0, 0xB3}, {Qt::Key_MediaPause, none, 0, 0xB3},
        {Qt::Key_MediaTogglePlayPause, none, 0, 0xB3}, {Qt::Key_VolumeMute, none, 0, 0xAD},
        {Qt::Key_VolumeDown, none, 0, 0xAE}, {Qt::Key_VolumeUp, none, 0, 0xAF},
        {Qt::Key_unknown, none, 0, 0}, {Qt::Key_Calculator, none, 0, 0},
    };
    // clang-format on
    for (const KeyCase& c : cases) {
        EXPECT_EQ(VirtualKeyOf(QKeyEvent(QEvent::KeyPress, c.key, c.modifiers, c.scanCode, 0, 0)),
                  c.vk)
            << "Qt key 0x" << std::hex << c.key;
    }
}

}  // namespace
}  // namespace vantor::ui
