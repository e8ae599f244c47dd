#pragma once

// The pause before trying again after failures in a row: `first` after the
// first, doubled for each more, never above `cap`. Trying again at once
// would spin a core and flood a peer that is away; a fixed long pause would
// keep the user waiting after a short blip.

#include <algorithm>
#include <chrono>

namespace vantor {

inline std::chrono::milliseconds GrowingPause(std::chrono::milliseconds first,
                                              std::chrono::milliseconds cap, int failures) {
    auto pause = first;
    for (int i = 1; i < failures && pause < cap; ++i) {
        pause *= 2;
    }
    return std::min(pause, cap);
}

}  // namespace vantor
