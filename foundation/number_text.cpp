#include "foundation/number_text.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <utility>

#include "foundation/decimal_digits.h"
#include "foundation/powers_of_ten.h"

namespace ovrasql {

namespace {

constexpr int32_t kDefaultDecimals = 20;

// In mode 5 there are never more than the 17 digits that say any double, so a text is short but for
// its zeros.
constexpr int32_t kDigitRoom = 24;

// A double as digits, ready to be laid out: 0.d1d2d3... times 10 to the power of `point`.
struct DecimalNumber {
    char digits[kDigitRoom];
    int32_t count = 0;
    int32_t point = 0;
    int32_t negative = 0;
};

constexpr char kDigitPairs[] =
    "0001020304050607080910111213141516171819202122232425262728293031323334353637383940414243444546"
    "4748495051525354555657585960616263646566676869707172737475767778798081828384858687888990919293"
    "949596979899";

// Writes the digits so that they end in front of `end`; gives where they begin.
char* WriteDigitsBackward(uint64_t value, char* end) {
    while (value >= 100) {
        end -= 2;
        std::memcpy(end, kDigitPairs + value % 100 * 2, 2);
        value /= 100;
    }
    if (value >= 10) {
        end -= 2;
        std::memcpy(end, kDigitPairs + value * 2, 2);
    } else {
        *--end = static_cast<char>('0' + value);
    }
    return end;
}

// Copies a finished text out when it fits.
int32_t PutText(const char* text, int32_t length, char* out, int32_t room) {
    if (room <= length) {
        return -1;
    }
    std::memcpy(out, text, static_cast<size_t>(length));
    out[length] = '\0';
    return length;
}

int32_t PutSpecial(bool negative, bool infinite, char* out, int32_t room) {
    const char* text = infinite ? "-Infinity" : "-NaN";
    const TextView word(negative ? text : text + 1);
    return PutText(word.data, word.length, out, room);
}

// The value as a whole number of 10 to the power of -decimals, when plain arithmetic is certain of
// the digits.
//
// Below 2^42 the product is off by no more than 2^-12, so rounding it is right unless it lies near
// the middle between two whole numbers. When the shortest digits need no more decimals than asked
// they are these same digits, since they lie just as near to the product.
bool ScaleExactly(double magnitude, int32_t decimals, uint64_t* scaled) {
    constexpr double kMostProduct = 4398046511104.0;
    constexpr double kTooNear = 1.0 / 1024;
    if (decimals < 0 || decimals > kMostExactPower) {
        return false;
    }
    const double product = magnitude * kPowersOfTen[decimals];
    if (!(product < kMostProduct)) {
        return false;
    }
    const uint64_t whole = static_cast<uint64_t>(product);
    const double rest = product - static_cast<double>(whole);
    if (rest > 0.5 - kTooNear && rest < 0.5 + kTooNear) {
        return false;
    }
    *scaled = whole + (rest > 0.5 ? 1 : 0);
    return true;
}

// The shortest digits, when they have few decimals. A decimal number of up to 15 digits that reads
// back as the value is the only one of that length, so without its trailing zeros it is the
// shortest.
bool ScaleShortest(double magnitude, uint64_t* scaled, int32_t* decimals) {
    constexpr int32_t kTriedDecimals = 6;
    constexpr double kMostDigits = 1e15;
    const double product = magnitude * kPowersOfTen[kTriedDecimals];
    if (!(product < kMostDigits - 1)) {
        return false;
    }
    uint64_t whole = static_cast<uint64_t>(product);
    whole += product - static_cast<double>(whole) >= 0.5 ? 1 : 0;
    if (static_cast<double>(whole) / kPowersOfTen[kTriedDecimals] != magnitude) {
        return false;
    }
    *decimals = kTriedDecimals;
    while (whole % 10 == 0 && *decimals > 0) {
        whole /= 10;
        --*decimals;
    }
    *scaled = whole;
    return true;
}

// A whole number of 10 to the power of -decimals, as text.
int32_t PutScaled(bool negative, uint64_t scaled, int32_t decimals, char* out, int32_t room) {
    constexpr int32_t kScaledRoom = 48;
    char text[kScaledRoom];
    char* const end = text + kScaledRoom;
    char* begin = WriteDigitsBackward(scaled, end);
    while (end - begin <= decimals) {
        *--begin = '0';
    }
    if (decimals > 0) {
        const size_t wholeDigits = static_cast<size_t>(end - begin - decimals);
        std::memmove(begin - 1, begin, wholeDigits);
        --begin;
        begin[wholeDigits] = '.';
    }
    if (negative) {
        *--begin = '-';
    }
    return PutText(begin, static_cast<int32_t>(end - begin), out, room);
}

// A whole number below 2^53, with its decimals all 0.
int32_t PutWhole(bool negative, uint64_t whole, int32_t decimals, char* out, int32_t room) {
    char text[kDigitRoom];
    char* const end = text + kDigitRoom;
    char* begin = WriteDigitsBackward(whole, end);
    if (negative) {
        *--begin = '-';
    }
    const int32_t length = static_cast<int32_t>(end - begin);
    const int32_t zeros = decimals > 0 ? decimals : 0;
    const int64_t full = int64_t{length} + (zeros > 0 ? 1 : 0) + zeros;
    if (room <= full) {
        return -1;
    }
    std::memcpy(out, begin, static_cast<size_t>(length));
    if (zeros > 0) {
        out[length] = '.';
        std::memset(out + length + 1, '0', static_cast<size_t>(zeros));
    }
    out[full] = '\0';
    return static_cast<int32_t>(full);
}

DecimalNumber DigitsOf(double value, int32_t decimals) {
    DecimalNumber number;
    number.count = DoubleToDigits(number.digits, kDigitRoom, value, 5,
                                  decimals == -1 ? kDefaultDecimals : decimals, &number.point,
                                  &number.negative);
    return number;
}

// Lays the digits out around the point. `decimals` is what was asked: -1 pads nothing.
class NumberLayout {
  public:
    NumberLayout(const DecimalNumber& number, int32_t decimals)
        : number_(number),
          decimals_(decimals),
          wholeDigits_(number.point > 0 ? number.point : 1),
          // A number below 1 has zeros between the point and its first digit.
          leadingZeros_(number.point < 0 ? -number.point : 0),
          digitsBehind_(number.count - (number.point > 0 ? number.point : 0)) {
        if (digitsBehind_ < 0) {
            digitsBehind_ = 0;
        }
        const bool hasPoint = decimals_ > 0 || digitsBehind_ > 0;
        if (!hasPoint) {
            leadingZeros_ = 0;
        }
        const int64_t behind = int64_t{leadingZeros_} + digitsBehind_;
        padding_ = hasPoint && decimals_ > behind ? static_cast<int32_t>(decimals_ - behind) : 0;
        length_ = int64_t{number.negative} + wholeDigits_ + (hasPoint ? 1 : 0) + behind + padding_;
        hasPoint_ = hasPoint;
    }

