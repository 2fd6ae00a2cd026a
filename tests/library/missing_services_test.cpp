// A host that lacks services is a host that fails in them: nothing may crash or leak for that.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "library/host_services.h"
#include "tests/support/test_database.h"

namespace ovrasql {
namespace {

class MissingServicesTest : public ::testing::Test {
  protected:
    void SetUp() override { TheHost().Reset(); }
    void TearDown() override { BindHostServices(nullptr); }
};

// A database's whole life. Which results it has depends on what is missing.
std::string LiveThrough() {
    std::string results;
    const auto note = [&results](bool result) { results += result ? '1' : '0'; };
    TestDatabase database;
    note(database.Create("folder/main.dbf") || database.Create("main.dbf"));
    note(database.Option("log"));
    note(database.Option("subdir_char", "_"));
    note(database.Query("create table a_b (c integer, m memo)"));
    note(database.Query("create unique index i on a_b (c)"));
    note(database.Query("insert into a_b (c, m) values (?, ?)", {"1", "text"}));
    note(database.Query("update a_b set m = 'other' where c = 1"));
    {
        TestView view(database, "select c, m from a_b order by c");
        note(view.Ok());
        note(view.Columns().size() == 2);
        note(view.Skip());
    }
    note(database.Query("alter table a_b add (d integer)"));
    note(database.Pack());
    note(database.Query("drop table a_b"));
    return results;
}

TEST_F(MissingServicesTest, ACompleteHostSucceedsInAll) {
    EXPECT_EQ(LiveThrough(), std::string(13, '1'));
    EXPECT_EQ(TheHost().OpenFileCount(), 0);
    EXPECT_EQ(TheHost().AllocatedCount(), 0);
    EXPECT_EQ(TheHost().Misuses(), std::vector<std::string>());
}

TEST_F(MissingServicesTest, AHostWithoutAnyServiceFailsInAll) {
    hostServices = HostServices{};
    EXPECT_EQ(LiveThrough(), std::string(13, '0'));
    void* handle = TheHost().MakeDatabase();
    EXPECT_STREQ(Library().database_error(handle), "Unknown OvraSQL error");
    Library().database_free(handle);
}

TEST_F(MissingServicesTest, AHostThatCannotOpenFilesGetsAMessage) {
    hostServices.ovFile_Open = nullptr;
    TestDatabase database;
    EXPECT_FALSE(database.Create());
    EXPECT_NE(database.Error(), "");
    EXPECT_NE(database.Error(), "Unknown OvraSQL error");
}

// The library could not find its database again, so there is none.
TEST_F(MissingServicesTest, AHostThatKeepsNoDatabaseWordHasNoDatabase) {
    hostServices.ovDatabase_SetData = nullptr;
    TestDatabase database;
    EXPECT_FALSE(database.Create());
    EXPECT_EQ(database.Error(), "Unknown OvraSQL error");
    EXPECT_EQ(TheHost().OpenFileCount(), 0);
}

TEST_F(MissingServicesTest, AHostThatKeepsNoViewWordHasNoView) {
    TestDatabase database;
    ASSERT_TRUE(database.Create());
    ASSERT_TRUE(database.Query("create table t (a integer)"));
    hostServices.ovDatabaseView_data = nullptr;
    EXPECT_EQ(database.RowsText("select a from t"), "error: Unable to create view");
}

TEST_F(MissingServicesTest, EachServiceMayBeMissing) {
    int32_t different = 0;
#define OVRA_CALLED_SERVICE(name)                                                             \
    {                                                                                         \
        TheHost().Reset();                                                                    \
        hostServices.name = nullptr;                                                          \
        const std::string results = LiveThrough();                                            \
        EXPECT_EQ(results.size(), 13U) << #name;                                              \
        different += results != std::string(13, '1') ? 1 : 0;                                 \
        if (std::string(#name) != "ovFile_Release" && std::string(#name) != "ovFile_Close") { \
            EXPECT_TRUE(TheHost().Locks().empty()) << #name;                                  \
        }                                                                                     \
    }
#define OVRA_UNCALLED_SERVICE(name)
#include "library/host_service_names.def"
    EXPECT_GT(different, 10) << "most services are needed for something here";
}

}  // namespace
}  // namespace ovrasql
