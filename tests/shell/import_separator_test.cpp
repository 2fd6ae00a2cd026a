// Import of CSV files whose values are not separated by commas.

#include <gtest/gtest.h>

#include "shell/row_writer.h"
#include "tests/shell/import_fixture.h"
#include "tests/shell/program_fixture.h"

namespace ovrashell {
namespace {

TEST_F(ImportTest, SemicolonsOrTabsOfAHeaderWithoutCommasSeparate) {
    folder_.Write("in.csv", "code;name;price\nab;\"x; y\";1,5\ncd;z;2\n");
    EXPECT_EQ(Import("in.csv", "s"), "2 rows imported into s\n" + Named("in.csv") +
                                         " is read as separated by semicolons\n");
    EXPECT_EQ(Select("select code, name, price from s"),
              (Rows{{"ab", "x; y", "1,5"}, {"cd", "z", "2"}}));
    folder_.Write("in.csv", "code\tna;me\nab\tx y\n\tz\n");
    EXPECT_EQ(Import("in.csv", "t"), "2 rows imported into t\n" + Named("in.csv") +
                                         " is read as separated by tabs\n"
                                         "column 'na;me' is named na_me\n");
    EXPECT_EQ(Select("select code, na_me from t"), (Rows{{"ab", "x y"}, {"", "z"}}));
}

TEST_F(ImportTest, CommaOfTheHeaderSeparatesWhateverElseIsInIt) {
    folder_.Write("in.csv", "a;b,c\td\n1;2,3\n");
    EXPECT_EQ(Import("in.csv", "t"),
              "1 row imported into t\ncolumn 'a;b' is named a_b\ncolumn 'c\\td' is named c_d\n");
    EXPECT_EQ(Select("select a_b, c_d from t"), (Rows{{"1;2", "3"}}));
}

TEST_F(ImportTest, SeparatorsInsideOfTheQuotesOfAHeaderAreNone) {
    folder_.Write("in.csv", "\n\"a, \"\"x\"\", b\";c\n1;2\n");
    EXPECT_EQ(Import("in.csv", "s"), "1 row imported into s\n" + Named("in.csv") +
                                         " is read as separated by semicolons\n"
                                         "column 'a, \"x\", b' is named a___x___b\n");
    folder_.Write("in.csv", "\"a;b\"\n1\n");
    EXPECT_EQ(Import("in.csv", "t"), "1 row imported into t\ncolumn 'a;b' is named a_b\n");
    folder_.Write("in.csv", "5\" pipe;c\n1;2\n");
    EXPECT_EQ(Import("in.csv", "u"), "1 row imported into u\n" + Named("in.csv") +
                                         " is read as separated by semicolons\n"
                                         "column '5\" pipe' is named c5__pipe\n");
}

TEST_F(ImportTest, SeparatorThatIsNamedHolds) {
    folder_.Write("in.csv", "a,b|c\n1,2|3\n");
    EXPECT_EQ(ImportPath(folder_.File("in.csv"), "s", true, '|'),
              "1 row imported into s\ncolumn 'a,b' is named a_b\n");
    EXPECT_EQ(Select("select a_b, c from s"), (Rows{{"1,2", "3"}}));
    folder_.Write("in.csv", "a;b\n1;2\n");
    EXPECT_EQ(ImportPath(folder_.File("in.csv"), "t", true, ','),
              "1 row imported into t\ncolumn 'a;b' is named a_b\n");
    EXPECT_EQ(ImportPath(folder_.File("in.csv"), "u", false, ';'), "2 rows imported into u\n");
    EXPECT_EQ(Select("select c1, c2 from u"), (Rows{{"a", "b"}, {"1", "2"}}));
}

TEST_F(ImportTest, FirstRowThatIsNoHeaderTellsNoSeparator) {
    folder_.Write("in.csv", "one; two\nthree\n");
    EXPECT_EQ(ImportPath(folder_.File("in.csv"), "t", false), "2 rows imported into t\n");
    EXPECT_EQ(Select("select c1 from t"), (Rows{{"one; two"}, {"three"}}));
}

TEST(SeparatorTest, SeparatorIsOneByteOrATab) {
    EXPECT_EQ(SeparatorFromName(";"), ';');
    EXPECT_EQ(SeparatorFromName("tab"), '\t');
    EXPECT_EQ(SeparatorFromName("\t"), '\t');
    for (const char* name : {"", ";;", "comma", "\"", "\n", "\r"}) {
        EXPECT_THROW(SeparatorFromName(name), Error) << name;
    }
}

using SeparatorProgramTest = ovratest::ProgramTest;

TEST_F(SeparatorProgramTest, RowsAsTsvComeInAgain) {
    MakePorts();
    folder_.Write("ports.tsv", Sql("select * from ports", "-m tsv"));
    Sql(".import ports.tsv again");
    EXPECT_EQ(Sql("select * from again", "-m tsv"), folder_.Read("ports.tsv"));
}

TEST_F(SeparatorProgramTest, SeparatorIsAnOption) {
    folder_.Write("in.csv", "1;2\n3;4\n");
    Sql(".import --separator ';' --no-header in.csv t");
    EXPECT_EQ(Sql("select c1 + c2 from t", "--no-headers -m csv"), "3\n7\n");
    EXPECT_EQ(Run("db.dbf '.import --separator ;; in.csv t'").status, 1);
    EXPECT_EQ(Errors(), "Expected one byte or tab as the separator, found ';;'\n");
}

}  // namespace
}  // namespace ovrashell
