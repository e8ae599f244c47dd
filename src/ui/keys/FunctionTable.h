#pragma once

// The thirteen remote functions a key can be bound to: their names, their
// keys and whether they repeat while the key is held. One table lives as
// long as the window; the Buttons page edits it in place, so a binding
// changed there works at once, and the window's key translation reads it.
// Only the keys are kept between runs (Settings::functionKeys); names and
// repeat flags are the program's.
//
// Keys are kept exactly as the settings file holds them, sensible or not:
// a hand-edited code no key produces (70000, -5) stays bound to its
// function, shows under its "Button %X" name and is saved back as it was,
// and two functions holding one key both keep it (the first of them is the
// one the key fires). The page is where the user sorts such a file out.
//
// Threads: the window's thread only.

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "session/Settings.h"

namespace vantor::ui {

// The functions a key can be bound to, in the order of the table's rows
// (and of the Buttons page, and of the settings' FunctionKey1..13).
enum class FunctionId {
    Play,
    Pause,
    PlayPause,
    Stop,
    NextSong,
    PreviousSong,
    VolumeUp,
    VolumeDown,
    ToggleRepeat,
    ToggleShuffle,
    FastForward,
    Rewind,
    NowPlaying,
};

// The function on a row, and the row of a function; `row` is within
// [0, FunctionTable::Count()).
constexpr FunctionId FunctionAt(int row) {
    return static_cast<FunctionId>(row);
}
constexpr int RowOf(FunctionId id) {
    return static_cast<int>(id);
}

inline constexpr std::int32_t kUnboundKey = -1;

struct FunctionBinding {
    const char* displayName;
    std::int32_t key = kUnboundKey;
    bool repeat = false;  // fires on every key-down (auto-repeat too), not once on key-up
};

class FunctionTable {
public:
    FunctionTable();  // every function unbound

    static constexpr int Count() { return kFunctionCount; }
    const FunctionBinding& Row(FunctionId id) const {
        return rows_.at(static_cast<std::size_t>(RowOf(id)));
    }

    // The first function whose key is `key`. Nothing is found for
    // kUnboundKey.
    std::optional<FunctionId> Find(std::int32_t key) const;

    void Bind(FunctionId id, std::int32_t key) {
        rows_.at(static_cast<std::size_t>(RowOf(id))).key = key;
    }
    void Unbind(FunctionId id) { Bind(id, kUnboundKey); }

    // The keys from the settings, and back, as they stand.
    void Load(const Settings& settings);
    void Store(Settings& settings) const;

private:
    std::array<FunctionBinding, kFunctionCount> rows_;
};

// What the functions do to the window's state, without the window.

// A volume step from the "volumebar" fill: the volume to send and the
// fill to draw. Nothing when the bar has no width (the skin has no bar).
struct VolumeStep {
    std::int32_t volume;      // 0-100, rounded half up
    std::int32_t fillPixels;  // truncated
};
std::optional<VolumeStep> StepVolume(std::int32_t fillPixels, std::int32_t barWidth,
                                     int difference);

// "Toggle Repeat": 2 (repeat all) from 0, 0 from anything else.
inline std::int32_t ToggledRepeat(std::int32_t mode) {
    return mode == 0 ? 2 : 0;
}

}  // namespace vantor::ui
