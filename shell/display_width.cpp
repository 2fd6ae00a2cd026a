#include <algorithm>
#include <cstdint>
#include <cwchar>

#include "shell/row_writer.h"

namespace ovrashell {

namespace {

constexpr char32_t kNoCharacter = 0xFFFD;

// Decodes one character of UTF-8. Gives its length in bytes, 0 when these bytes are no UTF-8.
std::size_t Decode(std::string_view text, char32_t* character) {
    const auto lead = static_cast<uint8_t>(text.front());
    const std::size_t length = lead < 0x80             ? 1
                               : (lead & 0xE0) == 0xC0 ? 2
                               : (lead & 0xF0) == 0xE0 ? 3
                               : (lead & 0xF8) == 0xF0 ? 4
                                                       : 0;
    if (length == 0 || length > text.size()) {
        return 0;
    }
    char32_t value = length == 1 ? lead : lead & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        const auto next = static_cast<uint8_t>(text[i]);
        if ((next & 0xC0) != 0x80) {
            return 0;
        }
        value = (value << 6) | (next & 0x3F);
    }
    *character = value;
    return length;
}

// The widths come from the system's table for the character set of the process. What that has no
// character for counts as one column.
std::size_t CharacterWidth(char32_t character) {
    const int width = ::wcwidth(static_cast<wchar_t>(character));
    return width < 0 ? 1 : static_cast<std::size_t>(width);
}

// Also of the second set, from U+0080 on, each of which a terminal takes for ESC and a letter.
bool IsControl(char32_t character) {
    return character < 0x20 || (character >= 0x7F && character < 0xA0);
}

}  // namespace

std::size_t DisplayWidth(std::string_view text) {
    std::size_t width = 0;
    while (!text.empty()) {
        char32_t character = 0;
        const std::size_t length = Decode(text, &character);
        width += length == 0 ? 1 : CharacterWidth(character);
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return width;
}

std::string OneLine(std::string_view text) {
    std::string line;
    line.reserve(text.size());
    while (!text.empty()) {
        // Bytes that are no UTF-8 stay: they are the letters of an older character set, or nothing.
        char32_t character = kNoCharacter;
        const std::size_t length = std::max<std::size_t>(1, Decode(text, &character));
        if (character == '\n') {
            line += "\\n";
        } else if (character == '\r') {
            line += "\\r";
        } else if (character == '\t') {
            line += "\\t";
        } else if (IsControl(character)) {
            line += '.';
        } else {
            line += text.substr(0, length);
        }
        text.remove_prefix(length);
    }
    return line;
}

std::string Lines(std::string_view text) {
    std::string lines;
    std::size_t start = 0;
    for (auto end = text.find('\n'); end != std::string_view::npos; end = text.find('\n', start)) {
        lines += OneLine(text.substr(start, end - start)) + '\n';
        start = end + 1;
    }
    return lines + OneLine(text.substr(start));
}

}  // namespace ovrashell
