// Finding tables and indexes by name, and what happens when the catalog can't be read.

#include "schema/index_row_walk.h"
#include "tests/schema/schema_fixture.h"

namespace ovrasql {
namespace {

class CatalogLookupTest : public SchemaTest {
  protected:
    void SetUp() override {
        SchemaTest::SetUp();
        CreateDatabase();
    }

    [[nodiscard]] Texts IndexNames(Table& table) {
        Texts names;
        for (Index* index : table.Indexes()) {
            names.push_back(Text(index->Name()));
        }
        return names;
    }
};

TEST_F(CatalogLookupTest, NamesAreFoundWithoutRegardToCase) {
    ASSERT_TRUE(CreateTable("Orders", {{"a", 0, 5}}));
    EXPECT_TRUE(schema_->TableExists("ORDERS"));
    EXPECT_TRUE(schema_->TableExists("orders"));
    EXPECT_FALSE(schema_->TableExists("order"));
    EXPECT_FALSE(schema_->TableExists("orders2"));
    // The spelling stays that of the CREATE.
    EXPECT_EQ(Text(schema_->OpenTable("ORDERS")->Name()), "Orders");
}

TEST_F(CatalogLookupTest, AnUnknownTableIsReported) {
    EXPECT_EQ(schema_->OpenTable("t"), nullptr);
    EXPECT_EQ(Error(), "Unknown table 't'");
}

TEST_F(CatalogLookupTest, ATableWithoutItsFileIsReportedByTheFilesMessage) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    Reopen();
    TheHost().RemoveFile("db/t.dbf");
    TheHost().SetErrorText("no such file");
    EXPECT_EQ(schema_->OpenTable("t"), nullptr);
    EXPECT_EQ(Error(), "Error opening 'db/t.dbf': no such file");
    EXPECT_EQ(schema_->GetTable("t"), nullptr);
}

TEST_F(CatalogLookupTest, TheTableForNameResolutionIsOpenedOnce) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    Reopen();
    Table* const table = schema_->GetTable("T");
    ASSERT_NE(table, nullptr);
    TheHost().ClearLog();
    EXPECT_EQ(schema_->GetTable("t"), table);
    EXPECT_TRUE(TheHost().Calls().empty());
    // A statement's own table is another one.
    EXPECT_NE(schema_->OpenTable("t").get(), table);
}

TEST_F(CatalogLookupTest, LoadingListsIndexesWithoutOpeningTheirFiles) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}, {"b", 1, 5}}));
    ASSERT_TRUE(CreateIndex("t", "second", false, {"b"}));
    ASSERT_TRUE(CreateIndex("t", "First", true, {"-a", "-b"}));
    ASSERT_TRUE(CreateTable("t2", {{"a", 0, 5}}));
    ASSERT_TRUE(CreateIndex("t2", "other", false, {"a"}));
    Reopen();
    Table* const table = schema_->GetTable("t");
    ASSERT_TRUE(schema_->LoadIndexes(*table));
    EXPECT_TRUE(table->IndexesLoaded());
    // In the order of their keys; those of t2 are behind another prefix.
    EXPECT_EQ(IndexNames(*table), (Texts{"First", "second"}));
    Index* const first = table->Indexes().Find("FIRST");
    ASSERT_NE(first, nullptr);
    EXPECT_FALSE(first->File().IsOpen());
    EXPECT_EQ(first->Flags(), 1 + 2 + 4);
    EXPECT_EQ(first->Columns().Count(), 2);
    EXPECT_EQ(table->Indexes().Find("second")->Flags(), 0);
    TheHost().ClearLog();
    EXPECT_TRUE(schema_->LoadIndexes(*table));
    EXPECT_TRUE(TheHost().Calls().empty());
}

TEST_F(CatalogLookupTest, OpeningListsIndexesAnewAndOpensTheirFiles) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    ASSERT_TRUE(CreateIndex("t", "i", false, {"a"}));
    const std::unique_ptr<Table> table = schema_->OpenTable("t");
    ASSERT_TRUE(schema_->OpenIndexes(*table));
    EXPECT_TRUE(table->Indexes().Find("i")->File().IsOpen());
    EXPECT_FALSE(table->IndexesLoaded());
    ASSERT_TRUE(schema_->OpenIndexes(*table));
    EXPECT_EQ(IndexNames(*table), Texts{"i"});
}

