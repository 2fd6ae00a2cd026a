#pragma once

// Some programs begin a text file with this mark of UTF-8. It is no part of the text. The marks of
// UTF-16, one for each order of its bytes, tell that a file is no text of single bytes at all.

#include <string_view>

namespace ovrashell {

inline constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
inline constexpr std::string_view kUtf16LittleEndianMark = "\xFF\xFE";
inline constexpr std::string_view kUtf16BigEndianMark = "\xFE\xFF";

// The text of a file, from its first byte on, without the mark.
inline std::string_view WithoutByteOrderMark(std::string_view text) {
    return text.starts_with(kByteOrderMark) ? text.substr(kByteOrderMark.size()) : text;
}

// Whether a file that begins so is UTF-16.
inline bool IsUtf16(std::string_view text) {
    return text.starts_with(kUtf16LittleEndianMark) || text.starts_with(kUtf16BigEndianMark);
}

// Whether a reader may take the first bytes for such a mark.
inline bool BeginsWithEncodingMark(std::string_view text) {
    return text.starts_with(kByteOrderMark) || IsUtf16(text);
}

}  // namespace ovrashell
