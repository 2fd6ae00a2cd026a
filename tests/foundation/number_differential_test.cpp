// Numbers against the C library, over random texts and values: in the "C" locale strtod and printf
// are the reference where the dialect says so. Seeds are fixed.

#include <gtest/gtest.h>
#include <locale.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>

#include "foundation/number_text.h"
#include "tests/foundation/foundation_support.h"

namespace ovrasql {
namespace {

using Random = std::mt19937_64;

int32_t Below(Random& random, int32_t bound) {
    return static_cast<int32_t>(random() % static_cast<uint64_t>(bound));
}

std::string RandomDigits(Random& random, int32_t most, const std::string& letters) {
    std::string digits;
    for (int32_t left = Below(random, most); left > 0; --left) {
        digits += letters[static_cast<size_t>(Below(random, static_cast<int32_t>(letters.size())))];
    }
    return digits;
}

// The C library's answer in the "C" locale, whatever locale the program runs in.
template <class Function>
auto InPlainLocale(Function ask) {
    static const locale_t plain = ::newlocale(LC_ALL_MASK, "C", nullptr);
    const locale_t before = ::uselocale(plain);
    const auto answer = ask();
    ::uselocale(before);
    return answer;
}

template <size_t room, class... Values>
void Print(char (&text)[room], const char* format, Values... values) {
    InPlainLocale([&] { return std::snprintf(text, room, format, values...); });
}

struct Reference {
    double value = 0;
    int32_t error = 0;
};

// strtod over the whole text. The special words need no rule of their own: strtod takes them too.
Reference Strtod(const std::string& text) {
    Reference reference;
    char* end = nullptr;
    errno = 0;
    reference.value = InPlainLocale([&] { return std::strtod(text.c_str(), &end); });
    if (end != text.c_str() + text.size()) {
        return Reference{0, 1};
    }
    reference.error = std::isinf(reference.value) && errno == ERANGE ? 1 : 0;
    return reference;
}

::testing::AssertionResult ReadsLikeStrtod(const std::string& text) {
    const Reference expected = Strtod(text);
    int32_t error = 0;
    const double value = TextToDouble(View(text), &error);
    const bool sameValue =
        std::isnan(expected.value)
            ? std::isnan(value) && std::signbit(value) == std::signbit(expected.value)
            : std::bit_cast<uint64_t>(value) == std::bit_cast<uint64_t>(expected.value);
    if (sameValue && error == expected.error) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure()
           << "'" << text << "' gives " << value << " error " << error << ", not " << expected.value
           << " error " << expected.error;
}

TEST(NumberDifferential, RandomCharactersReadLikeStrtod) {
    Random random(1);
    const std::string letters = "012345678901234567890123456789.+-eExXpPaAbBfFnNiItTyY() \t\n_";
    for (int32_t round = 0; round < 300000; ++round) {
        ASSERT_TRUE(ReadsLikeStrtod(RandomDigits(random, 12, letters)));
    }
}

TEST(NumberDifferential, RandomDecimalsReadLikeStrtod) {
    Random random(2);
    const std::string digits = "0123456789";
    for (int32_t round = 0; round < 200000; ++round) {
        std::string text = Below(random, 3) == 0 ? "-" : "";
        text += RandomDigits(random, 25, digits);
        if (Below(random, 2) == 0) {
            text += "." + RandomDigits(random, 30, digits);
        }
        if (Below(random, 3) == 0) {
            const char* const signs[] = {"e", "E+", "e-"};
            text += signs[Below(random, 3)] + std::to_string(Below(random, 400));
        }
        ASSERT_TRUE(ReadsLikeStrtod(text));
    }
}

TEST(NumberDifferential, RandomHexadecimalsReadLikeStrtod) {
    Random random(3);
    const std::string digits = "0123456789abcdefABCDEF";
    for (int32_t round = 0; round < 100000; ++round) {
        std::string text = Below(random, 3) == 0 ? "-0x" : "0X";
        text += RandomDigits(random, 25, digits);
        if (Below(random, 2) == 0) {
            text += "." + RandomDigits(random, 30, digits);
        }
        if (Below(random, 2) == 0) {
            const char* const signs[] = {"p", "P+", "p-"};
            text += signs[Below(random, 3)] + std::to_string(Below(random, 1200));
        }
        ASSERT_TRUE(ReadsLikeStrtod(text));
    }
}

// Any bit pattern, written with 17 digits, with all its digits and in hexadecimal.
TEST(NumberDifferential, EveryKindOfDoubleReadsBack) {
    Random random(4);
    char text[1600];
    for (int32_t round = 0; round < 50000; ++round) {
        const double value = std::bit_cast<double>(random());
        Print(text, "%.17g", value);
        ASSERT_TRUE(ReadsLikeStrtod(text));
        Print(text, "%a", value);
        ASSERT_TRUE(ReadsLikeStrtod(text));
        if (round % 50 == 0) {
            Print(text, "%.1100f", value);
            ASSERT_TRUE(ReadsLikeStrtod(text));
        }
    }
}

// The middle between two doubles, all digits written out, and a digit to either side of it.
TEST(NumberDifferential, TextsAtTheMiddleBetweenTwoDoublesRoundLikeStrtod) {
    Random random(5);
    for (int32_t round = 0; round < 20000; ++round) {
        const uint64_t whole = (uint64_t{1} << 53) + (random() >> 12) * 2 + 1;
        std::string text = std::to_string(whole);
        ASSERT_TRUE(ReadsLikeStrtod(text));
        ASSERT_TRUE(ReadsLikeStrtod(text + ".0000000000000000000000000001"));
        ASSERT_TRUE(ReadsLikeStrtod(std::to_string(whole - 1) + ".9999999999999999999999999"));
    }
}

// --- Writing

// The shortest digits that read back, found by trying, and the decimals they need.
struct Shortest {
    std::string digits;
    int32_t exponent = 0;  // of the first digit
};

Shortest FindShortest(double magnitude) {
    char text[64];
    for (int32_t precision = 0; precision < 17; ++precision) {
        Print(text, "%.*e", precision, magnitude);
        if (InPlainLocale([&] { return std::strtod(text, nullptr); }) == magnitude) {
            break;
        }
    }
    Shortest shortest;
    const char* at = text;
    for (; *at != 'e'; ++at) {
        if (*at != '.') {
            shortest.digits += *at;
        }
    }
    while (shortest.digits.size() > 1 && shortest.digits.back() == '0') {
        shortest.digits.pop_back();
    }
    shortest.exponent = std::atoi(at + 1);
    return shortest;
}

std::string PutPoint(const Shortest& number, int32_t decimals) {
    std::string digits = number.digits;
    size_t wholeDigits = 1;
    if (number.exponent < 0) {
        digits.insert(0, static_cast<size_t>(-number.exponent), '0');
    } else {
        wholeDigits = static_cast<size_t>(number.exponent) + 1;
        digits.resize(std::max(digits.size(), wholeDigits), '0');
    }
    std::string behind = digits.substr(wholeDigits);
    if (decimals > 0) {
        behind.resize(std::max(behind.size(), static_cast<size_t>(decimals)), '0');
    }
    return digits.substr(0, wholeDigits) + (behind.empty() ? "" : "." + behind);
}

std::string ExpectedText(double value, int32_t decimals) {
    const int32_t asked = decimals == -1 ? 20 : decimals;
    const std::string sign = std::signbit(value) ? "-" : "";
    const double magnitude = std::fabs(value);
    if (magnitude == 0) {
        return sign + PutPoint(Shortest{"0", 0}, decimals);
    }
    const Shortest shortest = FindShortest(magnitude);
    if (static_cast<int32_t>(shortest.digits.size()) - 1 - shortest.exponent <= asked) {
        return sign + PutPoint(shortest, decimals);
    }
    char text[800];
    Print(text, "%.*f", asked, magnitude);
    std::string exact = text;
    if (decimals == -1) {
        exact.erase(exact.find_last_not_of('0') + 1);
        exact.erase(exact.find_last_not_of('.') + 1);
    }
    return sign + exact;
}

::testing::AssertionResult WritesAsExpected(double value, int32_t decimals) {
    char out[kNumberTextRoom];
    const int32_t length = FormatDouble(value, decimals, out, kNumberTextRoom);
    const std::string expected = ExpectedText(value, decimals);
    if (expected == out && length == static_cast<int32_t>(expected.size())) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure()
           << value << " with " << decimals << " decimals gives " << out << ", not " << expected;
}

TEST(NumberDifferential, EveryKindOfDoubleIsWrittenAsTheRuleSays) {
    Random random(6);
    for (int32_t round = 0; round < 30000; ++round) {
        const double value = std::bit_cast<double>(random());
        if (std::isfinite(value)) {
            ASSERT_TRUE(WritesAsExpected(value, Below(random, 40) - 1));
        }
    }
}

TEST(NumberDifferential, QuotientsAndBinaryFractionsAreWrittenAsTheRuleSays) {
    Random random(7);
    for (int32_t round = 0; round < 30000; ++round) {
        const double whole = static_cast<double>(static_cast<int64_t>(random() >> 30));
        const int32_t decimals = Below(random, 22) - 1;
        ASSERT_TRUE(WritesAsExpected(-whole / (Below(random, 1000) + 1), decimals));
        // These have many exact ties.
        ASSERT_TRUE(
            WritesAsExpected(whole / static_cast<double>(1 << Below(random, 12)), decimals));
        ASSERT_TRUE(WritesAsExpected(whole / 1000, decimals));
    }
}

TEST(NumberDifferential, WholeNumbersAreWrittenAsTheRuleSays) {
    Random random(8);
    for (int32_t round = 0; round < 50000; ++round) {
        const double value = std::floor(
            std::ldexp(1.0 + static_cast<double>(random() >> 12) * 0x1p-52, Below(random, 70)));
        ASSERT_TRUE(WritesAsExpected(value, Below(random, 5) - 1));
    }
}

// With few enough decimals that no shortest digits come between, printing is the rule itself.
TEST(NumberDifferential, ThirdsAreWrittenLikePrintf) {
    for (int32_t number = 1; number < 20000; ++number) {
        const double value = number / 3.0 + 1.0 / 7;
        char expected[64];
        Print(expected, "%.*f", number % 9, value);
        char out[kNumberTextRoom];
        FormatDouble(value, number % 9, out, kNumberTextRoom);
        ASSERT_STREQ(out, expected);
    }
}

}  // namespace
}  // namespace ovrasql
