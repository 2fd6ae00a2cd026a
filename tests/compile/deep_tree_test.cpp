#include <pthread.h>

#include <functional>

#include "tests/compile/compile_database.h"

// Chains as long as a statement allows, compiled and destroyed on a small stack: a host may run the
// library on a thread of its own with little room.

namespace ovrasql {
namespace {

constexpr int32_t kTerms = 100000;
#if defined(__SANITIZE_ADDRESS__)
constexpr size_t kStackSize = 8 * 1024 * 1024;  // red zones make frames several times as large
#else
constexpr size_t kStackSize = 1024 * 1024;
#endif

void* RunFunction(void* function) {
    (*static_cast<std::function<void()>*>(function))();
    return nullptr;
}

void OnASmallStack(std::function<void()> function) {
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, kStackSize), 0);
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, &attributes, RunFunction, &function), 0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
    pthread_attr_destroy(&attributes);
}

class DeepTree : public CompileTest {
  protected:
    void SetUp() override {
        Define("create table t (a numeric(5), b numeric(5))");
        Define("create table u (a numeric(5), x numeric(5))");
        Define("create index ta on t (a)");
    }

    static std::string Chain(const std::string& first, const std::string& next) {
        std::string chain = first;
        for (int32_t i = 1; i < kTerms; ++i) {
            chain += next;
        }
        return chain;
    }

    // How many instructions the program has; 0 when it does not compile.
    int32_t LengthOf(const std::string& sql) {
        int32_t length = 0;
        OnASmallStack([&] {
            SQLCodeGenerator generator(&TheSchema());
            SQLParser parser(&generator);
            if (!parser.Parse(View(sql))) {
                ADD_FAILURE() << parser.Error().CText();
            } else if (!generator.Compile()) {
                ADD_FAILURE() << generator.Error().CText();
            } else {
                length = generator.InstructionCount();
            }
        });
        return length;
    }
};

// Three instructions a comparison, five for each OR; 15 stand around a scan with one column.
TEST_F(DeepTree, CompilesALongChainOfOr) {
    EXPECT_EQ(LengthOf("select a from t where " + Chain("a = 1", " or a = 2")),
              15 + 3 * kTerms + 5 * (kTerms - 1));
}

// The whole chain moves to the table; the first equality is the key.
TEST_F(DeepTree, CompilesALongChainOfAnd) {
    EXPECT_EQ(LengthOf("select a from t where " + Chain("a = 1", " and a = 2")),
              15 + 2 + 3 * kTerms + (kTerms - 1));
}

// Each AND gives one side to either table, which is joined anew at each level: 21 instructions
// stand around the two scans.
TEST_F(DeepTree, SplitsALongChainOfAndBetweenTwoTables) {
    EXPECT_EQ(LengthOf("select b from t, u where " + Chain("b = 1", " and x = 2 and b = 3")),
              21 + 3 * (2 * kTerms - 1) + (2 * kTerms - 1 - 2));
}

// 1 - 1 * 1 - 1 * 1 ... leans to the right: each operator climbs one level only.
TEST_F(DeepTree, CompilesArithmeticThatLeansToTheRight) {
    EXPECT_EQ(LengthOf("select " + Chain("a", " - a * a") + " from t"),
              13 + (2 * kTerms - 1) + (2 * kTerms - 2));
}

TEST_F(DeepTree, ChecksALongTermOfOrderBy) {
    EXPECT_GT(LengthOf("select a from t order by " + Chain("b", " - b * b")), 4 * kTerms);
}

TEST_F(DeepTree, ReplacesTheColumnsOfALongGroupedItem) {
    EXPECT_GT(LengthOf("select " + Chain("count(*)", " + 1") + " + a from t group by a"),
              2 * kTerms);
}

// Groups in groups are nesting, and bounded by the parser; this many are within its bound.
TEST_F(DeepTree, CompilesNestedGroups) {
    constexpr size_t kDepth = 500;
    EXPECT_GT(LengthOf("select a from t where " + std::string(kDepth, '(') + "a = 1" +
                       std::string(kDepth, ')')),
              0);
}

// The most that the parser lets through of what does recurse: blocks inside blocks.
TEST_F(DeepTree, CompilesNestedSubqueries) {
    std::string sql = "select a from t";
    int32_t depth = 0;
    for (; depth < 500; ++depth) {
        sql = "select a from t where exists (" + sql + ")";
    }
    // 16 instructions a block and 15 around them; the innermost has no WHERE to jump by.
    EXPECT_EQ(LengthOf(sql), 15 + 16 * depth - 1);
}

TEST_F(DeepTree, CompilesNestedDerivedTables) {
    std::string sql = "select a from t";
    int32_t depth = 0;
    for (; depth < 500; ++depth) {
        sql = "select a from (" + sql + ") d";
    }
    EXPECT_GT(LengthOf(sql), 6 * depth);
}

}  // namespace
}  // namespace ovrasql
