#include "language/scanner.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

// The scanner's rules are few and odd: no comments, no escapes, one kind for numbers and strings.

namespace ovrasql {
namespace {

std::string Copy(TextView text) { return std::string(text.data, static_cast<size_t>(text.length)); }

// Every token of a text as "code:text", without the end.
std::vector<std::string> Tokens(const std::string& text) {
    Scanner scanner;
    scanner.Start(TextView(text.data(), static_cast<int32_t>(text.size())));
    std::vector<std::string> tokens;
    while (scanner.NextToken() != token::kTokenEnd) {
        tokens.push_back(std::to_string(scanner.Token()) + ":" + Copy(scanner.TokenText()));
    }
    EXPECT_EQ(Copy(scanner.TokenText()), "");
    return tokens;
}

using Expected = std::vector<std::string>;

TEST(Scanner, FindsKeywordsInAnyCaseAndKeepsTheirSpelling) {
    EXPECT_EQ(Tokens("SeLeCt"), Expected({"175:SeLeCt"}));
    EXPECT_EQ(Tokens("Disconect disconnect"), Expected({"65:Disconect", "-2:disconnect"}));
    EXPECT_EQ(Tokens("ifnull recno"), Expected({"226:ifnull", "225:recno"}));
}

TEST(Scanner, TakesLettersDigitsAndUnderscoresAsAWord) {
    EXPECT_EQ(Tokens("_a1_b selects"), Expected({"-2:_a1_b", "-2:selects"}));
    EXPECT_EQ(Tokens("end-exec"), Expected({"72:end", "1010:-", "77:exec"}));
}

TEST(Scanner, EndsAStringAtTheNextQuote) {
    EXPECT_EQ(Tokens("'it''s'"), Expected({"-3:it", "-3:s"}));
    EXPECT_EQ(Tokens("''"), Expected({"-3:"}));
    EXPECT_EQ(Tokens("'a b'x"), Expected({"-3:a b", "-2:x"}));
}

TEST(Scanner, LetsAnOpenQuoteRunToTheEnd) {
    EXPECT_EQ(Tokens("'abc"), Expected({"-3:abc"}));
    EXPECT_EQ(Tokens("a 'b c "), Expected({"-2:a", "-3:b c "}));
    EXPECT_EQ(Tokens("'"), Expected({"-3:"}));
}

// The text is counted: what stands behind it belongs to somebody else.
TEST(Scanner, ReadsNothingBehindTheText) {
    const std::vector<std::pair<std::string, int32_t>> heads = {
        {"<=", 1}, {"<>", 1}, {">=", 1}, {"ab", 1}, {"12", 1}, {":12", 2}, {"'a'", 2}, {"+1", 1}};
    for (const auto& [text, length] : heads) {
        Scanner scanner;
        scanner.Start(TextView(text.data(), length));
        Scanner alone;
        const std::string head = text.substr(0, static_cast<size_t>(length));
        alone.Start(TextView(head.c_str(), length));
        EXPECT_EQ(scanner.NextToken(), alone.NextToken()) << text;
        scanner.FoldSign();
        EXPECT_EQ(Copy(scanner.TokenText()), Copy(alone.TokenText())) << text;
        EXPECT_EQ(scanner.NextToken(), token::kTokenEnd) << text;
    }
}

TEST(Scanner, TakesDigitsAndPointsAsOneLiteral) {
    EXPECT_EQ(Tokens("1.2.3"), Expected({"-3:1.2.3"}));
    EXPECT_EQ(Tokens("12ab"), Expected({"-3:12", "-2:ab"}));
    EXPECT_EQ(Tokens(".5"), Expected({"1005:.", "-3:5"}));
    EXPECT_EQ(Tokens("5."), Expected({"-3:5."}));
    EXPECT_EQ(Tokens("1e5"), Expected({"-3:1", "-2:e5"}));
}

TEST(Scanner, TakesAColonWithDigitsAndPointsAsAParameter) {
    EXPECT_EQ(Tokens(":12"), Expected({"-4:12"}));
    EXPECT_EQ(Tokens(":1.2"), Expected({"-4:1.2"}));
    EXPECT_EQ(Tokens(":a"), Expected({"-4:", "-2:a"}));
    EXPECT_EQ(Tokens(":"), Expected({"-4:"}));
    EXPECT_EQ(Tokens(": 1"), Expected({"-4:", "-3:1"}));
}

TEST(Scanner, SplitsQualifiedNamesAtThePoint) {
    EXPECT_EQ(Tokens("a.b"), Expected({"-2:a", "1005:.", "-2:b"}));
    EXPECT_EQ(Tokens("a . b"), Expected({"-2:a", "1005:.", "-2:b"}));
}

TEST(Scanner, KnowsNoComments) {
    EXPECT_EQ(Tokens("--"), Expected({"1010:-", "1010:-"}));
    EXPECT_EQ(Tokens("/*"), Expected({"1012:/", "1008:*"}));
}

TEST(Scanner, LeavesOtherCharactersUnknown) {
    EXPECT_EQ(Tokens("\";!%[#"), Expected({"-5:\"", "-5:;", "-5:!", "-5:%", "-5:[", "-5:#"}));
    EXPECT_EQ(Tokens("!="), Expected({"-5:!", "1007:="}));
    EXPECT_EQ(Tokens("\xE9"), Expected({"-5:\xE9"}));
    EXPECT_EQ(Tokens("'\xE9'"), Expected({"-3:\xE9"}));
    EXPECT_EQ(Tokens(std::string("a\0b", 3)), Expected({"-2:a", std::string("-5:\0", 4), "-2:b"}));
}

TEST(Scanner, ReadsMarksOfTwoCharacters) {
    EXPECT_EQ(Tokens("<> <= >="), Expected({"1013:<>", "1015:<=", "1014:>="}));
    EXPECT_EQ(Tokens("a>=1"), Expected({"-2:a", "1014:>=", "-3:1"}));
    EXPECT_EQ(Tokens("=>"), Expected({"1007:=", "1004:>"}));
    EXPECT_EQ(Tokens("><"), Expected({"1004:>", "1003:<"}));
    EXPECT_EQ(Tokens("< ="), Expected({"1003:<", "1007:="}));
}

TEST(Scanner, ReadsMarksAtTheVeryEnd) {
    EXPECT_EQ(Tokens(">"), Expected({"1004:>"}));
    EXPECT_EQ(Tokens("<"), Expected({"1003:<"}));
    EXPECT_EQ(Tokens(">="), Expected({"1014:>="}));
    EXPECT_EQ(Tokens("<="), Expected({"1015:<="}));
    EXPECT_EQ(Tokens("<>"), Expected({"1013:<>"}));
}

TEST(Scanner, ReadsEachSingleMark) {
    EXPECT_EQ(Tokens(",()<>.=*+-?/"),
              Expected({"1000:,", "1001:(", "1002:)", "1013:<>", "1005:.", "1007:=", "1008:*",
                        "1009:+", "1010:-", "1011:?", "1012:/"}));
}

TEST(Scanner, SkipsAllKindsOfWhiteSpace) {
    EXPECT_EQ(Tokens(" \t\n\v\f\ra\r\n"), Expected({"-2:a"}));
    EXPECT_EQ(Tokens(""), Expected());
    EXPECT_EQ(Tokens("   "), Expected());
}

TEST(Scanner, StaysAtTheEnd) {
    Scanner scanner;
    scanner.Start("a");
    EXPECT_EQ(scanner.Token(), token::kTokenEnd);
    EXPECT_EQ(scanner.NextToken(), token::kTokenIdentifier);
    EXPECT_EQ(scanner.NextToken(), token::kTokenEnd);
    EXPECT_EQ(scanner.NextToken(), token::kTokenEnd);
    EXPECT_EQ(Copy(scanner.TokenText()), "");
}

TEST(Scanner, StepsBackOverTheTokensRead) {
    Scanner scanner;
    scanner.Start("a . b c");
    scanner.NextToken();
    scanner.NextToken();
    scanner.NextToken();
    scanner.PushBackToken();
    EXPECT_EQ(scanner.Token(), token::kPoint);
    scanner.PushBackToken();
    EXPECT_EQ(Copy(scanner.TokenText()), "a");
    EXPECT_EQ(scanner.NextToken(), token::kPoint);
    EXPECT_EQ(Copy(scanner.PreviousText()), "a");
    scanner.NextToken();
    EXPECT_EQ(Copy(scanner.TokenText()), "b");
    scanner.NextToken();
    EXPECT_EQ(Copy(scanner.TokenText()), "c");
}

TEST(Scanner, StepsBackFromTheEnd) {
    Scanner scanner;
    scanner.Start("a");
    scanner.NextToken();
    scanner.NextToken();
    scanner.PushBackToken();
    EXPECT_EQ(Copy(scanner.TokenText()), "a");
    EXPECT_EQ(scanner.NextToken(), token::kTokenEnd);
}

// The ring has five entries; the head wraps while tokens are read and while they are pushed back.
TEST(Scanner, StepsBackAcrossTheRingsEnd) {
    Scanner scanner;
    scanner.Start("a b c d e f g h");
    for (int32_t count = 0; count < 7; ++count) {
        scanner.NextToken();
    }
    EXPECT_EQ(Copy(scanner.TokenText()), "g");
    for (const char* expected : {"f", "e", "d", "c"}) {
        scanner.PushBackToken();
        EXPECT_EQ(Copy(scanner.TokenText()), expected);
    }
    for (const char* expected : {"d", "e", "f", "g", "h"}) {
        scanner.NextToken();
        EXPECT_EQ(Copy(scanner.TokenText()), expected);
    }
}

// A full ring may be stepped back over whole. The fifth step has no earlier token and comes round
// to the newest one; the tokens of the ring follow it again.
TEST(Scanner, StepsBackAsOftenAsTheRingHasTokens) {
    Scanner scanner;
    scanner.Start("a b c d e f g h");
    for (int32_t count = 0; count < 7; ++count) {
        scanner.NextToken();
    }
    for (const char* expected : {"f", "e", "d", "c", "g", "g"}) {
        scanner.PushBackToken();
        EXPECT_EQ(Copy(scanner.TokenText()), expected);
    }
    for (const char* expected : {"c", "d", "e", "f", "g", "h"}) {
        scanner.NextToken();
        EXPECT_EQ(Copy(scanner.TokenText()), expected);
    }
}

TEST(Scanner, StepsBackInFrontOfTheFirstToken) {
    Scanner scanner;
    scanner.Start("a b");
    scanner.PushBackToken();
    EXPECT_EQ(scanner.NextToken(), token::kTokenIdentifier);
    scanner.PushBackToken();
    EXPECT_EQ(scanner.Token(), token::kTokenEnd);
    EXPECT_EQ(Copy(scanner.TokenText()), "");
    scanner.PushBackToken();
    scanner.NextToken();
    EXPECT_EQ(Copy(scanner.TokenText()), "a");
    scanner.NextToken();
    EXPECT_EQ(Copy(scanner.TokenText()), "b");
}

TEST(Scanner, StepsBackNoFurtherThanTheRing) {
    Scanner scanner;
    scanner.Start("a b");
    scanner.NextToken();
    scanner.NextToken();
    for (int32_t count = 0; count < 20; ++count) {
        scanner.PushBackToken();
    }
    scanner.NextToken();
    scanner.NextToken();
    EXPECT_EQ(Copy(scanner.TokenText()), "b");
    EXPECT_EQ(scanner.NextToken(), token::kTokenEnd);
}

TEST(Scanner, ForgetsTheRingWithANewText) {
    Scanner scanner;
    scanner.Start("a b");
    scanner.NextToken();
    scanner.NextToken();
    scanner.PushBackToken();
    scanner.Start("x");
    scanner.NextToken();
    EXPECT_EQ(Copy(scanner.TokenText()), "x");
}

// The current token after a fold at the head of the text, and what follows.
std::string Folded(const char* text) {
    Scanner scanner;
    scanner.Start(text);
    scanner.NextToken();
    scanner.FoldSign();
    std::string result = std::to_string(scanner.Token()) + ":" + Copy(scanner.TokenText());
    scanner.NextToken();
    return result + " " + std::to_string(scanner.Token()) + ":" + Copy(scanner.TokenText());
}

TEST(Scanner, FoldsASignIntoDigitsThatTouchIt) {
    EXPECT_EQ(Folded("-12 a"), "-3:-12 -2:a");
    EXPECT_EQ(Folded("+7"), "-3:+7 -1:");
    EXPECT_EQ(Folded("-1a"), "-3:-1 -2:a");
}

TEST(Scanner, FoldsDigitsOnly) {
    EXPECT_EQ(Folded("-1.5"), "-3:-1 1005:.");
    EXPECT_EQ(Folded("-.5"), "1010:- 1005:.");
}

TEST(Scanner, LeavesOtherSignsAlone) {
    EXPECT_EQ(Folded("- 1"), "1010:- -3:1");
    EXPECT_EQ(Folded("-a"), "1010:- -2:a");
    EXPECT_EQ(Folded("-"), "1010:- -1:");
    EXPECT_EQ(Folded("*1"), "1008:* -3:1");
    EXPECT_EQ(Folded("12"), "-3:12 -1:");
}

TEST(Scanner, KeepsTheBareSignInTheRing) {
    Scanner scanner;
    scanner.Start("-1 a");
    scanner.NextToken();
    scanner.FoldSign();
    scanner.NextToken();
    EXPECT_EQ(Copy(scanner.PreviousText()), "-1");
    scanner.PushBackToken();
    EXPECT_EQ(scanner.Token(), token::kMinus);
    EXPECT_EQ(Copy(scanner.TokenText()), "-");
}

// The value of the first token, or "no integer".
std::string Integer(const std::string& text) {
    Scanner scanner;
    scanner.Start(TextView(text.data(), static_cast<int32_t>(text.size())));
    scanner.NextToken();
    int32_t value = 0;
    return scanner.TokenInteger(&value) ? std::to_string(value) : "no integer";
}

TEST(Scanner, ReadsIntegersOfAnyKindOfToken) {
    EXPECT_EQ(Integer("42"), "42");
    EXPECT_EQ(Integer("'42'"), "42");
    EXPECT_EQ(Integer("'-42'"), "-42");
    EXPECT_EQ(Integer(":3"), "3");
    EXPECT_EQ(Integer("007"), "7");
    EXPECT_EQ(Integer("-"), "0");
    EXPECT_EQ(Integer("'-'"), "0");
}

TEST(Scanner, RefusesWhatIsNoInteger) {
    EXPECT_EQ(Integer(""), "no integer");
    EXPECT_EQ(Integer("''"), "no integer");
    EXPECT_EQ(Integer("1.5"), "no integer");
    EXPECT_EQ(Integer("'+1'"), "no integer");
    EXPECT_EQ(Integer("' 1'"), "no integer");
    EXPECT_EQ(Integer("'1-'"), "no integer");
    EXPECT_EQ(Integer("a1"), "no integer");
    EXPECT_EQ(Integer(":"), "no integer");
}

TEST(Scanner, WrapsIntegersAtThirtyTwoBits) {
    EXPECT_EQ(Integer("2147483647"), "2147483647");
    EXPECT_EQ(Integer("2147483648"), "-2147483648");
    EXPECT_EQ(Integer("4294967295"), "-1");
    EXPECT_EQ(Integer("4294967296"), "0");
    EXPECT_EQ(Integer("'-2147483649'"), "2147483647");
    // 10 to the power of 35 holds the factor 2 to the power of 32, so only the last 1 is left.
    EXPECT_EQ(Integer("100000000000000000000000000000000001"), "1");
}

}  // namespace
}  // namespace ovrasql
