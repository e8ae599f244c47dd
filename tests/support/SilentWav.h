#pragma once

// Silence as a 16-bit mono WAV file at 8 kHz: the smallest audio file that
// players and tag libraries accept, for music folders made by tests.

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

namespace vantor::testing {

inline void WriteSilentWav(const std::filesystem::path& path, int seconds) {
    const std::uint32_t rate = 8000;
    const std::uint32_t data = rate * 2 * static_cast<std::uint32_t>(seconds);
    std::ofstream out(path, std::ios::binary);
    const auto u32 = [&](std::uint32_t v) { out.write(reinterpret_cast<const char*>(&v), 4); };
    const auto u16 = [&](std::uint16_t v) { out.write(reinterpret_cast<const char*>(&v), 2); };
    out.write("RIFF", 4);
    u32(36 + data);
    out.write("WAVEfmt ", 8);
    u32(16);
    u16(1);  // PCM
    u16(1);  // mono
    u32(rate);
    u32(rate * 2);
    u16(2);
    u16(16);
    out.write("data", 4);
    u32(data);
    out << std::string(data, '\0');
}

}  // namespace vantor::testing
