// Import: every value of the file must come out of the table as it went in.

#include <gtest/gtest.h>

#include "shell/column_guess.h"
#include "shell/names.h"
#include "tests/shell/import_fixture.h"

namespace ovrashell {
namespace {

ColumnGuess Guess(const std::vector<std::string>& values, const Column& defined) {
    ColumnGuess guess(defined);
    for (const std::string& value : values) {
        guess.See(value, [&value] { return "the place of " + value; });
    }
    return guess;
}

std::string TypeOf(const std::vector<std::string>& values, const Column& defined = {}) {
    return ColumnText(Guess(values, defined).Result("c")).substr(2);
}

std::string WhyTextOf(const std::vector<std::string>& values, const Column& defined) {
    return Guess(values, defined).Notes().whyText;
}

TEST(ColumnGuessTest, NumbersKeepTheirDigitsAndHaveRoomForTen) {
    EXPECT_EQ(TypeOf({"1", "42", "-7"}), "numeric(10)");
    EXPECT_EQ(TypeOf({"1.5", "-12.25", "3"}), "numeric(10,2)");
    EXPECT_EQ(TypeOf({"0", "0.5"}), "numeric(10,1)");
    EXPECT_EQ(TypeOf({"", "5"}), "numeric(10)");
    EXPECT_EQ(TypeOf({"123456789012345"}), "numeric(15)");
    EXPECT_EQ(TypeOf({"-123456789012345"}), "numeric(16)") << "a sign is no digit";
}

TEST(ColumnGuessTest, RoomOfNumbersEndsWhereTheColumnDoes) {
    EXPECT_EQ(TypeOf({"1.12345678"}), "numeric(10,8)") << "19 bytes";
    EXPECT_EQ(TypeOf({"1.123456789"}), "numeric(9,9)") << "19 bytes";
    EXPECT_EQ(TypeOf({"1.12345678901234"}), "numeric(4,14)") << "19 bytes";
    EXPECT_EQ(TypeOf({"-12345678901.5"}), "numeric(12,1)");
}

TEST(ColumnGuessTest, DigitsThatANumberWouldLoseStayText) {
    EXPECT_EQ(TypeOf({"007", "42"}), "char(3)") << "leading zeros";
    EXPECT_EQ(TypeOf({"1234567890123456"}), "char(16)") << "more digits than a double has";
    EXPECT_EQ(TypeOf({"1e5"}), "char(3)");
    EXPECT_EQ(TypeOf({"+5"}), "char(2)");
    EXPECT_EQ(TypeOf({"5."}), "char(2)");
    EXPECT_EQ(TypeOf({".5"}), "char(2)");
    EXPECT_EQ(TypeOf({"-"}), "char(1)");
    EXPECT_EQ(TypeOf({"1 "}), "char(2)");
}

TEST(ColumnGuessTest, BooleansAndTexts) {
    EXPECT_EQ(TypeOf({"true", "FALSE", ""}), "boolean");
    EXPECT_EQ(TypeOf({"false", ""}), "boolean");
    EXPECT_EQ(TypeOf({"true", "maybe"}), "char(5)");
    EXPECT_EQ(TypeOf({"", ""}), "char(1)");
    EXPECT_EQ(TypeOf({std::string(254, 'x')}), "char(254)");
    EXPECT_EQ(TypeOf({std::string(255, 'x')}), "memo");
}

TEST(ColumnGuessTest, WordsAndLettersThatMayMeanSomethingElseStayText) {
    EXPECT_EQ(TypeOf({"F", "F"}), "char(1)") << "a sex";
    EXPECT_EQ(TypeOf({"N"}), "char(1)") << "a point of the compass";
    EXPECT_EQ(TypeOf({"T", "F"}), "char(1)");
    EXPECT_EQ(TypeOf({"yes", "Y"}), "char(3)");
    EXPECT_EQ(TypeOf({"yes", "no"}), "char(3)");
    EXPECT_EQ(TypeOf({"true", "no"}), "char(4)");
    EXPECT_EQ(TypeOf({"true", "1"}), "char(4)");
}

TEST(ColumnGuessTest, NumbersOfAFileThatCallsThemSoAreNumbersHoweverWritten) {
    const Column defined = {"c", 'N', 5, 0};
    for (const std::string value : {"9.", "+9", "009", "-9.", "00000"}) {
        EXPECT_EQ(TypeOf({value, "120"}, defined), "numeric(5)") << value;
    }
    EXPECT_EQ(TypeOf({".5", "-.25"}, {"c", 'N', 4, 2}), "numeric(2,2)") << "-0.25 takes 5 bytes";
    EXPECT_EQ(TypeOf({"12.50"}, {"c", 'N', 10, 2}), "numeric(7,2)");
    EXPECT_EQ(TypeOf({"1"}, {"c", 'N', 24, 15}), "numeric(3,15)") << "19 bytes are the most";
    EXPECT_EQ(TypeOf({"123456.5"}, {"c", 'N', 24, 18}), "numeric(6,12)") << "19 bytes are the most";
    EXPECT_EQ(TypeOf({"", ""}, defined), "numeric(5)");
    EXPECT_EQ(TypeOf({"11430602.000000000"}, {"c", 'N', 18, 9}), "numeric(8,9)")
        << "zeros at the end are no digits";
    EXPECT_EQ(TypeOf({"1331370000.0000000000000"}, {"c", 'N', 24, 13}), "numeric(10,8)");
    EXPECT_EQ(WhyTextOf({"9.", "", "009"}, defined), "");
}

TEST(ColumnGuessTest, ZerosThatTheColumnHasNoRoomForAreCounted) {
    const ColumnGuess guess =
        Guess({"123456.500000000000000", "7.000000000000000", ".100000000000000", "1"},
              {"c", 'N', 24, 15});
    EXPECT_EQ(ColumnText(guess.Result("c")), "c numeric(6,12)");
    EXPECT_EQ(guess.Notes().rewritten, 3U);
}

TEST(ColumnGuessTest, FirstValueThatMakesADefinedColumnATextIsKept) {
    const Column number = {"c", 'N', 20, 2};
    EXPECT_EQ(TypeOf({"1", "***", "2", "1e5"}, number), "char(20)");
    EXPECT_EQ(WhyTextOf({"1", "***", "2", "1e5"}, number),
              "'***' in the place of *** is no number");
    EXPECT_EQ(WhyTextOf({"1.5E+10"}, number), "'1.5E+10' in the place of 1.5E+10 is no number");
    EXPECT_EQ(TypeOf({"1234567890123456"}, number), "char(20)");
    EXPECT_EQ(WhyTextOf({"0.12", "12345678901234"}, number),
              "with '12345678901234' in the place of 12345678901234 its numbers have 16 digits "
              "(maximum 15)");
    EXPECT_EQ(WhyTextOf({"T", "?", "", "x"}, {"c", 'L', 1, 0}),
              "'x' in the place of x is no boolean");
    EXPECT_EQ(WhyTextOf({"T", "?", "", "n"}, {"c", 'L', 1, 0}), "");
    EXPECT_EQ(WhyTextOf({"x"}, {"c", 'C', 1, 0}), "");
    EXPECT_EQ(WhyTextOf({"1", "x"}, {}), "") << "the file calls it nothing";
}

TEST(ColumnGuessTest, DefinedColumnsKeepTheirKindWhereTheValuesAllowIt) {
    EXPECT_EQ(TypeOf({"12"}, {"c", 'C', 30, 0}), "char(30)") << "a text column of digits is text";
    EXPECT_EQ(TypeOf({"T", "F"}, {"c", 'L', 1, 0}), "boolean");
    EXPECT_EQ(TypeOf({"T", "?", ""}, {"c", 'L', 1, 0}), "boolean") << "? is an empty value";
    EXPECT_EQ(TypeOf({"", ""}, {"c", 'L', 1, 0}), "boolean");
    EXPECT_EQ(TypeOf({"T", "?", "x"}, {"c", 'L', 1, 0}), "char(1)");
    EXPECT_EQ(TypeOf({"20260101"}, {"c", 'D', 8, 0}), "char(8)");
    EXPECT_EQ(TypeOf({"short"}, {"c", 'M', 10, 0}), "memo");
}

TEST(NamesTest, AnythingBecomesAUsableName) {
    EXPECT_EQ(UsableName("world-cities", 64), "world_cities");
    EXPECT_EQ(UsableName("2nd", 64), "c2nd");
    EXPECT_EQ(UsableName("", 64), "c");
    EXPECT_EQ(UsableName("Date", 10), "Date_");
    EXPECT_EQ(UsableName("timestamp", 9), "timestam_");
    EXPECT_EQ(UsableName("value", 10), "value") << "not among the reserved words";
}

TEST(NamesTest, ColumnNamesOfOneTableDiffer) {
    EXPECT_EQ(UsableColumnNames({"latitude_degrees", "latitude_decimal", "a", "A"}),
              (std::vector<std::string>{"latitude_d", "latitude_2", "a", "A2"}));
}

TEST(NamesTest, NumberedAndMadeUpNamesLeaveTheOthersTheirOwn) {
    EXPECT_EQ(UsableColumnNames({"a", "a", "A", "a2"}),
              (std::vector<std::string>{"a", "a3", "A4", "a2"}));
    EXPECT_EQ(UsableColumnNames({"", "c", "", "C2"}),
              (std::vector<std::string>{"c3", "c", "c4", "C2"}));
    EXPECT_EQ(UsableColumnNames({"long name is cut", "long_name_"}),
              (std::vector<std::string>{"long_name2", "long_name_"}));
}

TEST_F(ImportTest, QuotesCommasAndLineEndsInsideValuesArrive) {
    folder_.Write("in.csv",
                  "\xEF\xBB\xBFid,text,flag\r\n"
                  "1,\"a, \"\"b\"\"\",true\r\n"
                  "2,\"two\nlines\",false\r\n");
    EXPECT_EQ(Import("in.csv", "t"), "2 rows imported into t\n");
    EXPECT_EQ(Select("select id, text, flag from t"),
              (Rows{{"1", "a, \"b\"", "1"}, {"2", "two\nlines", "0"}}));
}

TEST_F(ImportTest, LongTextsGoToTheMemoFileWhole) {
    const std::string story(3000, 's');
    folder_.Write("in.csv", "id,story\n1," + story + "\n2,short\n");
    Import("in.csv");
    EXPECT_EQ(Select("select story from in_"), (Rows{{story}, {"short"}}))
        << "the table is named after the file, made usable";
}

TEST_F(ImportTest, FileWithoutHeaderGetsNumberedColumns) {
    folder_.Write("in.csv", "1,x\n2,y\n");
    EXPECT_EQ(ImportPath(folder_.File("in.csv"), "t", false), "2 rows imported into t\n");
    EXPECT_EQ(Select("select c2, c1 from t"), (Rows{{"x", "1"}, {"y", "2"}}));
}

TEST_F(ImportTest, LettersOfAColumnArriveAsTheyAre) {
    folder_.Write("t1.csv", "name,sex,dir,member\nAnna,F,N,yes\nEva,F,N,Y\n");
    EXPECT_EQ(Import("t1.csv"), "2 rows imported into t1\n");
    EXPECT_EQ(Select("select sex, dir, member from t1"),
              (Rows{{"F", "N", "yes"}, {"F", "N", "Y"}}));
}

TEST_F(ImportTest, NumbersOfANewTableMayGrow) {
    folder_.Write("t1.csv", "id,price,qty\n1,9.50,50\n2,12.25,60\n");
    Import("t1.csv");
    database_.Query("update t1 set price = price * 10, qty = qty * 10");
    database_.Query("insert into t1 values (10, 100.00, 7)");
    EXPECT_EQ(Select("select id, price, qty from t1"),
              (Rows{{"1", "95.00", "500"}, {"2", "122.50", "600"}, {"10", "100.00", "7"}}));
}

TEST_F(ImportTest, EmptyNumbersAreReported) {
    folder_.Write("t1.csv", "a,b\n1,x\n,y\n");
    EXPECT_EQ(Import("t1.csv"), "2 rows imported into t1\n1 empty value of a is stored as 0\n");
    EXPECT_EQ(Select("select a, b from t1"), (Rows{{"1", "x"}, {"0", "y"}}));
    folder_.Write("t2.csv", "a,b\ntrue,1\n,2\n,3\n");
    EXPECT_EQ(Import("t2.csv"),
              "3 rows imported into t2\n2 empty values of a are stored as false\n");
}

TEST_F(ImportTest, RowWithTooManyValuesIsRefusedBeforeAnythingIsMade) {
    folder_.Write("t1.csv", "a,b\n1,2\n1,2,3\n");
    EXPECT_EQ(ErrorOf("t1.csv"), "line 3 of " + Named("t1.csv") + " has 3 values for 2 columns");
    EXPECT_TRUE(ReadCatalog(database_.Path()).empty());
}

TEST_F(ImportTest, MissingFileAndEmptyFileAreErrors) {
    EXPECT_THROW(Import("none.csv"), Error);
    folder_.Write("empty.csv", "");
    EXPECT_THROW(Import("empty.csv"), Error);
    EXPECT_THROW(Import("none.dbf"), Error);
}

// Files that other people's programs wrote, when the folder with them is there.
TEST_F(ImportTest, RealFilesComeInWhole) {
    const std::string data = SharedData();
    if (!std::filesystem::exists(data + "/csv/openflights/routes.csv")) {
        GTEST_SKIP() << "no files of other people's programs in " << data;
    }
    const auto import = [&](const std::string& name, const std::string& table,
                            bool hasHeader = true) {
        const std::string report = ImportPath(data + "/" + name, table, hasHeader);
        return report.substr(0, report.find('\n'));
    };
    EXPECT_EQ(import("dbf/open/dbase_83.dbf", "shop"), "67 rows imported into shop");
    EXPECT_EQ(import("dbf/open/WSPMST.DBF", "shoes"), "6797 rows imported into shoes");
    EXPECT_EQ(import("dbf/open/building.dbf", "building"), "43060 rows imported into building");
    EXPECT_EQ(import("csv/openflights/routes.csv", "flights", false),
              "67663 rows imported into flights");
    EXPECT_EQ(Select("select count(*) from flights")[0][0], "67663");
}

}  // namespace
}  // namespace ovrashell
