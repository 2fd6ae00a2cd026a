#pragma once

// Some programs begin a text file with this mark of UTF-8. It is no part of the text.

#include <string_view>

namespace ovrashell {

inline constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// The text of a file, from its first byte on, without the mark.
inline std::string_view WithoutByteOrderMark(std::string_view text) {
    return text.starts_with(kByteOrderMark) ? text.substr(kByteOrderMark.size()) : text;
}

}  // namespace ovrashell
