// Rows as CSV and TSV: what is written can be read again as it was.

#include <gtest/gtest.h>

#include <cctype>

#include "shell/row_writer.h"
#include "tests/shell/import_fixture.h"

namespace ovrashell {
namespace {

std::string Written(OutputMode mode, const Row& names, const std::vector<Row>& rows,
                    bool headers = true) {
    std::ostringstream out;
    const auto writer = MakeRowWriter(mode, headers, &out);
    writer->Begin(names);
    for (const Row& row : rows) {
        writer->Write(row);
    }
    writer->End();
    return out.str();
}

// Texts that a reader of CSV could take for something else.
const std::vector<std::string>& AwkwardTexts() {
    static const std::vector<std::string> texts = {"",
                                                   " ",
                                                   "  in front",
                                                   "behind  ",
                                                   "\tin front",
                                                   "behind\t",
                                                   ",",
                                                   "\"",
                                                   "\"\"",
                                                   "\"quoted\"",
                                                   "5\" pipe",
                                                   "two\nlines",
                                                   "two\r\nlines",
                                                   "\r",
                                                   "\n",
                                                   "a,\"b\",c",
                                                   "\\n",
                                                   "back\\slash",
                                                   "\xEF\xBB\xBF",
                                                   "\xEF\xBB\xBFmark",
                                                   "\xFF\xFE",
                                                   "\xFE\xFF"
                                                   "x",
                                                   "\x01\x1B\x7F",
                                                   "K\xC3\xB6ln",
                                                   "K\xF6ln",
                                                   "007",
                                                   "1e5",
                                                   "-",
                                                   ".",
                                                   "?"};
    return texts;
}

TEST(SeparatedWriterTest, CsvQuotesWhatAReaderWouldDrop) {
    EXPECT_EQ(Written(OutputMode::kCsv, {"a", "b"}, {{" x", "y "}, {"", "\tz"}, {"a b", ""}}),
              "a,b\n\" x\",\"y \"\n,\"\tz\"\na b,\n");
    EXPECT_EQ(Written(OutputMode::kCsv, {"a"}, {{""}, {"x"}}), "a\n\"\"\nx\n")
        << "an empty line would be no row";
}

TEST(SeparatedWriterTest, TsvEscapesSoThatNothingLooksAlike) {
    EXPECT_EQ(Written(OutputMode::kTsv, {"a", "b"}, {{"a\tb", "a\\tb"}, {"\r\n", "\x01\x7F\\"}}),
              "a\tb\na\\tb\ta\\\\tb\n\\r\\n\t\x01\x7F\\\\\n");
}

// Into a memo column, since a character column has no blanks at its end.
TEST_F(ImportTest, CsvOfEveryAwkwardValueComesInAgain) {
    for (const bool headers : {true, false}) {
        const std::string table = headers ? "named" : "plain";
        for (const bool alone : {true, false}) {
            std::vector<Row> rows;
            for (const std::string& text : AwkwardTexts()) {
                rows.push_back(alone ? Row{text} : Row{text, "-", text});
            }
            const std::string to = table + (alone ? "1" : "3");
            database_.Query("create table " + to +
                            (alone ? " (c1 memo)" : " (c1 memo, c2 memo, c3 memo)"));
            folder_.Write("out.csv", Written(OutputMode::kCsv, {"c1", "c2", "c3"}, rows, false));
            if (headers) {
                folder_.Write("out.csv", Written(OutputMode::kCsv,
                                                 alone ? Row{"c1"} : Row{"c1", "c2", "c3"}, rows));
            }
            ImportPath(folder_.File("out.csv"), to, headers);
            EXPECT_EQ(Select("select * from " + to), rows);
        }
    }
}

// Each text first in a file, where the marks of other encodings would stand.
TEST_F(ImportTest, CsvThatBeginsWithAnAwkwardValueComesInAgain) {
    database_.Query("create table t (c1 memo)");
    for (const std::string& text : AwkwardTexts()) {
        folder_.Write("out.csv", Written(OutputMode::kCsv, {"c1"}, {{text}}, false));
        database_.Query("delete from t");
        ImportPath(folder_.File("out.csv"), "t", false);
        EXPECT_EQ(Select("select c1 from t"), (Rows{{text}}));
    }
}

TEST_F(ImportTest, CsvIntoANewTableKeepsEveryTextThatACharacterColumnCanHold) {
    std::vector<Row> rows;
    for (const std::string& text : AwkwardTexts()) {
        if (text.empty() || std::isspace(static_cast<unsigned char>(text.back())) == 0) {
            rows.push_back({text, "x"});
        }
    }
    folder_.Write("out.csv", Written(OutputMode::kCsv, {"a", "b"}, rows));
    Import("out.csv", "t");
    EXPECT_EQ(Select("select a, b from t"), rows);
}

}  // namespace
}  // namespace ovrashell
