// Words the failures of the flat C interface and keeps the text per thread. The library records
// what went wrong where it detects it (FailureDetail); this layer only adds what the C layer
// itself refused, and the function for failures nobody explained. Nothing is printed.
#include <orvandel/configuration/internal/ApiFailure.h>

#include <exception>
#include <new>
#include <string>
#include <utility>

#include <orvandel/configuration/IConfigurationSet.h>
#include <orvandel/configuration/internal/FailureDetail.h>
#include <orvandel/configuration/internal/ThreadState.h>

namespace com {
namespace orvandel {
namespace configuration {
namespace api {

namespace {

const std::string sd_outOfMemoryMessage("out of memory");

// The message of the exception being handled; called inside a catch handler only.
std::string composeFailure(const Subject& subject) {
    const FailureDetail detail = lastFailureDetail();
    try {
        throw;
    } catch (const BufferTooSmall& tooSmall) {
        return "buffer too small: " + std::to_string(tooSmall.required) + " required, " +
               std::to_string(tooSmall.capacity) + " available";
    } catch (const TypeCodeOutOfRange& outOfRange) {
        return "type code " + std::to_string(outOfRange.code) + " is not between 1 and 14";
    } catch (...) {
        if (!detail.reason.empty()) {
            return describe(detail);
        }
    }
    // Nothing in the library explained the failure: memory ran out where no detail is kept, or
    // a setting implemented outside the library threw.
    try {
        throw;
    } catch (const std::bad_alloc&) {
        return sd_outOfMemoryMessage;
    } catch (const std::exception& failure) {
        return std::string(subject.function) + ": " + failure.what();
    } catch (IConfigurationSet::ConfigurationSetException exception) {
        return std::string(subject.function) + ": configuration set failure " +
               std::to_string(exception);
    } catch (...) {
        return std::string(subject.function) + ": unexpected failure";
    }
}

void remember(std::string&& message) noexcept {
    if (ThreadState* state = threadState()) {
        state->lastErrorMessage = std::move(message);
        state->outOfMemory = false;
    }
}

// Without a thread state (memory exhausted) nothing can be kept, and the message read back is
// the one of memory exhaustion.
void rememberOutOfMemory() noexcept {
    if (ThreadState* state = threadState()) {
        state->lastErrorMessage.clear();
        state->outOfMemory = true;
    }
}

}  // namespace

void recordNullArgument(const Subject& subject, const char* name) noexcept {
    try {
        remember(std::string("argument '") + name + "' of " + subject.function + " is null");
    } catch (...) {
        rememberOutOfMemory();
    }
}

void beginCall() noexcept {
    if (ThreadState* state = existingThreadState()) {
        state->failure.reason.clear();
    }
}

void recordFailure(const Subject& subject) noexcept {
    try {
        remember(composeFailure(subject));
    } catch (...) {
        rememberOutOfMemory();
    }
}

const std::string& lastErrorMessage() noexcept {
    static const std::string sd_noFailure;
    if (const ThreadState* state = existingThreadState()) {
        return state->outOfMemory ? sd_outOfMemoryMessage : state->lastErrorMessage;
    }
    return threadStateLost() ? sd_outOfMemoryMessage : sd_noFailure;
}

const std::string& pathArgument(const unsigned char* text) {
    ThreadState* state = threadState();
    if (state == nullptr) {
        throw std::bad_alloc();
    }
    state->pathScratch.assign(chars(text));
    return state->pathScratch;
}

}  // namespace api
}  // namespace configuration
}  // namespace orvandel
}  // namespace com
