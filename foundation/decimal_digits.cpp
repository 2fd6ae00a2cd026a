#include "foundation/decimal_digits.h"

#include <bit>
#include <charconv>
#include <cstring>

namespace ovrasql {

namespace {

// The digits of a positive finite value: 0.d1d2d3... times 10 to the power of `point`.
//
// 767 digits say any double exactly; what precision asks beyond that is zeros.
constexpr int32_t kMostDigits = 767;

struct Digits {
    char text[kMostDigits + 1];
    int32_t count = 0;
    int32_t point = 0;
};

void DropTrailingZeros(Digits& digits) {
    while (digits.count > 0 && digits.text[digits.count - 1] == '0') {
        --digits.count;
    }
}

// Takes the digits out of "d.ddde+xx".
void ReadScientific(const char* first, const char* last, Digits& digits) {
    digits.count = 0;
    for (; first < last && *first != 'e'; ++first) {
        if (*first != '.') {
            digits.text[digits.count++] = *first;
        }
    }
    int exponent = 0;
    const bool negative = first[1] == '-';
    std::from_chars(first + 2, last, exponent);
    digits.point = (negative ? -exponent : exponent) + 1;
    DropTrailingZeros(digits);
}

constexpr int32_t kScientificRoom = kMostDigits + 16;

void ShortestDigits(double value, Digits& digits) {
    char text[kScientificRoom];
    const auto end = std::to_chars(text, text + sizeof(text), value, std::chars_format::scientific);
    ReadScientific(text, end.ptr, digits);
}

// `count` significant digits, 1 or more, rounded to nearest, ties to even.
void SignificantDigits(double value, int32_t count, Digits& digits) {
    char text[kScientificRoom];
    const int32_t most = count < kMostDigits ? count : kMostDigits;
    const auto end =
        std::to_chars(text, text + sizeof(text), value, std::chars_format::scientific, most - 1);
    ReadScientific(text, end.ptr, digits);
}

// Rounded at a decimal behind the point. A double has at most 1074 decimals.
void RoundBehindPoint(double value, int32_t decimals, Digits& digits) {
    constexpr int32_t kMostDecimals = 1074;
    constexpr int32_t kFixedRoom = 309 + 1 + kMostDecimals + 1;
    char text[kFixedRoom];
    const int32_t asked = decimals < kMostDecimals ? decimals : kMostDecimals;
    const auto end =
        std::to_chars(text, text + sizeof(text), value, std::chars_format::fixed, asked);
    const int32_t length = static_cast<int32_t>(end.ptr - text);
    const int32_t pointAt = asked == 0 ? length : length - asked - 1;
    int32_t last = length - 1;
    while (last >= 0 && (text[last] == '0' || text[last] == '.')) {
        --last;
    }
    digits.count = 0;
    digits.point = -decimals;
    for (int32_t index = 0; index <= last; ++index) {
        if (text[index] == '.' || (text[index] == '0' && digits.count == 0)) {
            continue;
        }
        if (digits.count == 0) {
            digits.point = index < pointAt ? pointAt - index : pointAt - index + 1;
        }
        digits.text[digits.count++] = text[index];
    }
}

// Rounded at the digit of ten to the power of `places`, 1 or more. The exact digits are looked at,
// since a value just below a power of ten has its first digit one place lower.
void RoundBeforePoint(double value, int32_t places, Digits& digits) {
    SignificantDigits(value, kMostDigits, digits);
    const int64_t kept = int64_t{digits.point} - places;
    // A tie goes to the even digit, which is 0 when no digit is kept.
    const bool overHalf = digits.text[0] > '5' || (digits.text[0] == '5' && digits.count > 1);
    if (kept > 0) {
        SignificantDigits(value, static_cast<int32_t>(kept), digits);
    } else if (kept == 0 && overHalf) {
        digits.text[0] = '1';
        digits.count = 1;
        digits.point = places + 1;
    } else {
        digits.count = 0;
        digits.point = places;
    }
}

void FixedDigits(double value, int32_t decimals, Digits& digits) {
    if (decimals >= 0) {
        RoundBehindPoint(value, decimals, digits);
    } else {
        RoundBeforePoint(value, decimals < -kMostDigits ? kMostDigits : -decimals, digits);
    }
}

void MakeDigits(double value, int32_t mode, int32_t asked, Digits& digits) {
    const int32_t significant = asked < 1 ? 1 : asked;
    if (mode == 2) {
        SignificantDigits(value, significant, digits);
        return;
    }
    if (mode == 3) {
        FixedDigits(value, asked, digits);
        return;
    }
    ShortestDigits(value, digits);
    if (mode == 4 && digits.count > significant) {
        SignificantDigits(value, significant, digits);
    }
    if (mode == 5 && int64_t{digits.count} - digits.point > asked) {
        FixedDigits(value, asked, digits);
    }
}

int32_t PutDigits(char* buffer, int32_t bufferSize, const char* text, int32_t length) {
    if (bufferSize <= length) {
        return -1;
    }
    std::memcpy(buffer, text, static_cast<size_t>(length));
    buffer[length] = '\0';
    return length;
}

}  // namespace

int32_t DoubleToDigits(char* buffer, int32_t bufferSize, double value, int32_t mode, int32_t digits,
                       int32_t* decimalPoint, int32_t* negative) {
    constexpr uint64_t kSign = uint64_t{1} << 63;
    constexpr uint64_t kExponent = uint64_t{0x7FF} << 52;
    const uint64_t bits = std::bit_cast<uint64_t>(value);
    *negative = (bits & kSign) != 0 ? 1 : 0;
    const uint64_t magnitude = bits & ~kSign;
    if ((magnitude & kExponent) == kExponent) {
        *decimalPoint = kNoDecimalPoint;
        const bool infinite = magnitude == kExponent;
        PutDigits(buffer, bufferSize, infinite ? "Infinity" : "NaN", infinite ? 8 : 3);
        return 0;
    }
    if (magnitude == 0) {
        *decimalPoint = 1;
        return PutDigits(buffer, bufferSize, "0", 1);
    }
    Digits made;
    MakeDigits(std::bit_cast<double>(magnitude), mode, digits, made);
    *decimalPoint = made.point;
    return PutDigits(buffer, bufferSize, made.text, made.count);
}

}  // namespace ovrasql
