// What the flat C interface knows about a failing call, and the thread's last error message.
#ifndef ORVANDEL_CONFIGURATION_INTERNAL_APIFAILURE_H
#define ORVANDEL_CONFIGURATION_INTERNAL_APIFAILURE_H

#include <cstdint>
#include <string>

namespace com {
namespace orvandel {
namespace configuration {
namespace api {

// Narrow text as it crosses the C boundary.
inline const char* chars(const unsigned char* text) {
    return reinterpret_cast<const char*>(text);
}

// A path or branch argument as a std::string, held in a string of the calling thread that keeps
// its capacity from call to call, so that looking a path up costs no allocation. Valid until the
// thread's next call of this function; each flat function uses it for one argument at most.
// Throws std::bad_alloc when memory runs out.
const std::string& pathArgument(const unsigned char* text);

// What a call is about: the flat function's own name, for failures the library itself does not
// explain (a setting implemented outside the library that throws).
struct Subject {
    explicit Subject(const char* function) : function(function) {}

    const char* function;
};

// Thrown inside a call, and answered by the call frame, when the C layer itself refuses: the
// caller's buffer cannot take the output, or a C type code names no type.
struct BufferTooSmall {
    uint32_t required;
    uint32_t capacity;
};
struct TypeCodeOutOfRange {
    uint32_t code;
};

// Makes "argument `name` of the call is null" the thread's last error message.
void recordNullArgument(const Subject& subject, const char* name) noexcept;

// Forgets the failure detail of an earlier call, so that what a failing call reports is its own.
void beginCall() noexcept;

// To be called inside a catch handler: words the exception being handled as the thread's last
// error message: the detail the library recorded where it failed, or what the C layer knows.
void recordFailure(const Subject& subject) noexcept;

// The thread's last error message, empty when no call has failed on this thread yet.
const std::string& lastErrorMessage() noexcept;

}  // namespace api
}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
