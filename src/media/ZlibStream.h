#pragma once

// Owners of zlib streams: the stream is ended exactly once, by its owner.

#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vantor {

// Inflates zlib or gzip data (the header is detected: window bits 15 + 32).
class ZlibInflater {
public:
    static constexpr int kWindowBits = 47;

    ZlibInflater() = default;
    ~ZlibInflater();
    ZlibInflater(const ZlibInflater&) = delete;
    ZlibInflater& operator=(const ZlibInflater&) = delete;

    bool Init();
    // One inflate call with Z_SYNC_FLUSH over the whole input into at most
    // `outSize` bytes: the bytes produced. Input that does not fit is left
    // unread and not seen again; callers that must keep it give more room.
    std::size_t InflateOnce(const std::uint8_t* in, std::size_t inSize, std::uint8_t* out,
                            std::size_t outSize);

private:
    z_stream stream_{};
    bool initialised_ = false;
};

// Gzip compression of a whole body at once.
class GzipDeflater {
public:
    // Z_DEFAULT_STRATEGY, or Z_HUFFMAN_ONLY, which never expands a byte from
    // less than one bit (so never more than eightfold).
    static bool Compress(std::string_view input, int strategy, std::string* output);
};

}  // namespace vantor
