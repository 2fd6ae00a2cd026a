// Import of .dbf files: what stands in the cells comes in, also where the library itself would read
// less of it.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "shell/catalog.h"
#include "shell/import_source.h"
#include "tests/shell/dbf_bytes.h"
#include "tests/shell/import_fixture.h"

namespace ovrashell {
namespace {

namespace fs = std::filesystem;

constexpr uid_t kNobody = 65534;

// Runs an import in a process of its own, as a user whom permissions bind. Gives the report or the
// error.
std::string ImportOfOrdinaryUser(const std::string& path) {
    int ends[2] = {-1, -1};
    if (::pipe(ends) != 0) {
        return "no pipe";
    }
    const pid_t child = ::fork();
    if (child == 0) {
        std::ostringstream result;
        if (::geteuid() != 0 || ::setuid(kNobody) == 0) {
            const ovratest::TemporaryFolder folder;
            try {
                Database database = Database::Create(folder.File("db.dbf"));
                ImportFile(&database, {path, "taken"}, &result);
            } catch (const std::exception& error) {
                result << error.what();
            }
        }
        const std::string text = result.str();
        ::_exit(::write(ends[1], text.data(), text.size()) < 0 ? 1 : 0);
    }
    ::close(ends[1]);
    std::string text(4096, '\0');
    const ssize_t length = ::read(ends[0], text.data(), text.size());
    ::close(ends[0]);
    ::waitpid(child, nullptr, 0);
    return text.substr(0, static_cast<std::size_t>(std::max<ssize_t>(0, length)));
}

// Names the folder for temporary files while it lives.
class TemporaryFilesIn {
  public:
    explicit TemporaryFilesIn(const std::string& folder) {
        const char* named = std::getenv(kVariable);
        earlier_ = named == nullptr ? "" : named;
        ::setenv(kVariable, folder.c_str(), 1);
    }
    ~TemporaryFilesIn() {
        if (earlier_.empty()) {
            ::unsetenv(kVariable);
        } else {
            ::setenv(kVariable, earlier_.c_str(), 1);
        }
    }
    TemporaryFilesIn(const TemporaryFilesIn&) = delete;
    TemporaryFilesIn& operator=(const TemporaryFilesIn&) = delete;

