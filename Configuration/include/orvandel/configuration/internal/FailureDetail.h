// The detail of the calling thread's last failure, recorded where the failure is detected, just
// before the exception value the contract requires is thrown. The exceptions of the interfaces
// are bare enumeration values; this is where their explanation lives, for C++ callers (through
// lastFailure()) and for the flat C interface's messages alike.
#ifndef ORVANDEL_CONFIGURATION_INTERNAL_FAILUREDETAIL_H
#define ORVANDEL_CONFIGURATION_INTERNAL_FAILUREDETAIL_H

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace com {
namespace orvandel {
namespace configuration {

// Where in a serialised form a failure was found.
struct FailurePlace {
    enum Kind { nowhere, lineAndColumn, byteOffset };

    static FailurePlace at(uint64_t line, uint64_t column) { return {lineAndColumn, line, column}; }
    static FailurePlace atByte(uint64_t offset) { return {byteOffset, offset, 0}; }

    Kind kind = nowhere;
    uint64_t first = 0;   // the line, or the byte offset
    uint64_t second = 0;  // the column
};

struct FailureDetail {
    std::string file;  // the file whose form failed (load, save), or empty
    FailurePlace place;
    std::string reason;
};

// A text quoted in a detail (a value, a path): cut to its first `limit` bytes, with "..." where
// it was cut, so that a huge value does not make a huge message.
struct Excerpt {
    explicit Excerpt(std::string_view text, size_t limit = 60) : text(text), limit(limit) {}
    std::string_view text;
    size_t limit;
};

// The parts a detail is made of: text, excerpts and unsigned numbers.
void appendPart(std::string& reason, std::string_view text);
void appendPart(std::string& reason, const Excerpt& excerpt);
void appendPart(std::string& reason, uint64_t number);
inline void appendPart(std::string& reason, const char* text) {
    appendPart(reason, std::string_view(text));
}
inline void appendPart(std::string& reason, const std::string& text) {
    appendPart(reason, std::string_view(text));
}

// Replaces the thread's detail by reason, found at place.
void storeFailure(FailurePlace place, std::string&& reason) noexcept;
void storeOutOfMemoryFailure() noexcept;

// Replaces the thread's detail by the concatenation of parts, found at place. Never throws: when
// memory runs out while it is composed, the detail says so instead.
template <class... Parts>
void recordFailure(FailurePlace place, const Parts&... parts) noexcept {
    try {
        std::string reason;
        (appendPart(reason, parts), ...);
        storeFailure(place, std::move(reason));
    } catch (...) {
        storeOutOfMemoryFailure();
    }
}

template <class... Parts>
void recordFailure(const Parts&... parts) noexcept {
    recordFailure(FailurePlace(), parts...);
}

// Puts the concatenation of parts before the reason of the thread's last failure, to say what
// was being read when it was found. Never throws.
void prependToFailure(std::string&& context) noexcept;

template <class... Parts>
void prefixFailure(const Parts&... parts) noexcept {
    try {
        std::string context;
        (appendPart(context, parts), ...);
        prependToFailure(std::move(context));
    } catch (...) {
        // The reason as it stands is still true.
    }
}

// Names file as the one whose form the thread's last failure was found in.
void attributeFailureToFile(const std::string& file) noexcept;

// The thread's last detail; empty (no reason) when nothing failed yet.
FailureDetail lastFailureDetail();

// The detail as one line: "FILE:LINE:COLUMN: reason", "FILE: byte N: reason", "FILE: reason",
// "line L, column C: reason", "byte N: reason" or the reason alone.
std::string describe(const FailureDetail& detail);

}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
