#pragma once

// PlainNumber: a number as tables write it: a sign, digits, a point and more digits. No exponents
// and no blanks.

#include <cstdint>
#include <optional>
#include <string_view>

namespace ovrashell {

constexpr int32_t kDigitsOfADouble = 15;  // decimal digits that a double always keeps

struct PlainNumber {
    bool isNegative = false;
    std::string_view integer;   // digits before the point, without zeros in front
    std::string_view fraction;  // digits behind it, as written
    // Whether it is written as tables do: with "-" as its only sign, a digit on each side of a
    // point, and no zero in front of another digit.
    bool isCanonical = false;

    // Columns that the part before the point takes: a 0 where it has no other digit.
    int32_t Places() const;

    // Whether a double keeps all digits.
    bool FitsDouble() const;
};

// Nothing when the text is no such number. Borrows the text.
std::optional<PlainNumber> ReadPlainNumber(std::string_view text);

}  // namespace ovrashell
