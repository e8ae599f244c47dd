#include "AlbumArtImage.h"

#include <zlib.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <vector>

namespace vantor::server {

namespace {

void Put32(std::string& out, std::uint32_t value) {
    out += static_cast<char>(value >> 24);
    out += static_cast<char>(value >> 16);
    out += static_cast<char>(value >> 8);
    out += static_cast<char>(value);
}

void Chunk(std::string& png, const char* type, const std::string& data) {
    Put32(png, static_cast<std::uint32_t>(data.size()));
    const std::string body = std::string(type, 4) + data;
    png += body;
    Put32(png, static_cast<std::uint32_t>(crc32(0, reinterpret_cast<const Bytef*>(body.data()),
                                                static_cast<uInt>(body.size()))));
}

struct Colour {
    double r, g, b;
};

Colour Hue(double hue, double saturation, double value) {
    const double h = std::fmod(hue, 1.0) * 6.0;
    const double c = value * saturation;
    const double x = c * (1 - std::fabs(std::fmod(h, 2.0) - 1));
    const double m = value - c;
    const int sector = static_cast<int>(h);
    const Colour table[6] = {{c, x, 0}, {x, c, 0}, {0, c, x}, {0, x, c}, {x, 0, c}, {c, 0, x}};
    const Colour base = table[sector % 6];
    return {base.r + m, base.g + m, base.b + m};
}

}  // namespace

std::string AlbumArtPng(const std::string& album, int size) {
    const std::size_t hash = std::hash<std::string>()(album);
    const double hue = static_cast<double>(hash % 360) / 360.0;
    const Colour deep = Hue(hue, 0.75, 0.35);
    const Colour light = Hue(hue + 0.08, 0.55, 0.9);
    const int rings = 3 + static_cast<int>((hash >> 12) % 4);

    // Rows of RGB pixels, each after its filter byte (0: none): a gradient
    // with soft concentric rings, like a record seen from above.
    std::string raw;
    raw.reserve(static_cast<std::size_t>(size) * (1 + 3 * static_cast<std::size_t>(size)));
    const double centre = (size - 1) / 2.0;
    for (int y = 0; y < size; ++y) {
        raw += '\0';
        for (int x = 0; x < size; ++x) {
            const double dx = (x - centre) / size;
            const double dy = (y - centre) / size;
            const double distance = std::sqrt(dx * dx + dy * dy);
            const double wave = 0.5 + 0.5 * std::cos(distance * rings * 2 * M_PI);
            const double mix = std::clamp(0.25 + 0.6 * (1 - distance * 1.4) * wave, 0.0, 1.0);
            for (const auto& [a, b] :
                 {std::pair{deep.r, light.r}, {deep.g, light.g}, {deep.b, light.b}}) {
                raw += static_cast<char>(std::lround(255 * (a + (b - a) * mix)));
            }
        }
    }
    uLongf packedSize = compressBound(static_cast<uLong>(raw.size()));
    std::string packed(packedSize, '\0');
    compress2(reinterpret_cast<Bytef*>(packed.data()), &packedSize,
              reinterpret_cast<const Bytef*>(raw.data()), static_cast<uLong>(raw.size()), 6);
    packed.resize(packedSize);

    std::string png("\x89PNG\r\n\x1a\n", 8);
    std::string header;
    Put32(header, static_cast<std::uint32_t>(size));
    Put32(header, static_cast<std::uint32_t>(size));
    header += std::string("\x08\x02\x00\x00\x00", 5);  // 8-bit RGB, no interlace
    Chunk(png, "IHDR", header);
    Chunk(png, "IDAT", packed);
    Chunk(png, "IEND", "");
    return png;
}

}  // namespace vantor::server
