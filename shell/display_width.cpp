#include <clocale>
#include <cstdint>
#include <cwchar>

#include "shell/row_writer.h"

namespace ovrashell {

namespace {

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

// The widths come from the system's table, which needs a UTF-8 character set; the process keeps the
// "C" locale otherwise.
std::size_t CharacterWidth(char32_t character) {
    static const bool hasTable = std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr;
    const int width = hasTable ? ::wcwidth(static_cast<wchar_t>(character)) : 1;
    return width < 0 ? 1 : static_cast<std::size_t>(width);
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
    for (const char byte : text) {
        if (byte == '\n') {
            line += "\\n";
        } else if (byte == '\r') {
            line += "\\r";
        } else if (byte == '\t') {
            line += "\\t";
        } else if (static_cast<uint8_t>(byte) < 0x20 || byte == 0x7F) {
            line += '.';
        } else {
            line += byte;
        }
    }
    return line;
}

}  // namespace ovrashell
