#include <gtest/gtest.h>
#include <pthread.h>

#include <functional>
#include <string>

#include "compile/tree/complex_elements.h"
#include "tests/language/tree_dump.h"

// Size: nesting has a bound, chains have none, and neither may cost the stack or hang.

namespace ovrasql {
namespace {

constexpr const char* kTooDeep = "Syntax Error: Statement is nested too deeply";
constexpr int32_t kChain = 100000;

std::string Repeat(const std::string& piece, int32_t count) {
    std::string text;
    text.reserve(piece.size() * static_cast<size_t>(count));
    for (int32_t index = 0; index < count; ++index) {
        text += piece;
    }
    return text;
}

bool Accepts(const std::string& text) {
    ParserBench bench;
    const bool accepted =
        bench.parser.Parse(TextView(text.data(), static_cast<int32_t>(text.size())));
    if (!accepted) {
        EXPECT_EQ(DumpText(bench.parser.Error()), kTooDeep) << text.substr(0, 80);
    }
    return accepted;
}

// `open` n times around a core; `levels` is what the statement takes beside those.
void ExpectBound(const std::string& head, const std::string& open, const std::string& core,
                 const std::string& close, const std::string& tail, int32_t levels) {
    const int32_t most = SQLParser::kMaximumNesting - levels;
    EXPECT_TRUE(Accepts(head + Repeat(open, most) + core + Repeat(close, most) + tail)) << open;
    EXPECT_FALSE(Accepts(head + Repeat(open, most + 1) + core + Repeat(close, most + 1) + tail))
        << open;
    EXPECT_FALSE(Accepts(head + Repeat(open, kChain) + core)) << open;
}

// The block and the innermost operand are levels as well.
TEST(ParseLimits, BoundsParentheses) {
    ExpectBound("select a from t where ", "(", "a", ")", "", 2);
    ExpectBound("select ", "(", "a", ")", " from t", 2);
    ExpectBound("update t set a = ", "(", "a", ")", "", 1);
}

TEST(ParseLimits, BoundsFunctions) {
    ExpectBound("select ", "upper(", "a", ")", " from t", 2);
    ExpectBound("select ", "length(", "a", ")", " from t", 2);
    ExpectBound("select ", "ifnull(", "a", ", b)", " from t", 2);
    ExpectBound("select ", "substring(", "a", " from 1)", " from t", 2);
    ExpectBound("select ", "sum(", "a", ")", " from t", 2);
    ExpectBound("select ", "count(distinct ", "a", ")", " from t", 2);
}

TEST(ParseLimits, BoundsSubqueries) {
    ExpectBound("select a from t where ", "exists (select a from t where ", "a", ")", "", 2);
    ExpectBound("select a from t where ", "a = (select a from t where ", "a", ")", "", 2);
    ExpectBound("select a from t where ", "a in (select a from t where ", "a", ")", "", 2);
    ExpectBound("select * from ", "(select * from ", "t", ") x", "", 1);
}

TEST(ParseLimits, CountsNestingAfreshForEachText) {
    ParserBench bench;
    const std::string tooDeep = "select a from t where " + Repeat("(", 1000);
    EXPECT_EQ(bench.Parse(tooDeep), kTooDeep);
    EXPECT_EQ(bench.Parse(tooDeep), kTooDeep);
    EXPECT_EQ(bench.Parse("select (a) from t"), "(select (group a) as \"(a)\" (from t))");
}

TEST(ParseLimits, DoesNotCountWhatStandsSideBySide) {
    EXPECT_TRUE(Accepts("select a from t where " + Repeat("(a) = 1 or ", 1000) + "a"));
    EXPECT_TRUE(Accepts("select " + Repeat("(a) + ", 1000) + "a from t"));
    EXPECT_TRUE(
        Accepts("select a from t where " + Repeat("exists (select a from t) and ", 1000) + "a"));
}

// The depth of a tree along one side.
int32_t Depth(const SQLExpressionNode* node, SQLExpressionNode* SQLExpressionNode::*side) {
    int32_t depth = 0;
    for (; node->IsOperator(); node = node->*side) {
        ++depth;
    }
    return depth;
}

TEST(ParseLimits, ParsesLongChainsToTheLeft) {
    ParserBench bench;
    const std::string head = "select a from t where a = 1";
    for (const char* term : {" or a = 1", " and b", " = c"}) {
        const std::string text = head + Repeat(term, kChain);
        ASSERT_TRUE(bench.parser.Parse(TextView(text.data(), static_cast<int32_t>(text.size()))));
        EXPECT_EQ(Depth(bench.Query()->where->root->left, &SQLExpressionNode::left), kChain + 1);
    }
    const std::string sum = "select a" + Repeat(" + 1", kChain) + " from t";
    ASSERT_TRUE(bench.parser.Parse(TextView(sum.data(), static_cast<int32_t>(sum.size()))));
    EXPECT_EQ(
        Depth(bench.Query()->selected->First()->expression->root->left, &SQLExpressionNode::left),
        kChain);
}

TEST(ParseLimits, ParsesLongChainsToTheRight) {
    ParserBench bench;
    const std::string text = "select a" + Repeat(" - b * c", kChain) + " from t";
    ASSERT_TRUE(bench.parser.Parse(TextView(text.data(), static_cast<int32_t>(text.size()))));
    EXPECT_EQ(
        Depth(bench.Query()->selected->First()->expression->root->left, &SQLExpressionNode::right),
        kChain + 1);
}

TEST(ParseLimits, ParsesLongLists) {
    EXPECT_TRUE(Accepts("select a from t where a in (1" + Repeat(", 1", kChain) + ")"));
    EXPECT_TRUE(Accepts("select a" + Repeat(", a", kChain) + " from t"));
    EXPECT_TRUE(Accepts("insert into t values (1" + Repeat(", 1", kChain) + ")"));
    EXPECT_TRUE(Accepts("select a from t order by a" + Repeat(", a", kChain)));
    EXPECT_TRUE(Accepts("select a from t" + Repeat(" union all select a from t", kChain)));
}

// One name written over and over is stored each time, and found to be wrong only later.
TEST(ParseLimits, TakesOneNameAnyNumberOfTimes) {
    EXPECT_TRUE(Accepts("select a from t" + Repeat(", t", kChain)));
    EXPECT_TRUE(Accepts("insert into t (a" + Repeat(", a", kChain) + ") values (1)"));
    EXPECT_TRUE(Accepts("delete t" + Repeat(", t", kChain) + " from t"));
    EXPECT_TRUE(Accepts("create table t (a char" + Repeat(", a char", kChain) + ")"));
}

TEST(ParseLimits, ParsesLongTokens) {
    ParserBench bench;
    const std::string word = Repeat("w", 1000000);
    EXPECT_EQ(bench.Parse("select " + word + " from t"),
              "(select " + word + " as \"" + word + "\" (from t))");
    EXPECT_EQ(bench.Parse("select '" + word), "Syntax Error: Expected FROM at end of query");
    EXPECT_EQ(bench.Parse("drop " + word),
              "Syntax Error: Expected TABLE or INDEX, found '" + word + "'");
}

void* RunOnThread(void* task) {
    (*static_cast<std::function<void()>*>(task))();
    return nullptr;
}

// Hosts run statements on threads of their own, whose stacks may be small.
void WithSmallStack(std::function<void()> task) {
#if defined(__SANITIZE_ADDRESS__)
    constexpr size_t kStackSize = 8 * 1024 * 1024;  // red zones make frames several times as large
#else
    constexpr size_t kStackSize = 1024 * 1024;
#endif
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, kStackSize), 0);
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, &attributes, RunOnThread, &task), 0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
    ASSERT_EQ(pthread_attr_destroy(&attributes), 0);
}

