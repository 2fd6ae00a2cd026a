// Other people's programs and the same files: what this library writes, they read with the same
// values, and what they write, it reads. Each test is skipped where its program is not installed.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ovrasql/ovrasql.h"
#include "tests/support/run_command.h"
#include "tests/support/temporary_folder.h"

namespace {

using ovratest::CommandResult;
using ovratest::HasCommand;
using ovratest::RunCommand;
using Rows = std::vector<std::vector<std::string>>;

const std::string kLongText(700, 'm');  // two blocks of the memo file

class PeersTest : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(ovra_create(folder_.File("database.dbf").c_str(), &database_), 1);
    }
    void TearDown() override { ovra_close(database_); }

    void Run(const std::string& statement) {
        ASSERT_EQ(ovra_query(database_, statement.c_str(), -1, nullptr, 0), 1)
            << statement << ": " << ovra_error(database_);
    }

    // A table of every kind of column, one record deleted.
    void WriteOurTable() {
        Run("create table ours (word char(20), whole integer, price numeric(8,2), good boolean, "
            "story memo)");
        Run("insert into ours values ('first', 42, 12.5, 1, 'a short story')");
        Run("insert into ours values ('gone', 1, 1, 0, 'never mind')");
        Run("insert into ours values ('third', -7, '-0.25', 0, '" + kLongText + "')");
        Run("delete from ours where word = 'gone'");
        ovra_close(database_);
        ASSERT_EQ(ovra_open(folder_.File("database.dbf").c_str(), &database_), 1);
    }

    Rows Select(const std::string& statement) {
        Rows rows;
        ovra_view* view = ovra_open_view(database_, statement.c_str(), -1, nullptr, 0);
        EXPECT_NE(view, nullptr) << ovra_error(database_);
        while (view != nullptr && ovra_next(view) == 1) {
            rows.emplace_back();
            for (int32_t i = 0; i < ovra_column_count(view); ++i) {
                rows.back().emplace_back(ovra_text(view, i, nullptr));
            }
        }
        ovra_close_view(view);
        return rows;
    }

    // Puts somebody else's files in the place of a table's own.
    void TakeOver(const std::string& dataFile, const std::string& memoFile = "") {
        Run("create table theirs (a char)");
        ovra_close(database_);
        std::filesystem::rename(folder_.File(dataFile), folder_.File("theirs.dbf"));
        if (!memoFile.empty()) {
            std::filesystem::rename(folder_.File(memoFile), folder_.File("theirs.dbt"));
        }
        ASSERT_EQ(ovra_open(folder_.File("database.dbf").c_str(), &database_), 1)
            << ovra_error(database_);
    }

    CommandResult InFolder(const std::string& command) {
        return RunCommand("cd '" + folder_.Path() + "' && " + command + " 2>&1");
    }

    ovratest::TemporaryFolder folder_;
    ovra_database* database_ = nullptr;
};

TEST_F(PeersTest, ShapelibReadsOurTable) {
    if (!HasCommand("dbfdump")) {
        GTEST_SKIP() << "dbfdump (shapelib) is not installed";
    }
    WriteOurTable();
    const CommandResult dump = InFolder("dbfdump -m ours.dbf | tr -s ' '");
    EXPECT_EQ(dump.status, 0);
    for (const char* line :
         {"WORD: first", "WHOLE: 42", "PRICE: 12.50", "WORD: third", "WHOLE: -7", "PRICE: -0.25"}) {
        EXPECT_NE(dump.output.find(line), std::string::npos) << line << " in\n" << dump.output;
    }
}

TEST_F(PeersTest, XBaseReadsOurTableWithItsMemos) {
    if (!HasCommand("dbf_dump")) {
        GTEST_SKIP() << "dbf_dump (DBD::XBase) is not installed";
    }
    WriteOurTable();
    const CommandResult dump = InFolder("dbf_dump --fs '|' ours.dbf");
    EXPECT_EQ(dump.output, "first|42|12.5|1|a short story\nthird|-7|-0.25|0|" + kLongText + "\n");
}

