// A serialised form being built: bytes appended to a buffer that grows as needed.
#ifndef ORVANDEL_CONFIGURATION_INTERNAL_FORMBUFFER_H
#define ORVANDEL_CONFIGURATION_INTERNAL_FORMBUFFER_H

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace com {
namespace orvandel {
namespace configuration {

// Grows with realloc: new bytes are not zero-filled, and a large block grows by remapping its
// pages rather than copying them, so a form of hundreds of megabytes never needs twice its size
// while it grows. Owned and movable; the destructor frees it. Also a writer for the binary stream
// helpers (put, putBytes, position), so a format appends its fields to it directly.
class FormBuffer {
  public:
    FormBuffer() = default;
    FormBuffer(FormBuffer&& other) noexcept
        : d_bytes(std::exchange(other.d_bytes, nullptr)),
          d_capacity(std::exchange(other.d_capacity, 0)),
          d_size(std::exchange(other.d_size, 0)) {}
    FormBuffer& operator=(FormBuffer&& other) noexcept {
        FormBuffer(std::move(other)).swap(*this);
        return *this;
    }
    FormBuffer(const FormBuffer&) = delete;
    FormBuffer& operator=(const FormBuffer&) = delete;
    ~FormBuffer() { std::free(d_bytes); }

    void swap(FormBuffer& other) noexcept {
        std::swap(d_bytes, other.d_bytes);
        std::swap(d_capacity, other.d_capacity);
        std::swap(d_size, other.d_size);
    }

    // Makes room for at least `extra` more bytes after the current ones: geometric growth, so
    // that appending costs amortised constant time per byte.
    void reserveMore(size_t extra) {
        if (extra <= d_capacity - d_size) {
            return;
        }
        if (extra > static_cast<size_t>(-1) - d_size) {
            throw std::bad_alloc();
        }
        const size_t capacity = std::max({d_size + extra, d_capacity * 2, size_t(4096)});
        void* grown = std::realloc(d_bytes, capacity);
        if (grown == nullptr) {
            throw std::bad_alloc();
        }
        d_bytes = static_cast<unsigned char*>(grown);
        d_capacity = capacity;
    }

    // Appends `length` bytes left for the caller to fill; returns where they start.
    unsigned char* extend(size_t length) {
        reserveMore(length);
        unsigned char* start = d_bytes + d_size;
        d_size += length;
        return start;
    }

    void putBytes(const void* bytes, size_t length) {
        if (length != 0) {
            std::memcpy(extend(length), bytes, length);
        }
    }

    template <class T>
    void put(T value) {
        putBytes(&value, sizeof value);
    }

    // Drops the bytes from `size` on (size is at most size()).
    void truncate(size_t size) { d_size = size; }

    unsigned char* data() { return d_bytes; }
    const unsigned char* data() const { return d_bytes; }
    size_t size() const { return d_size; }
    size_t position() const { return d_size; }

  private:
    unsigned char* d_bytes = nullptr;
    size_t d_capacity = 0;
    size_t d_size = 0;
};

}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
