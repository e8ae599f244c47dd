#include "ui/keys/FunctionTable.h"

#include <algorithm>
#include <cmath>

namespace vantor::ui {

FunctionTable::FunctionTable()
    : rows_{{
          {"Play", kUnboundKey, false},
          {"Pause", kUnboundKey, false},
          {"Play/Pause (Toggle)", kUnboundKey, false},
          {"Stop", kUnboundKey, false},
          {"Next Song", kUnboundKey, false},
          {"Previous Song", kUnboundKey, false},
          {"Increase Volume", kUnboundKey, true},
          {"Decrease Volume", kUnboundKey, true},
          {"Toggle Repeat", kUnboundKey, false},
          {"Toggle Shuffle", kUnboundKey, false},
          {"Fast Forward 5 sec.", kUnboundKey, true},
          {"Rewind 5 sec.", kUnboundKey, true},
          {"Now Playing", kUnboundKey, false},
      }} {}

std::optional<FunctionId> FunctionTable::Find(std::int32_t key) const {
    if (key == kUnboundKey) {
        return std::nullopt;
    }
    for (int row = 0; row < Count(); ++row) {
        if (Row(FunctionAt(row)).key == key) {
            return FunctionAt(row);
        }
    }
    return std::nullopt;
}

void FunctionTable::Load(const Settings& settings) {
    for (int row = 0; row < Count(); ++row) {
        Bind(FunctionAt(row), settings.functionKeys[static_cast<std::size_t>(row)]);
    }
}

void FunctionTable::Store(Settings& settings) const {
    for (int row = 0; row < Count(); ++row) {
        settings.functionKeys[static_cast<std::size_t>(row)] = Row(FunctionAt(row)).key;
    }
}

std::optional<VolumeStep> StepVolume(std::int32_t fillPixels, std::int32_t barWidth,
                                     int difference) {
    if (barWidth <= 0) {
        return std::nullopt;
    }
    const double percent =
        std::clamp(static_cast<double>(fillPixels) * 100.0 / barWidth + difference, 0.0, 100.0);
    return VolumeStep{static_cast<std::int32_t>(std::floor(percent + 0.5)),
                      static_cast<std::int32_t>(percent / 100.0 * barWidth)};
}

}  // namespace vantor::ui
