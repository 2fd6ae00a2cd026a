// What threads may do at once: a database belongs to one thread at a time, and everything else is
// free. These tests find most when they run under the thread sanitizer (tests/long/threads).

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "foundation/alloc_hash_table.h"
#include "ovrasql/ovrasql.h"
#include "tests/support/temporary_folder.h"

namespace {

constexpr int kThreads = 4;
constexpr int kRows = 60;

// Runs `work(number)` in as many threads at once, which begin together.
void RunThreads(int count, const std::function<void(int)>& work) {
    std::atomic<int> waiting{count};
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(count));
    for (int number = 0; number < count; ++number) {
        threads.emplace_back([&waiting, &work, number] {
            --waiting;
            while (waiting > 0) {
                std::this_thread::yield();
            }
            work(number);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

// A database handle, closed at the end, in whatever thread that is.
class Connection {
  public:
    enum class How { kCreate, kOpen };

    Connection(const std::string& path, How how) {
        good_ = (how == How::kCreate ? ovra_create(path.c_str(), &database_)
                                     : ovra_open(path.c_str(), &database_)) == 1;
    }
    ~Connection() { ovra_close(database_); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    // "" after a success, otherwise the message.
    std::string Run(const std::string& statement) {
        return good_ && ovra_query(database_, statement.c_str(), -1, nullptr, 0) == 1
                   ? std::string()
                   : std::string("error: ") + ovra_error(database_);
    }

    // The first column of all rows, a blank behind each.
    std::string Column(const std::string& statement) {
        std::string texts;
        ovra_view* view = ovra_open_view(database_, statement.c_str(), -1, nullptr, 0);
        while (view != nullptr && ovra_next(view) == 1) {
            texts += std::string(ovra_text(view, 0, nullptr)) + " ";
        }
        const std::string failure = view == nullptr ? ovra_error(database_) : "";
        ovra_close_view(view);
        return texts + failure;
    }

    ovra_database* Handle() { return database_; }

  private:
    ovra_database* database_ = nullptr;
    bool good_ = false;
};

using How = Connection::How;

// A whole life of a database: definitions, rows with memos, changes, sorting, groups, errors, pack.
void LiveWith(const std::string& path, int number) {
    const std::string mine = std::to_string(number);
    Connection database(path, How::kCreate);
    EXPECT_EQ(database.Run("create table t (id numeric(6), name char(20), note memo)"), "");
    EXPECT_EQ(database.Run("create unique index byid on t (id)"), "");
    EXPECT_EQ(database.Run("create index byname on t (name desc)"), "");
    for (int row = 0; row < kRows; ++row) {
        const std::string id = std::to_string(row);
        ASSERT_EQ(
            database.Run("insert into t values (" + id + ", 'n" + mine + "', 'note " + id + "')"),
            "");
    }
    EXPECT_NE(database.Run("insert into t values (0, 'twice', '')"), "");
    EXPECT_NE(database.Run("select nothing from"), "");
    EXPECT_EQ(database.Run("update t set name = 'even', note = 'changed' where id < 10"), "");
    EXPECT_EQ(database.Run("delete from t where id between 20 and 39"), "");
    EXPECT_EQ(ovra_set_option(database.Handle(), "caseinsensitive", ""), 1);
    EXPECT_EQ(database.Column("select count(*) from t where name = 'N" + mine + "'"), "30 ");
    EXPECT_EQ(database.Column("select name from t group by name, count(*)").empty(), false);
    EXPECT_EQ(database.Column("select note from t where id = 5"), "changed ");
    EXPECT_EQ(ovra_pack(database.Handle()), 1);
    EXPECT_EQ(database.Column("select id from t where id > 17 order by id desc").substr(0, 9),
              "59 58 57 ");
    EXPECT_EQ(database.Run("alter table t add extra char(3)"), "");
    EXPECT_EQ(database.Run("drop table t"), "");
}

class ThreadsTest : public testing::Test {
  protected:
    std::string Path(int number) const {
        return folder_.File("of_thread_" + std::to_string(number) + ".dbf");
    }

    ovratest::TemporaryFolder folder_;
};

// The first of all tests, so that the library is not loaded before: the first call loads it and
// binds the services, once, whichever thread comes first.
TEST_F(ThreadsTest, TheFirstCallsOfAProcessMayComeAtOnce) {
    RunThreads(kThreads, [this](int number) {
        Connection database(Path(number), How::kCreate);
        EXPECT_EQ(database.Run("create table t" + std::to_string(number) + " (a char)"), "");
    });
}

TEST_F(ThreadsTest, EachHasADatabaseOfItsOwn) {
    std::vector<ovratest::TemporaryFolder> folders(kThreads);
    RunThreads(kThreads, [&folders](int number) {
        LiveWith(folders[static_cast<std::size_t>(number)].File("main.dbf"), number);
    });
}

TEST_F(ThreadsTest, DatabasesComeAndGoInAllThreads) {
    constexpr int kTimes = 25;
    RunThreads(kThreads, [this](int number) {
        Connection(Path(number), How::kCreate);
        for (int time = 0; time < kTimes; ++time) {
            Connection first(Path(number), How::kOpen);
            Connection second(Path((number + 1) % kThreads), How::kOpen);
            EXPECT_NE(first.Run("select * from missing"), "");
        }
    });
}

// What one thread leaves behind, a view in the middle of its rows included, the next one takes up.
TEST_F(ThreadsTest, ADatabaseGoesFromThreadToThread) {
    Connection database(Path(0), How::kCreate);
    ASSERT_EQ(database.Run("create table t (id numeric(6), thread numeric(2))"), "");
    ASSERT_EQ(database.Run("create index byid on t (id)"), "");
    ASSERT_EQ(database.Run("insert into t values (1000, 99)"), "");
    ovra_view* view = nullptr;
    for (int number = 0; number < 2 * kThreads; ++number) {
        std::thread([&database, &view, number] {
            EXPECT_EQ(database.Run("insert into t values (" + std::to_string(number) + ", " +
                                   std::to_string(number) + ")"),
                      "");
            if (view == nullptr) {
                view = ovra_open_view(database.Handle(), "select id from t", -1, nullptr, 0);
                ASSERT_NE(view, nullptr);
            }
            EXPECT_EQ(ovra_next(view), 1);
            int32_t id = 0;
            EXPECT_EQ(ovra_integer(view, 0, &id), 1);
            EXPECT_EQ(id, number == 0 ? 1000 : number - 1);
        }).join();
    }
    std::thread([view] { ovra_close_view(view); }).join();
    EXPECT_EQ(database.Column("select id from t where id >= 0 and id < 1000 order by id"),
              "0 1 2 3 4 5 6 7 ");
}

// Threads on one database, each with a handle of its own, are like so many processes.
TEST_F(ThreadsTest, OneTableTakesTheRowsOfAllThreads) {
    {
        Connection database(Path(0), How::kCreate);
        ASSERT_EQ(database.Run("create table t (id numeric(6), note memo)"), "");
        ASSERT_EQ(database.Run("create unique index byid on t (id)"), "");
    }
    RunThreads(kThreads, [this](int number) {
        Connection database(Path(0), How::kOpen);
        for (int row = 0; row < kRows; ++row) {
            const std::string id = std::to_string(number * kRows + row);
            EXPECT_EQ(database.Run("insert into t values (" + id + ", 'note " + id + "')"), "");
        }
    });
    Connection database(Path(0), How::kOpen);
    EXPECT_EQ(database.Column("select count(*) from t"), std::to_string(kThreads * kRows) + " ");
    std::string all;
    for (int id = 0; id < kThreads * kRows; ++id) {
        all += "note " + std::to_string(id) + " ";
    }
    EXPECT_EQ(database.Column("select note from t where id >= 0 order by id"), all);
}

// The record of live allocations is the one thing that all threads share by design.
TEST(AllocationTrackerThreadsTest, TracksReportsAndForgetsAtOnce) {
    const ovratest::TemporaryFolder folder;
    const std::string report = folder.File("report.txt");
    RunThreads(kThreads + 1, [&report](int number) {
        for (int round = 0; round < 300; ++round) {
            if (number == kThreads) {
                ovrasql::WriteAllocationReport(report.c_str());
                if (round % 50 == 0) {
                    ovrasql::ForgetTrackedAllocations();
                }
                continue;
            }
            void* first = ovrasql::TrackedNew(0, "thread.cpp", round);
            void* second = ovrasql::TrackedNew(0, "thread.cpp", round);
            ovrasql::TrackedDelete(first);
            ovrasql::TrackedDelete(second);
        }
    });
    EXPECT_EQ(folder.Read("report.txt").substr(0, 35), "----------[Begin Session]----------");
    ovrasql::ForgetTrackedAllocations();
}

}  // namespace