TEST_F(CatalogLookupTest, AnIndexWithoutItsFileFailsTheOpening) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    ASSERT_TRUE(CreateIndex("t", "i", false, {"a"}));
    Reopen();
    TheHost().RemoveFile("db/i.ovx");
    TheHost().SetErrorText("no such file");
    const std::unique_ptr<Table> table = schema_->OpenTable("t");
    EXPECT_FALSE(schema_->OpenIndexes(*table));
    EXPECT_EQ(Error(), "Error opening 'db/i.ovx': no such file");
    EXPECT_EQ(schema_->OpenIndex(*table, "i"), nullptr);
    EXPECT_EQ(Error(), "Error opening 'db/i.ovx': no such file");
}

TEST_F(CatalogLookupTest, OneIndexOpensOnDemand) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    ASSERT_TRUE(CreateIndex("t", "i", false, {"a"}));
    const std::unique_ptr<Table> table = schema_->OpenTable("t");
    Index* const index = schema_->OpenIndex(*table, "I");
    ASSERT_NE(index, nullptr);
    EXPECT_TRUE(index->File().IsOpen());
    EXPECT_EQ(index->Flags(), 4);
    EXPECT_EQ(schema_->OpenIndex(*table, "i"), index);
}

TEST_F(CatalogLookupTest, AnUnknownIndexHasNoMessageAndShowsNoOldOne) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    const std::unique_ptr<Table> table = schema_->OpenTable("t");
    EXPECT_EQ(schema_->OpenTable("u"), nullptr);
    EXPECT_EQ(schema_->OpenIndex(*table, "i"), nullptr);
    EXPECT_EQ(Error(), "");
}

TEST_F(CatalogLookupTest, AColumnListWithAnUnknownNameGivesFewerColumns) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}, {"b", 0, 5}}));
    const std::unique_ptr<Table> table = schema_->OpenTable("t");
    Index index(table.get(), "i", 0);
    index.AddColumns("a:gone:B");
    ASSERT_EQ(index.Columns().Count(), 2);
    EXPECT_EQ(Text(index.Columns().First()->Name()), "A");
    EXPECT_EQ(Text(index.Columns().Next()->Name()), "B");
    index.AddColumns("");
    EXPECT_EQ(index.Columns().Count(), 2);
}

TEST_F(CatalogLookupTest, AKeyIsTheValuesJoinedPaddedAndInUpperCase) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 8}, {"n", 1, 5}, {"d", 1, 6, 2}, {"l", 3, 1}}));
    const std::unique_ptr<Table> table = schema_->OpenTable("t");
    Index index(table.get(), "i", 0);
    index.AddColumns("a:n:d:l");
    SetValues(*table, {"Mixed", "42", "-1.50", "T"});
    String key;
    index.BuildKey(&key);
    // A sign gets no care of its own.
    EXPECT_EQ(Text(key), "MIXED:00042:0-1.50:T");
    SetValues(*table, {"", "", "", ""});
    index.BuildKey(&key);
    EXPECT_EQ(Text(key), ":00000:000000: ");  // a logical is read with its blank
}

TEST_F(CatalogLookupTest, TheKeyExpressionNamesTheColumns) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 8}, {"n", 1, 5}}));
    const std::unique_ptr<Table> table = schema_->OpenTable("t");
    Index index(table.get(), "i", 0);
    String expression;
    index.KeyExpression(&expression);
    EXPECT_EQ(Text(expression), "toupper(  )");
    index.AddColumns("n:a");
    index.KeyExpression(&expression);
    EXPECT_EQ(Text(expression), "toupper( d.N $ ':' $ d.A )");
}

// The length counts only with the whole key; a prefix is compared by its own length.
TEST_F(CatalogLookupTest, MatchingKeysEndWithThePrefix) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 8}}));
    ASSERT_TRUE(CreateIndex("t", "i", false, {"a"}));
    for (const char* value : {"ab", "abc", "abd", "b"}) {
        Insert("t", {value});
    }
    const std::unique_ptr<Table> table = schema_->OpenTable("t");
    Index* const index = schema_->OpenIndex(*table, "i");
    uint32_t number = 0;
    bool found = false;
    ASSERT_TRUE(index->Seek("AB", /*exact=*/false, &number, &found));
    EXPECT_TRUE(found);
    EXPECT_EQ(number, 1U);
    EXPECT_TRUE(index->NextMatching("AB", /*exact=*/false, &number));
    EXPECT_EQ(number, 2U);
    EXPECT_TRUE(index->NextMatching("AB", /*exact=*/false, &number));
    EXPECT_EQ(number, 3U);
    EXPECT_FALSE(index->NextMatching("AB", /*exact=*/false, &number));
    EXPECT_FALSE(index->File().Failed());
    ASSERT_TRUE(index->Seek("AB", /*exact=*/true, &number, &found));
    EXPECT_TRUE(found);
    EXPECT_FALSE(index->NextMatching("AB", /*exact=*/true, &number));
}

