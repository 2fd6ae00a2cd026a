// Import of CSV files: pipes, files that are no CSV, and what is said about them.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "shell/catalog.h"
#include "tests/shell/import_fixture.h"

namespace ovrashell {
namespace {

TEST_F(ImportTest, PipeComesInWhole) {
    std::string rows = "id,text\n";
    for (int i = 1; i <= 20000; ++i) {
        rows += std::to_string(i) + ",text " + std::to_string(i) + "\n";
    }
    const std::string pipe = folder_.File("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    std::thread writer([&] { std::ofstream(pipe, std::ios::binary) << rows; });
    EXPECT_EQ(Import("pipe", "t"), "20000 rows imported into t\n");
    writer.join();
    EXPECT_EQ(Select("select max(id) from t"), (Rows{{"20000"}}));
}

TEST_F(ImportTest, EndMarksOfOlderSystemsEndTheFile) {
    for (const std::string marks : {"\x1A", "\x1A\x1A\x1A"}) {
        folder_.Write("in.csv", "a,b\n1,2\n" + marks);
        const std::string table = "t" + std::to_string(marks.size());
        EXPECT_EQ(Import("in.csv", table), "1 row imported into " + table + "\n");
        EXPECT_EQ(Select("select a + b from " + table), (Rows{{"3"}}));
    }
    folder_.Write("in.csv", "a,b\n1,x\x1A");
    EXPECT_EQ(Import("in.csv", "t"), "1 row imported into t\n");
    EXPECT_EQ(Select("select b from t"), (Rows{{"x"}})) << "a last line without an end has it, too";
    folder_.Write("in.csv", "\x1A");
    EXPECT_EQ(ErrorOf("in.csv"), Named("in.csv") + " is empty");
}

TEST_F(ImportTest, RepeatedAndEmptyNamesLeaveTheOthersTheirOwn) {
    folder_.Write("in.csv", "a,a,A,a2,,c\n1,2,3,4,5,6\n");
    EXPECT_EQ(Import("in.csv", "t"),
              "1 row imported into t\n"
              "column 'a' is named a3\n"
              "column 'A' is named A4\n"
              "column '' is named c2\n");
    EXPECT_EQ(Select("select a, a2, a3, a4, c, c2 from t"), (Rows{{"1", "4", "2", "3", "6", "5"}}));
}

TEST_F(ImportTest, NamesCannotDriveTheTerminal) {
    folder_.Write("in.csv", "\x1B[31m red,\"two\nlines\"," + std::string(300, 'x') + "\n1,2,3\n");
    EXPECT_EQ(Import("in.csv", "t"),
              "1 row imported into t\n"
              "column '.[31m red' is named c31m_red\n"
              "column 'two\\nlines' is named two_lines\n"
              "column '" +
                  std::string(40, 'x') + "...' is named xxxxxxxxxx\n");
    folder_.Write("in.csv", "\x1B[2J,\x1B[2J\n1,2\n");
    EXPECT_EQ(ErrorOf("in.csv", "t"),
              "The file has more than one column '.[2J'; table 't' takes columns by their names");
}

TEST_F(ImportTest, LongNameIsCutBetweenItsCharacters) {
    std::string name = "x";
    for (int i = 0; i < 20; ++i) {
        name += "\xC3\xB6";  // the 40th byte is the first half of one
    }
    folder_.Write("in.csv", name + "\n1\n");
    EXPECT_EQ(Import("in.csv", "t"), "1 row imported into t\ncolumn '" + name.substr(0, 39) +
                                         "...' is named x_________\n");
}

TEST_F(ImportTest, FolderIsNoCsvFile) {
    std::filesystem::create_directory(folder_.File("csv"));
    EXPECT_EQ(ErrorOf("csv"), "Cannot read " + Named("csv") + ": Is a directory");
    EXPECT_EQ(ErrorOf("none.csv"),
              "Cannot read " + Named("none.csv") + ": No such file or directory");
}

TEST_F(ImportTest, TextOfTwoBytesALetterIsRefused) {
    folder_.Write("little.csv", std::string("\xFF\xFE"
                                            "a\0\n\0",
                                            6));
    EXPECT_EQ(ErrorOf("little.csv"), Named("little.csv") + " is UTF-16 text; save it as UTF-8");
    folder_.Write("big.csv", std::string("\xFE\xFF\0a\0\n", 6));
    EXPECT_EQ(ErrorOf("big.csv"), Named("big.csv") + " is UTF-16 text; save it as UTF-8");
    EXPECT_TRUE(ReadCatalog(database_.Path()).empty());
}

TEST_F(ImportTest, ZeroByteIsRefusedWithItsLine) {
    folder_.Write("in.csv", std::string("a,b\n1,\"two\nlines\"\n2,x\0y\n", 24));
    EXPECT_EQ(ErrorOf("in.csv"),
              Named("in.csv") + " has a zero byte in line 4: it is no text file");
    folder_.Write("in.csv", std::string("a\0b\n", 4));
    EXPECT_EQ(ErrorOf("in.csv"),
              Named("in.csv") + " has a zero byte in line 1: it is no text file");
    EXPECT_TRUE(ReadCatalog(database_.Path()).empty());
}

TEST_F(ImportTest, QuoteThatIsNeverClosedIsToldWithItsLine) {
    folder_.Write("in.csv", "a,b\r\n1,\"two\r\nlines\"\r\n\r\n2,\"open\r\n3,x\r\n");
    EXPECT_EQ(ErrorOf("in.csv"),
              Named("in.csv") + ": the quote that opens in line 5 is not closed");
    folder_.Write("in.csv", "a,\"b\n1,2\n");
    EXPECT_EQ(ErrorOf("in.csv"),
              Named("in.csv") + ": the quote that opens in line 1 is not closed");
    EXPECT_TRUE(ReadCatalog(database_.Path()).empty());
}

TEST_F(ImportTest, TextBehindAClosingQuoteIsToldWithItsLine) {
    const std::string message =
        Named("in.csv") + ": text follows the closing quote of the value that begins in line ";
    folder_.Write("in.csv", "a,b\n\"x\" y,1\n\"z\",2\n");
    EXPECT_EQ(ErrorOf("in.csv"), message + "2");
    // The quote that is missing in line 3 would be found in line 4.
    folder_.Write("in.csv", "a,b\r\n\"x\",1\r\n\"y,2\r\n\"z\",3\r\n");
    EXPECT_EQ(ErrorOf("in.csv"), message + "3");
    folder_.Write("in.csv", "a,b\n1,\"x\" \"y\"\n");
    EXPECT_EQ(ErrorOf("in.csv"), message + "2");
    folder_.Write("in.csv", "a,\"b\"c\n1,2\n");
    EXPECT_EQ(ErrorOf("in.csv"), message + "1");
    // A backslash marks nothing: a comma behind such a quote would end the value.
    folder_.Write("in.csv", "a,b\n\"the \\\"odd\\\" one\",1\n");
    EXPECT_EQ(ErrorOf("in.csv"), message + "2");
    EXPECT_TRUE(ReadCatalog(database_.Path()).empty());
    folder_.Write("in.csv", "a,b\n\"x\" ,\"1\"\t\n");
    EXPECT_EQ(Import("in.csv", "t"), "1 row imported into t\n") << "blanks are no text";
    EXPECT_EQ(Select("select a, b from t"), (Rows{{"x", "1"}}));
}

TEST_F(ImportTest, QuotesInsideOfValuesAreTheirOwn) {
    folder_.Write("in.csv", "a,b\n5\" pipe,\"say \"\"hi\"\"\"\na\"b\"\"c\",\"last\"");
    EXPECT_EQ(Import("in.csv", "t"), "2 rows imported into t\n");
    EXPECT_EQ(Select("select a, b from t"),
              (Rows{{"5\" pipe", "say \"hi\""}, {"a\"b\"\"c\"", "last"}}));
}

TEST_F(ImportTest, LinesAreCountedWhateverTheirEnds) {
    for (const char* end : {"\n", "\r\n", "\r"}) {
        const std::string lineEnd(end);
        std::string text;
        for (const char* line : {"a,b", "1,2", "", "", "3,\"x\ny\"", "1,2,3"}) {
            text += line + lineEnd;
        }
        folder_.Write("in.csv", text);
        EXPECT_EQ(ErrorOf("in.csv"),
                  "line 7 of " + Named("in.csv") + " has 3 values for 2 columns");
    }
}

TEST_F(ImportTest, MoreColumnsThanATableHasAreRefused) {
    const auto rowOf = [](int columns, const std::string& value) {
        std::string row = value;
        for (int i = 1; i < columns; ++i) {
            row += "," + value;
        }
        return row + "\n";
    };
    folder_.Write("in.csv", rowOf(4500, "n") + rowOf(4500, "123456789012345"));
    EXPECT_EQ(ErrorOf("in.csv"), Named("in.csv") + " has 4500 columns (maximum 2046)");
    folder_.Write("in.csv", rowOf(2046, "n") + rowOf(2046, std::string(100, 'x')));
    const std::string report = Import("in.csv", "t");
    EXPECT_EQ(report.substr(0, report.find('\n')), "1 row imported into t");
    EXPECT_EQ(Select("select n from t where n2046 = n"), (Rows{{std::string(100, 'x')}}));
}

TEST_F(ImportTest, BlanksThatACharacterColumnDropsAreTold) {
    folder_.Write("in.csv", "a,b\n\"x  \",\" y\"\n\"z\r\n\",\"\"\n");
    EXPECT_EQ(Import("in.csv", "t"),
              "2 rows imported into t\n2 values of a lose the blanks behind them\n");
    EXPECT_EQ(Select("select a, b from t"), (Rows{{"x", " y"}, {"z", ""}}));
}

TEST_F(ImportTest, TextBehindAnEndMarkOfTheMemoFileIsToldAsLost) {
    folder_.Write("in.csv", "a\n" + std::string(300, 'x') + "\x1Ay\n");
    EXPECT_EQ(Import("in.csv", "t"), "1 row imported into t\n1 value of a is cut at a byte 1A\n");
    EXPECT_EQ(Select("select a from t"), (Rows{{std::string(300, 'x')}}));
}

}  // namespace
}  // namespace ovrashell
