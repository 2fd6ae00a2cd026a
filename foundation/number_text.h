#pragma once

// Numbers to text and back, as in the "C" locale whatever the process has set. Nothing here
// allocates but the operations that give a String.

#include <cstdint>

#include "foundation/string.h"
#include "foundation/text_view.h"

namespace ovrasql {

// Room for any double with 0 to 255 decimals or -1, and for any integer, the NUL counted in:
// sign, 309 digits, point, 255 decimals.
inline constexpr int32_t kNumberTextRoom = 576;

// `decimals` is the number of digits behind the point; -1 asks for up to 20 without padding.
// The digits are the shortest that read back as the same double when those need no more decimals
// than asked; otherwise the exact value rounded to the decimals asked, ties to the even digit.
// Required: a value that rounds away keeps its sign, so -0.001 with 2 decimals is "-0.00".
// Infinities and NaN are "Infinity", "-Infinity", "NaN", "-NaN".
// Required: the stated capacity of a finite number is `decimals` + 3 + the number of digits or the
// place of the point, whichever is greater, and 1 more when the point is right in front of the
// first digit; where the text and its NUL need more, it is what they need.
[[nodiscard]] String DoubleToText(double value, int32_t decimals);

// The same into `out`, NUL-ended. Gives the length, or -1 with nothing written when it and the NUL
// do not fit into `room` bytes.
int32_t FormatDouble(double value, int32_t decimals, char* out, int32_t room);

[[nodiscard]] String IntegerToText(int32_t value);
int32_t FormatInteger(int32_t value, char* out, int32_t room);
// For record numbers and sizes.
int32_t FormatUnsigned(uint64_t value, char* out, int32_t room);

// An optional '-' and digits, nothing else: blanks and '+' are errors.
// On an error the value is 0 and `*error` becomes 1; otherwise `*error` is left alone.
// `error` may be null.
// Required: the value wraps at 32 bits without an error, and "-" alone is 0 without an error.
int32_t TextToInteger(TextView text, int32_t* error);

// The C rule for reading an integer off the head of a text: leading white space, a sign, digits up
// to the first other byte. Values out of range become the nearest; no digits give 0.
[[nodiscard]] int32_t TextToIntegerC(TextView text);

// The whole text as a number by the rules of the C library's strtod: leading white space, a sign,
// decimals, exponents, hexadecimals, infinities, NaNs. Text left over gives 0 and `*error` 1; a
// value too large gives an infinity and `*error` 1. `error` is left alone otherwise, and may be
// null. Required: empty text is 0 without an error.
double TextToDouble(TextView text, int32_t* error);

// A text's number, kept beside the text so that it is parsed once.
struct ParsedNumber {
    double value = 0;
    bool valid = false;  // the whole text is a number in range
};
[[nodiscard]] ParsedNumber ParseNumber(TextView text);

}  // namespace ovrasql