// Stored keys are cut to 99 bytes, and a longer prefix is compared by as many.
TEST_F(CatalogLookupTest, ALongPrefixIsCutLikeTheKeys) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 120}}));
    ASSERT_TRUE(CreateIndex("t", "i", false, {"a"}));
    const std::string longValue(110, 'X');
    Insert("t", {longValue.c_str()});
    Insert("t", {longValue.c_str()});
    const std::unique_ptr<Table> table = schema_->OpenTable("t");
    Index* const index = schema_->OpenIndex(*table, "i");
    const TextView key(longValue.c_str(), 110);
    uint32_t number = 0;
    bool found = false;
    ASSERT_TRUE(index->Seek(key, /*exact=*/true, &number, &found));
    EXPECT_TRUE(found);
    EXPECT_TRUE(index->NextMatching(key, /*exact=*/true, &number));
    EXPECT_FALSE(index->NextMatching(key, /*exact=*/true, &number));
}

// Indexes that can't be listed must not look like a table without indexes: rows would then be
// written without keys.
TEST_F(CatalogLookupTest, ARefusedLockIsNotTheEndOfTheIndexRows) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    ASSERT_TRUE(CreateIndex("t", "i1", false, {"a"}));
    ASSERT_TRUE(CreateIndex("t", "i2", false, {"a"}));
    const std::unique_ptr<Table> table = schema_->OpenTable("t");
    // One lock for the search, one for each of the two steps behind it.
    for (int32_t call = 1; call <= 3; ++call) {
        TheHost().FailCall("ovFile_Lock", call);
        EXPECT_FALSE(schema_->LoadIndexes(*table)) << call;
        EXPECT_EQ(Error(), "Error locking 'db/main.ovx' for read") << call;
        EXPECT_FALSE(table->IndexesLoaded()) << call;
        TheHost().FailCall("ovFile_Lock", call);
        EXPECT_FALSE(schema_->OpenIndexes(*table)) << call;
        EXPECT_EQ(Error(), "Error locking 'db/main.ovx' for read") << call;
    }
    TheHost().ClearFailures();
    EXPECT_TRUE(schema_->LoadIndexes(*table));
    EXPECT_EQ(IndexNames(*table), (Texts{"i1", "i2"}));
}

TEST_F(CatalogLookupTest, EveryFailureInListingIndexesFailsTheListing) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    ASSERT_TRUE(CreateIndex("t", "i1", false, {"a"}));
    ASSERT_TRUE(CreateIndex("t", "i2", false, {"a"}));
    const std::unique_ptr<Table> table = schema_->OpenTable("t");
    for (int64_t call = 1;; ++call) {
        TheHost().FailCall(call);
        const bool loaded = schema_->LoadIndexes(*table);
        if (!TheHost().FailureHappened()) {
            EXPECT_TRUE(loaded);
            break;
        }
        // Giving a lock back can't fail the operation.
        if (loaded) {
            EXPECT_EQ(IndexNames(*table), (Texts{"i1", "i2"})) << call;
            table->SetIndexesLoaded(false);
        } else {
            EXPECT_NE(Error(), "") << call;
        }
    }
}

TEST_F(CatalogLookupTest, AListingThatHasFailedGoesNoFurther) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    ASSERT_TRUE(CreateIndex("t", "t_a", false, {"a"}));
    IndexRowWalk walk(schema_.get(), "t");
    TheHost().FailCall("ovFile_Read", 1);
    EXPECT_FALSE(walk.Next());
    EXPECT_TRUE(walk.Failed());
    TheHost().ClearLog();
    EXPECT_FALSE(walk.Next());
    EXPECT_TRUE(walk.Failed());
    EXPECT_EQ(TheHost().LogText(), "");
}

