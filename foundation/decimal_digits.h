#pragma once

// A double's decimal digits, with the results of David Gay's "dtoa" (1991). The digits themselves
// come from the standard library's exact conversions.

#include <cstdint>

namespace ovrasql {

// decimalPoint of an infinity or a NaN.
inline constexpr int32_t kNoDecimalPoint = 9999;

// Writes the digits of the value without sign and point, NUL-ended, without trailing zeros, and
// gives their number. `*decimalPoint` is where the point stands, counted from in front of the first
// digit.
// `*negative` is 1 when the sign bit is set, else 0.
//
// mode 0, 1   the shortest digits that read back as the same double
// mode 2      at most `digits` digits (at least 1), correctly rounded, ties to even
// mode 3      rounded at `digits` decimals (negative: in front of the point);
//             no digit when the value rounds away,
//             and then `*decimalPoint` is -digits
// mode 4, 5   as 2 and 3, but the digits of mode 0 when those are no more than asked
//
// Zero is the one digit "0" with the point behind it. An infinity or NaN gives the result 0, the
// point kNoDecimalPoint, and "Infinity" or "NaN" when the buffer has room for it. A buffer too
// small for the digits and the NUL gives -1 and is not written.
int32_t DoubleToDigits(char* buffer, int32_t bufferSize, double value, int32_t mode, int32_t digits,
                       int32_t* decimalPoint, int32_t* negative);

}  // namespace ovrasql
