#include "shell/shown_text.h"

#include "shell/row_writer.h"

namespace ovrashell {

namespace {

constexpr std::size_t kBytesShown = 40;

// Whether the byte goes on with a character of UTF-8 that began before it.
bool IsInsideCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

}  // namespace

std::string ShownText(std::string_view text) {
    if (text.size() <= kBytesShown) {
        return "'" + OneLine(text) + "'";
    }
    std::size_t end = kBytesShown;
    for (int i = 0; i < 3 && IsInsideCharacter(text[end]); ++i) {
        --end;
    }
    return "'" + OneLine(text.substr(0, end)) + "...'";
}

}  // namespace ovrashell