// The rows of tables have no index name. Fifteen of them fill more than one page of the catalog's
// second index, so that the look-up steps from page to page.
TEST_F(CatalogLookupTest, AnUnreadablePageIsNotTheEndOfEqualNames) {
    for (int table = 1; table <= 15; ++table) {
        ASSERT_TRUE(CreateTable(("t" + std::to_string(table)).c_str(), {{"a", 0, 5}}));
    }
    EXPECT_FALSE(schema_->IndexExists(""));
    int64_t read = 0;
    for (bool failed = true; failed;) {
        Reopen();
        TheHost().SetErrorText("worn out");
        TheHost().FailCall("ovFile_Read", ++read);
        EXPECT_FALSE(schema_->IndexExists(""));
        failed = TheHost().FailureHappened();
        EXPECT_EQ(Error().ends_with("worn out"), failed) << "read " << read << ": " << Error();
        TheHost().ClearFailures();
    }
    EXPECT_GT(read, 15);

    // CREATE INDEX goes through all names.
    constexpr int64_t kMostReads = 1000;
    for (read = 0; read < kMostReads; ++read) {
        Reopen();
        TheHost().FailCall("ovFile_Read", read + 1);
        if (CreateIndex("t1", "fresh", false, {"a"})) {
            break;
        }
        EXPECT_NE(Error(), "") << "read " << read + 1;
        TheHost().ClearFailures();
    }
    EXPECT_GT(read, 30);
    EXPECT_LT(read, kMostReads);
}

TEST_F(CatalogLookupTest, AnUnreadableRowGivesTheSchemaTablesMessage) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    ASSERT_TRUE(CreateIndex("t", "i", false, {"a"}));
    const std::unique_ptr<Table> table = schema_->OpenTable("t");
    TheHost().SetErrorText("bad disk");
    // Header and page of the index, then the row.
    TheHost().FailCall("ovFile_Read", 3);
    EXPECT_FALSE(schema_->LoadIndexes(*table));
    EXPECT_EQ(Error(), "Error reading from 'db/main.dbf': bad disk");
}

TEST_F(CatalogLookupTest, ADroppedIndexIsNotListed) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    ASSERT_TRUE(CreateIndex("t", "i1", false, {"a"}));
    ASSERT_TRUE(CreateIndex("t", "i2", false, {"a"}));
    ASSERT_TRUE(schema_->DropIndex("i1"));
    const std::unique_ptr<Table> table = schema_->OpenTable("t");
    ASSERT_TRUE(schema_->LoadIndexes(*table));
    EXPECT_EQ(IndexNames(*table), Texts{"i2"});
}

// A table's row has the empty key in the index of index names, and "0" is equal to it by value.
TEST_F(CatalogLookupTest, NoTableIsTakenForAnIndex) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    EXPECT_FALSE(schema_->IndexExists(""));
    EXPECT_FALSE(schema_->IndexExists("0"));
    EXPECT_FALSE(schema_->IndexExists("0.0"));
}

TEST_F(CatalogLookupTest, NamesThatReadAsEqualNumbersAreToldApart) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    ASSERT_TRUE(CreateIndex("t", "inf", false, {"a"}));
    EXPECT_TRUE(schema_->IndexExists("inf"));
    EXPECT_FALSE(schema_->IndexExists("infinity"));
    ASSERT_TRUE(CreateIndex("t", "infinity", false, {"a"}));
    EXPECT_TRUE(schema_->IndexExists("inf"));
    EXPECT_TRUE(schema_->IndexExists("infinity"));
}

TEST_F(CatalogLookupTest, FlagsOutOfRangeAreCutToAnInteger) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    ASSERT_TRUE(CreateIndex("t", "i", false, {"a"}));
    ASSERT_TRUE(schema_->IndexExists("i"));
    Table& catalog = *schema_->SchemaTable();
    catalog.Data().FindField("INDEXFLAGS")->SetValue("9999999999999999999");
    ASSERT_TRUE(catalog.Data().UpdateRecord());
    const std::unique_ptr<Table> table = schema_->OpenTable("t");
    ASSERT_TRUE(schema_->LoadIndexes(*table));
    EXPECT_EQ(table->Indexes().Find("i")->Flags(), 2147483647);
}

// Every run of a statement opens its tables, so this must stay cheap.
TEST_F(CatalogLookupTest, OpeningATableAsksTheHostForLittle) {
    ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}}));
    Reopen();
    TheHost().ClearLog();
    const std::unique_ptr<Table> table = schema_->OpenTable("t");
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(TheHost().CallCount("ovFile_Open"), 1);
    EXPECT_EQ(TheHost().CallCount("ovFile_Lock"), TheHost().CallCount("ovFile_Release"));
    // The index's header and page, the row, the table's header and descriptors.
    EXPECT_LE(TheHost().CallCount("ovFile_Read"), 6);
}

}  // namespace
}  // namespace ovrasql
