// What the trace shows of a statement's program.

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>

#include "tests/support/test_database.h"

namespace ovrasql {
namespace {

class ProgramTraceTest : public ::testing::Test {
  protected:
    void SetUp() override {
        TheHost().Reset();
        database_ = std::make_unique<TestDatabase>();
        ASSERT_TRUE(database_->Create());
        ASSERT_EQ(database_->Run("create table t (a integer)"), "");
        ASSERT_EQ(database_->Run("create table u (b integer)"), "");
        ASSERT_TRUE(database_->Option("log", "trace.txt"));
    }

    // The lines that opening this text as a view leaves in the trace.
    Texts TraceOf(const std::string& sql) {
        const size_t before = TheHost().FileText("trace.txt").size();
        const TestView view(*database_, sql);
        std::istringstream trace(TheHost().FileText("trace.txt").substr(before));
        Texts lines;
        for (std::string line; std::getline(trace, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    // The program: each line's number, name, operands and texts. The address of a list is left out.
    std::string ProgramOf(const std::string& sql) {
        std::string program;
        for (const std::string& line : TraceOf(sql)) {
            std::istringstream words(line);
            std::string number, name, operands[3], address, text;
            if (words >> number >> name >> operands[0] >> operands[1] >> operands[2] >> address &&
                name.compare(0, 4, "SQL_") == 0) {
                program += number + " " + name.substr(4) + " " + operands[0] + " " + operands[1] +
                           " " + operands[2];
                while (words >> text) {
                    program += " " + text;
                }
                program += "\n";
            }
        }
        return program;
    }

    std::unique_ptr<TestDatabase> database_;
};

TEST_F(ProgramTraceTest, ALineHasFixedColumns) {
    const Texts lines = TraceOf("drop table nope");
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_EQ(lines[0], "*** OvOPENVIEW");
    EXPECT_EQ(lines[1], "drop table nope");
    const std::string head =
        "0000 SQL_Drop_Table                          0          0          0 ";
    EXPECT_EQ(lines[2].substr(0, head.size()), head);
    EXPECT_EQ(lines[2].substr(lines[2].size() - 6), "nope  ") << "two texts, a blank behind each";
    EXPECT_EQ(lines[3], "");
    EXPECT_EQ(lines[4], "*** Error: Table 'nope' does not exist");
}

TEST_F(ProgramTraceTest, DefinitionsAreOneInstruction) {
    EXPECT_EQ(ProgramOf("create table w (a integer)"), "0000 Create_Table 0 0 0 w\n");
    EXPECT_EQ(ProgramOf("alter table w add b char"), "0000 Alter_Table_Add 0 0 0 w\n");
    EXPECT_EQ(ProgramOf("alter table w drop column b"), "0000 Alter_Table_Drop 0 0 0 w b\n");
    EXPECT_EQ(ProgramOf("create unique index wi on w (a)"), "0000 Create_Index 1 0 0 w wi\n");
    EXPECT_EQ(ProgramOf("create index wd on w (a desc)"), "0000 Create_Index 0 0 0 w wd\n");
    EXPECT_EQ(ProgramOf("drop index wi"), "0000 Drop_Index 0 0 0 wi\n");
}

TEST_F(ProgramTraceTest, ASelectTellsItsColumnsAndItsEnd) {
    EXPECT_EQ(ProgramOf("select a from t where a = 1"),
              "0000 Cursor_Open 0 0 0 t\n"
              "0001 Cursor_Column 0 0 0 a\n"
              "0002 Result 0 1 0 a\n"
              "0003 Result 1 0 0 eof\n"
              "0004 Push_Integer 0 0 0\n"
              "0005 Pop_Result 1 0 0\n"
              "0006 Cursor_First 0 15 0\n"
              "0007 Push_Column 0 0 0\n"
              "0008 Push_Literal 0 0 0 1\n"
              "0009 Equal 0 0 0\n"
              "0010 Jump_NE 1 14 0\n"
              "0011 Push_Column 0 0 0\n"
              "0012 Pop_Result 0 0 0\n"
              "0013 Output 0 0 0\n"
              "0014 Cursor_Next 0 7 0\n"
              "0015 NOOP 0 0 0\n"
              "0016 Push_Integer 1 0 0\n"
              "0017 Pop_Result 1 0 0\n");
}

TEST_F(ProgramTraceTest, OrJumpsAndAndDoesNot) {
    const std::string program = ProgramOf("select a from t where a = 1 or a = 2");
    EXPECT_NE(program.find("0010 Jump_EQ 0 13 0\n"
                           "0011 Push_Integer 1 0 0\n"
                           "0012 Jump 17 0 0\n"
                           "0013 NOOP 0 0 0\n"
                           "0014 Push_Column 0 0 0\n"
                           "0015 Push_Literal 0 0 0 2\n"
                           "0016 Equal 0 0 0\n"
                           "0017 NOOP 0 0 0\n"
                           "0018 Jump_EQ 0 22 0\n"),
              std::string::npos)
        << program;
    EXPECT_NE(ProgramOf("select a from t where a = 1 and a = 2").find(" And 0 0 0\n"),
              std::string::npos);
}

TEST_F(ProgramTraceTest, AnInsertOpensItsSourceTwice) {
    EXPECT_EQ(ProgramOf("insert into t select b from u"),
              "0000 Cursor_Open 0 0 0 u\n"
              "0001 Cursor_Column 0 0 0 b\n"
              "0002 Cursor_Open 1 1 0 t\n"
              "0003 Cursor_Column 1 0 0 A\n"
              "0004 Cursor_Open 0 0 0 u\n"
              "0005 Cursor_Column 0 0 0 b\n"
              "0006 Cursor_First 0 11 0\n"
              "0007 Push_Column 0 0 0\n"
              "0008 Pop_Column 1 0 0\n"
              "0009 Cursor_Insert 1 0 0\n"
              "0010 Cursor_Next 0 7 0\n"
              "0011 NOOP 0 0 0\n");
}

TEST_F(ProgramTraceTest, ADeleteAppliesItsIndexChangesLast) {
    EXPECT_EQ(ProgramOf("delete from t"),
              "0000 Cursor_Open 0 1 0 t\n"
              "0001 Cursor_First 0 4 0\n"
              "0002 Cursor_Delete 0 0 0\n"
              "0003 Cursor_Next 0 2 0\n"
              "0004 NOOP 0 0 0\n"
              "0005 Cursor_Delete_Indexes 0 0 0\n");
}

TEST_F(ProgramTraceTest, AnUpdateLocksEachRow) {
    EXPECT_EQ(ProgramOf("update t set a = 1"),
              "0000 Cursor_Open 0 1 0 t\n"
              "0001 Cursor_Column 0 0 0 a\n"
              "0002 Cursor_First 0 8 0\n"
              "0003 Cursor_LockForUpdate 0 0 0\n"
              "0004 Push_Literal 0 0 0 1\n"
              "0005 Pop_Column 0 0 0\n"
              "0006 Cursor_Update 0 0 0\n"
              "0007 Cursor_Next 0 3 0\n"
              "0008 Cursor_Update_Indexes 0 0 0\n"
              "0009 NOOP 0 0 0\n");
}

TEST_F(ProgramTraceTest, BothTestsOfAnUpdateGoToTheNextRow) {
    const std::string program = ProgramOf("update t set a = 1 where a = 1 and (a = 2 or a = 3)");
    EXPECT_EQ(program.find(" -1 "), std::string::npos) << program;
    EXPECT_NE(program.find("Jump_NE 1 "), std::string::npos);
}

TEST_F(ProgramTraceTest, ATextIsCutAtTheWidthOfTheTrace) {
    const std::string text(1500, 'x');
    EXPECT_NE(ProgramOf("select '" + text + "' from t")
                  .find("Push_Literal 0 0 0 " + std::string(1024, 'x') + "\n"),
              std::string::npos);
}

TEST_F(ProgramTraceTest, AnEmittedErrorShowsNoText) {
    EXPECT_NE(ProgramOf("select (select b from u) from t").find(" Error 0 0 0\n"),
              std::string::npos);
}

TEST_F(ProgramTraceTest, AColumnUsedOnlyByItsResultNameIsNotBound) {
    // ORDER BY names the result column, and the table's own column of that name has no other use.
    const std::string program = ProgramOf("select b + 1 as b2 from u order by b2");
    EXPECT_EQ(program.find("b2"), program.find("Result 0 1 0 b2") + 13) << program;
    EXPECT_EQ(program.find("Cursor_Column 0 1"), std::string::npos) << program;
}

TEST_F(ProgramTraceTest, AStatementThatDoesNotCompileShowsItsError) {
    const Texts lines = TraceOf("select nope from t");
    ASSERT_GE(lines.size(), 3U);
    EXPECT_EQ(lines[2], "*** Error: Unknown field 'nope'");
}

}  // namespace
}  // namespace ovrasql
