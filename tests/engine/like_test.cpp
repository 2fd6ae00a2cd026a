// LIKE, SUBSTRING's bounds and the truth of a text. LIKE is also held against a matcher written
// straight from its rules, with its stack of places to go back to, over all short texts.

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "engine/text_operations.h"
#include "foundation/text_compare.h"

namespace ovrasql {
namespace {

TextView View(const std::string& text) {
    return TextView(text.data(), static_cast<int32_t>(text.size()));
}

bool Like(const std::string& text, const std::string& pattern, bool ignoreCase = false) {
    return TextIsLike(View(text), View(pattern), ignoreCase);
}

// The rules as they are told: two positions, and up to 99 places to go back to.
class LiteralMatcher {
  public:
    LiteralMatcher(const std::string& text, const std::string& pattern, bool ignoreCase)
        : text_(text), pattern_(pattern), ignoreCase_(ignoreCase) {}

    bool Matches() {
        while (true) {
            if (t_ == text_.size()) {
                while (p_ < pattern_.size() && pattern_[p_] == '%') {
                    ++p_;
                }
                if (p_ == pattern_.size()) {
                    return true;
                }
                if (!Retry()) {
                    return false;
                }
                continue;
            }
            if (p_ == pattern_.size()) {
                if (!Retry()) {
                    return false;
                }
                continue;
            }
            if (pattern_[p_] != '%') {
                if (Fits()) {
                    ++t_;
                    ++p_;
                } else if (!Retry()) {
                    return false;
                }
                continue;
            }
            while (p_ < pattern_.size() && pattern_[p_] == '%') {
                ++p_;
            }
            if (p_ == pattern_.size()) {
                return true;
            }
            while (t_ < text_.size() && !Fits()) {
                ++t_;
            }
            if (t_ == text_.size()) {
                return false;
            }
            ++t_;
            if (t_ < text_.size()) {
                if (points_.size() == 99) {
                    return false;
                }
                points_.push_back({t_, p_ - 1});
            }
            ++p_;
        }
    }

  private:
    struct Point {
        size_t text;
        size_t pattern;
    };
    bool Fits() const {
        const char p = pattern_[p_];
        const char t = text_[t_];
        return p == '_' || p == t || (ignoreCase_ && ToUpper(p) == ToUpper(t));
    }
    bool Retry() {
        if (points_.empty()) {
            return false;
        }
        t_ = points_.back().text;
        p_ = points_.back().pattern;
        points_.pop_back();
        return true;
    }

