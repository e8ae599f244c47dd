#include "PictureType.h"

namespace vantor::server {

std::string PictureTypeOf(std::string_view head) {
    const auto starts = [&](std::string_view magic) {
        return head.substr(0, magic.size()) == magic;
    };
    if (starts("\x89PNG\r\n\x1a\n")) {
        return "image/png";
    }
    if (starts("\xff\xd8\xff")) {
        return "image/jpeg";
    }
    if (starts("GIF87a") || starts("GIF89a")) {
        return "image/gif";
    }
    if (starts("RIFF") && head.size() >= 12 && head.substr(8, 4) == "WEBP") {
        return "image/webp";
    }
    // "BM" alone starts too many texts: the header's size field must be one
    // of the known ones.
    if (starts("BM") && head.size() >= 18) {
        const auto size = static_cast<unsigned char>(head[14]);
        if ((size == 12 || size == 40 || size == 52 || size == 56 || size == 108 || size == 124) &&
            head[15] == 0 && head[16] == 0 && head[17] == 0) {
            return "image/bmp";
        }
    }
    return {};
}

std::string PictureExtension(const std::string& type) {
    if (type == "image/png") {
        return ".png";
    }
    if (type == "image/jpeg") {
        return ".jpg";
    }
    if (type == "image/gif") {
        return ".gif";
    }
    if (type == "image/webp") {
        return ".webp";
    }
    if (type == "image/bmp") {
        return ".bmp";
    }
    return ".img";
}

}  // namespace vantor::server
