#pragma once

// Cuts a byte stream into messages at zero bytes. It never sees a socket:
// feed it chunks as they arrive, in any sizes, and it hands out each complete
// message (without its zero byte) in order.
//
// The scan keeps the server's rule: after a message is cut off, the first
// byte of what remains is never tested, so a zero byte right after a zero
// byte does not end an empty message. (When a chunk ends exactly at a zero
// byte nothing remains, and the next chunk is scanned from its first byte.)
//
// Bytes that wait for their zero byte are capped; past the cap, Feed()
// reports it and starts afresh, and the caller drops the connection.
//
// Not thread-safe: one framer per stream, fed from one thread.

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

namespace vantor {

class MessageFramer {
public:
    static constexpr std::size_t kDefaultMaxPending = 16 * 1024 * 1024;

    explicit MessageFramer(std::size_t maxPending = kDefaultMaxPending) : maxPending_(maxPending) {}

    // Appends a chunk and calls deliver(std::string_view message) for each
    // message it completes; the view is valid during the call only. Returns
    // false when more than the cap is left waiting (the framer is then empty).
    template <class Deliver>
    bool Feed(std::string_view chunk, Deliver&& deliver);

    // Forgets every byte held.
    void Reset();

    // Bytes held that wait for their zero byte.
    std::size_t Pending() const { return buffer_.size() - start_; }

private:
    std::string buffer_;
    std::size_t start_ = 0;     // first byte of the held remainder
    std::size_t scanFrom_ = 0;  // bytes before this are known to end no message
    std::size_t maxPending_;
};

template <class Deliver>
bool MessageFramer::Feed(std::string_view chunk, Deliver&& deliver) {
    buffer_.append(chunk);
    while (scanFrom_ < buffer_.size()) {
        const void* zero =
            std::memchr(buffer_.data() + scanFrom_, '\0', buffer_.size() - scanFrom_);
        if (zero == nullptr) {
            scanFrom_ = buffer_.size();
            break;
        }
        const auto end = static_cast<std::size_t>(static_cast<const char*>(zero) - buffer_.data());
        deliver(std::string_view(buffer_.data() + start_, end - start_));
        if (end + 1 == buffer_.size()) {
            Reset();
            return true;
        }
        start_ = end + 1;
        scanFrom_ = start_ + 1;  // the remainder's first byte is not tested
    }
    if (Pending() > maxPending_) {
        Reset();
        return false;
    }
    if (start_ > 0) {
        buffer_.erase(0, start_);
        scanFrom_ -= start_;
        start_ = 0;
    }
    return true;
}

inline void MessageFramer::Reset() {
    if (buffer_.capacity() > 64 * 1024) {
        std::string().swap(buffer_);  // give back what a huge message took
    } else {
        buffer_.clear();
    }
    start_ = 0;
    scanFrom_ = 0;
}

}  // namespace vantor
