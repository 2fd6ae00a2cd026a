// Each allocation of an entry fails once: it may let no exception out, crash or leak, and the
// database goes on working afterwards. The host's own allocations are spared. Statements of every
// kind stand in tests/faults.

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <new>
#include <string>
#include <vector>

#include "foundation/ignore_result.h"
#include "library/database_context.h"
#include "tests/support/failing_allocations.h"
#include "tests/support/long_text.h"
#include "tests/support/test_database.h"

namespace ovrasql {
namespace {

// Runs `entry` once for each of its allocations, with that one failing, until a run needs no more.
void FailEachAllocation(const std::function<void(bool failed)>& prepare,
                        const std::function<int32_t()>& entry) {
    constexpr int64_t kMostAllocations = 100000;
    for (int64_t number = 1; number < kMostAllocations; ++number) {
        prepare(false);
        ovratest::allocationCount = 0;
        ovratest::failingAllocation = number;
        ovratest::countingAllocations = true;
        const int32_t result = entry();
        ovratest::countingAllocations = false;
        ASSERT_TRUE(result == 0 || result == 1) << "allocation " << number;
        if (ovratest::allocationCount < number) {
            EXPECT_EQ(result, 1) << "nothing failed";
            EXPECT_GT(number, 1) << "the entry allocates nothing at all";
            return;
        }
    }
    FAIL() << "no end of allocations";
}

class OutOfMemoryTest : public ::testing::Test {
  protected:
    void SetUp() override {
        TheHost().Reset();
        TheHost().SetLogging(false);
    }
    void TearDown() override {
        EXPECT_EQ(TheHost().OpenFileCount(), 0);
        EXPECT_EQ(TheHost().Locks().size(), 0U);
    }
    static const ovra_library_table& Table() { return Library(); }
    static int32_t Query(void* database, const char* sql) {
        return Table().database_query(database, sql, -1, nullptr, 0);
    }
    static void* NewDatabase() {
        void* database = TheHost().MakeDatabase();
        EXPECT_EQ(Table().database_create(database, "main.dbf", -1), 1);
        EXPECT_EQ(Query(database, "create table t (a integer, b char(10), m memo)"), 1)
            << Table().database_error(database);
        EXPECT_EQ(Query(database, "insert into t (a, b, m) values (1, 'one', 'long one')"), 1);
        EXPECT_EQ(Query(database, "insert into t (a, b, m) values (2, 'two', 'long two')"), 1);
        return database;
    }
};

// No length can tell one of 2 GiB: cut, it would be another statement.
TEST_F(OutOfMemoryTest, TextsThatEndBehind2GiBAreRefused) {
    if (sizeof(void*) == 4) {
        GTEST_SKIP() << "addresses have 32 bits";
    }
    constexpr std::size_t kGibibyte = std::size_t{1} << 30;
    const ovratest::LongText huge(4 * kGibibyte + 5);
    if (huge.CText() == nullptr) {
        GTEST_SKIP() << "no room for addresses of 4 GiB";
    }
    void* database = NewDatabase();
    EXPECT_EQ(Query(database, huge.CText()), 0);
    EXPECT_STREQ(Table().database_error(database), "Out of memory");
    EXPECT_EQ(Query(database, huge.CText() + 2 * kGibibyte), 0);
    EXPECT_EQ(
        Table().database_open_view(database, "v", -1, huge.CText() + 2 * kGibibyte, -1, nullptr, 0),
        0);
    EXPECT_EQ(Query(database, "insert into t (a, b, m) values (3, 'three', '')"), 1);
    Table().database_free(database);
}

TEST_F(OutOfMemoryTest, CreateAndOpenFailCleanly) {
    void* database = TheHost().MakeDatabase();
    FailEachAllocation([](bool) {},
                       [&] { return Table().database_create(database, "main.dbf", -1); });
    FailEachAllocation([](bool) {},
                       [&] { return Table().database_open(database, "main.dbf", -1); });
    EXPECT_EQ(Query(database, "create table t (a integer)"), 1) << Table().database_error(database);
    Table().database_free(database);
}

// Without the memory for its schema a handle is open to nothing, and can be freed.
TEST_F(OutOfMemoryTest, AHandleWithoutASchemaFailsAtEveryEntry) {
    void* database = TheHost().MakeDatabase();
    bool sawNone = false;
    for (int64_t number = 1; number < 20; ++number) {
        ovratest::allocationCount = 0;
        ovratest::failingAllocation = number;
        ovratest::countingAllocations = true;
        const int32_t result = Table().database_create(database, "main.dbf", -1);
        ovratest::countingAllocations = false;
        ovratest::failingAllocation = 0;
        const DatabaseContext* const context = DatabaseContext::Of(database);
        if (context == nullptr || context->GetSchema() != nullptr) {
            continue;
        }
        sawNone = true;
        EXPECT_EQ(result, 0);
        EXPECT_EQ(Query(database, "create table t (a integer)"), 0);
        EXPECT_EQ(Table().database_open_view(database, "v", 1, "select a from t", -1, nullptr, 0),
                  0);
        EXPECT_EQ(Table().database_set_option(database, "casesensitive", -1, "", 0), 0);
        EXPECT_EQ(Table().database_pack(database), 0);
        EXPECT_STREQ(Table().database_error(database), "Out of memory");
    }
    EXPECT_TRUE(sawNone);
    Table().database_free(database);
}

// Contexts that have ended are used again, so only one that must be made anew needs memory.
TEST_F(OutOfMemoryTest, AHandleWithoutAContextIsOpenToNothing) {
    constexpr size_t kMostIdle = 1000;
    std::vector<void*> databases;
    do {
        databases.push_back(TheHost().MakeDatabase());
        ovratest::allocationCount = 0;
        ovratest::failingAllocation = 1;
        ovratest::countingAllocations = true;
        EXPECT_EQ(Table().database_create(databases.back(), "main.dbf", -1), 0);
        ovratest::countingAllocations = false;
        ovratest::failingAllocation = 0;
    } while (DatabaseContext::Of(databases.back()) != nullptr && databases.size() < kMostIdle);
    EXPECT_EQ(DatabaseContext::Of(databases.back()), nullptr);
    EXPECT_EQ(Query(databases.back(), "create table t (a integer)"), 0);
    EXPECT_EQ(Table().database_create(databases.back(), "main.dbf", -1), 1);
    for (void* database : databases) {
        Table().database_free(database);
    }
}

// A catalog that is open in part must not be written to: its rows would get keys that nobody finds.
TEST_F(OutOfMemoryTest, AnOpeningThatFailedIsNoCatalogToWriteTo) {
    void* database = NewDatabase();
    Table().database_free(database);
    const std::string before = TheHost().FileText("main.dbf");
    database = TheHost().MakeDatabase();
    FailEachAllocation([](bool) {},
                       [&] {
                           const int32_t opened = Table().database_open(database, "main.dbf", -1);
                           if (opened == 0) {
                               ovratest::countingAllocations = false;
                               EXPECT_EQ(Query(database, "create table u (a integer)"), 0);
                           }
                           return opened;
                       });
    EXPECT_EQ(TheHost().FileText("main.dbf"), before);
    EXPECT_FALSE(TheHost().HasFile("u.dbf"));
    Table().database_free(database);
}

TEST_F(OutOfMemoryTest, AQueryFailsCleanlyAndTheDatabaseGoesOn) {
    void* database = NewDatabase();
    FailEachAllocation(
        [&](bool) {
            EXPECT_EQ(Table().database_set_option(database, "statement_cache_size", -1, "0", -1),
                      1);
        },
        [&] { return Query(database, "update t set b = 'more' where a = 2"); });
    FailEachAllocation(
        [&](bool) {},
        [&] {
            return Query(database, "insert into t (a, b, m) values (3, 'three', 'long three')");
        });
    EXPECT_EQ(Query(database, "delete from t where a = 1"), 1) << Table().database_error(database);
    Table().database_free(database);
}

TEST_F(OutOfMemoryTest, AViewFailsCleanlyAndTheDatabaseGoesOn) {
    void* database = NewDatabase();
    const char* sql =
        "select distinct x.a, x.b, x.m, x.a + 1 from t x where x.a in (1, 2) union select a, b, m, "
        "a "
        "from t order by 1";
    FailEachAllocation([](bool) {},
                       [&] {
                           int32_t result =
                               Table().database_open_view(database, "v", 1, sql, -1, nullptr, 0);
                           HostView* view = TheHost().FindView(database, "v");
                           if (view != nullptr) {
                               result &= Table().view_skip(view, 10);
                               Table().view_close(view);
                               TheHost().DestroyView(view);
                           }
                           return result;
                       });
    EXPECT_EQ(Query(database, "delete from t where a = 1"), 1) << Table().database_error(database);
    Table().database_free(database);
}

TEST_F(OutOfMemoryTest, TheErrorTextSaysSo) {
    void* database = NewDatabase();
    ovratest::countingAllocations = true;
    ovratest::allocationCount = 0;
    ovratest::failingAllocation = 1;
    EXPECT_EQ(Query(database, "insert into t (a) values (4)"), 0);
    ovratest::countingAllocations = false;
    EXPECT_STREQ(Table().database_error(database), "Out of memory");
    Table().database_free(database);
}

}  // namespace
}  // namespace ovrasql
