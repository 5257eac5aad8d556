#include "Base64.h"

#include <cstdint>

namespace orvconf {
namespace {

const char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The 6-bit value of an alphabet character, or -1.
int sextet(char c) {
    if (c >= 'A' && c <= 'Z') {
        return c - 'A';
    }
    if (c >= 'a' && c <= 'z') {
        return c - 'a' + 26;
    }
    if (c >= '0' && c <= '9') {
        return c - '0' + 52;
    }
    if (c == '+') {
        return 62;
    }
    if (c == '/') {
        return 63;
    }
    return -1;
}

}  // namespace

std::string encodeBase64(const unsigned char* data, size_t length) {
    std::string text;
    text.reserve((length + 2) / 3 * 4);
    for (size_t i = 0; i < length; i += 3) {
        const size_t available = length - i < 3 ? length - i : 3;
        uint32_t group = static_cast<uint32_t>(data[i]) << 16;
        if (available > 1) {
            group |= static_cast<uint32_t>(data[i + 1]) << 8;
        }
        if (available > 2) {
            group |= data[i + 2];
        }
        text += kAlphabet[(group >> 18) & 0x3f];
        text += kAlphabet[(group >> 12) & 0x3f];
        text += available > 1 ? kAlphabet[(group >> 6) & 0x3f] : '=';
        text += available > 2 ? kAlphabet[group & 0x3f] : '=';
    }
    return text;
}

std::optional<std::vector<unsigned char>> decodeBase64(const std::string& text) {
    if (text.size() % 4 != 0) {
        return std::nullopt;
    }
    std::vector<unsigned char> bytes;
    bytes.reserve(text.size() / 4 * 3);
    for (size_t i = 0; i < text.size(); i += 4) {
        const bool last = i + 4 == text.size();
        // Padding may only end the last group: "xx==" or "xxx=".
        size_t padding = 0;
        if (last && text[i + 3] == '=') {
            padding = text[i + 2] == '=' ? 2 : 1;
        }
        uint32_t group = 0;
        for (size_t k = 0; k < 4; ++k) {
            const int value = k < 4 - padding ? sextet(text[i + k]) : 0;
            if (value < 0) {
                return std::nullopt;
            }
            group = (group << 6) | static_cast<uint32_t>(value);
        }
        // The bits that padding hides must be zero, so every byte sequence has one text.
        if ((padding == 1 && (group & 0xff) != 0) || (padding == 2 && (group & 0xffff) != 0)) {
            return std::nullopt;
        }
        bytes.push_back(static_cast<unsigned char>(group >> 16));
        if (padding < 2) {
            bytes.push_back(static_cast<unsigned char>(group >> 8));
        }
        if (padding < 1) {
            bytes.push_back(static_cast<unsigned char>(group));
        }
    }
    return bytes;
}

}  // namespace orvconf
