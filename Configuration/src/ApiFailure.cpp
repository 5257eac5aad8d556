// Words the failures of the flat C interface, from the call's arguments and the exception that
// ended it, and keeps the text per thread. Nothing is printed.
#include <orvandel/configuration/internal/ApiFailure.h>

#include <cstring>
#include <ios>
#include <new>
#include <stdexcept>
#include <utility>

#include <xercesc/dom/DOMException.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xercesc/util/XMLString.hpp>

#include <orvandel/configuration/ConfigurationAPI.h>
#include <orvandel/configuration/IConfigurationSet.h>
#include <orvandel/configuration/IConfigurationSetFactory.h>
#include <orvandel/configuration/internal/ThreadState.h>
#include <orvandel/configuration/internal/XMLValueText.h>

namespace com {
namespace orvandel {
namespace configuration {
namespace api {

namespace {

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

// The file layer words its failures whole (the file, the operation, the reason taken where
// the call failed); any other stream failure is a value text that cannot be read.
std::string streamFailure(const Subject& subject, const std::ios_base::failure& failure) {
    if (failure.code().category() != std::iostream_category()) {
        return failure.what();
    }
    return formFailure(subject) + ": a value text cannot be read";
}

std::string xmlFailure(const XMLCh* text) {
    char* transcoded = xercesc::XMLString::transcode(text);
    std::string message = "XML library failure: ";
    message += transcoded != nullptr ? transcoded : "?";
    xercesc::XMLString::release(&transcoded);
    return message;
}

// Classifies the exception being handled; called inside a catch handler only.
std::string composeFailure(const Subject& subject, uint32_t code) {
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
    } catch (const std::ios_base::failure& failure) {
        return streamFailure(subject, failure);
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

// Without a thread state (memory exhausted) nothing can be kept, and the message read back is
// the one of memory exhaustion.
void remember(std::string&& message) noexcept {
    if (ThreadState* state = threadState()) {
        state->lastErrorMessage = std::move(message);
        state->outOfMemory = false;
    }
}

void rememberOutOfMemory() noexcept {
    if (ThreadState* state = threadState()) {
        state->lastErrorMessage.clear();
        state->outOfMemory = true;
    }
}

}  // namespace

void recordNullArgument(const Subject& subject, const char* name) noexcept {
    try {
        remember("argument " + quoted(name) + " of " + subject.function + " is null");
    } catch (...) {
        rememberOutOfMemory();
    }
}

void recordFailure(const Subject& subject, uint32_t code) noexcept {
    try {
        remember(composeFailure(subject, code));
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
