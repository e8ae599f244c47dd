#include "media/ZlibStream.h"

#include <memory>

namespace vantor {

ZlibInflater::~ZlibInflater() {
    if (initialised_) {
        inflateEnd(&stream_);
    }
}

bool ZlibInflater::Init() {
    if (initialised_) {
        return true;
    }
    // inflateInit2 passes zlib's own version and stream size.
    initialised_ = inflateInit2(&stream_, kWindowBits) == Z_OK;
    return initialised_;
}

std::size_t ZlibInflater::InflateOnce(const std::uint8_t* in, std::size_t inSize, std::uint8_t* out,
                                      std::size_t outSize) {
    if (!initialised_) {
        return 0;
    }
    stream_.next_in = const_cast<Bytef*>(in);
    stream_.avail_in = static_cast<uInt>(inSize);
    stream_.next_out = out;
    stream_.avail_out = static_cast<uInt>(outSize);
    (void)inflate(&stream_, Z_SYNC_FLUSH);  // its result has never been looked at
    const std::size_t produced = outSize - stream_.avail_out;
    stream_.next_in = nullptr;
    stream_.avail_in = 0;
    return produced;
}

bool GzipDeflater::Compress(std::string_view input, int strategy, std::string* output) {
    z_stream stream{};
    // 15 + 16: a gzip header and trailer.
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 15 + 16, 8, strategy) != Z_OK) {
        return false;
    }
    const std::unique_ptr<z_stream, int (*)(z_stream*)> owner(&stream, deflateEnd);
    output->resize(deflateBound(&stream, static_cast<uLong>(input.size())));
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(input.data()));
    stream.avail_in = static_cast<uInt>(input.size());
    stream.next_out = reinterpret_cast<Bytef*>(output->data());
    stream.avail_out = static_cast<uInt>(output->size());
    if (deflate(&stream, Z_FINISH) != Z_STREAM_END) {
        return false;
    }
    output->resize(stream.total_out);
    return true;
}

}  // namespace vantor
