#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <vector>

#include "ovrasql/ovrasql.h"
#include "tests/support/temporary_folder.h"

// Files past 2 GiB, 4 GiB and up to the last number that their formats can count to. A header tells
// of the many records, blocks or pages before; on the disk they are a hole. Where the file system
// fills holes, the tests are skipped.

namespace {

constexpr int64_t kGibibyte = int64_t{1} << 30;
constexpr int64_t kBlock = 512;
constexpr int64_t kPage = 1024;
constexpr size_t kRecordCountPlace = 4;  // in a .dbf
constexpr size_t kNextBlockPlace = 0;    // in a .dbt
constexpr size_t kNextPagePlace = 9;     // in an .ovx

class LargeFilesTest : public testing::Test {
  protected:
    void SetUp() override {
        if (!HolesCostNothing()) {
            GTEST_SKIP() << "the temporary folder's file system has no sparse files";
        }
        ASSERT_EQ(ovra_create(folder_.File("db.dbf").c_str(), &database_), 1);
    }
    void TearDown() override { ovra_close(database_); }

    void Close() {
        ovra_close(database_);
        database_ = nullptr;
    }
    void Open() { ASSERT_EQ(ovra_open(folder_.File("db.dbf").c_str(), &database_), 1); }

    // "" after a success, otherwise the message.
    std::string Run(const std::string& sql, const std::string& value = "") {
        const ovra_parameter parameter = {value.c_str(), -1};
        const int32_t count = sql.find('?') == std::string::npos ? 0 : 1;
        return ovra_query(database_, sql.c_str(), -1, &parameter, count) == 1
                   ? ""
                   : ovra_error(database_);
    }

    // The first column of all rows, each with a blank behind it.
    std::string Rows(const std::string& sql) {
        ovra_view* const view = ovra_open_view(database_, sql.c_str(), -1, nullptr, 0);
        if (view == nullptr) {
            return std::string("error: ") + ovra_error(database_);
        }
        std::string rows;
        while (ovra_next(view) == 1) {
            rows += std::string(ovra_text(view, 0, nullptr)) + " ";
        }
        ovra_close_view(view);
        return rows;
    }

    void Put(const std::string& name, int64_t offset, const std::string& bytes) {
        const int file = ::open(folder_.File(name).c_str(), O_WRONLY);
        ASSERT_GE(file, 0);
        EXPECT_EQ(::pwrite(file, bytes.data(), bytes.size(), offset),
                  static_cast<ssize_t>(bytes.size()));
        ::close(file);
    }
    std::string Get(const std::string& name, int64_t offset, size_t length) {
        std::string bytes(length, '\0');
        const int file = ::open(folder_.File(name).c_str(), O_RDONLY);
        const ssize_t got = ::pread(file, bytes.data(), length, offset);
        ::close(file);
        bytes.resize(got < 0 ? 0 : static_cast<size_t>(got));
        return bytes;
    }
    void PutNumber(const std::string& name, size_t offset, uint32_t number) {
        std::string bytes;
        for (int shift = 0; shift < 32; shift += 8) {
            bytes += static_cast<char>(number >> shift & 0xFFU);
        }
        Put(name, static_cast<int64_t>(offset), bytes);
    }
    uint32_t GetNumber(const std::string& name, int64_t offset) {
        const std::string bytes = Get(name, offset, 4);
        uint32_t number = 0;
        for (size_t i = bytes.size(); i > 0; --i) {
            number = number << 8 | static_cast<uint8_t>(bytes[i - 1]);
        }
        return number;
    }
    std::string WriteError(const std::string& name, const std::string& reason) {
        return "Error writing to '" + folder_.File(name) + "': " + reason;
    }
    int64_t Size(const std::string& name) {
        struct stat status {};
        return ::stat(folder_.File(name).c_str(), &status) == 0 ? status.st_size : -1;
    }

    ovra_database* database_ = nullptr;

  private:
    bool HolesCostNothing() {
        const std::string path = folder_.Write("hole", "");
        struct stat status {};
        const bool cheap = ::truncate(path.c_str(), 9 * kGibibyte) == 0 &&
                           ::stat(path.c_str(), &status) == 0 && status.st_blocks < 1000;
        ::unlink(path.c_str());
        return cheap;
    }

