// Import of .dbf files: the types that the file names hold where its cells allow it, and the report
// tells the cell that does not.

#include <gtest/gtest.h>

#include "shell/catalog.h"
#include "tests/shell/dbf_bytes.h"
#include "tests/shell/import_fixture.h"

namespace ovrashell {
namespace {

TEST_F(ImportTest, NumbersStayNumbersHoweverTheirFileWritesThem) {
    for (const char letter : {'N', 'F'}) {
        const std::string name(1, letter);
        folder_.Write(name + ".dbf",
                      ovratest::DbfBytes({{{"QTY", letter, 5, 0}, {"PRICE", letter, 8, 2}},
                                          {{"   9.", "     .50"},
                                           {"   10", "      +9"},
                                           {"  120", "00001.25"},
                                           {"     ", "  -12.25"}}}));
        EXPECT_EQ(Import(name + ".dbf", "t" + name),
                  "4 rows imported into t" + name +
                      "\n1 empty value of QTY is stored as 0\n"
                      "1 value of QTY is written with other digits\n"
                      "3 values of PRICE are written with other digits\n");
        const auto columns = DbfFile(folder_.File("t" + Lowered(name) + ".dbf")).Columns();
        EXPECT_EQ(ColumnText(columns[0]), "QTY numeric(5)") << "as wide as in the file";
        EXPECT_EQ(ColumnText(columns[1]), "PRICE numeric(5,2)");
        EXPECT_EQ(Select("select qty, price from t" + name + " order by qty"),
                  (Rows{{"0", "-12.25"}, {"9", "0.50"}, {"10", "9.00"}, {"120", "1.25"}}));
    }
}

TEST_F(ImportTest, NumbersAtTheLeftOfTheirCellsAreNumbers) {
    folder_.Write("s.dbf", ovratest::DbfBytes({{{"QTY", 'N', 5, 0}}, {{"10   "}, {"9    "}}}));
    EXPECT_EQ(Import("s.dbf", "taken"), "2 rows imported into taken\n");
    EXPECT_EQ(Select("select max(qty) from taken"), (Rows{{"10"}}));
}

TEST_F(ImportTest, ZerosAtTheEndOfNumbersKeepNoneFromBeingOne) {
    folder_.Write("s.dbf", ovratest::DbfBytes({{{"AREA", 'F', 19, 11}, {"LENGTH", 'N', 24, 15}},
                                               {{"11430602.0000000000", "123456.500000000000000"},
                                                {"0.11400000000", "7.000000000000000"}}}));
    EXPECT_EQ(Import("s.dbf", "taken"),
              "2 rows imported into taken\n"
              "1 value of AREA is written with other digits\n"
              "2 values of LENGTH are written with other digits\n");
    EXPECT_EQ(
        Select("select area, length from taken"),
        (Rows{{"11430602.0000000000", "123456.500000000000"}, {"0.1140000000", "7.000000000000"}}));
}

TEST_F(ImportTest, CellThatMakesANumberColumnATextIsTold) {
    folder_.Write("s.dbf", ovratest::DbfBytes({{{"QTY", 'N', 3, 0}},
                                               {{" 10"}, {"   "}, {"***"}, {"  9"}, {"1E9"}}}));
    EXPECT_EQ(Import("s.dbf", "taken"),
              "5 rows imported into taken\ncolumn QTY is text: '***' in row 3 of " +
                  Named("s.dbf") + " is no number\n");
    EXPECT_EQ(Select("select qty from taken"), (Rows{{"10"}, {""}, {"***"}, {"9"}, {"1E9"}}));
}

TEST_F(ImportTest, LogicalCellsBecomeBooleans) {
    folder_.Write("in.dbf",
                  ovratest::DbfBytes(
                      {{{"GOOD", 'L', 1, 0}, {"NAME", 'C', 1, 0}},
                       {{"T", "a"}, {"y", "b"}, {"F", "c"}, {"n", "d"}, {"?", "e"}, {" ", "f"}}}));
    EXPECT_EQ(Import("in.dbf", "s"),
              "6 rows imported into s\n2 empty values of GOOD are stored as false\n");
    EXPECT_EQ(DbfFile(folder_.File("s.dbf")).Columns()[0].letter, 'L');
    EXPECT_EQ(Select("select name from s where good = 1"), (Rows{{"a"}, {"b"}}));
    EXPECT_EQ(Select("select name from s where good = 0"), (Rows{{"c"}, {"d"}, {"e"}, {"f"}}));
}

TEST_F(ImportTest, LogicalCellsOfAnotherKindStayAsTheyAre) {
    folder_.Write("s.dbf",
                  ovratest::DbfBytes({{{"GOOD", 'L', 1, 0}}, {{"T"}, {"?"}, {"J"}, {" "}}}));
    EXPECT_EQ(Import("s.dbf", "taken"),
              "4 rows imported into taken\ncolumn GOOD is text: 'J' in row 3 of " + Named("s.dbf") +
                  " is no boolean\n");
    EXPECT_EQ(Select("select good from taken"), (Rows{{"T"}, {"?"}, {"J"}, {""}}));
}

TEST_F(ImportTest, LogicalCellsGoIntoAnExistingBooleanColumn) {
    database_.Query("create table t (good boolean)");
    folder_.Write("s.dbf", ovratest::DbfBytes({{{"GOOD", 'L', 1, 0}}, {{"Y"}, {"?"}}}));
    EXPECT_EQ(Import("s.dbf", "t"),
              "2 rows added to the existing table t\n1 empty value of GOOD is stored as false\n");
    EXPECT_EQ(Select("select good from t"), (Rows{{"1"}, {"0"}}));
}

}  // namespace
}  // namespace ovrashell