    const std::string& text_;
    const std::string& pattern_;
    bool ignoreCase_;
    size_t t_ = 0;
    size_t p_ = 0;
    std::vector<Point> points_;
};

TEST(Like, FollowsItsWildcards) {
    EXPECT_TRUE(Like("abc", "abc"));
    EXPECT_FALSE(Like("abc", "ab"));
    EXPECT_FALSE(Like("ab", "abc"));
    EXPECT_TRUE(Like("abc", "a%"));
    EXPECT_TRUE(Like("abc", "%c"));
    EXPECT_TRUE(Like("abc", "%b%"));
    EXPECT_TRUE(Like("abc", "a_c"));
    EXPECT_FALSE(Like("ac", "a_c"));
    EXPECT_TRUE(Like("abcabd", "%abd"));
    EXPECT_TRUE(Like("abc", "%_c"));
    EXPECT_TRUE(Like("abc", "___"));
    EXPECT_FALSE(Like("abc", "____"));
    EXPECT_TRUE(Like("a%c", "a%c"));
}

// A pattern can be a piece of a longer text.
TEST(Like, EndsWithItsPattern) {
    EXPECT_TRUE(TextIsLike("abc", TextView("a%%", 2), false));
    EXPECT_TRUE(TextIsLike("abc", TextView("abc%%", 4), false));
}

TEST(Like, MeetsTheEmptyText) {
    EXPECT_FALSE(Like("", "a%"));
    EXPECT_TRUE(Like("", "%"));
    EXPECT_TRUE(Like("", ""));
    EXPECT_FALSE(Like("", "_"));
    EXPECT_FALSE(Like("a", ""));
}

TEST(Like, AnyTextMatchesPercents) {
    for (const char* text : {"", "a", "abc", "a long text with blanks"}) {
        EXPECT_TRUE(Like(text, "%%%")) << text;
    }
}

TEST(Like, FoldsCaseOnlyWhenAsked) {
    EXPECT_FALSE(Like("ABC", "a%"));
    EXPECT_TRUE(Like("ABC", "a%", true));
    EXPECT_TRUE(Like("xABC", "%bC", true));
    // Only letters of ASCII fold.
    EXPECT_FALSE(Like("\xE4", "\xC4", true));
}

TEST(Like, HasNoEscapeCharacter) {
    EXPECT_FALSE(Like("100%", "100\\%"));
    EXPECT_TRUE(Like("100\\%", "100\\%"));
}

// Bytes between the runs: 99 runs with text left behind each still match, 100 do not.
TEST(Like, StopsAtNinetyNineRuns) {
    std::string pattern;
    std::string text;
    for (int run = 0; run < 99; ++run) {
        pattern += "%a";
        text += "ba";
    }
    EXPECT_TRUE(Like(text + "c", pattern + "c"));
    EXPECT_FALSE(Like("ba" + text + "c", "%a" + pattern + "c"));
    // The hundredth run is allowed where nothing is left behind its byte, or where it ends the
    // pattern.
    EXPECT_TRUE(Like("ba" + text, "%a" + pattern));
    EXPECT_TRUE(Like(text + "c", pattern + "%"));
}

TEST(Like, HardPatternsTakeNoTime) {
    const std::string text(20000, 'a');
    std::string pattern;
    for (int run = 0; run < 40; ++run) {
        pattern += "%a";
    }
    EXPECT_FALSE(Like(text, pattern + "b"));
    EXPECT_TRUE(Like(text, pattern));
}

std::string Word(uint32_t number, const std::string& letters, int32_t length) {
    std::string word;
    for (int32_t i = 0; i < length; ++i) {
        word += letters[number % letters.size()];
        number /= static_cast<uint32_t>(letters.size());
    }
    return word;
}

uint32_t Power(uint32_t base, int32_t exponent) {
    uint32_t power = 1;
    while (exponent-- > 0) {
        power *= base;
    }
    return power;
}

TEST(Like, EqualsItsRulesOverAllShortTexts) {
    const std::string letters = "ab";
    const std::string wild = "aB_%";
    for (int32_t textLength = 0; textLength <= 6; ++textLength) {
        for (uint32_t t = 0; t < Power(2, textLength); ++t) {
            const std::string text = Word(t, letters, textLength);
            for (int32_t patternLength = 0; patternLength <= 5; ++patternLength) {
                for (uint32_t p = 0; p < Power(4, patternLength); ++p) {
                    const std::string pattern = Word(p, wild, patternLength);
                    const bool folds = (p + t) % 2 == 0;
                    ASSERT_EQ(Like(text, pattern, folds),
                              LiteralMatcher(text, pattern, folds).Matches())
                        << text << " like " << pattern << " folded " << folds;
                }
            }
        }
    }
}

// Patterns of 96 to 102 runs over texts made from them: whether the limit strikes depends on what
// stands behind the last runs, and on how far the search has come when it does.
TEST(Like, EqualsItsRulesAroundTheLimit) {
    std::mt19937 random(99);
    const auto pick = [&random](uint32_t count) { return static_cast<uint32_t>(random() % count); };
    int32_t matches = 0;
    int32_t misses = 0;
    for (int32_t round = 0; round < 3000; ++round) {
        std::string text;
        std::string pattern;
        for (uint32_t runs = 96 + pick(7); runs > 0; --runs) {
            // No two runs want the same byte, so that the rules as told come to an end.
            const std::string byte(1, static_cast<char>('a' + runs % 26));
            pattern += "%" + byte;
            text += (pick(3) == 0 ? "-" : "") + byte;
        }
        text += pick(2) == 0 ? "z" : "";
        pattern += pick(3) == 0 ? "z" : (pick(2) == 0 ? "%" : "");
        pattern.erase(0, pick(2));
        const bool expected = LiteralMatcher(text, pattern, false).Matches();
        ASSERT_EQ(Like(text, pattern), expected) << text << " like " << pattern;
        ++(expected ? matches : misses);
    }
    EXPECT_GT(matches, 300);
    EXPECT_GT(misses, 300);
}

TEST(Substring, RaisesTheStartAndKeepsTheLength) {
    EXPECT_EQ(SubstringOf("abc", 0, 2), "ab");
    EXPECT_EQ(SubstringOf("abc", -5, 2), "ab");
    EXPECT_EQ(SubstringOf("abc", 1, 2), "ab");
    EXPECT_EQ(SubstringOf("abc", 2, 1), "b");
}

TEST(Substring, CutsTheLengthAtTheTextsEnd) {
    EXPECT_EQ(SubstringOf("abc", 3, 5), "c");
    EXPECT_EQ(SubstringOf("abc", 1, 3), "abc");
    EXPECT_EQ(SubstringOf("abc", 2, 2147483647), "bc");
}

TEST(Substring, IsEmptyOutsideTheText) {
    EXPECT_EQ(SubstringOf("abc", 4, 1), "");
    EXPECT_EQ(SubstringOf("abc", 2147483647, 2147483647), "");
    EXPECT_EQ(SubstringOf("abc", 2, 0), "");
    EXPECT_EQ(SubstringOf("abc", 2, -1), "");
    EXPECT_EQ(SubstringOf("", 1, 1), "");
}

TEST(TextTruth, ZeroesWithOnePointAreFalse) {
    for (const char* text : {"", "0", "00", "0.00", ".", "0.", ".0"}) {
        EXPECT_FALSE(TextIsTrue(text)) << text;
    }
    for (const char* text : {"0.0.0", "F", "1", " ", "-0", "0 ", "false", ".."}) {
        EXPECT_TRUE(TextIsTrue(text)) << text;
    }
}

TEST(CompareBytes, ShorterIsLessAfterEqualBytes) {
    EXPECT_LT(CompareBytes("ab", "abc", false), 0);
    EXPECT_GT(CompareBytes("abc", "ab", false), 0);
    EXPECT_EQ(CompareBytes("abc", "abc", false), 0);
    EXPECT_LT(CompareBytes("", "a", false), 0);
    EXPECT_GT(CompareBytes("a ", "a", false), 0);    // trailing blanks count
    EXPECT_GT(CompareBytes("\xFF", "a", false), 0);  // bytes are unsigned
}

TEST(CompareBytes, FoldsByUpperCase) {
    EXPECT_NE(CompareBytes("ABC", "abc", false), 0);
    EXPECT_EQ(CompareBytes("ABC", "abc", true), 0);
    // "_" stands between the cases: above the upper-case letters.
    EXPECT_GT(CompareBytes("_", "a", true), 0);
}

}  // namespace
}  // namespace ovrasql
