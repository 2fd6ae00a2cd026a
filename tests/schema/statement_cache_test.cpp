// The cache of compiled statements: what counts as the same text, who is dropped, who is kept.

#include "engine/sql_engine.h"
#include "schema/prepared_statement.h"
#include "tests/schema/schema_fixture.h"

namespace ovrasql {
namespace {

class StatementCacheTest : public SchemaTest {
  protected:
    void SetUp() override {
        SchemaTest::SetUp();
        CreateDatabase();
        ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    }

    [[nodiscard]] PreparedStatement* Prepare(const std::string& text) {
        PreparedStatement* const statement =
            schema_->Prepare(TextView(text.data(), static_cast<int32_t>(text.size())));
        EXPECT_NE(statement, nullptr) << Error();
        return statement;
    }

    void PrepareAndRelease(const std::string& text) { schema_->Release(Prepare(text)); }

    // Whether the cache has the text; it goes to the head if so.
    [[nodiscard]] bool IsCached(const std::string& text) {
        EXPECT_TRUE(schema_->OpenTrace("hit.log"));
        const size_t before = TheHost().FileText("hit.log").size();
        PrepareAndRelease(text);
        const std::string trace = TheHost().FileText("hit.log").substr(before);
        schema_->Trace().Close();
        return trace.find("*** Using Cached Prepared Statement\n") == 0;
    }

    // Releases one statement a number, the first first.
    void FillCache(int32_t count) {
        for (int32_t number = 0; number < count; ++number) {
            PrepareAndRelease(Numbered(number));
        }
    }

