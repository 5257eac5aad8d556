#include "ValueFormat.h"

#include <charconv>
#include <cstdio>
#include <system_error>

#include "Base64.h"
#include "SettingTypes.h"
#include "Utf8.h"

using com::orvandel::configuration::ISetting;

namespace orvconf {
namespace {

template <class T>
T read(const ISetting& setting) {
    T value{};
    setting.getValue(&value);
    return value;
}

// Integers in decimal, floating-point values in their shortest exact form.
template <class T>
std::string number(T value) {
    char buffer[64];
    const std::to_chars_result result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

void appendHexEscape(std::string& text, char prefix, unsigned long value, int digits) {
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, "\\%c%0*lX", prefix, digits, value);
    text += buffer;
}

// Appends one Unicode scalar value, escaped where the quoted style asks for it.
void appendQuotedCodePoint(std::string& text, char32_t codePoint) {
    switch (codePoint) {
        case '"':
            text += "\\\"";
            return;
        case '\\':
            text += "\\\\";
            return;
        case '\n':
            text += "\\n";
            return;
        case '\t':
            text += "\\t";
            return;
        case '\r':
            text += "\\r";
            return;
        default:
            break;
    }
    if (codePoint < 0x20 || codePoint == 0x7F) {
        appendHexEscape(text, 'x', codePoint, 2);
    } else {
        appendUtf8(text, codePoint);
    }
}

std::string escapeNarrow(const std::string& bytes) {
    std::string text;
    decodeUtf8(bytes, [&](char32_t codePoint, bool valid) {
        if (valid) {
            appendQuotedCodePoint(text, codePoint);
        } else {
            appendHexEscape(text, 'x', codePoint, 2);
        }
    });
    return text;
}

std::string wideText(const std::wstring& wide, TextStyle style) {
    std::string text;
    for (const wchar_t unit : wide) {
        const auto codePoint = static_cast<char32_t>(unit);
        if (!isUnicodeScalar(codePoint)) {
            if (style == TextStyle::quoted) {
                appendHexEscape(text, 'U', codePoint, 8);
            } else {
                appendUtf8(text, kReplacementCharacter);
            }
        } else if (style == TextStyle::quoted) {
            appendQuotedCodePoint(text, codePoint);
        } else {
            appendUtf8(text, codePoint);
        }
    }
    return style == TextStyle::quoted ? "\"" + text + "\"" : text;
}

std::string binaryText(const ISetting& setting) {
    const unsigned char* data = nullptr;
    size_t length = 0;
    setting.getLockedBinaryBuffer(&data, &length);
    return encodeBase64(data, length);
}

}  // namespace

std::string formatValue(const ISetting& setting, TextStyle style) {
    switch (setting.getType()) {
        case ISetting::boolType:
            return read<bool>(setting) ? "true" : "false";
        case ISetting::ucharType:
            return number(static_cast<unsigned int>(read<unsigned char>(setting)));
        case ISetting::uint16Type:
            return number(read<uint16_t>(setting));
        case ISetting::uint32Type:
            return number(read<uint32_t>(setting));
        case ISetting::uint64Type:
            return number(read<uint64_t>(setting));
        case ISetting::charType:
            return number(static_cast<int>(read<signed char>(setting)));
        case ISetting::int16Type:
            return number(read<int16_t>(setting));
        case ISetting::int32Type:
            return number(read<int32_t>(setting));
        case ISetting::int64Type:
            return number(read<int64_t>(setting));
        case ISetting::floatType:
            return number(read<float>(setting));
        case ISetting::doubleType:
            return number(read<double>(setting));
        case ISetting::stringType: {
            const std::string& value = *read<const std::string*>(setting);
            return style == TextStyle::quoted ? "\"" + escapeNarrow(value) + "\"" : value;
        }
        case ISetting::unicodeString:
            return wideText(*read<const std::wstring*>(setting), style);
        case ISetting::binaryType:
            return binaryText(setting);
    }
    return "?";
}

std::string formatPath(const std::string& path) {
    return escapeNarrow(path);
}

std::string formatTypedValue(const ISetting& setting) {
    return "(" + typeKeyword(setting.getType()) + ") = " + formatValue(setting, TextStyle::quoted);
}

std::string formatSettingLine(const std::string& path, const ISetting& setting) {
    return formatPath(path) + " " + formatTypedValue(setting);
}

std::string quotedValue(const std::string& value) {
    constexpr size_t quotedLength = 40;
    if (value.size() <= quotedLength) {
        return "'" + formatPath(value) + "'";
    }
    return "'" + formatPath(value.substr(0, quotedLength)) + "'... (" +
           std::to_string(value.size()) + " bytes)";
}

}  // namespace orvconf
