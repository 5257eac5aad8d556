// The one call frame of every flat C function: pointer checks, a counted handle on the object
// for the length of the call, and the translation of whatever the operation throws into a
// result code and the thread's last error message. No exception leaves a frame.
#ifndef ORVANDEL_CONFIGURATION_INTERNAL_APICALLFRAME_H
#define ORVANDEL_CONFIGURATION_INTERNAL_APICALLFRAME_H

#include <cstdint>
#include <initializer_list>

#include <orvandel/IRefCounted.h>
#include <orvandel/configuration/ConfigurationAPI.h>
#include <orvandel/configuration/IConfigurationSet.h>
#include <orvandel/configuration/IConfigurationSetFactory.h>
#include <orvandel/configuration/ISetting.h>
#include <orvandel/configuration/internal/ApiFailure.h>

namespace com {
namespace orvandel {
namespace configuration {
namespace api {

// A pointer argument and whether it is missing.
struct Argument {
    const char* name;
    bool missing;
};

// A pointer the call cannot do without.
inline Argument required(const char* name, const void* pointer) {
    return Argument{name, pointer == nullptr};
}

// An output buffer, which may be null when its capacity is 0.
inline Argument optionalBuffer(const char* name, const void* pointer, uint32_t capacity) {
    return Argument{name, pointer == nullptr && capacity != 0};
}

// Each family of functions translates exactly one exception type of the library. Anything else
// that escapes the operation gets the family's code for untranslated failures: a set's
// operation failed (5), or a setting or the factory could not do as asked (1).
struct FactoryFamily {
    using Exception = IConfigurationSetFactory::ConfigurationSetFactoryException;
    static uint32_t translate(Exception) { return ConfigurationResult_unsupportedType; }
    static constexpr uint32_t untranslated = ConfigurationResult_badArgument;
};

struct SetFamily {
    using Object = IConfigurationSet;
    using Exception = IConfigurationSet::ConfigurationSetException;
    static uint32_t translate(Exception exception) {
        return static_cast<uint32_t>(exception) + ConfigurationResult_unsupported;
    }
    static constexpr uint32_t untranslated = ConfigurationResult_serializationFailure;
};

struct SettingFamily {
    using Object = ISetting;
    using Exception = ISetting::SettingException;
    static uint32_t translate(Exception exception) {
        // badOutPointer cannot arise: the frame checks the caller's pointers first.
        return exception == ISetting::wrongSettingTypeException
                   ? ConfigurationResult_wrongSettingType
                   : ConfigurationResult_badArgument;
    }
    static constexpr uint32_t untranslated = ConfigurationResult_badArgument;
};

// The result code of the exception being handled (call only inside a catch handler).
template <class Family>
uint32_t codeOfCurrentException() noexcept {
    try {
        throw;
    } catch (typename Family::Exception exception) {
        return Family::translate(exception);
    } catch (const BufferTooSmall&) {
        return ConfigurationResult_outBufferTooSmall;
    } catch (const TypeCodeOutOfRange&) {
        return ConfigurationResult_badArgument;
    } catch (...) {
        return Family::untranslated;
    }
}

// Checks the pointers in order; the first null one ends the call with 1 and its message.
inline bool argumentsPresent(const Subject& subject, std::initializer_list<Argument> arguments) {
    for (const Argument& argument : arguments) {
        if (argument.missing) {
            recordNullArgument(subject, argument.name);
            return false;
        }
    }
    return true;
}

// Runs operation() and turns whatever it throws into a code and a message.
template <class Family, class Operation>
uint32_t guarded(const Subject& subject, Operation&& operation) noexcept {
    beginCall();
    try {
        operation();
        return ConfigurationResult_success;
    } catch (...) {
        const uint32_t code = codeOfCurrentException<Family>();
        recordFailure(subject);
        return code;
    }
}

// The frame of the factory's functions, which work on no object of the caller.
template <class Operation>
uint32_t callFactory(const Subject& subject, std::initializer_list<Argument> arguments,
                     Operation&& operation) noexcept {
    if (!argumentsPresent(subject, arguments)) {
        return ConfigurationResult_badArgument;
    }
    return guarded<FactoryFamily>(subject, operation);
}

// The frame of a function working on the caller's object `instance` (checked first, then the
// other pointers in order). operation receives the object, held by a counted handle that is
// released on every way out of the call.
template <class Family, class Operation>
uint32_t callOn(const Subject& subject, void* instance, std::initializer_list<Argument> arguments,
                Operation&& operation) noexcept {
    if (!argumentsPresent(subject, {required("instance", instance)}) ||
        !argumentsPresent(subject, arguments)) {
        return ConfigurationResult_badArgument;
    }
    using Object = typename Family::Object;
    const AutoRefCounted<Object> handle = make_autorefcounted_this(static_cast<Object*>(instance));
    return guarded<Family>(subject, [&] { operation(*handle); });
}

// Gives back the caller's reference on `instance`, with no call handle.
template <class Object>
uint32_t releaseInstance(const Subject& subject, void* instance) noexcept {
    if (!argumentsPresent(subject, {required("instance", instance)})) {
        return ConfigurationResult_badArgument;
    }
    static_cast<const Object*>(instance)->release();
    return ConfigurationResult_success;
}

}  // namespace api
}  // namespace configuration
}  // namespace orvandel
}  // namespace com

#endif
