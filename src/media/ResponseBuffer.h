#pragma once

// A growable byte buffer that receives an HTTP body. It grows in steps of
// 10240 bytes (its capacity is always a multiple of 10240 and larger than
// what it holds) and keeps a zero byte after its data, so a body can be
// read as text. An external buffer wraps bytes it does not own and refuses
// every change. Not thread-safe.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace vantor {

class ResponseBuffer {
public:
    static constexpr std::size_t kStep = 10240;

    ResponseBuffer() = default;
    // Wraps `size` bytes owned elsewhere; they must outlive the buffer.
    static ResponseBuffer External(const std::uint8_t* data, std::size_t size);

    ResponseBuffer(ResponseBuffer&&) noexcept = default;
    ResponseBuffer& operator=(ResponseBuffer&&) noexcept = default;
    ResponseBuffer(const ResponseBuffer&) = delete;
    ResponseBuffer& operator=(const ResponseBuffer&) = delete;

    // Appends the bytes: `length` (0 for none), or -1 for an external buffer
    // or when memory runs out.
    long Append(const void* bytes, std::size_t length);
    // Drops the data and the allocation.
    void Clear();
    // Drops the contents and makes room for `size` bytes. False for an
    // external buffer or when memory runs out.
    bool Reserve(std::size_t size);

    const std::uint8_t* Data() const { return external_ ? external_ : data_.get(); }
    std::size_t Size() const { return size_; }
    std::size_t Capacity() const { return capacity_; }
    bool IsExternal() const { return external_ != nullptr; }

private:
    struct Free {
        void operator()(std::uint8_t* data) const { std::free(data); }
    };
    bool Grow(std::size_t size);

    std::unique_ptr<std::uint8_t, Free> data_;
    const std::uint8_t* external_ = nullptr;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

}  // namespace vantor