    ovratest::TemporaryFolder folder_;
};

// Two bytes a record behind a header of 65: record n begins at 2 (n - 1) + 65.
TEST_F(LargeFilesTest, RecordNumbersRunToTheLastOf32Bits) {
    constexpr uint32_t kLast = 0xFFFFFFFF;
    constexpr auto place = [](uint32_t number) { return 2 * (int64_t{number} - 1) + 65; };
    ASSERT_EQ(Run("create table t (s char(1))"), "");
    ASSERT_EQ(Run("create index ts on t (s)"), "");
    ASSERT_EQ(Run("insert into t values ('a')"), "");
    Close();
    // The row moves to the last place but one, and its key with it.
    PutNumber("t.dbf", kRecordCountPlace, kLast - 1);
    Put("t.dbf", place(kLast - 1), " a\x1A");
    ASSERT_EQ(GetNumber("ts.ovx", kPage + 8), 1U);
    PutNumber("ts.ovx", kPage + 8, kLast - 1);

    Open();
    EXPECT_EQ(Rows("select s from t where s = 'a'"), "a ");
    EXPECT_EQ(Run("insert into t values ('b')"), "");
    EXPECT_EQ(GetNumber("t.dbf", kRecordCountPlace), kLast);
    EXPECT_EQ(Get("t.dbf", place(kLast), 3), " b\x1A");
    EXPECT_EQ(Size("t.dbf"), place(kLast) + 3);
    EXPECT_EQ(Rows("select s from t where s = 'b'"), "b ");

    // No number is left: nothing is written, and nothing found.
    EXPECT_EQ(Run("insert into t values ('c')"), WriteError("t.dbf", "File is full"));
    EXPECT_EQ(GetNumber("t.dbf", kRecordCountPlace), kLast);
    EXPECT_EQ(Size("t.dbf"), place(kLast) + 3);
    EXPECT_EQ(Rows("select s from t where s = 'c'"), "");

    EXPECT_EQ(Run("update t set s = 'd' where s = 'b'"), "");
    EXPECT_EQ(Get("t.dbf", place(kLast), 3), " d\x1A");
    EXPECT_EQ(Rows("select s from t where s = 'd'"), "d ");
    EXPECT_EQ(Run("delete t from t where s = 'a'"), "");
    EXPECT_EQ(Get("t.dbf", place(kLast - 1), 2), "*a");
    EXPECT_EQ(Rows("select s from t where s = 'a'"), "");
}

// Records of 5081 bytes: 20 columns of 254, and a header of 673.
TEST_F(LargeFilesTest, WideRecordsPassTwoAndFourGibibytes) {
    constexpr int64_t kRecord = 1 + 20 * 254;
    std::string columns = "c0 char(254)";
    for (int column = 1; column < 20; ++column) {
        columns += ", c" + std::to_string(column) + " char(254)";
    }
    ASSERT_EQ(Run("create table wide (" + columns + ")"), "");
    ASSERT_EQ(Run("create index w on wide (c0)"), "");
    for (const int64_t border : {2 * kGibibyte, 4 * kGibibyte, 64 * kGibibyte}) {
        // The next record lies across the border.
        const auto before = static_cast<uint32_t>((border - 673) / kRecord);
        const int64_t place = 673 + before * kRecord;
        ASSERT_LT(place, border);
        ASSERT_GT(place + kRecord, border);
        Close();
        PutNumber("wide.dbf", kRecordCountPlace, before);
        Open();
        const std::string name = "n" + std::to_string(border);
        ASSERT_EQ(Run("insert into wide (c0, c19) values ('" + name + "', 'end')"), "");
        EXPECT_EQ(Get("wide.dbf", place + 1, name.size()), name);
        EXPECT_EQ(Get("wide.dbf", place + kRecord - 254, 4), "end ");
        EXPECT_EQ(Size("wide.dbf"), place + kRecord + 1);
        EXPECT_EQ(Rows("select c19 from wide where c0 = '" + name + "'"), "end ");
        EXPECT_EQ(Run("update wide set c19 = 'END' where c0 = '" + name + "'"), "");
        EXPECT_EQ(Get("wide.dbf", place + kRecord - 254, 4), "END ");
    }
}

// 255 columns of 254 bytes: the last record would end at 278 TB. A file system that can't hold it
// refuses, and the table stays as it was.
TEST_F(LargeFilesTest, AFileThatIsTooLongForTheDiskIsRefused) {
    constexpr int64_t kRecord = 1 + 255 * 254;
    constexpr uint32_t kCount = 0xFFFFFFFE;
    std::string columns = "c0 char(254)";
    for (int column = 1; column < 255; ++column) {
        columns += ", c" + std::to_string(column) + " char(254)";
    }
    ASSERT_EQ(Run("create table wide (" + columns + ")"), "");
    Close();
    PutNumber("wide.dbf", kRecordCountPlace, kCount);
    const int64_t size = Size("wide.dbf");
    Open();
    const std::string message = Run("insert into wide (c0) values ('x')");
    if (message.empty()) {
        EXPECT_EQ(Size("wide.dbf"), 255 * 32 + 33 + (int64_t{kCount} + 1) * kRecord + 1);
        return;
    }
    EXPECT_EQ(message, WriteError("wide.dbf", "File too large"));
    EXPECT_EQ(GetNumber("wide.dbf", kRecordCountPlace), kCount);
    EXPECT_EQ(Size("wide.dbf"), size);
}

TEST_F(LargeFilesTest, MemosPassTwoAndFourGibibytesAndATebibyte) {
    ASSERT_EQ(Run("create table t (a integer, m memo)"), "");
    ASSERT_EQ(Run("create index ta on t (a)"), "");
    int row = 0;
    for (const int64_t border : {2 * kGibibyte, 4 * kGibibyte, 1023 * kGibibyte}) {
        // A text of three blocks, the second of which begins at the border.
        const auto block = static_cast<uint32_t>(border / kBlock - 1);
        Close();
        PutNumber("t.dbt", kNextBlockPlace, block);
        Open();
        const std::string text(1500, static_cast<char>('a' + row));
        const std::string number = std::to_string(++row);
        ASSERT_EQ(Run("insert into t values (" + number + ", ?)", text), "");
        EXPECT_EQ(GetNumber("t.dbt", kNextBlockPlace), block + 3);
        EXPECT_EQ(Get("t.dbt", block * kBlock, 1502), text + "\x1A\x1A");
        EXPECT_EQ(Rows("select m from t where a = " + number), text + " ");
    }
}

TEST_F(LargeFilesTest, MemoBlocksRunToTheLastOf31Bits) {
    constexpr uint32_t kEnd = 0x7FFFFFFF;
    ASSERT_EQ(Run("create table t (a integer, m memo)"), "");
    Close();
    PutNumber("t.dbt", kNextBlockPlace, kEnd - 1);
    Open();
    EXPECT_EQ(Run("insert into t values (1, 'the last')"), "");
    EXPECT_EQ(GetNumber("t.dbt", kNextBlockPlace), kEnd);
    EXPECT_EQ(Get("t.dbt", (int64_t{kEnd} - 1) * kBlock, 10), "the last\x1A\x1A");
    EXPECT_EQ(Rows("select m from t where a = 1"), "the last ");

    // Required: a record is stored although its text was not; its cell is blank.
    const int64_t size = Size("t.dbt");
    EXPECT_EQ(Run("insert into t values (2, 'one more')"), "");
    EXPECT_EQ(Rows("select m from t where a = 2"), " ");
    EXPECT_EQ(Rows("select m from t where a = 1"), "the last ");
    EXPECT_EQ(GetNumber("t.dbt", kNextBlockPlace), kEnd);
    EXPECT_EQ(Size("t.dbt"), size);
}

class LargeIndexTest : public LargeFilesTest {
  protected:
    // A table whose index is one full page; the ninth key splits it.
    void MakeFullPage(uint32_t nextPage) {
        ASSERT_EQ(Run("create table t (s char(3))"), "");
        ASSERT_EQ(Run("create index ts on t (s)"), "");
        for (const char* key : {"A", "B", "C", "D", "E", "F", "G", "H"}) {
            ASSERT_EQ(Run(std::string("insert into t values ('") + key + "')"), "");
        }
        Close();
        PutNumber("ts.ovx", kNextPagePlace, nextPage);
        Open();
    }
    void ExpectFound(const std::string& keys) {
        for (const char key : keys) {
            EXPECT_EQ(Rows(std::string("select s from t where s = '") + key + "'"),
                      std::string(1, key) + " ");
        }
    }
};

TEST_F(LargeIndexTest, PagesPassTwoAndFourGibibytes) {
    constexpr auto page = static_cast<uint32_t>(4 * kGibibyte / kPage);
    MakeFullPage(page);
    ASSERT_EQ(Run("insert into t values ('I')"), "");
    // The upper half went to the first page at 4 GiB, the root to the one behind it.
    EXPECT_EQ(GetNumber("ts.ovx", kNextPagePlace), page + 2);
    EXPECT_EQ(GetNumber("ts.ovx", 13), page + 1);
    EXPECT_EQ(GetNumber("ts.ovx", page * kPage), 4U);
    EXPECT_EQ(Get("ts.ovx", page * kPage + 12, 2), std::string("F\0", 2));
    EXPECT_EQ(GetNumber("ts.ovx", (page + 1) * kPage + 4), 1U);
    EXPECT_EQ(GetNumber("ts.ovx", (page + 1) * kPage + 4 + 108), page);
    ExpectFound("ABCDEFGHI");
    // Down to one key again: the pages merge across the gap.
    for (const char* key : {"I", "H", "G", "F", "E", "D", "C", "B"}) {
        EXPECT_EQ(Run(std::string("delete t from t where s = '") + key + "'"), "");
    }
    ExpectFound("A");
    EXPECT_EQ(Rows("select s from t where s >= 'B'"), "");
}

// Just below 4 TiB, which not every file system can hold.
TEST_F(LargeIndexTest, PageNumbersAreUsedUpToTheirEnd) {
    constexpr uint32_t page = 0xFFFFFFBE;
    MakeFullPage(page);
    const std::string message = Run("insert into t values ('I')");
    if (!message.empty()) {
        EXPECT_EQ(message, WriteError("ts.ovx", "File too large"));
        return;
    }
    EXPECT_EQ(Size("ts.ovx"), (int64_t{page} + 2) * kPage);
    ExpectFound("ABCDEFGHI");
}

// A change might need a page for each of 64 levels and a root: with fewer numbers left it is
// refused before anything is written.
TEST_F(LargeIndexTest, PageNumbersEndWithAMessage) {
    MakeFullPage(0xFFFFFFBF);
    EXPECT_EQ(Run("insert into t values ('I')"), WriteError("ts.ovx", "File is full"));
    ExpectFound("ABCDEFGH");
    EXPECT_EQ(GetNumber("ts.ovx", kNextPagePlace), 0xFFFFFFBFU);
    EXPECT_LT(Size("ts.ovx"), 4 * kPage);
}

}  // namespace
