#include "JsonInput.h"

#include <cstring>
#include <stdexcept>

#include <orvandel/configuration/IConfigurationSetFactory.h>

#include "Base64.h"
#include "Failure.h"
#include "SettingTypes.h"
#include "Utf8.h"
#include "ValueParse.h"

using com::orvandel::AutoRefCounted;
using com::orvandel::configuration::ISetting;

namespace orvconf {
namespace {

struct JsonValue {
    enum Kind { null, boolean, number, string, array, object };
    Kind kind = null;
    std::string text;  // a number's token, a string's UTF-8, "true" or "false"
    std::vector<JsonValue> items;
    std::vector<std::pair<std::string, JsonValue>> members;

    const JsonValue* member(const std::string& name) const {
        for (const auto& entry : members) {
            if (entry.first == name) {
                return &entry.second;
            }
        }
        return nullptr;
    }
};

constexpr int kMaximumDepth = 64;

class JsonParser {
  public:
    explicit JsonParser(const std::string& text) : d_text(text) {}

    JsonValue document() {
        JsonValue value = parseValue(0);
        skipBlanks();
        if (d_at != d_text.size()) {
            fail("text after the document");
        }
        return value;
    }

  private:
    [[noreturn]] void fail(const std::string& reason) const {
        throw std::invalid_argument(reason + " at byte " + std::to_string(d_at));
    }

    void skipBlanks() {
        while (d_at < d_text.size() && std::strchr(" \t\r\n", d_text[d_at]) != nullptr &&
               d_text[d_at] != '\0') {
            ++d_at;
        }
    }

    bool take(char c) {
        skipBlanks();
        if (d_at < d_text.size() && d_text[d_at] == c) {
            ++d_at;
            return true;
        }
        return false;
    }

    void expect(char c) {
        if (!take(c)) {
            fail(std::string("expected '") + c + "'");
        }
    }

    JsonValue parseValue(int depth) {
        if (depth > kMaximumDepth) {
            fail("nested too deeply");
        }
        skipBlanks();
        JsonValue value;
        if (take('[')) {
            value.kind = JsonValue::array;
            if (!take(']')) {
                do {
                    value.items.push_back(parseValue(depth + 1));
                } while (take(','));
                expect(']');
            }
        } else if (take('{')) {
            value.kind = JsonValue::object;
            if (!take('}')) {
                do {
                    skipBlanks();
                    std::string name = parseString();
                    expect(':');
                    value.members.emplace_back(std::move(name), parseValue(depth + 1));
                } while (take(','));
                expect('}');
            }
        } else if (d_at < d_text.size() && d_text[d_at] == '"') {
            value.kind = JsonValue::string;
            value.text = parseString();
        } else {
            const size_t start = d_at;
            while (d_at < d_text.size() && std::strchr("+-.0123456789eEtruefalsn", d_text[d_at]) &&
                   d_text[d_at] != '\0') {
                ++d_at;
            }
            value.text = d_text.substr(start, d_at - start);
            if (value.text == "true" || value.text == "false") {
                value.kind = JsonValue::boolean;
            } else if (value.text == "null") {
                value.kind = JsonValue::null;
            } else if (!value.text.empty() && std::strchr("-0123456789", value.text[0])) {
                value.kind = JsonValue::number;
            } else {
                fail("unexpected character");
            }
        }
        return value;
    }

    unsigned hexQuad() {
        if (d_at + 4 > d_text.size()) {
            fail("truncated \\u escape");
        }
        unsigned value = 0;
        for (int k = 0; k < 4; ++k) {
            const char c = d_text[d_at++];
            const char* digits = "0123456789abcdef0123456789ABCDEF";
            const char* found = c == '\0' ? nullptr : std::strchr(digits, c);
            if (found == nullptr) {
                fail("bad \\u escape");
            }
            value = value * 16 + static_cast<unsigned>((found - digits) % 16);
        }
        return value;
    }

    std::string parseString() {
        if (d_at >= d_text.size() || d_text[d_at] != '"') {
            fail("expected a string");
        }
        ++d_at;
        std::string text;
        for (;;) {
            if (d_at >= d_text.size()) {
                fail("unterminated string");
            }
            const char c = d_text[d_at++];
            if (c == '"') {
                return text;
            }
            if (static_cast<unsigned char>(c) < 0x20) {
                fail("control character in a string");
            }
            if (c != '\\') {
                text += c;
                continue;
            }
            const char escape = d_at < d_text.size() ? d_text[d_at++] : '\0';
            const char* simple = "\"\\/bfnrt";
            const char* meaning = "\"\\/\b\f\n\r\t";
            const char* found = escape == '\0' ? nullptr : std::strchr(simple, escape);
            if (found != nullptr) {
                text += meaning[found - simple];
            } else if (escape == 'u') {
                char32_t codePoint = hexQuad();
                if (codePoint >= 0xD800 && codePoint < 0xDC00 &&
                    d_text.compare(d_at, 2, "\\u") == 0) {
                    d_at += 2;
                    const unsigned low = hexQuad();
                    if (low < 0xDC00 || low >= 0xE000) {
                        fail("unpaired surrogate");
                    }
                    codePoint = 0x10000 + ((codePoint - 0xD800) << 10) + (low - 0xDC00);
                }
                if (!isUnicodeScalar(codePoint)) {
                    fail("unpaired surrogate");
                }
                appendUtf8(text, codePoint);
            } else {
                fail("bad escape");
            }
        }
    }

