#include "foundation/trace_log.h"

#include <gtest/gtest.h>

#include "tests/foundation/foundation_support.h"
#include "tests/support/memory_host.h"

namespace ovrasql {
namespace {

class TraceLogTest : public ::testing::Test {
  protected:
    void SetUp() override { TheHost().Reset(); }

    MemoryHost& host_ = TheHost();
};

TEST_F(TraceLogTest, OpensWithTheTraceFlagsRelativeToTheDatabase) {
    TraceLog log;
    EXPECT_FALSE(log.IsOpen());
    ASSERT_TRUE(log.Open(host_.Program(), "trace.txt"));
    EXPECT_TRUE(log.IsOpen());
    EXPECT_EQ(host_.Calls().back().name, "ovFile_Open");
    EXPECT_EQ(host_.Calls().back().path, "trace.txt");
    EXPECT_EQ(host_.Calls().back().flags, 22);
}

TEST_F(TraceLogTest, AnEmptyPathMeansTheDefaultName) {
    TraceLog log;
    ASSERT_TRUE(log.Open(host_.Program(), ""));
    EXPECT_TRUE(host_.HasFile("sql.log"));
}

TEST_F(TraceLogTest, EachCallIsOneWriteInOrder) {
    TraceLog log;
    ASSERT_TRUE(log.Open(host_.Program(), "t.log"));
    log.Write("*** OvQUERY\n");
    log.Print("%s %d\n", "row", 7);
    EXPECT_EQ(host_.CallCount("ovFile_Write"), 2);
    EXPECT_EQ(host_.FileText("t.log"), "*** OvQUERY\nrow 7\n");
}

TEST_F(TraceLogTest, AppendsToAFileThatIsThere) {
    host_.SetFile("t.log", "before\n");
    TraceLog log;
    ASSERT_TRUE(log.Open(host_.Program(), "t.log"));
    log.Write("after\n");
    EXPECT_EQ(host_.FileText("t.log"), "before\nafter\n");
}

// Statements go through Write: they may be long and may hold percent signs.
TEST_F(TraceLogTest, WritesRawTextWholeAndUninterpreted) {
    TraceLog log;
    ASSERT_TRUE(log.Open(host_.Program(), "t.log"));
    const std::string statement = "select '%s%n%d' from t" + std::string(10000, ' ') + "\n";
    log.Write(View(statement));
    EXPECT_EQ(host_.FileText("t.log"), statement);
}

TEST_F(TraceLogTest, CutsAFormattedTextToItsRoom) {
    TraceLog log;
    ASSERT_TRUE(log.Open(host_.Program(), "t.log"));
    log.Print("%s", std::string(2047, 'a').c_str());
    EXPECT_EQ(host_.FileText("t.log").size(), 2047u);
    log.Print("%s", std::string(2048, 'b').c_str());
    EXPECT_EQ(host_.FileText("t.log"), std::string(2047, 'a') + std::string(2047, 'b'));
}

TEST_F(TraceLogTest, DoesNothingWhileClosed) {
    TraceLog log;
    log.Write("text");
    log.Print("%d", 1);
    log.Close();
    EXPECT_TRUE(host_.Calls().empty());
}

TEST_F(TraceLogTest, ASecondOpenClosesTheFirstFile) {
    TraceLog log;
    ASSERT_TRUE(log.Open(host_.Program(), "first.log"));
    log.Write("1");
    ASSERT_TRUE(log.Open(host_.Program(), "second.log"));
    log.Write("2");
    EXPECT_EQ(host_.OpenFileCount(), 1);
    EXPECT_EQ(host_.FileText("first.log"), "1");
    EXPECT_EQ(host_.FileText("second.log"), "2");
}

TEST_F(TraceLogTest, AFailedOpenLeavesNoFileOpen) {
    TraceLog log;
    ASSERT_TRUE(log.Open(host_.Program(), "first.log"));
    host_.FailCall("ovFile_Open", 1);
    EXPECT_FALSE(log.Open(host_.Program(), "second.log"));
    EXPECT_FALSE(log.IsOpen());
    EXPECT_EQ(host_.OpenFileCount(), 0);
    log.Write("lost");
    EXPECT_EQ(host_.CallCount("ovFile_Write"), 0);
}

TEST_F(TraceLogTest, AFailedWriteDisturbsNothing) {
    TraceLog log;
    ASSERT_TRUE(log.Open(host_.Program(), "t.log"));
    host_.FailCall("ovFile_Write", 1);
    log.Write("lost");
    log.Write("kept");
    EXPECT_EQ(host_.FileText("t.log"), "kept");
}

TEST_F(TraceLogTest, ClosesItsFileWhenItGoes) {
    {
        TraceLog log;
        ASSERT_TRUE(log.Open(host_.Program(), "t.log"));
        EXPECT_EQ(host_.OpenFileCount(), 1);
    }
    EXPECT_EQ(host_.OpenFileCount(), 0);
    EXPECT_TRUE(host_.Misuses().empty());
}

}  // namespace
}  // namespace ovrasql
