// Cursor helpers for the binary configuration stream: fields in host byte order, no alignment.
#ifndef ORVANDEL_CONFIGURATION_INTERNAL_BINARYSTREAM_H
#define ORVANDEL_CONFIGURATION_INTERNAL_BINARYSTREAM_H

#include <cstddef>
#include <cstdint>
#include <cstring>

#include <orvandel/configuration/IConfigurationSet.h>
#include <orvandel/configuration/internal/FailureDetail.h>

namespace com {
namespace orvandel {
namespace configuration {

// Measures and writes in one pass: a field is copied only where it fits whole, and the position
// always advances, so after the last field position() is the full length whatever the capacity.
class BinaryStreamWriter {
  public:
    BinaryStreamWriter(unsigned char* out, size_t capacity)
        : d_out(out), d_capacity(capacity), d_position(0) {}

    void putBytes(const void* bytes, size_t length) {
        if (d_position <= d_capacity && length <= d_capacity - d_position && length != 0) {
            std::memcpy(d_out + d_position, bytes, length);
        }
        d_position += length;
    }

    template <class T>
    void put(T value) {
        putBytes(&value, sizeof value);
    }

    size_t position() const { return d_position; }

  private:
    unsigned char* d_out;
    size_t d_capacity;
    size_t d_position;
};

// Reads fields from a stream of known length. Every read first checks that enough bytes remain
// (comparing with the remainder, so a huge announced length cannot wrap around) and throws
// serializationFailureException when they do not, recording the offset and what was missing.
class BinaryStreamReader {
  public:
    BinaryStreamReader(const unsigned char* in, size_t length)
        : d_in(in), d_length(length), d_position(0) {}

    bool atEnd() const { return d_position >= d_length; }

    // The offset of the next byte to read.
    size_t position() const { return d_position; }

    // The next `length` bytes, borrowed from the input; the cursor moves past them.
    const unsigned char* take(uint64_t length) {
        if (length > d_length - d_position) {
            recordFailure(FailurePlace::atByte(d_position), "truncated: ", length,
                          " bytes needed, ", uint64_t{d_length - d_position}, " left");
            throw IConfigurationSet::serializationFailureException;
        }
        const unsigned char* bytes = d_in + d_position;
        d_position += static_cast<size_t>(length);
        return bytes;
    }

    template <class T>
    T get() {
        T value;
        std::memcpy(&value, take(sizeof value), sizeof value);
        return value;
    }

  private:
    const unsigned char* d_in;
    size_t d_length;
    size_t d_position;
};

}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