TEST_F(PeersTest, GdalReadsOurTable) {
    if (!HasCommand("ogrinfo")) {
        GTEST_SKIP() << "ogrinfo (GDAL) is not installed";
    }
    WriteOurTable();
    const CommandResult dump = InFolder("ogrinfo -al -q ours.dbf");
    EXPECT_EQ(dump.status, 0);
    for (const char* line : {"WORD (String) = first", "= 42\n", "PRICE (Real) = 12.50",
                             "WORD (String) = third", "= -7\n", "PRICE (Real) = -0.25"}) {
        EXPECT_NE(dump.output.find(line), std::string::npos) << line << " in\n" << dump.output;
    }
    EXPECT_EQ(dump.output.find("gone"), std::string::npos) << "deleted records stay out";
}

TEST_F(PeersTest, WeReadWhatShapelibWrites) {
    if (!HasCommand("dbfcreate")) {
        GTEST_SKIP() << "dbfcreate (shapelib) is not installed";
    }
    ASSERT_EQ(InFolder("dbfcreate shape -s WORD 12 -n COUNT 6 0 -n PRICE 9 3").status, 0);
    ASSERT_EQ(InFolder("dbfadd shape.dbf anchor 17 1.125").status, 0);
    ASSERT_EQ(InFolder("dbfadd shape.dbf rope -3 250").status, 0);
    TakeOver("shape.dbf");
    EXPECT_EQ(Select("select * from theirs"),
              (Rows{{"anchor", "17", "1.125"}, {"rope", "-3", "250.000"}}));
}

TEST_F(PeersTest, WeReadWhatXBaseWritesWithItsMemos) {
    if (RunCommand("perl -MXBase -e 1 2>/dev/null").status != 0) {
        GTEST_SKIP() << "XBase.pm (DBD::XBase) is not installed";
    }
    folder_.Write("write.pl",
                  "use XBase;\n"
                  "my $t = XBase->create(name => 'perl.dbf', memofile => 'perl.dbt',\n"
                  "  version => 3, field_names => ['WORD','COST','GOOD','BORN','STORY'],\n"
                  "  field_types => ['C','N','L','D','M'], field_lengths => [10,8,1,8,10],\n"
                  "  field_decimals => [0,2,undef,undef,undef]) or die XBase->errstr;\n"
                  "$t->set_record(0,'one',3.5,1,'20260401','tale one');\n"
                  "$t->set_record(1,'two',-1,0,'20260402','x' x 900);\n"
                  "$t->set_record(2,'three',0,1,'','gone');\n"
                  "$t->delete_record(2); $t->close;\n");
    const CommandResult written = InFolder("perl write.pl");
    ASSERT_EQ(written.status, 0) << written.output;
    TakeOver("perl.dbf", "perl.dbt");
    EXPECT_EQ(Select("select * from theirs"),
              (Rows{{"one", "3.50", "1", "20260401", "tale one"},
                    {"two", "-1.00", "0", "20260402", std::string(900, 'x')}}));
}

TEST_F(PeersTest, WeReadWhatGdalWrites) {
    if (!HasCommand("ogr2ogr")) {
        GTEST_SKIP() << "ogr2ogr (GDAL) is not installed";
    }
    folder_.Write("in.csv", "word,whole,price\nanchor,17,1.5\n\"rope, long\",-3,250\n");
    folder_.Write("in.csvt", "\"String\",\"Integer\",\"Real\"\n");
    const CommandResult made =
        InFolder("ogr2ogr -f 'ESRI Shapefile' -lco SHPT=NONE -nlt NONE gdal.dbf in.csv");
    ASSERT_EQ(made.status, 0) << made.output;
    TakeOver("gdal.dbf");
    EXPECT_EQ(Select("select word, whole from theirs"),
              (Rows{{"anchor", "17"}, {"rope, long", "-3"}}));
    EXPECT_EQ(Select("select word from theirs where price = 250"), (Rows{{"rope, long"}}));
}

}  // namespace
