// What the flat C interface knows about a failing call, and the thread's last error message.
#ifndef ORVANDEL_CONFIGURATION_INTERNAL_APIFAILURE_H
#define ORVANDEL_CONFIGURATION_INTERNAL_APIFAILURE_H

#include <cstdint>
#include <string>

#include <orvandel/configuration/ISetting.h>

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

// What a call is about, filled in from its arguments (and the object it works on) before the
// operation runs, so that a failure can be told in words. The pointers are borrowed for the call.
struct Subject {
    explicit Subject(const char* function) : function(function) {}

    Subject& atPath(const unsigned char* settingPath) {
        path = chars(settingPath);
        return *this;
    }
    Subject& atIndex(const unsigned char* branchText, uint32_t position) {
        branch = chars(branchText);
        index = position;
        return *this;
    }
    Subject& onFile(const unsigned char* filePath) {
        file = chars(filePath);
        return *this;
    }
    Subject& naming(const unsigned char* typeName) {
        requestedType = chars(typeName);
        return *this;
    }
    Subject& expecting(ISetting::Type type) {
        expected = type;
        hasExpected = true;
        return *this;
    }

    const char* function;                  // the flat function's own name
    const char* path = nullptr;            // the setting path it names
    const char* branch = nullptr;          // the branch it enumerates ...
    uint32_t index = 0;                    // ... and the index under it
    const char* file = nullptr;            // the file it loads or saves
    const char* requestedType = nullptr;   // the set type asked of the factory
    const std::string* setType = nullptr;  // the type name of the set it works on
    bool hasExpected = false;              // whether the call needs one setting type:
    ISetting::Type expected = ISetting::boolType;
    bool hasHeld = false;  // the type of the setting it works on
    ISetting::Type held = ISetting::boolType;
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

// To be called inside a catch handler: words the exception being handled, with the call's
// subject, as the thread's last error message.
void recordFailure(const Subject& subject, uint32_t code) noexcept;

// The thread's last error message, empty when no call has failed on this thread yet.
const std::string& lastErrorMessage() noexcept;

}  // namespace api
}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
