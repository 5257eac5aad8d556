#include "Utf8.h"

namespace orvconf {
namespace {

// The length of the well-formed sequence that starts at text[position], storing its code point;
// 0 when there is none.
size_t utf8SequenceAt(const std::string& text, size_t position, char32_t* codePoint) {
    const auto lead = static_cast<unsigned char>(text[position]);
    size_t length = 0;
    char32_t value = 0;
    char32_t smallest = 0;
    if (lead < 0x80) {
        *codePoint = lead;
        return 1;
    } else if ((lead & 0xE0) == 0xC0) {
        length = 2;
        value = lead & 0x1F;
        smallest = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
        length = 3;
        value = lead & 0x0F;
        smallest = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
        length = 4;
        value = lead & 0x07;
        smallest = 0x10000;
    } else {
        return 0;
    }
    if (text.size() - position < length) {
        return 0;
    }
    for (size_t i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(text[position + i]);
        if ((next & 0xC0) != 0x80) {
            return 0;
        }
        value = (value << 6) | (next & 0x3F);
    }
    if (value < smallest || !isUnicodeScalar(value)) {
        return 0;
    }
    *codePoint = value;
    return length;
}

}  // namespace

bool isUnicodeScalar(char32_t codePoint) {
    return codePoint <= 0x10FFFF && (codePoint < 0xD800 || codePoint > 0xDFFF);
}

void appendUtf8(std::string& text, char32_t codePoint) {
    if (codePoint < 0x80) {
        text += static_cast<char>(codePoint);
    } else if (codePoint < 0x800) {
        text += static_cast<char>(0xC0 | (codePoint >> 6));
        text += static_cast<char>(0x80 | (codePoint & 0x3F));
    } else if (codePoint < 0x10000) {
        text += static_cast<char>(0xE0 | (codePoint >> 12));
        text += static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
        text += static_cast<char>(0x80 | (codePoint & 0x3F));
    } else {
        text += static_cast<char>(0xF0 | (codePoint >> 18));
        text += static_cast<char>(0x80 | ((codePoint >> 12) & 0x3F));
        text += static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
        text += static_cast<char>(0x80 | (codePoint & 0x3F));
    }
}

void decodeUtf8(const std::string& text, const std::function<void(char32_t, bool)>& visit) {
    size_t position = 0;
    while (position < text.size()) {
        char32_t codePoint = 0;
        const size_t length = utf8SequenceAt(text, position, &codePoint);
        if (length == 0) {
            visit(static_cast<unsigned char>(text[position]), false);
            ++position;
        } else {
            visit(codePoint, true);
            position += length;
        }
    }
}

std::optional<std::wstring> wideFromUtf8(const std::string& text) {
    std::wstring wide;
    bool wellFormed = true;
    decodeUtf8(text, [&](char32_t codePoint, bool valid) {
        wellFormed = wellFormed && valid;
        wide += static_cast<wchar_t>(codePoint);
    });
    if (!wellFormed) {
        return std::nullopt;
    }
    return wide;
}

}  // namespace orvconf
