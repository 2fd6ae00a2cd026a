// Text to numbers: the half of number_text.h that reads.

#include <bit>
#include <charconv>
#include <limits>

#include "foundation/number_text.h"
#include "foundation/powers_of_ten.h"
#include "foundation/text_compare.h"

namespace ovrasql {

namespace {

constexpr uint64_t kMostExactWhole = uint64_t{1} << 53;

// As many digits as a 64-bit word holds whatever they are.
constexpr int32_t kWordDigits = 19;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

void SetError(int32_t* error) {
    if (error != nullptr) {
        *error = 1;
    }
}

double WithSign(double magnitude, bool negative) { return negative ? -magnitude : magnitude; }

// Adds the digits that follow to the word; gives where they end.
const char* TakeDigits(const char* at, const char* end, uint64_t* whole) {
    uint64_t taken = *whole;
    for (; at < end && IsDigit(*at); ++at) {
        taken = taken * 10 + static_cast<uint64_t>(*at - '0');
    }
    *whole = taken;
    return at;
}

// Digits with at most one point and a '-' in front, the form that numbers in files and statements
// have. A whole number and a power of ten that are both exact give a correctly rounded quotient in
// one division; anything else is left to the full road. Gives whether `*value` is the number.
bool ParsePlain(TextView text, double* value) {
    const char* at = text.begin();
    const char* const end = text.end();
    const bool negative = at < end && *at == '-';
    at += negative ? 1 : 0;
    const char* const digits = at;
    while (at < end && *at == '0') {
        ++at;
    }
    // Leading zeros apart, digits are counted and not watched: a word that has run over is dropped.
    const char* const significant = at;
    uint64_t whole = 0;
    at = TakeDigits(at, end, &whole);
    int64_t decimals = 0;
    int64_t pointLength = 0;
    if (at < end && *at == '.') {
        const char* const behind = at + 1;
        at = TakeDigits(behind, end, &whole);
        decimals = at - behind;
        pointLength = 1;
    }
    if (at != end || at - digits == pointLength || at - significant - pointLength > kWordDigits) {
        return false;
    }
    if (decimals == 0) {
        *value = WithSign(static_cast<double>(whole), negative);
        return true;
    }
    if (whole > kMostExactWhole || decimals > kMostExactPower) {
        return false;
    }
    *value = WithSign(static_cast<double>(whole) / kPowersOfTen[decimals], negative);
    return true;
}

// Required: the special words are told by the length of the text alone, so they stand without
// blanks and without '+'.
bool ParseSpecialWord(TextView text, double* value) {
    const bool negative = text.length > 0 && text[0] == '-';
    const TextView word = text.Part(negative ? 1 : 0);
    if (EqualsNoCase(word, "nan")) {
        *value = WithSign(kNaN, negative);
        return true;
    }
    if (EqualsNoCase(word, "inf") || EqualsNoCase(word, "infinity")) {
        *value = WithSign(kInfinity, negative);
        return true;
    }
    return false;
}

bool IsHexDigit(char c) {
    const char lower = ToLower(c);
    return IsDigit(c) || (lower >= 'a' && lower <= 'f');
}

// The outline of a number in digits of one base: where its parts lie and how large it is.
struct NumberOutline {
    bool valid = false;
    bool isZero = true;
    int64_t firstDigit = 0;  // places from the point to the first digit that is not 0
    int64_t exponent = 0;    // the written exponent, held within the limits below
};

constexpr int64_t kMostExponent = 1'000'000'000'000;

// exponent: ( "e" | "p" ) [ "+" | "-" ] digit { digit }
bool OutlineExponent(const char* at, const char* end, int64_t* exponent) {
    const bool negative = at < end && *at == '-';
    at += at < end && (*at == '-' || *at == '+') ? 1 : 0;
    if (at == end) {
        return false;
    }
    for (; at < end; ++at) {
        if (!IsDigit(*at)) {
            return false;
        }
        if (*exponent < kMostExponent) {
            *exponent = *exponent * 10 + (*at - '0');
        }
    }
    *exponent = negative ? -*exponent : *exponent;
    return true;
}

// number: { digit } [ "." { digit } ] [ exponent ], with at least one digit, up to the text's end
NumberOutline OutlineNumber(TextView text, bool (*isDigit)(char), char exponentLetter) {
    NumberOutline outline;
    const char* at = text.begin();
    const char* const end = text.end();
    int64_t digitCount = 0;
    int64_t decimals = 0;
    bool seenPoint = false;
    for (; at < end && (isDigit(*at) || (*at == '.' && !seenPoint)); ++at) {
        if (*at == '.') {
            seenPoint = true;
            continue;
        }
        ++digitCount;
        decimals += seenPoint ? 1 : 0;
        if (outline.isZero && *at != '0') {
            outline.isZero = false;
            outline.firstDigit = digitCount;
        }
    }
    // So far counted from the text's head; the point stands behind the whole digits.
    outline.firstDigit = digitCount - decimals - outline.firstDigit;
    outline.valid = digitCount > 0;
    if (outline.valid && at < end) {
        outline.valid =
            ToLower(*at) == exponentLetter && OutlineExponent(at + 1, end, &outline.exponent);
    }
    return outline;
}

// nan [ "(" { letter | digit | "_" } ")" ]
bool IsLongNaN(TextView text) {
    if (text.length < 5 || !EqualsNoCase(text.Part(0, 3), "nan") || text[3] != '(' ||
        text[text.length - 1] != ')') {
        return false;
    }
    for (int32_t index = 4; index < text.length - 1; ++index) {
        if (!IsAlnum(text[index]) && text[index] != '_') {
            return false;
        }
    }
    return true;
}

// A number without a sign, by the C library's rules. Gives false when the text is not a whole
// number text; `*overflows` tells a value too large.
bool ParseMagnitude(TextView text, double* value, bool* overflows) {
    if (ParseSpecialWord(text, value) && text[0] != '-') {
        return true;
    }
    if (IsLongNaN(text)) {
        *value = kNaN;
        return true;
    }
    const bool isHex = text.length > 2 && text[0] == '0' && ToLower(text[1]) == 'x';
    const TextView digits = isHex ? text.Part(2) : text;
    const NumberOutline outline = isHex ? OutlineNumber(digits, IsHexDigit, 'p')
                                        : OutlineNumber(
                                              digits, [](char c) { return IsDigit(c); }, 'e');
    if (!outline.valid) {
        return false;
    }
    *value = 0;
    if (outline.isZero) {
        return true;
    }
    // A hexadecimal digit is four binary places, which its exponent counts in.
    const int64_t size = outline.firstDigit * (isHex ? 4 : 1) + outline.exponent;
    const std::from_chars_result result =
        std::from_chars(digits.begin(), digits.end(), *value,
                        isHex ? std::chars_format::hex : std::chars_format::general);
    if (result.ec == std::errc::result_out_of_range) {
        // Too small a value is 0, which is no error.
        *overflows = size > 0;
        *value = size > 0 ? kInfinity : 0;
    }
    return true;
}

double ParseAny(TextView text, int32_t* error) {
    double value = 0;
    if (text.length == 0 || ParseSpecialWord(text, &value)) {
        return value;
    }
    int32_t start = 0;
    while (start < text.length && IsSpace(text[start])) {
        ++start;
    }
    const bool negative = start < text.length && text[start] == '-';
    start += start < text.length && (text[start] == '-' || text[start] == '+') ? 1 : 0;
    bool overflows = false;
    if (!ParseMagnitude(text.Part(start), &value, &overflows)) {
        SetError(error);
        return 0;
    }
    if (overflows) {
        SetError(error);
    }
    return WithSign(value, negative);
}

}  // namespace

double TextToDouble(TextView text, int32_t* error) {
    double value = 0;
    return ParsePlain(text, &value) ? value : ParseAny(text, error);
}

ParsedNumber ParseNumber(TextView text) {
    int32_t error = 0;
    ParsedNumber number;
    number.value = TextToDouble(text, &error);
    number.valid = error == 0;
    return number;
}

int32_t TextToInteger(TextView text, int32_t* error) {
    const bool negative = text.length > 0 && text[0] == '-';
    const int32_t first = negative ? 1 : 0;
    uint32_t value = 0;
    uint32_t place = 1;
    for (int32_t index = text.length - 1; index >= first; --index) {
        if (!IsDigit(text[index])) {
            SetError(error);
            return 0;
        }
        value += static_cast<uint32_t>(text[index] - '0') * place;
        place *= 10;
    }
    if (text.length == 0) {
        SetError(error);
    }
    return static_cast<int32_t>(negative ? 0 - value : value);
}

int32_t TextToIntegerC(TextView text) {
    constexpr int64_t kMost = std::numeric_limits<int32_t>::max();
    const char* at = text.begin();
    const char* const end = text.end();
    while (at < end && IsSpace(*at)) {
        ++at;
    }
    const bool negative = at < end && *at == '-';
    at += at < end && (*at == '-' || *at == '+') ? 1 : 0;
    int64_t value = 0;
    for (; at < end && IsDigit(*at) && value <= kMost; ++at) {
        value = value * 10 + (*at - '0');
    }
    value = negative ? -value : value;
    value = value > kMost ? kMost : value;
    return static_cast<int32_t>(value < -kMost - 1 ? -kMost - 1 : value);
}

}  // namespace ovrasql
