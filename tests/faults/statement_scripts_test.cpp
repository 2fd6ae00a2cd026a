// The scripts as they stand, with nothing failing: each does what it says, so that the tests that
// let things fail have a right result to compare with.

#include <gtest/gtest.h>

#include <set>

#include "tests/support/script_session.h"

namespace ovrasql {
namespace {

class StatementScriptTest : public ::testing::TestWithParam<StatementScript> {};

TEST_P(StatementScriptTest, RunsAsItSays) {
    const StatementScript& script = GetParam();
    RestoreFiles(SetupFiles(script));
    {
        ScriptSession session;
        ASSERT_TRUE(Prepare(session, script));
        for (const ScriptStep& step : script.tested) {
            const StepResult result = session.Run(step);
            EXPECT_EQ(result.ok, !step.fails) << step.text << ": " << result.error;
            EXPECT_EQ(result.error.empty(), !step.fails) << step.text << ": " << result.error;
        }
    }
    EXPECT_EQ(TheHost().Misuses(), std::vector<std::string>());
    EXPECT_EQ(TheHost().OpenFileCount(), 0);
}

INSTANTIATE_TEST_SUITE_P(EachScript, StatementScriptTest, ::testing::ValuesIn(StatementScripts()),
                         [](const auto& script) { return script.param.name; });

TEST(StatementScriptsTest, HaveNamesOfTheirOwn) {
    std::set<std::string> names;
    for (const StatementScript& script : StatementScripts()) {
        EXPECT_TRUE(names.insert(script.name).second) << script.name;
        EXPECT_FALSE(script.tested.empty()) << script.name;
    }
    EXPECT_GE(names.size(), 40U);
}

TEST(StatementScriptsTest, TellTheWordsOfTheirSteps) {
    EXPECT_EQ(SqlOf("walk 12 select a from t"), "select a from t");
    EXPECT_EQ(WalkedRows("walk 12 select a from t"), 12);
    EXPECT_EQ(SqlOf("reveal select a from t"), "select a from t");
    EXPECT_EQ(OptionOf("option log").first, "log");
    EXPECT_EQ(OptionOf("option log").second, "");
    EXPECT_EQ(OptionOf("option subdir_char _").second, "_");
    EXPECT_TRUE(ReadsOnly("walk 1 select a from t"));
    EXPECT_FALSE(ReadsOnly("pack"));
    EXPECT_FALSE(ReadsOnly("delete from t"));
}

// What the header of an index says: pages in use at 9, the root's number at 13.
uint32_t HeaderNumber(const char* path, size_t offset) {
    const Bytes bytes = TheHost().FileBytes(path);
    return bytes[offset] | static_cast<uint32_t>(bytes[offset + 1]) << 8U;
}

struct PageChange {
    uint32_t pages;
    uint32_t root;
};

PageChange RunOverIndex(const char* name, bool tested) {
    RestoreFiles(SetupFiles(ScriptNamed(name)));
    ScriptSession session;
    EXPECT_TRUE(session.Run("open").ok);
    for (const ScriptStep& step : ScriptNamed(name).tested) {
        EXPECT_TRUE(!tested || session.Run(step).ok) << step.text;
    }
    return {HeaderNumber("kn.ovx", 9), HeaderNumber("kn.ovx", 13)};
}

TEST(StatementScriptsTest, TheIndexScriptsSplitAndMergePages) {
    EXPECT_EQ(RunOverIndex("index_root_splits", false).root, 1U);
    EXPECT_EQ(RunOverIndex("index_root_splits", true).root, 3U);

    const PageChange low = RunOverIndex("index_grows_a_third_level", false);
    const PageChange high = RunOverIndex("index_grows_a_third_level", true);
    EXPECT_NE(low.root, high.root);
    EXPECT_EQ(high.pages, low.pages + 3) << "a leaf, an inner page and a root";

    EXPECT_EQ(RunOverIndex("index_pages_merge", false).root, 3U);
    EXPECT_NE(RunOverIndex("index_pages_merge", true).root, 3U);
    EXPECT_NE(RunOverIndex("index_loses_a_level", false).root,
              RunOverIndex("index_loses_a_level", true).root);
}

}  // namespace
}  // namespace ovrasql
