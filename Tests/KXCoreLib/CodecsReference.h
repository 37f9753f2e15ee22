#pragma once

// The codecs once more, in the plainest way that can be written: a character at a time, no tables, no care for speed.
// Tests and the fuzz target hold the library to it.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace CodecsReference {

inline bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r'; }

inline std::optional<unsigned> hexValue(char c) {
    if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
    if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A' + 10);
    if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a' + 10);
    return std::nullopt;
}

inline std::optional<unsigned> base64Value(char c) {
    if (c >= 'A' && c <= 'Z') return static_cast<unsigned>(c - 'A');
    if (c >= 'a' && c <= 'z') return static_cast<unsigned>(c - 'a' + 26);
    if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0' + 52);
    if (c == '+') return 62;
    if (c == '/') return 63;
    return std::nullopt;
}

inline char base64Character(unsigned value) {
    for (int c = 0; c < 128; ++c) {
        if (base64Value(static_cast<char>(c)) == value) return static_cast<char>(c);
    }
    return '?';
}

inline std::string hexEncode(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        for (const int shift : {4, 0}) {
            const int value = static_cast<unsigned char>(byte) >> shift & 15;
            text += static_cast<char>(value < 10 ? '0' + value : 'a' + value - 10);
        }
    }
    return text;
}

inline std::optional<std::string> hexDecode(std::string_view text) {
    std::string bytes;
    for (std::size_t i = 0;; i += 2) {
        while (i < text.size() && isSpace(text[i])) ++i;
        if (i == text.size()) return bytes;
        if (text.size() - i < 2) return std::nullopt;
        const auto high = hexValue(text[i]);
        const auto low = hexValue(text[i + 1]);
        if (!high || !low) return std::nullopt;
        bytes += static_cast<char>(*high * 16 + *low);
    }
}

inline std::string base64Encode(std::string_view bytes) {
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        unsigned bits = 0;
        std::size_t count = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            bits <<= 8;
            if (i + k < bytes.size()) {
                bits |= static_cast<unsigned char>(bytes[i + k]);
                ++count;
            }
        }
        for (std::size_t k = 0; k < 4; ++k) {
            text += k <= count ? base64Character(bits >> (18 - 6 * k) & 63) : '=';
        }
    }
    return text;
}

inline std::optional<std::string> base64Decode(std::string_view text) {
    std::string bytes;
    bool padded = false;
    for (std::size_t i = 0;; i += 4) {
        while (i < text.size() && isSpace(text[i])) ++i;
        if (i == text.size()) return bytes;
        if (padded || text.size() - i < 4) return std::nullopt;
        std::size_t count = 3;
        if (text[i + 3] == '=') count = text[i + 2] == '=' ? 1 : 2;
        padded = count != 3;
        unsigned bits = 0;
        for (std::size_t k = 0; k < 4; ++k) {
            bits <<= 6;
            if (k > count) continue;
            const auto value = base64Value(text[i + k]);
            if (!value) return std::nullopt;
            bits |= *value;
        }
        for (std::size_t k = 0; k < count; ++k) bytes += static_cast<char>(bits >> (16 - 8 * k) & 255);
    }
}

}  // namespace CodecsReference