    [[nodiscard]] int64_t Length() const { return length_; }

    void Write(char* out) const {
        if (number_.negative != 0) {
            *out++ = '-';
        }
        int32_t taken = 0;
        for (int32_t index = 0; index < wholeDigits_; ++index) {
            const bool hasDigit = number_.point > 0 && taken < number_.count;
            *out++ = hasDigit ? number_.digits[taken++] : '0';
        }
        if (hasPoint_) {
            *out++ = '.';
            out = Fill(out, leadingZeros_);
            std::memcpy(out, number_.digits + taken, static_cast<size_t>(digitsBehind_));
            out = Fill(out + digitsBehind_, padding_);
        }
        *out = '\0';
    }

  private:
    static char* Fill(char* out, int32_t count) {
        std::memset(out, '0', static_cast<size_t>(count));
        return out + count;
    }

    const DecimalNumber& number_;
    int32_t decimals_;
    int32_t wholeDigits_;
    int32_t leadingZeros_;
    int32_t digitsBehind_;
    int32_t padding_ = 0;
    int64_t length_ = 0;
    bool hasPoint_ = false;
};

// The way that works for every finite value.
int32_t PutAnyDouble(double value, int32_t decimals, char* out, int32_t room) {
    const DecimalNumber number = DigitsOf(value, decimals);
    const NumberLayout layout(number, decimals);
    if (room <= layout.Length()) {
        return -1;
    }
    layout.Write(out);
    return static_cast<int32_t>(layout.Length());
}

// The size of a number's buffer, before it is known how the digits lie around the point. For some
// numbers it is too small.
int64_t StatedSize(const DecimalNumber& number, int32_t decimals) {
    constexpr int32_t kSignPointAndNul = 3;
    return int64_t{decimals} + kSignPointAndNul + std::max(number.count, number.point) +
           (number.point == 0 ? 1 : 0);
}

// A text in a buffer of just its size.
String ExactString(const char* text, int32_t length) {
    auto exact = std::make_unique_for_overwrite<char[]>(static_cast<size_t>(length) + 1);
    std::memcpy(exact.get(), text, static_cast<size_t>(length));
    return String(std::move(exact), length, length + 1);
}

}  // namespace

int32_t FormatDouble(double value, int32_t decimals, char* out, int32_t room) {
    constexpr uint64_t kSign = uint64_t{1} << 63;
    constexpr uint64_t kInfinity = uint64_t{0x7FF} << 52;
    constexpr double kMostWhole = 9007199254740992.0;
    const uint64_t bits = std::bit_cast<uint64_t>(value);
    const bool negative = (bits & kSign) != 0;
    const uint64_t magnitudeBits = bits & ~kSign;
    if (magnitudeBits >= kInfinity) {
        return PutSpecial(negative, magnitudeBits == kInfinity, out, room);
    }
    const double magnitude = std::bit_cast<double>(magnitudeBits);
    if (magnitude < kMostWhole && decimals >= -1) {
        const uint64_t whole = static_cast<uint64_t>(magnitude);
        if (static_cast<double>(whole) == magnitude) {
            return PutWhole(negative, whole, decimals, out, room);
        }
    }
    uint64_t scaled = 0;
    int32_t scale = decimals;
    if (decimals == -1 ? ScaleShortest(magnitude, &scaled, &scale)
                       : ScaleExactly(magnitude, decimals, &scaled)) {
        return PutScaled(negative, scaled, scale, out, room);
    }
    return PutAnyDouble(value, decimals, out, room);
}

String DoubleToText(double value, int32_t decimals) {
    const DecimalNumber number = DigitsOf(value, decimals);
    if (number.point == kNoDecimalPoint) {
        char word[kDigitRoom];
        return ExactString(word, FormatDouble(value, decimals, word, kDigitRoom));
    }
    const NumberLayout layout(number, decimals);
    const int64_t size = std::max(StatedSize(number, decimals), layout.Length() + 1);
    if (size > std::numeric_limits<int32_t>::max()) {
        throw std::bad_alloc();
    }
    auto buffer = std::make_unique_for_overwrite<char[]>(static_cast<size_t>(size));
    layout.Write(buffer.get());
    return String(std::move(buffer), static_cast<int32_t>(layout.Length()),
                  static_cast<int32_t>(size));
}

String IntegerToText(int32_t value) {
    char text[kDigitRoom];
    return ExactString(text, FormatInteger(value, text, kDigitRoom));
}

int32_t FormatInteger(int32_t value, char* out, int32_t room) {
    const bool negative = value < 0;
    const uint64_t magnitude = static_cast<uint64_t>(negative ? -int64_t{value} : int64_t{value});
    return PutWhole(negative, magnitude, 0, out, room);
}

int32_t FormatUnsigned(uint64_t value, char* out, int32_t room) {
    return PutWhole(false, value, 0, out, room);
}

}  // namespace ovrasql
