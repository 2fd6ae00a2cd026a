// Pack and ALTER TABLE put new files in the place of the old ones while other processes use the
// table. No row may go into a file that has lost its name, and nothing may happen in silence.

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>
#include <set>

#include "tests/processes/shared_database.h"

namespace ovratest {
namespace {

namespace fs = std::filesystem;
using Statuses = std::vector<int>;

constexpr int kWriters = 3;
constexpr int kRowsOfAWriter = 120;

class RebuildProcessesTest : public testing::Test {
  protected:
    RebuildProcessesTest() {
        database_.Create({"create table t (number integer, word char(60), story memo)",
                          "create unique index numbers on t (number)",
                          "create index words on t (word)"});
    }

    // Rows that are there before the processes start, with texts of their own.
    void InsertRows(int count) {
        HostConnection connection(database_.Path());
        for (int number = 0; number < count; ++number) {
            const std::string text = RowText(0, number);
            ASSERT_TRUE(connection.Run("insert into t values (?, ?, ?)",
                                       {std::to_string(number), text, text}))
                << connection.Error();
        }
    }

    // A statement that was compiled before another process dropped a column asks for it, and is
    // told so before anything is written. The names of a table are looked up once for an open
    // database, so it is opened again.
    static bool RunInsert(std::optional<HostConnection>* connection, const std::string& path,
                          const std::vector<std::string>& values) {
        const std::string insert = "insert into t (number, word, story) values (?, ?, ?)";
        while (!(*connection)->Run(insert, values)) {
            if ((*connection)->Error() != "Invalid column reference 'EXTRA'") {
                return false;
            }
            connection->emplace(path);
        }
        return true;
    }

    // A writer's rows, and every third of them deleted again.
    static int Write(const std::string& path, int writer) {
        auto connection = std::make_optional<HostConnection>(path);
        for (int i = 0; i < kRowsOfAWriter; ++i) {
            const int number = writer * kRowsOfAWriter + i;
            const std::string text = RowText(writer, i);
            if (!RunInsert(&connection, path, {std::to_string(number), text, text + text}) ||
                (number % 3 == 0 &&
                 !connection->Run("delete from t where number = ?", {std::to_string(number)}))) {
                std::fprintf(stderr, "%s\n", connection->Error().c_str());
                return 1;
            }
        }
        return 0;
    }

    bool HasTemporaryFile() const {
        const fs::directory_iterator files(database_.Folder().Path());
        return std::any_of(begin(files), end(files), [](const fs::directory_entry& file) {
            return file.path().extension() == ".tmp";
        });
    }

    void ExpectEveryRow() const {
        HostConnection check(database_.Path());
        std::vector<int> expected = Range(0, kWriters * kRowsOfAWriter);
        expected.erase(std::remove_if(expected.begin(), expected.end(),
                                      [](int number) { return number % 3 == 0; }),
                       expected.end());
        EXPECT_EQ(Numbers(check.Select("select number from t")), expected);
        for (const auto& row : check.Select("select number, word, story from t")) {
            const int number = std::stoi(row[0]);
            const std::string text = RowText(number / kRowsOfAWriter, number % kRowsOfAWriter);
            EXPECT_EQ(row[1], text);
            EXPECT_EQ(row[2], text + text);
            EXPECT_EQ(check.Select("select number from t where word = ?", {text}),
                      (Rows{{row[0]}}));
        }
        EXPECT_EQ(database_.Faults(), "");
    }

