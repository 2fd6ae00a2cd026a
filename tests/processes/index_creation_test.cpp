// CREATE INDEX reads the records through a handle that can be older than the statement, and writes
// the numbers of the records into the index. A rebuild gives the records other numbers.

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>

#include "tests/processes/shared_database.h"

namespace ovratest {
namespace {

namespace fs = std::filesystem;

constexpr int kRows = 300;

class IndexCreationTest : public testing::Test {
  protected:
    IndexCreationTest() {
        database_.Create({"create table t (number integer, word char(60))"});
        HostConnection connection(database_.Path());
        for (int number = 0; number < kRows; ++number) {
            EXPECT_TRUE(connection.Run("insert into t values (?, ?)",
                                       {std::to_string(number), RowText(0, number)}));
        }
        EXPECT_TRUE(connection.Run("delete from t where number < 10"));
    }

    SharedDatabase database_;
};

// A catalog that nobody can write to: CREATE INDEX waits with its last step, to list the index.
class LockedCatalog {
  public:
    explicit LockedCatalog(const std::string& path)
        : descriptor_(::open(path.c_str(), O_RDWR | O_CLOEXEC)) {
        struct flock range {};
        range.l_type = F_WRLCK;
        range.l_whence = SEEK_SET;
        range.l_len = 32;
        EXPECT_EQ(::fcntl(descriptor_, F_OFD_SETLK, &range), 0);
    }
    ~LockedCatalog() { ::close(descriptor_); }
    LockedCatalog(const LockedCatalog&) = delete;
    LockedCatalog& operator=(const LockedCatalog&) = delete;

  private:
    int descriptor_;
};

TEST_F(IndexCreationTest, RebuildWaitsForAnIndexThatIsBeingCreated) {
    HostConnection creator(database_.Path());
    HostConnection rebuilder(database_.Path());
    EXPECT_EQ(creator.Select("select number from t").size(), std::size_t{kRows - 10})
        << "the table stays open";
    auto catalog = std::make_optional<LockedCatalog>(database_.Path());
    std::atomic<bool> isCreated = false;
    std::thread creation([&creator, &isCreated] {
        EXPECT_TRUE(creator.Run("create index words on t (word)")) << creator.Error();
        isCreated = true;
    });
    const std::string index = database_.Folder().File("words.ovx");
    std::error_code none;
    while (!isCreated && (fs::file_size(index, none) == static_cast<std::uintmax_t>(-1) ||
                          fs::file_size(index, none) < 2048)) {  // with keys in it
        std::this_thread::yield();
    }
    rebuilder.SetLockTimeout(20);
    EXPECT_FALSE(rebuilder.Run("alter table t add extra integer"));
    EXPECT_NE(rebuilder.Error().find("File is in use by another process or an open view"),
              std::string::npos)
        << rebuilder.Error();
    catalog.reset();
    creation.join();
    EXPECT_TRUE(rebuilder.Run("alter table t add extra integer")) << rebuilder.Error();
    for (const int number : {10, kRows - 1}) {
        EXPECT_EQ(rebuilder.Select("select number from t where word = ?", {RowText(0, number)}),
                  (Rows{{std::to_string(number)}}));
    }
    EXPECT_EQ(database_.Faults(), "");
}

}  // namespace
}  // namespace ovratest
