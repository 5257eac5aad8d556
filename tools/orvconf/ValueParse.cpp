#include "ValueParse.h"

#include <charconv>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <type_traits>
#include <vector>

#include "Base64.h"
#include "Utf8.h"

using com::orvandel::configuration::ISetting;

namespace orvconf {
namespace {

// True when text holds a digit other than 0 before any exponent: the value it names is not zero.
bool namesNonZero(const std::string& text) {
    for (const char c : text) {
        if (c == 'e' || c == 'E') {
            break;
        }
        if (c >= '1' && c <= '9') {
            return true;
        }
    }
    return false;
}

template <class T>
T parseNumber(const std::string& text) {
    if (text.empty()) {
        throw std::invalid_argument("empty number");
    }
    T value{};
    const char* end = text.data() + text.size();
    const std::from_chars_result result = std::from_chars(text.data(), end, value);
    if (result.ec == std::errc::result_out_of_range) {
        throw std::invalid_argument("out of range");
    }
    if (result.ec != std::errc() || result.ptr != end) {
        throw std::invalid_argument("malformed number");
    }
    if constexpr (std::is_floating_point_v<T>) {
        // Some libraries report an underflow to zero as success; a non-zero text that reads as
        // zero has lost its value all the same.
        if (value == 0 && namesNonZero(text)) {
            throw std::invalid_argument("out of range");
        }
    }
    return value;
}

bool parseBool(const std::string& text) {
    if (text == "true") {
        return true;
    }
    if (text == "false") {
        return false;
    }
    throw std::invalid_argument("a bool is true or false");
}

void assignBinary(ISetting& setting, const std::string& text) {
    // Line breaks and blanks are ignored, so wrapped Base64 (as base64(1) prints it) reads.
    std::string compact;
    for (const char c : text) {
        if (c != ' ' && c != '\t' && c != '\r' && c != '\n') {
            compact += c;
        }
    }
    const std::optional<std::vector<unsigned char>> bytes = decodeBase64(compact);
    if (!bytes) {
        throw std::invalid_argument("not canonical Base64");
    }
    size_t length = bytes->size();
    setting.resizeBinaryBuffer(&length);
    unsigned char* buffer = nullptr;
    setting.getBinaryBuffer(&buffer, &length);
    if (length != 0) {
        std::memcpy(buffer, bytes->data(), length);
    }
}

}  // namespace

void assignValue(ISetting& setting, const std::string& text) {
    switch (setting.getType()) {
        case ISetting::boolType:
            setting.setValue(parseBool(text));
            return;
        case ISetting::ucharType:
            setting.setValue(parseNumber<unsigned char>(text));
            return;
        case ISetting::uint16Type:
            setting.setValue(parseNumber<uint16_t>(text));
            return;
        case ISetting::uint32Type:
            setting.setValue(parseNumber<uint32_t>(text));
            return;
        case ISetting::uint64Type:
            setting.setValue(parseNumber<uint64_t>(text));
            return;
        case ISetting::charType:
            setting.setValue(parseNumber<signed char>(text));
            return;
        case ISetting::int16Type:
            setting.setValue(parseNumber<int16_t>(text));
            return;
        case ISetting::int32Type:
            setting.setValue(parseNumber<int32_t>(text));
            return;
        case ISetting::int64Type:
            setting.setValue(parseNumber<int64_t>(text));
            return;
        case ISetting::floatType:
            setting.setValue(parseNumber<float>(text));
            return;
        case ISetting::doubleType:
            setting.setValue(parseNumber<double>(text));
            return;
        case ISetting::stringType:
            setting.setValue(text);
            return;
        case ISetting::unicodeString: {
            const std::optional<std::wstring> wide = wideFromUtf8(text);
            if (!wide) {
                throw std::invalid_argument("not well-formed UTF-8");
            }
            setting.setValue(*wide);
            return;
        }
        case ISetting::binaryType:
            assignBinary(setting, text);
            return;
    }
    throw std::invalid_argument("unknown type");
}

}  // namespace orvconf