TEST(ParseLimits, NestsToTheBoundOnASmallStack) {
    constexpr int32_t most = SQLParser::kMaximumNesting - 2;
    WithSmallStack([] {
        EXPECT_TRUE(
            Accepts("select a from t where " + Repeat("(", most) + "a" + Repeat(")", most)));
        EXPECT_TRUE(
            Accepts("select " + Repeat("upper(", most) + "a" + Repeat(")", most) + " from t"));
        EXPECT_TRUE(Accepts("select a from t where " +
                            Repeat("exists (select a from t where ", most) + "a" +
                            Repeat(")", most)));
        EXPECT_TRUE(Accepts("select * from " + Repeat("(select a from ", most) + "t" +
                            Repeat(") x", most)));
    });
}

TEST(ParseLimits, ParsesChainsOnASmallStack) {
    WithSmallStack([] {
        EXPECT_TRUE(Accepts("select a from t where a = 1" + Repeat(" or a = 1", kChain)));
        EXPECT_TRUE(Accepts("select a" + Repeat(" - b * c", kChain) + " from t"));
    });
}

// Statements that fail at every place, with whatever was half built by then.
TEST(ParseLimits, FailsCleanlyAtEveryByte) {
    ParserBench bench;
    const std::string text =
        "select distinct a, t.*, sum(b) as s, (select max(c) from u), substring(a from 1 for 2) "
        "from t x left outer join u on x.a = u.a, (select d from v where e in (1, ?, :3) order by "
        "d desc) as y where not (a between 1 and 2) and b in (select f from w union all select g "
        "from z) or exists (select h from q) group by a, upper(b) union select i from r order by a";
    ASSERT_TRUE(bench.parser.Parse(TextView(text.data(), static_cast<int32_t>(text.size()))));
    for (size_t length = 0; length < text.size(); ++length) {
        const std::string part = text.substr(0, length);
        if (!bench.parser.Parse(TextView(part.data(), static_cast<int32_t>(length)))) {
            EXPECT_EQ(bench.generator.Statement(), nullptr) << part;
            EXPECT_GT(bench.parser.Error().Length(), 0) << part;
        }
        const std::string broken = part + " ; " + text.substr(length);
        EXPECT_FALSE(
            bench.parser.Parse(TextView(broken.data(), static_cast<int32_t>(broken.size()))));
    }
}

}  // namespace
}  // namespace ovrasql
