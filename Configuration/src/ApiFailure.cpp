// Words the failures of the flat C interface, from the call's arguments and the exception that
// ended it, and keeps the text per thread. Nothing is printed.
#include <orvandel/configuration/internal/ApiFailure.h>

#include <cerrno>
#include <cstring>
#include <ios>
#include <new>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <xercesc/dom/DOMException.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/util/XMLString.hpp>

#include <orvandel/configuration/ConfigurationAPI.h>
#include <orvandel/configuration/IConfigurationSet.h>
#include <orvandel/configuration/IConfigurationSetFactory.h>
#include <orvandel/configuration/internal/XMLValueText.h>

namespace com {
namespace orvandel {
namespace configuration {
namespace api {

namespace {

thread_local std::string sd_lastErrorMessage;
// Set when the message itself could not be composed for lack of memory.
thread_local bool sd_outOfMemory = false;
const std::string sd_outOfMemoryMessage("out of memory");

std::string quoted(const char* text) {
    return std::string("'") + text + "'";
}

// The operation a set's function performs: the part of its name after the underscore.
std::string operationOf(const Subject& subject) {
    const char* underscore = std::strchr(subject.function, '_');
    return underscore != nullptr ? underscore + 1 : subject.function;
}

bool reads(const std::string& operation) {
    return operation == "load" || operation == "unserialize";
}

std::string setTypeOf(const Subject& subject) {
    return subject.setType != nullptr ? quoted(subject.setType->c_str()) : "'?'";
}

std::string formFailure(const Subject& subject) {
    const std::string operation = operationOf(subject);
    std::string message = reads(operation) ? "not a valid " + setTypeOf(subject) + " form"
                                           : "cannot produce the " + setTypeOf(subject) + " form";
    if (subject.file != nullptr) {
        message = (reads(operation) ? "cannot read " : "cannot write ") + quoted(subject.file) +
                  ": " + message;
    }
    return message;
}

// The message of a code that translates one of the library's exception values.
// Setting types are named by the keywords of the XML form, the names users see in documents.
std::string translatedFailure(const Subject& subject, uint32_t code) {
    switch (code) {
        case ConfigurationResult_unsupportedType:
            return "unknown configuration set type " + quoted(subject.requestedType);
        case ConfigurationResult_wrongSettingType:
            return std::string("type ") + quoted(xmlTypeKeyword(subject.expected)) +
                   " expected, setting holds " + quoted(xmlTypeKeyword(subject.held));
        case ConfigurationResult_unsupported:
            return "a set of type " + setTypeOf(subject) + " cannot " + operationOf(subject);
        case ConfigurationResult_serializationFailure:
            return formFailure(subject);
        case ConfigurationResult_noSettingAtPath:
            if (subject.path != nullptr) {
                return "no setting at path " + quoted(subject.path);
            }
            return "no setting at index " + std::to_string(subject.index) + " under branch " +
                   quoted(subject.branch);
        case ConfigurationResult_settingExistsAtPath:
            return "setting exists at path " + quoted(subject.path);
        default:
            return std::string(subject.function) + ": unexpected result " + std::to_string(code);
    }
}

std::string describeError(int error) {
    char text[256];
    return strerror_r(error, text, sizeof text);
}

// A stream failure while loading: either the file cannot be read (it is opened again here, only
// to word the message) or a value text in it cannot be read.
std::string loadFailure(const Subject& subject) {
    const int file = ::open(subject.file, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (file < 0) {
        return "cannot open " + quoted(subject.file) + ": " + describeError(errno);
    }
    struct stat status;
    const bool directory = ::fstat(file, &status) == 0 && S_ISDIR(status.st_mode);
    ::close(file);
    if (directory) {
        return "cannot open " + quoted(subject.file) + ": " + describeError(EISDIR);
    }
    return formFailure(subject) + ": a value text cannot be read";
}

// A stream failure while saving: errno, read right after it, tells the cause.
std::string saveFailure(const Subject& subject, int error) {
    std::string message = "cannot write " + quoted(subject.file);
    if (error != 0) {
        message += ": " + describeError(error);
    }
    return message;
}

std::string streamFailure(const Subject& subject, int error) {
    if (subject.file == nullptr) {
        return formFailure(subject) + ": a value text cannot be read";
    }
    return reads(operationOf(subject)) ? loadFailure(subject) : saveFailure(subject, error);
}

std::string xmlFailure(const XMLCh* text) {
    char* transcoded = xercesc::XMLString::transcode(text);
    std::string message = "XML library failure: ";
    message += transcoded != nullptr ? transcoded : "?";
    xercesc::XMLString::release(&transcoded);
    return message;
}

// Classifies the exception being handled; called inside a catch handler only.
std::string composeFailure(const Subject& subject, uint32_t code, int error) {
    try {
        throw;
    } catch (const std::bad_alloc&) {
        return sd_outOfMemoryMessage;
    } catch (const xercesc::OutOfMemoryException&) {
        return sd_outOfMemoryMessage;
    } catch (const BufferTooSmall& tooSmall) {
        return "buffer too small: " + std::to_string(tooSmall.required) + " required, " +
               std::to_string(tooSmall.capacity) + " available";
    } catch (const TypeCodeOutOfRange& outOfRange) {
        return "type code " + std::to_string(outOfRange.code) + " is not between 1 and 14";
    } catch (const std::ios_base::failure&) {
        return streamFailure(subject, error);
    } catch (const std::exception& failure) {
        return std::string(subject.function) + ": " + failure.what();
    } catch (const xercesc::DOMException& failure) {
        return formFailure(subject) + ": " + xmlFailure(failure.getMessage());
    } catch (const xercesc::XMLException& failure) {
        return formFailure(subject) + ": " + xmlFailure(failure.getMessage());
    } catch (IConfigurationSetFactory::ConfigurationSetFactoryException) {
        return translatedFailure(subject, code);
    } catch (IConfigurationSet::ConfigurationSetException) {
        return translatedFailure(subject, code);
    } catch (ISetting::SettingException) {
        return translatedFailure(subject, code);
    } catch (...) {
        return std::string(subject.function) + ": unexpected failure";
    }
}

void remember(std::string&& message) noexcept {
    sd_lastErrorMessage = std::move(message);
    sd_outOfMemory = false;
}

void rememberOutOfMemory() noexcept {
    sd_lastErrorMessage.clear();
    sd_outOfMemory = true;
}

}  // namespace

void recordNullArgument(const Subject& subject, const char* name) noexcept {
    try {
        remember("argument " + quoted(name) + " of " + subject.function + " is null");
    } catch (...) {
        rememberOutOfMemory();
    }
}

void recordFailure(const Subject& subject, uint32_t code, int error) noexcept {
    try {
        remember(composeFailure(subject, code, error));
    } catch (...) {
        rememberOutOfMemory();
    }
}

const std::string& lastErrorMessage() noexcept {
    return sd_outOfMemory ? sd_outOfMemoryMessage : sd_lastErrorMessage;
}

}  // namespace api
}  // namespace configuration
}  // namespace orvandel
}  // namespace com