    SharedDatabase database_;
};

TEST_F(RebuildProcessesTest, PackingBesideWritersLosesAndDoublesNoRow) {
    const std::string path = database_.Path();
    EXPECT_EQ(RunProcesses(kWriters + 1,
                           [&path](int process) {
                               if (process < kWriters) {
                                   return Write(path, process);
                               }
                               HostConnection connection(path);
                               for (int round = 0; round < 12; ++round) {
                                   if (!connection.Pack()) {
                                       std::fprintf(stderr, "%s\n", connection.Error().c_str());
                                       return 2;
                                   }
                               }
                               return 0;
                           }),
              Statuses(kWriters + 1, 0));
    ExpectEveryRow();
}

TEST_F(RebuildProcessesTest, AlteringBesideWritersLosesAndDoublesNoRow) {
    const std::string path = database_.Path();
    EXPECT_EQ(RunProcesses(kWriters + 1,
                           [&path](int process) {
                               if (process < kWriters) {
                                   return Write(path, process);
                               }
                               HostConnection connection(path);
                               for (int round = 0; round < 5; ++round) {
                                   if (!connection.Run("alter table t add extra memo") ||
                                       !connection.Run("alter table t drop column extra")) {
                                       std::fprintf(stderr, "%s\n", connection.Error().c_str());
                                       return 2;
                                   }
                               }
                               return 0;
                           }),
              Statuses(kWriters + 1, 0));
    ExpectEveryRow();
}

// There is a statement on its way at any moment; pack gets its turn all the same.
TEST_F(RebuildProcessesTest, PackGetsItsTurnBesideWritersThatNeverPause) {
    constexpr int kBusyWriters = 6;
    const std::string path = database_.Path();
    const std::string packed = database_.Folder().File("packed");
    EXPECT_EQ(RunProcesses(
                  kBusyWriters + 1,
                  [&](int process) {
                      HostConnection connection(path);
                      if (process < kBusyWriters) {
                          for (int i = 0; !fs::exists(packed); ++i) {
                              const std::string number = std::to_string(process * 100000 + i);
                              if (!connection.Run("insert into t values (?, 'w', 's')", {number}) ||
                                  !connection.Run("delete from t where number = ?", {number})) {
                                  return 1;
                              }
                          }
                          return 0;
                      }
                      int packs = 0;
                      while (packs < 10 && connection.Pack()) {
                          ++packs;
                      }
                      std::ofstream(packed) << packs;
                      return packs == 10 ? 0 : 2;
                  }),
              Statuses(kBusyWriters + 1, 0));
    EXPECT_EQ(HostConnection(path).Select("select number from t"), Rows{});
    fs::remove(packed);
    EXPECT_EQ(database_.Faults(), "");
}

TEST_F(RebuildProcessesTest, TwoProcessesThatRebuildOneTableTakeTurns) {
    const std::string path = database_.Path();
    InsertRows(30);
    EXPECT_EQ(RunProcesses(3,
                           [&path](int process) {
                               HostConnection connection(path);
                               const std::string name = "extra" + std::to_string(process);
                               for (int round = 0; round < 4; ++round) {
                                   if (!connection.Run("alter table t add " + name + " integer") ||
                                       !connection.Run("alter table t drop column " + name) ||
                                       !connection.Pack()) {
                                       std::fprintf(stderr, "%s\n", connection.Error().c_str());
                                       return 1;
                                   }
                               }
                               return 0;
                           }),
              Statuses(3, 0));
    HostConnection check(path);
    EXPECT_EQ(Numbers(check.Select("select number from t")), Range(0, 30));
    EXPECT_EQ(database_.Faults(), "");
}

TEST_F(RebuildProcessesTest, ReaderBesidePackSeesEveryRowWithItsOwnText) {
    const std::string path = database_.Path();
    InsertRows(200);
    ASSERT_TRUE(HostConnection(path).Run("delete from t where number < 20"));
    EXPECT_EQ(RunProcesses(2,
                           [&path](int process) {
                               HostConnection connection(path);
                               for (int round = 0; round < 10; ++round) {
                                   if (process == 0 && !connection.Pack()) {
                                       return 1;
                                   }
                                   const auto rows = connection.Select(
                                       "select number, word, story from t where number >= 20");
                                   if (rows.size() != 180) {
                                       return 2;
                                   }
                                   for (const auto& row : rows) {
                                       const std::string text = RowText(0, std::stoi(row[0]));
                                       if (row[1] != text || row[2] != text) {
                                           return 3;
                                       }
                                   }
                               }
                               return 0;
                           }),
              (Statuses{0, 0}));
}

// Locks of handles and of processes are the same to each other, so one process can show the rest.

TEST_F(RebuildProcessesTest, PackWaitsForAViewAndTellsWhenItLastsTooLong) {
    HostConnection reader(database_.Path());
    HostConnection packer(database_.Path());
    ASSERT_TRUE(reader.Run("insert into t values (1, 'word', 'story')"));
    ovra_view* view = ovra_open_view(reader.Handle(), "select story from t", -1, nullptr, 0);
    ASSERT_NE(view, nullptr);
    packer.SetLockTimeout(20);
    EXPECT_FALSE(packer.Pack());
    EXPECT_NE(packer.Error().find("File is in use by another process or an open view"),
              std::string::npos)
        << packer.Error();
    EXPECT_FALSE(packer.Run("alter table t add extra integer"));
    EXPECT_EQ(packer.Error(),
              "File is in use by another process or an open view: "
              "Lock not granted within 20 milliseconds");
    EXPECT_EQ(ovra_next(view), 1);
    EXPECT_STREQ(ovra_text(view, 0, nullptr), "story");
    ovra_close_view(view);
    EXPECT_TRUE(packer.Run("alter table t add extra integer")) << packer.Error();
    EXPECT_TRUE(packer.Pack()) << packer.Error();
    EXPECT_EQ(database_.Faults(), "");
}

TEST_F(RebuildProcessesTest, IdleProcessGoesOnWithTheNewFiles) {
    HostConnection idle(database_.Path());
    HostConnection packer(database_.Path());
    ASSERT_TRUE(idle.Run("insert into t values (1, 'one', 'story one')"));
    ASSERT_TRUE(idle.Run("insert into t values (2, 'two', 'story two')"));
    ASSERT_TRUE(idle.Run("delete from t where number = 1"));
    EXPECT_EQ(idle.Select("select word from t").size(), 1U);
    ASSERT_TRUE(packer.Pack()) << packer.Error();
    ASSERT_TRUE(packer.Run("alter table t add extra integer")) << packer.Error();
    EXPECT_TRUE(idle.Run("insert into t (number, word, story) values (3, 'three', 'story three')"));
    EXPECT_TRUE(idle.Run("update t set word = 'changed' where number = 2"));
    EXPECT_EQ(packer.Select("select number, word, story from t"),
              (Rows{{"2", "changed", "story two"}, {"3", "three", "story three"}}));
    EXPECT_EQ(database_.Faults(), "");
}

// CREATE INDEX reads the records through the handle that the table's names were looked up with,
// which can be older than another process's pack.
TEST_F(RebuildProcessesTest, IndexIsNotBuiltOverAFileThatWasReplaced) {
    auto idle = std::make_optional<HostConnection>(database_.Path());
    HostConnection packer(database_.Path());
    ASSERT_TRUE(idle->Run("insert into t values (1, 'one', '')"));
    ASSERT_TRUE(idle->Run("insert into t values (2, 'two', '')"));
    ASSERT_TRUE(idle->Run("delete from t where number = 1"));
    ASSERT_TRUE(packer.Pack()) << packer.Error();
    // With a view open what the first attempt has claimed is not given back.
    ovra_view* view = ovra_open_view(idle->Handle(), "select number from t", -1, nullptr, 0);
    ASSERT_NE(view, nullptr);
    for (int attempt = 0; attempt < 2; ++attempt) {
        EXPECT_FALSE(idle->Run("create index again on t (word)"));
        EXPECT_NE(
            idle->Error().find("File was replaced by another process; open the database again"),
            std::string::npos)
            << idle->Error();
    }
    ovra_close_view(view);
    EXPECT_TRUE(idle->Run("insert into t values (3, 'three', '')")) << "the next statement works";
    idle.emplace(database_.Path());
    EXPECT_TRUE(idle->Run("create index again on t (word)")) << idle->Error();
    EXPECT_EQ(idle->Select("select number from t where word = 'two'"), (Rows{{"2"}}));
    EXPECT_EQ(database_.Faults(), "");
}

// A program that knows nothing of claims, a copy put back by hand for one.
TEST_F(RebuildProcessesTest, ViewOnAFileThatWasReplacedByHandReadsItToTheEnd) {
    HostConnection reader(database_.Path());
    for (int number = 0; number < 5; ++number) {
        ASSERT_TRUE(reader.Run("insert into t values (?, 'w', 's')", {std::to_string(number)}));
    }
    ovra_view* view = ovra_open_view(reader.Handle(), "select number from t", -1, nullptr, 0);
    ASSERT_EQ(ovra_next(view), 1);
    const std::string data = database_.Folder().File("t.dbf");
    fs::copy_file(data, data + ".copy");
    fs::rename(data + ".copy", data);
    int rows = 1;
    while (ovra_next(view) == 1) {
        ++rows;
    }
    EXPECT_EQ(rows, 5);
    ovra_close_view(view);
    EXPECT_TRUE(reader.Run("insert into t values (5, 'w', 's')")) << reader.Error();
    EXPECT_EQ(Numbers(reader.Select("select number from t")), Range(0, 6));
}

// Killed as soon as a new file is there, with everything claimed.
TEST_F(RebuildProcessesTest, KilledRebuildKeepsNobodyOut) {
    const std::string path = database_.Path();
    InsertRows(200);
    const pid_t child = ::fork();
    if (child == 0) {
        HostConnection connection(path);
        while (connection.Pack()) {
        }
        ::_exit(1);
    }
    int status = 0;
    while (!HasTemporaryFile() && ::waitpid(child, &status, WNOHANG) == 0) {
    }
    ::kill(child, SIGKILL);
    ASSERT_EQ(::waitpid(child, &status, 0), child) << "it had ended by itself";
    ASSERT_TRUE(WIFSIGNALED(status));
    HostConnection connection(path);
    connection.SetLockTimeout(0);
    EXPECT_TRUE(connection.Run("insert into t values (200, 'w', '')")) << connection.Error();
    EXPECT_TRUE(connection.Pack()) << connection.Error();
    EXPECT_EQ(Numbers(connection.Select("select number from t")), Range(0, 201));
}

}  // namespace
}  // namespace ovratest
