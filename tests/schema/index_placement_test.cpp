// Where the files of indexes lie with a sub-directory character: two names that lead to one place
// must not have one file.

#include <algorithm>

#include "tests/schema/schema_fixture.h"

namespace ovrasql {
namespace {

class IndexPlacementTest : public SchemaTest {
  protected:
    void SetUp() override {
        SchemaTest::SetUp();
        CreateDatabase();
        ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}, {"n", 1, 4}}));
        Insert("t", {"x", "1"});
        schema_->SetSubdirChar('_');
    }

    // The second index is refused, and the first is as it was.
    void ExpectOnePlace(const char* first, const char* second, const std::string& secondPath) {
        ASSERT_TRUE(CreateIndex("t", first, false, {"a"})) << Error();
        const std::string firstPath = FileOf(first);
        const Bytes before = TheHost().FileBytes(firstPath);
        EXPECT_FALSE(CreateIndex("t", second, false, {"n"})) << second;
        EXPECT_EQ(Error(), "Index '" + std::string(second) + "' cannot be created because file '" +
                               secondPath + "' is that of index '" + first + "'");
        EXPECT_FALSE(TheHost().HasFile(secondPath));
        EXPECT_EQ(TheHost().FileBytes(firstPath), before);
        EXPECT_FALSE(schema_->IndexExists(second));
        EXPECT_EQ(Keys("t", first), Texts{"X=1"});
        ASSERT_TRUE(schema_->DropIndex(first));
    }

    [[nodiscard]] std::string FileOf(const char* index) {
        EXPECT_TRUE(schema_->IndexExists(index));
        OvraSQLTable& catalog = schema_->SchemaTable()->Data();
        return "db/" + Text(catalog.FindField("FILE")->ValueText());
    }
};

TEST_F(IndexPlacementTest, ADoubledOrLeadingCharacterDoesNotMakeAnotherPlace) {
    ExpectOnePlace("a_b", "a__b", "db/a//b.ovx");
    ExpectOnePlace("a__b", "a_b", "db/a/b.ovx");
    ExpectOnePlace("i", "_i", "db//i.ovx");
    ExpectOnePlace("_i", "I", "db/i.ovx");
}

TEST_F(IndexPlacementTest, ThePlaceOfADroppedIndexIsFree) {
    ASSERT_TRUE(CreateIndex("t", "a_b", false, {"a"}));
    ASSERT_TRUE(schema_->DropIndex("a_b"));
    ASSERT_TRUE(CreateIndex("t", "a__b", false, {"n"})) << Error();
    EXPECT_EQ(FileOf("a__b"), "db/a//b.ovx");
    EXPECT_EQ(Keys("t", "a__b"), Texts{"0001=1"});
}

// The look at the other rows must not move the catalog off the row that is taken back.
TEST_F(IndexPlacementTest, ANameWithADeadRowTakesThatRowBack) {
    ASSERT_TRUE(CreateIndex("t", "a_b", false, {"a"}));
    ASSERT_TRUE(CreateIndex("t", "c_d", false, {"a"}));
    ASSERT_TRUE(schema_->DropIndex("a_b"));
    ASSERT_TRUE(CreateIndex("t", "a_b", false, {"n"})) << Error();
    EXPECT_EQ(FileOf("a_b"), "db/a/b.ovx");
    EXPECT_EQ(FileOf("c_d"), "db/c/d.ovx");
    EXPECT_EQ(Keys("t", "a_b"), Texts{"0001=1"});
    EXPECT_EQ(Keys("t", "c_d"), Texts{"X=1"});
}

TEST_F(IndexPlacementTest, ACatalogThatCantBeReadIsNotAFreePlace) {
    ASSERT_TRUE(CreateIndex("t", "a_b", false, {"a"}));
    ASSERT_NE(schema_->GetTable("t"), nullptr);
    const Bytes before = TheHost().FileBytes("db/a/b.ovx");
    // Each lock of the CREATE is refused in turn, until it is over the walk and the file is made.
    int lock = 1;
    for (bool refused = true; refused; ++lock) {
        TheHost().FailCall("ovFile_Lock", lock);
        ASSERT_FALSE(CreateIndex("t", "a__b", false, {"n"})) << lock;
        refused = Error().rfind("Error locking 'db/main", 0) == 0;
        EXPECT_EQ(TheHost().FileBytes("db/a/b.ovx"), before) << lock;
    }
    EXPECT_GT(lock, 5);
    TheHost().ClearFailures();
}

TEST_F(IndexPlacementTest, WithoutTheCharacterNoOtherRowIsRead) {
    schema_->SetSubdirChar('\0');
    for (const char* name : {"i1", "i2", "i3"}) {
        ASSERT_TRUE(CreateIndex("t", name, false, {"a"}));
    }
    ASSERT_TRUE(schema_->DropIndex("i3"));
    TheHost().ClearLog();
    ASSERT_TRUE(CreateIndex("t", "i3", false, {"a"}));
    const auto isRead = [](const HostCall& call) {
        return call.name == "ovFile_Read" && call.path == "db/main.dbf";
    };
    // The table's row, the dead one when it is met and when it is settled on, and the header.
    EXPECT_EQ(std::count_if(TheHost().Calls().begin(), TheHost().Calls().end(), isRead), 4);
}

}  // namespace
}  // namespace ovrasql
