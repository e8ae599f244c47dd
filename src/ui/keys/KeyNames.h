#pragma once

// The names the Buttons page shows for virtual-key codes, and the codes of
// the keys the binding rules treat specially.
//
// Threads: the window's thread (it reads the settings store, which that
// thread owns).

#include <cstdint>
#include <string>

#include "session/RegistryStore.h"

namespace vantor::ui {

// Windows virtual-key numbers the rules name.
inline constexpr std::int32_t kVkReturn = 13;
inline constexpr std::int32_t kVkLeft = 37;
inline constexpr std::int32_t kVkUp = 38;
inline constexpr std::int32_t kVkRight = 39;
inline constexpr std::int32_t kVkDown = 40;
// The direction pad's action key (inside the F-key range, named apart).
inline constexpr std::int32_t kVkCenter = 134;
// The handheld's application buttons on the case.
inline constexpr std::int32_t kVkFirstAppButton = 0xC1;
inline constexpr std::int32_t kVkLastAppButton = 0xC6;

// Where the shell keeps an application button's name: this key with the
// code in capital hexadecimal appended (0xC1: "...\Keys\40C1"), value
// "Name".
inline constexpr const char* kShellKeysPrefix = "SOFTWARE\\Microsoft\\Shell\\Keys\\40";

// The name of a key: "Enter", "A", "Num 5", "F12", "Center", ";",
// "Button 1" ... "Button 6" (or the shell's name) for the application
// buttons, "Button %X" for every other code, however far out of range (a
// hand-edited binding of -5 reads "Button FFFFFFFB"). Empty only for 0,
// the code of a key without a virtual-key number: that key cannot be bound.
// `shellKeys` is where the application buttons' names are looked up; null
// when there is none.
std::string GetKeyName(std::int32_t code, const RegistryStore* shellKeys);

}  // namespace vantor::ui
