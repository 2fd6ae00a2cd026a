// The engine as the statement cache uses it: a text compiled once and run again and again.

#include "engine/sql_engine.h"

#include <string>

#include "tests/engine/engine_database.h"

namespace ovrasql {
namespace {

class SQLEngineTest : public EngineDatabase {
  protected:
    void SetUp() override {
        EngineDatabase::SetUp();
        ASSERT_EQ(CreateTable("t", {{"a", 0, 10}, {"n", 1, 5}}), "");
        ASSERT_EQ(Insert("t", {"a", "n"}, {"x", "1"}), "");
        ASSERT_EQ(Insert("t", {"a", "n"}, {"y", "2"}), "");
        view = ovDatabase_AddView(database, "v", 1, nullptr);
    }
    static std::string Value(SQLEngine* engine, int32_t slot) {
        return ToText(engine->Results().Get(slot)->GetString());
    }
    void* view = nullptr;
};

TEST_F(SQLEngineTest, RunsASelectRowByRow) {
    SQLEngine engine(*schema, database);
    ASSERT_EQ(engine.Compile("select a, n from t"), 1) << engine.ErrorMessage().CText();
    EXPECT_TRUE(engine.ProducesRows());
    for (int32_t round = 0; round < 2; ++round) {
        engine.SetView(view);
        ASSERT_EQ(engine.SetParameters(TheHost().MakeList({}), 0), 1);
        ASSERT_EQ(engine.Run(), 1);
        EXPECT_EQ(Value(&engine, 0), "x");
        EXPECT_EQ(Value(&engine, 1), "1");
        EXPECT_EQ(Value(&engine, 2), "0");
        ASSERT_EQ(engine.Run(), 1);
        EXPECT_EQ(Value(&engine, 0), "y");
        ASSERT_EQ(engine.Run(), 0);
        EXPECT_EQ(Value(&engine, 2), "1");
        EXPECT_EQ(engine.Run(), 0);
        engine.Reset();
    }
}

TEST_F(SQLEngineTest, ASelectWithoutAViewIsRefusedWithNothingOpened) {
    SQLEngine engine(*schema, database);
    ASSERT_EQ(engine.Compile("select a from t"), 1);
    ASSERT_EQ(engine.SetParameters(nullptr, 0), 1);
    TheHost().ClearLog();
    EXPECT_EQ(engine.Run(), -1);
    EXPECT_EQ(ToText(engine.ErrorMessage().View()), "SELECT is not valid in this context");
    EXPECT_EQ(TheHost().CallCount("ovFile_Open"), 0);
    EXPECT_EQ(engine.Run(), -1);
}

TEST_F(SQLEngineTest, AStatementWithoutRowsNeedsNoView) {
    SQLEngine engine(*schema, database);
    ASSERT_EQ(engine.Compile("insert into t (a, n) values ('z', ?)"), 1)
        << engine.ErrorMessage().CText();
    EXPECT_FALSE(engine.ProducesRows());
    ASSERT_EQ(engine.SetParameters(TheHost().MakeList({"3"}), 1), 1);
    EXPECT_EQ(engine.Run(), 0) << engine.ErrorMessage().CText();
}

TEST_F(SQLEngineTest, BadTextIsRefusedWithTheParsersMessage) {
    SQLEngine engine(*schema, database);
    EXPECT_EQ(engine.Compile("selekt a from t"), -1);
    EXPECT_FALSE(engine.ErrorMessage().IsEmpty());
    EXPECT_EQ(engine.Run(), -1);
}

TEST_F(SQLEngineTest, AnUnknownNameIsRefusedWithTheGeneratorsMessage) {
    SQLEngine engine(*schema, database);
    EXPECT_EQ(engine.Compile("select a from nowhere"), -1);
    EXPECT_EQ(ToText(engine.ErrorMessage().View()), "Unknown table 'nowhere'");
    EXPECT_EQ(engine.Run(), -1);
}

TEST_F(SQLEngineTest, TheTextMayGoAfterCompiling) {
    SQLEngine engine(*schema, database);
    {
        std::string text = "select 'a literal of the statement' from t";
        ASSERT_EQ(engine.Compile(TextView(text.data(), static_cast<int32_t>(text.size()))), 1);
        text.assign(text.size(), '#');
    }
    engine.SetView(view);
    ASSERT_EQ(engine.SetParameters(nullptr, 0), 1);
    ASSERT_EQ(engine.Run(), 1);
    EXPECT_EQ(Value(&engine, 0), "a literal of the statement");
}

TEST_F(SQLEngineTest, RemembersTheCaseSettingOfItsCompilation) {
    schema->SetCaseInsensitive(true);
    SQLEngine engine(*schema, database);
    ASSERT_EQ(engine.Compile("select a from t where a = 'X'"), 1);
    schema->SetCaseInsensitive(false);
    EXPECT_TRUE(engine.CaseInsensitive());
    engine.SetView(view);
    ASSERT_EQ(engine.SetParameters(nullptr, 0), 1);
    EXPECT_EQ(engine.Run(), 1);
}

TEST_F(SQLEngineTest, KnowsTheHostsDatabase) {
    const SQLEngine engine(*schema, database);
    EXPECT_EQ(engine.HostDatabase(), database);
}

// No instruction is trusted to have what it needs, whether there is a schema or not.
TEST_F(SQLEngineTest, DefinitionsWithoutTheirListsAreRefused) {
    for (const int32_t opcode : {SQL_Create_Table, SQL_Alter_Table_Add, SQL_Create_Index}) {
        Program program;
        program.Emit(opcode, 0, 0, 0, "t", "i");
        Machine machine(schema.get());
        EXPECT_EQ(machine.Run(program), -1);
        EXPECT_EQ(machine.Error(), "Invalid instruction");
    }
}

TEST_F(SQLEngineTest, IsGoneWithARunHalfWay) {
    SQLEngine engine(*schema, database);
    ASSERT_EQ(engine.Compile("select a from t order by n desc"), 1);
    engine.SetView(view);
    ASSERT_EQ(engine.SetParameters(nullptr, 0), 1);
    ASSERT_EQ(engine.Run(), 1);
    EXPECT_EQ(Value(&engine, 0), "y");
}

}  // namespace
}  // namespace ovrasql
