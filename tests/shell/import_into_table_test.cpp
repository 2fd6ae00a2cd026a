// Import into a table that is there: values that do not fit its columns are found before a row is
// stored, and the report tells that the table is an older one.

#include <gtest/gtest.h>

#include "shell/catalog.h"
#include "tests/shell/dbf_bytes.h"
#include "tests/shell/import_fixture.h"

namespace ovrashell {
namespace {

TEST_F(ImportTest, ExistingTableTakesMoreRowsByColumnName) {
    database_.Query("create table t (a integer, b char(5), good boolean)");
    folder_.Write("in.csv", "good,b\nfalse,x\ntrue,y\n1,z\n");
    EXPECT_EQ(Import("in.csv", "T"), "3 rows added to the existing table t\n");
    EXPECT_EQ(Select("select a, b, good from t"),
              (Rows{{"0", "x", "0"}, {"0", "y", "1"}, {"0", "z", "1"}}));
    folder_.Write("other.csv", "nothing\n1\n");
    EXPECT_EQ(ErrorOf("other.csv", "t"), "Table 't' has no column 'nothing'");
}

TEST_F(ImportTest, FileWithoutNamesFillsTheColumnsOfATableInTheirOrder) {
    database_.Query("create table t (code char(3), depth numeric(6,2), good boolean)");
    folder_.Write("in.csv", "abc,1.5,true\nabd,20\n");
    EXPECT_EQ(ImportPath(folder_.File("in.csv"), "t", false),
              "2 rows added to the existing table t\n1 empty value of GOOD is stored as false\n");
    EXPECT_EQ(Select("select code, depth, good from t"),
              (Rows{{"abc", "1.50", "1"}, {"abd", "20.00", "0"}}));
    for (const std::string row : {"abe,1\n", "abe,1,true,x\n"}) {
        folder_.Write("in.csv", row);
        try {
            ImportPath(folder_.File("in.csv"), "t", false);
            FAIL() << row;
        } catch (const Error& error) {
            EXPECT_EQ(error.what(), "The file has " + std::string(row.size() == 6 ? "2" : "4") +
                                        " columns without names, and table 't' has 3 columns");
        }
    }
    EXPECT_EQ(Select("select count(*) from t"), (Rows{{"2"}}));
}

TEST_F(ImportTest, RepeatedAndEmptyNamesTakeNoColumnOfATableThatIsThere) {
    database_.Query("create table t (a numeric(5), a2 numeric(5), c numeric(5))");
    folder_.Write("in.csv", "a,A\n1,2\n");
    EXPECT_EQ(ErrorOf("in.csv", "t"),
              "The file has more than one column 'A'; table 't' takes columns by their names");
    folder_.Write("in.csv", "a,\n1,2\n");
    EXPECT_EQ(ErrorOf("in.csv", "t"),
              "A column of the file has no name; table 't' takes columns by their names");
    EXPECT_EQ(Select("select count(*) from t"), (Rows{{"0"}}));
}

TEST_F(ImportTest, SecondImportOfAFileIsToldAsOne) {
    folder_.Write("2024-01.csv", "a\n1\n2\n");
    folder_.Write("2024_01.csv", "a\n3\n");
    EXPECT_EQ(Import("2024-01.csv"), "2 rows imported into c2024_01\n");
    EXPECT_EQ(Import("2024-01.csv"), "2 rows added to the existing table c2024_01\n");
    EXPECT_EQ(Import("2024_01.csv"), "1 row added to the existing table c2024_01\n");
}

TEST_F(ImportTest, ValuesTooWideForTheirColumnsAreRefusedBeforeARowIsStored) {
    database_.Query("create table t (code char(2), depth numeric(2), height numeric(1,1))");
    database_.Query("insert into t values ('ab', 12, 1.5)");
    folder_.Write("more.csv", "code,depth,height\nab,1,1\nabc,1,1\n\"a\nbcdef\",1,1\n");
    EXPECT_EQ(
        ErrorOf("more.csv", "t"),
        "2 values do not fit into column CODE char(2), the widest is 'a\\nbcdef' (7 bytes) in "
        "line 4 of " +
            Named("more.csv") + "; nothing was added to t");
    folder_.Write("more.csv", "depth\n1\n123\n");
    EXPECT_EQ(ErrorOf("more.csv", "t"),
              "1 value does not fit into column DEPTH numeric(2): '123' (3 bytes) in line 3 of " +
                  Named("more.csv") + "; nothing was added to t");
    folder_.Write("more.csv", "height\n1.25\n");
    EXPECT_EQ(
        ErrorOf("more.csv", "t"),
        "1 value does not fit into column HEIGHT numeric(1,1): '1.25' (4 bytes) in line 2 of " +
            Named("more.csv") + "; nothing was added to t");
    folder_.Write("more.csv", "code\n" + std::string(50, 'x') + "\n");
    EXPECT_EQ(ErrorOf("more.csv", "t"), "1 value does not fit into column CODE char(2): '" +
                                            std::string(40, 'x') + "...' (50 bytes) in line 2 of " +
                                            Named("more.csv") + "; nothing was added to t");
    folder_.Write("more.dbf", ovratest::DbfBytes({{{"CODE", 'C', 5, 0}}, {{"a"}, {"abc"}}}));
    EXPECT_EQ(ErrorOf("more.dbf", "t"),
              "1 value does not fit into column CODE char(2): 'abc' (3 bytes) in row 2 of " +
                  Named("more.dbf") + "; nothing was added to t");
    EXPECT_EQ(Select("select count(*) from t"), (Rows{{"1"}}));
}

TEST_F(ImportTest, ValuesOfAnotherKindAreRefusedBeforeARowIsStored) {
    database_.Query("create table t (n numeric(9), good boolean)");
    for (const std::string value :
         {"abc", "12abc", "-", ".", "1e3", "0x10", "inf", "1 2", "--1", "1.2.3"}) {
        folder_.Write("in.csv", "n\n1\n" + value + "\n");
        EXPECT_EQ(ErrorOf("in.csv", "t")
                      .rfind("1 value does not fit into column N numeric(9): '" + value + "' (", 0),
                  0U)
            << value;
    }
    for (const std::string value : {"maybe", "2", "?", "-1"}) {
        folder_.Write("in.csv", "good\ntrue\n" + value + "\n");
        EXPECT_EQ(ErrorOf("in.csv", "t")
                      .rfind("1 value does not fit into column GOOD boolean: '" + value + "' (", 0),
                  0U)
            << value;
    }
    EXPECT_EQ(Select("select count(*) from t"), (Rows{{"0"}}));
}

TEST_F(ImportTest, NumbersThatAreWrittenAnewAreTold) {
    database_.Query("create table t (n numeric(4,2))");
    folder_.Write("in.csv", "n\n007\n+5\n5.\n.5\n1.500\n9999.25\n-999\n0\n");
    EXPECT_EQ(
        Import("in.csv", "t"),
        "8 rows added to the existing table t\n5 values of N are written with other digits\n");
    EXPECT_EQ(
        Select("select n from t"),
        (Rows{
            {"7.00"}, {"5.00"}, {"5.00"}, {"0.50"}, {"1.50"}, {"9999.25"}, {"-999.00"}, {"0.00"}}));
    folder_.Write("in.csv", "n\n-9999\n");
    EXPECT_EQ(ErrorOf("in.csv", "t").rfind("1 value does not fit", 0), 0U) << "the sign counts";
}

TEST_F(ImportTest, NumbersOfMoreDigitsThanADoubleHasDoNotFit) {
    database_.Query("create table t (n numeric(19), m numeric(9,9))");
    folder_.Write("in.csv", "n\n9007199254740992\n-123456789012345\n");
    EXPECT_EQ(Import("in.csv", "t"), "2 rows added to the existing table t\n");
    EXPECT_EQ(Select("select n from t"), (Rows{{"9007199254740992"}, {"-123456789012345"}}));
    folder_.Write("in.csv", "n\n9007199254740993\n");
    EXPECT_EQ(ErrorOf("in.csv", "t").rfind("1 value does not fit", 0), 0U);
    folder_.Write("in.csv", "m\n1234567.123456789\n");
    EXPECT_EQ(ErrorOf("in.csv", "t").rfind("1 value does not fit", 0), 0U);
}

TEST_F(ImportTest, EmptyValuesInAnExistingTableAreTold) {
    database_.Query("create table t (n numeric(4), good boolean, name char(3), story memo)");
    folder_.Write("in.csv", "n,good,name,story\n,,,\n1,true,,\n,,,\n");
    EXPECT_EQ(Import("in.csv", "t"),
              "3 rows added to the existing table t\n"
              "2 empty values of N are stored as 0\n"
              "2 empty values of GOOD are stored as false\n");
}

TEST_F(ImportTest, RowThatTheTableRefusesIsToldWithItsLineAndWhatIsIn) {
    database_.Query("create table t (code char(3), name char(5))");
    database_.Query("create unique index bycode on t (code)");
    folder_.Write("in.csv", "code,name\nabc,\"x\ny\"\nabd,z\nabc,w\nabe,v\n");
    const std::string message = ErrorOf("in.csv", "t");
    EXPECT_EQ(message.rfind("line 5 of " + Named("in.csv") + ": ", 0), 0U) << message;
    EXPECT_NE(message.find("; 2 rows of the file are in t"), std::string::npos) << message;
    EXPECT_EQ(Select("select count(*) from t"), (Rows{{"2"}}));
}

}  // namespace
}  // namespace ovrashell
