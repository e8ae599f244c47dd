#include "media/ResponseBuffer.h"

#include <cstring>

namespace vantor {

ResponseBuffer ResponseBuffer::External(const std::uint8_t* data, std::size_t size) {
    ResponseBuffer buffer;
    buffer.external_ = data;
    buffer.size_ = size;
    buffer.capacity_ = size;
    return buffer;
}

bool ResponseBuffer::Grow(std::size_t size) {
    // Always strictly more than asked for, so the zero byte after the data
    // has its place.
    const std::size_t capacity = std::max((size / kStep + 1) * kStep, kStep);
    if (capacity <= capacity_) {
        return true;
    }
    auto* grown = static_cast<std::uint8_t*>(std::realloc(data_.get(), capacity));
    if (grown == nullptr) {
        return false;
    }
    (void)data_.release();
    data_.reset(grown);
    std::memset(grown + capacity_, 0, capacity - capacity_);
    capacity_ = capacity;
    return true;
}

long ResponseBuffer::Append(const void* bytes, std::size_t length) {
    if (external_ != nullptr) {
        return -1;
    }
    if (length == 0) {
        return 0;
    }
    if (size_ + length >= capacity_ && !Grow(size_ + length)) {
        return -1;
    }
    std::memcpy(data_.get() + size_, bytes, length);
    size_ += length;
    data_.get()[size_] = 0;
    return static_cast<long>(length);
}

void ResponseBuffer::Clear() {
    if (external_ != nullptr) {
        return;
    }
    data_.reset();
    size_ = 0;
    capacity_ = 0;
}

bool ResponseBuffer::Reserve(std::size_t size) {
    if (external_ != nullptr) {
        return false;
    }
    Clear();
    return Grow(size);
}

}  // namespace vantor