    const std::string& d_text;
    size_t d_at = 0;
};

// The bytes of a narrow text: a JSON string, or {"base64": ...}.
std::string narrowText(const JsonValue& value, const char* what) {
    if (value.kind == JsonValue::string) {
        return value.text;
    }
    const JsonValue* base64 = value.member("base64");
    if (value.kind == JsonValue::object && base64 != nullptr && base64->kind == JsonValue::string) {
        if (const std::optional<std::vector<unsigned char>> bytes = decodeBase64(base64->text)) {
            return std::string(bytes->begin(), bytes->end());
        }
    }
    throw std::invalid_argument(std::string(what) + " is neither a string nor {\"base64\": ...}");
}

std::wstring codePoints(const JsonValue& value) {
    const JsonValue* list = value.member("codePoints");
    if (value.kind != JsonValue::object || list == nullptr || list->kind != JsonValue::array) {
        throw std::invalid_argument("value is neither a string nor {\"codePoints\": [...]}");
    }
    std::wstring wide;
    for (const JsonValue& item : list->items) {
        AutoRefCounted<ISetting> unit = getConfigurationSetFactory()->createSetting();
        unit->initialize(ISetting::uint32Type);
        if (item.kind != JsonValue::number) {
            throw std::invalid_argument("a code point is not a number");
        }
        assignValue(*unit, item.text);
        uint32_t code = 0;
        unit->getValue(&code);
        wide += static_cast<wchar_t>(code);
    }
    return wide;
}

void assignJsonValue(ISetting& setting, const JsonValue& value) {
    switch (setting.getType()) {
        case ISetting::boolType:
            if (value.kind != JsonValue::boolean) {
                throw std::invalid_argument("a bool value is true or false");
            }
            assignValue(setting, value.text);
            return;
        case ISetting::stringType:
            setting.setValue(narrowText(value, "value"));
            return;
        case ISetting::unicodeString:
            if (value.kind == JsonValue::string) {
                assignValue(setting, value.text);
            } else {
                setting.setValue(codePoints(value));
            }
            return;
        case ISetting::binaryType:
            if (value.kind != JsonValue::string) {
                throw std::invalid_argument("a binary value is a Base64 string");
            }
            assignValue(setting, value.text);
            return;
        default:
            if (value.kind != JsonValue::number && value.kind != JsonValue::string) {
                throw std::invalid_argument("a number is a JSON number or a string");
            }
            assignValue(setting, value.text);
            return;
    }
}

JsonSetting readSetting(const JsonValue& object) {
    const JsonValue* path = object.member("path");
    const JsonValue* type = object.member("type");
    const JsonValue* value = object.member("value");
    if (object.kind != JsonValue::object || path == nullptr || type == nullptr ||
        value == nullptr || type->kind != JsonValue::string) {
        throw std::invalid_argument("not an object with path, type and value");
    }
    const std::optional<ISetting::Type> settingType = typeFromKeyword(type->text);
    if (!settingType) {
        throw std::invalid_argument("unknown type '" + type->text + "'");
    }
    AutoRefCounted<ISetting> setting = getConfigurationSetFactory()->createSetting();
    setting->initialize(*settingType);
    assignJsonValue(*setting, *value);
    return {narrowText(*path, "path"), setting};
}

}  // namespace

std::vector<JsonSetting> readJsonSettings(const std::string& source, const std::string& json) {
    JsonValue document;
    try {
        if (!wideFromUtf8(json)) {
            throw std::invalid_argument("not UTF-8");
        }
        document = JsonParser(json).document();
    } catch (const std::invalid_argument& error) {
        throw Failure(source + ": not JSON: " + error.what());
    }
    if (document.kind != JsonValue::array) {
        throw Failure(source + ": not a JSON array of settings");
    }
    std::vector<JsonSetting> settings;
    for (size_t index = 0; index < document.items.size(); ++index) {
        try {
            settings.push_back(readSetting(document.items[index]));
        } catch (const std::invalid_argument& error) {
            throw Failure(source + ": setting " + std::to_string(index + 1) + ": " + error.what());
        }
    }
    return settings;
}

}  // namespace orvconf
