#pragma once

// Qt's key events turned into the Windows virtual-key numbers that the
// function table stores and the settings file keeps, so a binding made
// here means the same key everywhere the number is read.
//
// Choices where a desktop keyboard differs from the handheld:
// - The direction pad's action key ("Center", 134) is Qt::Key_Select, which
//   Linux reports for the select/OK key of remote controls and keypads.
//   134 is also the number of F23; both give 134.
// - Shifted symbols give the number of the key that carries them on a US
//   keyboard ('!' is the "1" key, '?' the "/" key), as Windows numbers keys
//   and not characters. A key Qt names only by a character of another
//   layout falls back to its place on the keyboard (the native scan code
//   of X11 and Wayland), where the event carries one.
// - The play/pause key of most keyboards is reported as "play"
//   (XF86AudioPlay): play, pause and play/pause all give
//   VK_MEDIA_PLAY_PAUSE.
// - The keypad: digits 96-105, operators 106-111 whatever NumLock says
//   about the digits; with NumLock off its arrows are the arrows.
//
// Threads: any (pure functions).

#include <Qt>
#include <cstdint>

class QKeyEvent;

namespace vantor::ui {

// The number for a key, or 0 when it has none (such a key cannot be bound).
// `nativeScanCode` is the event's, 0 when unknown.
std::int32_t VirtualKeyOf(int qtKey, Qt::KeyboardModifiers modifiers,
                          std::uint32_t nativeScanCode = 0);
std::int32_t VirtualKeyOf(const QKeyEvent& event);

}  // namespace vantor::ui