  private:
    static constexpr const char* kVariable = "TMPDIR";
    std::string earlier_;
};

TEST_F(ImportTest, DbfWithMemoComesInWithoutItsDeletedRecords) {
    {
        Database source = Database::Create(folder_.File("source.dbf"));
        source.Query(
            "create table s (word char(10), price numeric(6,2), good boolean, story memo)");
        source.Query("insert into s values ('one', 1.5, 1, 'a story')");
        source.Query("insert into s values ('gone', 0, 0, '')");
        source.Query("insert into s values ('two', '-2.25', 0, '')");
        source.Query("delete from s where word = 'gone'");
    }
    EXPECT_EQ(Import("s.dbf", "taken"), "2 rows imported into taken\n");
    EXPECT_EQ(Select("select word, price, good, story from taken"),
              (Rows{{"one", "1.50", "1", "a story"}, {"two", "-2.25", "0", ""}}));
}

// A page of the catalog's index that was written in part.
TEST_F(ImportTest, TableThatItsCatalogHidesComesIntoANewDatabase) {
    {
        Database source = Database::Create(folder_.File("source.dbf"));
        source.Query("create table s (word char(10), story memo)");
        source.Query("insert into s values ('one', 'a story')");
    }
    std::fstream index(folder_.File("source.ovx"), std::ios::in | std::ios::out | std::ios::binary);
    index.seekp(1024);
    index.write(std::string(1024, '\0').data(), 1024);
    index.close();
    {
        Database source = Database::Open(folder_.File("source.dbf"));
        EXPECT_THROW(source.Select("select word from s"), Error);
    }
    EXPECT_EQ(Import("s.dbf", "saved"), "1 row imported into saved\n");
    EXPECT_EQ(Select("select word, story from saved"), (Rows{{"one", "a story"}}));
}

TEST_F(ImportTest, DbfBesideTheDatabaseIsInItsOwnWay) {
    const std::string file = ovratest::DbfBytes({{{"WORD", 'C', 10}}, {{"one"}, {"two"}}});
    folder_.Write("People.dbf", file);
    folder_.Write("people.dbf", file);
    EXPECT_EQ(ErrorOf("People.dbf"),
              Named("people.dbf") +
                  " is in the place of the new table's data file; give the table another name: "
                  ".import FILE TABLE");
    EXPECT_TRUE(ReadCatalog(database_.Path()).empty());
    EXPECT_EQ(Import("People.dbf", "members"), "2 rows imported into members\n");
    EXPECT_EQ(Import("people.dbf", "MEMBERS"), "2 rows added to the existing table members\n");
    EXPECT_EQ(folder_.Read("people.dbf"), file);
}

TEST_F(ImportTest, DbfThatCannotBeReadIsNamedAsTheUserNamedIt) {
    {
        Database source = Database::Create(folder_.File("source.dbf"));
        source.Query("create table s (n numeric(6,2), story memo)");
    }
    const auto messageOf = [&] {
        try {
            Import("s.dbf", "taken");
        } catch (const Error& error) {
            return std::string(error.what());
        }
        return std::string();
    };
    std::filesystem::remove(folder_.File("s.dbt"));
    EXPECT_EQ(messageOf().rfind("Error opening '" + folder_.File("s.dbt") + "': ", 0), 0U)
        << messageOf();
    std::string bytes = folder_.Read("s.dbf");
    bytes[32 + 11] = 'B';  // the letter of the first column's type
    folder_.Write("s.dbf", bytes);
    EXPECT_EQ(messageOf(), Named("s.dbf") + " contains an unsupported field (N) of type 'B'");
    bytes.replace(32, 3, "\x1B\n", 3);  // its name
    folder_.Write("s.dbf", bytes);
    EXPECT_EQ(messageOf(), Named("s.dbf") + " contains an unsupported field (.\\n) of type 'B'");
    bytes[0] = '\x8B';
    folder_.Write("s.dbf", bytes);
    EXPECT_EQ(
        messageOf(),
        Named("s.dbf") + " is no data file of a version that can be read (its first byte is 8B)");
    EXPECT_TRUE(ReadCatalog(database_.Path()).empty());
}

TEST_F(ImportTest, DbfWithoutAHeaderIsToldWithTheReason) {
    EXPECT_EQ(ErrorOf("none.dbf"),
              "Cannot read " + Named("none.dbf") + ": No such file or directory");
    folder_.Write("empty.dbf", "");
    EXPECT_EQ(ErrorOf("empty.dbf"), Named("empty.dbf") + " is too short to be a data file");
    folder_.Write("short.dbf", std::string(31, '\x03'));
    EXPECT_EQ(ErrorOf("short.dbf"), Named("short.dbf") + " is too short to be a data file");
    EXPECT_THROW(DbfFile(folder_.Path()), Error) << "a folder opens and cannot be read";
}

TEST_F(ImportTest, RecordsOfNoLengthAreNotRead) {
    std::string bytes = ovratest::DbfBytes({{{"WORD", 'C', 10}}, {{"one"}, {"two"}}});
    bytes.replace(4, 8, std::string("\xFF\xFF\xFF\xFF\x41\x00\x00\x00", 8));
    folder_.Write("s.dbf", bytes);
    try {
        DbfFile(folder_.File("s.dbf")).LiveRecords();
        FAIL() << "records were read";
    } catch (const Error& error) {
        EXPECT_EQ(error.what(), Named("s.dbf") + " has records of no length");
    }
}

TEST_F(ImportTest, NoCopyOfTheFileIsLeftHoweverTheProgramEnds) {
    Database::Create(folder_.File("source.dbf"))
        .Query("create table s (word char(10), story memo)");
    {
        Database source = Database::Open(folder_.File("source.dbf"));
        source.Query("insert into s values ('one', 'a story')");
        source.Query("insert into s values ('two', 'another')");
    }
    fs::create_directory(folder_.File("temporary"));
    const TemporaryFilesIn temporary(folder_.File("temporary"));
    const auto source = OpenDbfSource(folder_.File("s.dbf"));
    EXPECT_TRUE(fs::is_empty(folder_.File("temporary"))) << "before a row is read";
    for (int pass = 0; pass < kPasses; ++pass) {
        Rows rows;
        source->ForEachRow([&](const SourceRow& row, double) { rows.push_back(row); });
        EXPECT_EQ(rows, (Rows{{"one", "a story"}, {"two", "another"}})) << "pass " << pass;
    }
}

TEST_F(ImportTest, DbfThatIsCutShortSaysSo) {
    Database::Create(folder_.File("source.dbf")).Query("create table s (word char(10))");
    {
        Database source = Database::Open(folder_.File("source.dbf"));
        source.Query("insert into s values ('one')");
        source.Query("insert into s values ('two')");
    }
    // 65 bytes of header and two records of 11: the second one loses its end.
    std::filesystem::resize_file(folder_.File("s.dbf"), 65 + 11 + 5);
    EXPECT_EQ(Import("s.dbf", "taken"), "1 row imported into taken\n'" + folder_.File("s.dbf") +
                                            "' ends before its last record\n");
    EXPECT_EQ(Select("select word from taken"), (Rows{{"one"}}));
}

TEST_F(ImportTest, ColumnsOfOneNameKeepTheirOwnCells) {
    folder_.Write("dup.dbf", ovratest::DbfBytes({{{"POINT", 'C', 7, 0},
                                                  {"c1", 'C', 2, 0},
                                                  {"point", 'N', 4, 0},
                                                  {"", 'C', 3, 0},
                                                  {"POINT", 'C', 5, 0}},
                                                 {{"0507121", "ab", " 401", "xyz", "third"},
                                                  {"0507122", "cd", " 402", "", ""}}}));
    EXPECT_EQ(Import("dup.dbf", "s"),
              "2 rows imported into s\n"
              "column 'point' is named point2\n"
              "column '' is named c\n"
              "column 'POINT' is named POINT3\n");
    EXPECT_EQ(Select("select point, c1, point2, c, point3 from s"),
              (Rows{{"0507121", "ab", "401", "xyz", "third"}, {"0507122", "cd", "402", "", ""}}));
}

TEST_F(ImportTest, FilesThatMayOnlyBeReadComeInForAnybody) {
    {
        Database source = Database::Create(folder_.File("source.dbf"));
        source.Query("create table s (word char(10), story memo)");
        source.Query("insert into s values ('one', 'a story')");
    }
    fs::permissions(folder_.File("s.dbf"), fs::perms(0444));
    fs::permissions(folder_.File("s.dbt"), fs::perms(0444));
    fs::permissions(folder_.Path(), fs::perms(0755));
    EXPECT_EQ(ImportOfOrdinaryUser(folder_.File("s.dbf")), "1 row imported into taken\n");
}

TEST_F(ImportTest, FolderThatCannotBeListedStillHasItsFiles) {
    folder_.Write("people.dbf", ovratest::DbfBytes({{{"NAME", 'C', 5, 0}}, {{"Anna"}}}));
    fs::permissions(folder_.File("people.dbf"), fs::perms(0444));
    fs::permissions(folder_.Path(), fs::perms(0111));
    EXPECT_EQ(ImportOfOrdinaryUser(folder_.File("people.dbf")), "1 row imported into taken\n");
    fs::permissions(folder_.Path(), fs::perms(0755));
}

TEST_F(ImportTest, WhatCannotBeCopiedIsAnErrorWithAReason) {
    folder_.Write("s.dbf", ovratest::DbfBytes({{{"NAME", 'C', 5, 0}}, {{"Anna"}}}));
    fs::permissions(folder_.File("s.dbf"), fs::perms(0));
    fs::permissions(folder_.Path(), fs::perms(0755));
    EXPECT_EQ(ImportOfOrdinaryUser(folder_.File("s.dbf")),
              "Cannot read " + Named("s.dbf") + ": Permission denied");
    fs::create_directory(folder_.File("folder.dbf"));
    EXPECT_EQ(ErrorOf("folder.dbf"), Named("folder.dbf") + " is no regular file");
    const TemporaryFilesIn nowhere(folder_.File("nowhere"));
    const std::string message = ErrorOf("s.dbf");
    EXPECT_EQ(message.rfind("There is no folder for temporary files: ", 0), 0U) << message;
}

// Real files: the table has what an independent reader finds in them, cell by cell.

// The text of a cell, by the rules of its column. A text that is stored ends at a zero byte.
std::string CellText(const ovratest::DbfColumn& column, std::string cell,
                     const std::string& memos) {
    cell = cell.substr(0, cell.find('\0'));
    if (column.letter == 'N' || column.letter == 'M') {
        cell.erase(0, std::min(cell.find_first_not_of(' '), cell.size()));
    }
    if (column.letter == 'M') {
        const std::size_t block = 512 * std::strtoul(cell.c_str(), nullptr, 10);
        cell = block == 0 ? "" : memos.substr(std::min(block, memos.size()));
        return cell.substr(0, cell.find_first_of(std::string("\0\x1A", 2)));
    }
    cell.erase(cell.find_last_not_of(' ') + 1);
    return cell;
}

// A number as a column with that many decimals writes it. What does not go into them must be zeros.
std::string StoredNumber(const std::string& text, std::size_t decimals) {
    const std::size_t first = std::min(text.find_first_not_of("+-0"), text.size());
    const std::size_t point = std::min(text.find('.'), text.size());
    std::string integer = text.substr(std::min(first, point), point - std::min(first, point));
    integer = (text[0] == '-' ? "-" : "") + (integer.empty() ? "0" : integer);
    std::string fraction = point == text.size() ? "" : text.substr(point + 1);
    EXPECT_EQ(fraction.find_first_not_of('0', decimals), std::string::npos) << text;
    fraction.resize(decimals, '0');
    return decimals == 0 ? integer : integer + '.' + fraction;
}

// The same as a column of the new table has it.
std::string StoredText(const std::string& text, const Column& stored) {
    if (stored.letter == 'L') {
        return text.find_first_of("TtYy") == 0 ? "1" : "0";
    }
    return stored.letter == 'N' ? StoredNumber(text, static_cast<std::size_t>(stored.decimals))
                                : text;
}

TEST_F(ImportTest, RealFilesComeInCellByCell) {
    if (!fs::exists(SharedData() + "/dbf/open")) {
        GTEST_SKIP() << "no files of other people's programs in " << SharedData();
    }
    constexpr std::uintmax_t kLargestFile = 300000;  // those are all but four, and quick to import
    std::size_t files = 0;
    for (const auto& entry : fs::directory_iterator(SharedData() + "/dbf/open")) {
        const fs::path& path = entry.path();
        if (path.extension() == ".dbt" || entry.file_size() > kLargestFile) {
            continue;
        }
        const auto content = ovratest::ReadDbfBytes(ovratest::FileOnDisk(path));
        if (content.columns.empty()) {
            EXPECT_THROW(ImportPath(path.string()), Error) << path;
            continue;
        }
        const std::string memos = ovratest::FileOnDisk(fs::path(path).replace_extension(".dbt"));
        const std::string table = "t" + std::to_string(++files);
        SCOPED_TRACE(path);
        ImportPath(path.string(), table);
        const auto columns = DbfFile(folder_.File(table + ".dbf")).Columns();
        const Rows rows = Select("select * from " + table);
        ASSERT_EQ(rows.size(), content.rows.size());
        for (std::size_t row = 0; row < rows.size(); ++row) {
            for (std::size_t i = 0; i < columns.size(); ++i) {
                ASSERT_EQ(rows[row][i],
                          StoredText(CellText(content.columns[i], content.rows[row][i], memos),
                                     columns[i]))
                    << "row " << row << ", column " << content.columns[i].name;
            }
        }
    }
    EXPECT_GT(files, 60U);
}

TEST_F(ImportTest, RealFilesWithAColumnNameTwice) {
    if (!fs::exists(SharedData() + "/dbf/open/dup_column.dbf")) {
        GTEST_SKIP() << "no files of other people's programs in " << SharedData();
    }
    ImportPath(SharedData() + "/dbf/open/dup_column.dbf", "dup");
    EXPECT_EQ(Select("select testcolumn, testcolum2 from dup")[0],
              (std::vector<std::string>{"10", "20"}));
    ImportPath(SharedData() + "/dbf/open/dbase_03.dbf", "points");
    EXPECT_EQ(Select("select point_id, point_id2 from points")[0],
              (std::vector<std::string>{"0507121", "401"}));
}

}  // namespace
}  // namespace ovrashell