    [[nodiscard]] static std::string Numbered(int32_t number) {
        return "select a from t where a = '" + std::to_string(number) + "'";
    }
};

TEST_F(StatementCacheTest, AReleasedStatementIsFoundByItsText) {
    PreparedStatement* const statement = Prepare("select a from t");
    schema_->Release(statement);
    EXPECT_EQ(schema_->CachedStatementCount(), 1);
    PreparedStatement* const again = Prepare("select a from t");
    EXPECT_EQ(again, statement);
    // In use it is out of the list.
    EXPECT_EQ(schema_->CachedStatementCount(), 0);
    schema_->Release(again);
}

TEST_F(StatementCacheTest, TextsAreComparedByteForByte) {
    PrepareAndRelease("select a from t");
    EXPECT_FALSE(IsCached("SELECT a from t"));
    EXPECT_FALSE(IsCached("select  a from t"));
    EXPECT_FALSE(IsCached("select a from t "));
    EXPECT_FALSE(IsCached("select a from t where a = ''"));
    EXPECT_TRUE(IsCached("select a from t"));
}

TEST_F(StatementCacheTest, TwoUsesAtOnceAreTwoStatements) {
    PreparedStatement* const first = Prepare("select a from t");
    PreparedStatement* const second = Prepare("select a from t");
    EXPECT_NE(first, second);
    schema_->Release(first);
    schema_->Release(second);
    EXPECT_EQ(schema_->CachedStatementCount(), 2);
    PreparedStatement* const latest = Prepare("select a from t");
    EXPECT_EQ(latest, second);
    schema_->Release(latest);
}

TEST_F(StatementCacheTest, TheLongestReleasedIsDroppedFirst) {
    FillCache(10);
    // Used again, so it goes to the head.
    EXPECT_TRUE(IsCached(Numbered(0)));
    PrepareAndRelease("select a from t");
    EXPECT_EQ(schema_->CachedStatementCount(), 10);
    EXPECT_TRUE(IsCached(Numbered(0)));
    EXPECT_TRUE(IsCached(Numbered(2)));
    EXPECT_FALSE(IsCached(Numbered(1)));
}

TEST_F(StatementCacheTest, WithLimitZeroNothingIsKept) {
    schema_->SetStatementCacheSize(0);
    PrepareAndRelease("select a from t");
    EXPECT_EQ(schema_->CachedStatementCount(), 0);
    EXPECT_FALSE(IsCached("select a from t"));
}

TEST_F(StatementCacheTest, ANegativeLimitIsZero) {
    FillCache(2);
    schema_->SetStatementCacheSize(-5);
    EXPECT_EQ(schema_->CachedStatementCount(), 0);
    PrepareAndRelease("select a from t");
    EXPECT_EQ(schema_->CachedStatementCount(), 0);
}

TEST_F(StatementCacheTest, WithLimitOneTheSecondIsKept) {
    schema_->SetStatementCacheSize(1);
    FillCache(2);
    EXPECT_EQ(schema_->CachedStatementCount(), 1);
    EXPECT_TRUE(IsCached(Numbered(1)));
    EXPECT_FALSE(IsCached(Numbered(0)));
}

TEST_F(StatementCacheTest, ALowerLimitDropsTheLongestReleased) {
    FillCache(10);
    schema_->SetStatementCacheSize(2);
    EXPECT_EQ(schema_->CachedStatementCount(), 2);
    EXPECT_TRUE(IsCached(Numbered(8)));
    EXPECT_TRUE(IsCached(Numbered(9)));
    // A limit of 2 holds the two just asked for.
    EXPECT_FALSE(IsCached(Numbered(7)));
}

TEST_F(StatementCacheTest, AHitIsTracedWithTheProgram) {
    ASSERT_TRUE(schema_->OpenTrace("trace.log"));
    PrepareAndRelease("drop table u");
    const std::string first = TheHost().FileText("trace.log");
    PrepareAndRelease("drop table u");
    // The program once more, behind the line that tells of the hit.
    EXPECT_EQ(TheHost().FileText("trace.log"),
              first + "*** Using Cached Prepared Statement\n" + first);
    EXPECT_EQ(first.find("SQL_Drop_Table") == std::string::npos, false);
    EXPECT_EQ(first.substr(first.size() - 2), "\n\n");
}

TEST_F(StatementCacheTest, AStatementThatDoesNotCompileIsReportedAndNotKept) {
    EXPECT_EQ(schema_->Prepare("nonsense"), nullptr);
    EXPECT_EQ(Error(), "Syntax Error: Empty SQL Statement");
    EXPECT_EQ(schema_->CachedStatementCount(), 0);
}

TEST_F(StatementCacheTest, AReleasedStatementHoldsNoFile) {
    Insert("t", {"x"});
    PreparedStatement* const statement = Prepare("update t set a = 'y'");
    const int32_t before = TheHost().OpenFileCount();
    ASSERT_EQ(statement->Engine().SetParameters(nullptr, 0), 1);
    ASSERT_EQ(statement->Engine().Run(), 0) << Text(statement->Engine().ErrorMessage());
    schema_->Release(statement);
    EXPECT_EQ(TheHost().OpenFileCount(), before);
    EXPECT_EQ(Records("t"), Texts{"y"});
}

TEST_F(StatementCacheTest, AChangeOfTheCaseSettingEmptiesTheCache) {
    FillCache(3);
    schema_->SetCaseInsensitive(false);
    EXPECT_EQ(schema_->CachedStatementCount(), 3);
    schema_->SetCaseInsensitive(true);
    EXPECT_EQ(schema_->CachedStatementCount(), 0);
    EXPECT_TRUE(schema_->CaseInsensitive());
}

TEST_F(StatementCacheTest, AStatementOfTheOtherCaseSettingIsNotTakenBack) {
    PreparedStatement* const held = Prepare("select a from t");
    schema_->SetCaseInsensitive(true);
    schema_->Release(held);
    EXPECT_EQ(schema_->CachedStatementCount(), 0);
    PreparedStatement* const kept = Prepare("select a from t");
    schema_->SetCaseInsensitive(false);
    schema_->SetCaseInsensitive(true);
    schema_->Release(kept);
    EXPECT_EQ(schema_->CachedStatementCount(), 1);
}

TEST_F(StatementCacheTest, ReleasingNothingIsSafe) {
    schema_->Release(nullptr);
    EXPECT_EQ(schema_->CachedStatementCount(), 0);
}

// Which definitions empty the cache, also where they fail behind their first step.
TEST_F(StatementCacheTest, DefinitionsEmptyTheCache) {
    ASSERT_TRUE(CreateIndex("t", "i", false, {"a"}));
    FillCache(2);
    EXPECT_TRUE(CreateTable("u", {{"a", 0, 5}}));
    EXPECT_EQ(schema_->CachedStatementCount(), 2);
    EXPECT_FALSE(schema_->DropIndex("none"));
    EXPECT_EQ(schema_->CachedStatementCount(), 2);
    EXPECT_TRUE(schema_->DropIndex("i"));
    EXPECT_EQ(schema_->CachedStatementCount(), 0);
    FillCache(1);
    EXPECT_FALSE(CreateIndex("none", "i", false, {"a"}));
    EXPECT_EQ(schema_->CachedStatementCount(), 0);
    FillCache(1);
    EXPECT_FALSE(schema_->DropTable("none"));
    EXPECT_EQ(schema_->CachedStatementCount(), 0);
    FillCache(1);
    EXPECT_FALSE(AddColumns("none", {{"b", 0, 5}}));
    EXPECT_EQ(schema_->CachedStatementCount(), 0);
    FillCache(1);
    EXPECT_FALSE(schema_->AlterTableDrop("none", "b"));
    EXPECT_EQ(schema_->CachedStatementCount(), 0);
    FillCache(1);
    EXPECT_TRUE(schema_->Pack());
    EXPECT_EQ(schema_->CachedStatementCount(), 0);
}

// A view can be open across a definition: its statement borrows nothing that the definition ends.
TEST_F(StatementCacheTest, AStatementInUseOutlivesTheTablesItWasCompiledAgainst) {
    Insert("t", {"x"});
    PreparedStatement* const statement = Prepare("update t set a = 'y'");
    ASSERT_TRUE(AddColumns("t", {{"b", 0, 5}}));
    ASSERT_EQ(statement->Engine().SetParameters(nullptr, 0), 1);
    EXPECT_EQ(statement->Engine().Run(), 0) << Text(statement->Engine().ErrorMessage());
    schema_->Release(statement);
    EXPECT_EQ(Records("t"), Texts{"y|"});
    ASSERT_TRUE(schema_->DropTable("t"));
}

}  // namespace
}  // namespace ovrasql
