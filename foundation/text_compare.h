#pragma once

// Character classes, case folding and comparison as in the "C" locale, whatever locale the process
// has set: only ASCII letters fold, and bytes above 127 belong to no class. Everything goes through
// tables of 256 entries, so any byte may be asked about.

#include <cstdint>
#include <cstring>

#include "foundation/text_view.h"

namespace ovrasql {

namespace character_tables {

enum : uint8_t { kSpace = 1, kDigit = 2, kAlpha = 4, kPrintable = 8, kTrimmed = 16 };

struct Table {
    uint8_t entry[256];
};

constexpr Table MakeClasses() {
    Table table{};
    for (int code = 0; code < 128; ++code) {
        uint8_t bits = 0;
        bits |= code == ' ' || (code >= '\t' && code <= '\r') ? kSpace : 0;
        bits |= code >= '0' && code <= '9' ? kDigit : 0;
        bits |= (code >= 'a' && code <= 'z') || (code >= 'A' && code <= 'Z') ? kAlpha : 0;
        bits |= code >= ' ' && code <= '~' ? kPrintable : 0;
        bits |= code == '\t' || code == '\n' || code == '\r' || code == ' ' ? kTrimmed : 0;
        table.entry[code] = bits;
    }
    return table;
}

constexpr Table MakeFolding(char from, int shift) {
    Table table{};
    for (int code = 0; code < 256; ++code) {
        const bool folds = code >= from && code < from + 26;
        table.entry[code] = static_cast<uint8_t>(folds ? code + shift : code);
    }
    return table;
}

inline constexpr Table kClasses = MakeClasses();
inline constexpr Table kLower = MakeFolding('A', 'a' - 'A');
inline constexpr Table kUpper = MakeFolding('a', 'A' - 'a');

constexpr bool Has(char c, uint8_t bits) {
    return (kClasses.entry[static_cast<uint8_t>(c)] & bits) != 0;
}

}  // namespace character_tables

// Blank, tab, newline, vertical tab, form feed, carriage return.
constexpr bool IsSpace(char c) { return character_tables::Has(c, character_tables::kSpace); }
// The white space of the trimming operations: tab, newline, carriage return and blank, no other.
constexpr bool IsTrimSpace(char c) { return character_tables::Has(c, character_tables::kTrimmed); }
constexpr bool IsDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool IsAlpha(char c) { return character_tables::Has(c, character_tables::kAlpha); }
constexpr bool IsAlnum(char c) {
    return character_tables::Has(c, character_tables::kAlpha | character_tables::kDigit);
}
constexpr bool IsPrintable(char c) {
    return character_tables::Has(c, character_tables::kPrintable);
}

constexpr char ToLower(char c) {
    return static_cast<char>(character_tables::kLower.entry[static_cast<uint8_t>(c)]);
}
constexpr char ToUpper(char c) {
    return static_cast<char>(character_tables::kUpper.entry[static_cast<uint8_t>(c)]);
}

// Folds `length` bytes in place.
void LowerText(char* text, int32_t length);
void UpperText(char* text, int32_t length);

// Compare `count` bytes, each folded to lower or to upper case, as unsigned bytes: -1, 0 or 1. A
// NUL is a byte like any other. The two differ for the six characters between the cases ('_' and so
// on).
[[nodiscard]] int32_t CompareNoCase(const char* first, const char* second, int32_t count);
[[nodiscard]] int32_t CompareNoCaseUpper(const char* first, const char* second, int32_t count);

[[nodiscard]] inline bool EqualsNoCase(TextView first, TextView second) {
    return first.length == second.length &&
           CompareNoCase(first.data, second.data, first.length) == 0;
}

// The order of names in hash chains: the shorter first, at equal length by the bytes.
[[nodiscard]] inline int32_t CompareByLength(TextView first, TextView second, bool ignoreCase) {
    if (first.length != second.length) {
        return first.length < second.length ? -1 : 1;
    }
    return ignoreCase ? CompareNoCase(first.data, second.data, first.length)
                      : std::memcmp(first.data, second.data, static_cast<size_t>(first.length));
}

}  // namespace ovrasql
