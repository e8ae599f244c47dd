#pragma once

// 16-bit mono WAV files at 8 kHz: the smallest audio files that players and
// tag libraries accept. Silence for music folders made by tests; a tone for
// music that no listener can mistake for silence.

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

namespace vantor::testing {

inline void WriteToneWav(const std::filesystem::path& path, int seconds, double frequency,
                         double amplitude = 12000) {
    const std::uint32_t rate = 8000;
    const std::uint32_t samples = rate * static_cast<std::uint32_t>(seconds);
    std::ofstream out(path, std::ios::binary);
    const auto u32 = [&](std::uint32_t v) { out.write(reinterpret_cast<const char*>(&v), 4); };
    const auto u16 = [&](std::uint16_t v) { out.write(reinterpret_cast<const char*>(&v), 2); };
    out.write("RIFF", 4);
    u32(36 + samples * 2);
    out.write("WAVEfmt ", 8);
    u32(16);
    u16(1);  // PCM
    u16(1);  // mono
    u32(rate);
    u32(rate * 2);
    u16(2);
    u16(16);
    out.write("data", 4);
    u32(samples * 2);
    for (std::uint32_t i = 0; i < samples; ++i) {
        const double phase = 2 * M_PI * frequency * i / rate;
        u16(static_cast<std::uint16_t>(static_cast<std::int16_t>(amplitude * std::sin(phase))));
    }
}

inline void WriteSilentWav(const std::filesystem::path& path, int seconds) {
    WriteToneWav(path, seconds, 0, 0);
}

}  // namespace vantor::testing
