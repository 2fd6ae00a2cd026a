#pragma once

// Numbers and texts out of file bytes. What lies behind the end of the bytes reads as zeros.

#include <string>

#include "tests/support/checker/checker.h"

namespace ovrasql::checker {

inline uint32_t ByteAt(const FileBytes& bytes, size_t offset) {
    return offset < bytes.size() ? bytes[offset] : 0;
}

inline uint32_t Number16(const FileBytes& bytes, size_t offset) {
    return ByteAt(bytes, offset) | ByteAt(bytes, offset + 1) << 8;
}

inline uint32_t Number32(const FileBytes& bytes, size_t offset) {
    return Number16(bytes, offset) | Number16(bytes, offset + 2) << 16;
}

// The text in a room of this many bytes: up to its first NUL, or all of it.
inline std::string TextIn(const FileBytes& bytes, size_t offset, size_t room) {
    std::string text;
    while (text.size() < room && ByteAt(bytes, offset + text.size()) != 0) {
        text += static_cast<char>(bytes[offset + text.size()]);
    }
    return text;
}

inline bool AllZero(const FileBytes& bytes, size_t offset, size_t count) {
    for (size_t index = 0; index < count; ++index) {
        if (ByteAt(bytes, offset + index) != 0) {
            return false;
        }
    }
    return true;
}

// Letters of ASCII alone; every other byte stays.
inline std::string UpperCase(std::string text) {
    for (char& letter : text) {
        if (letter >= 'a' && letter <= 'z') {
            letter = static_cast<char>(letter - 'a' + 'A');
        }
    }
    return text;
}

// A text for a message: bytes that do not print as dots, cut when it is long.
inline std::string Shown(const std::string& text) {
    std::string shown = text.substr(0, 60);
    for (char& letter : shown) {
        letter = letter < ' ' || letter > '~' ? '.' : letter;
    }
    return "'" + shown + (text.size() > 60 ? "...'" : "'");
}

}  // namespace ovrasql::checker
