// Files that other people's programs wrote. They are not part of this tree: the folder is named by
// the environment variable OVRA_SHARED_DATA or lies beside the tree as ../shared/data, and without
// it these tests are skipped.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>

#include "tests/storage/data_support.h"

namespace ovrasql {
namespace {

namespace fs = std::filesystem;

fs::path SharedData() {
    const char* const named = std::getenv("OVRA_SHARED_DATA");
    return named != nullptr ? fs::path(named)
                            : fs::path(__FILE__).parent_path() / "../../../shared/data";
}

std::string FileOnDisk(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

struct Listed {
    std::string file, verdict, version, records, deleted, columns, letters, reason;
};

std::vector<Listed> Manifest(const std::string& verdict) {
    std::vector<Listed> rows;
    std::istringstream lines(FileOnDisk(SharedData() / "dbf/manifest.tsv"));
    std::string line;
    while (std::getline(lines, line)) {
        std::istringstream cells(line);
        Listed row;
        for (std::string* cell : {&row.file, &row.verdict, &row.version, &row.records, &row.deleted,
                                  &row.columns, &row.letters, &row.reason}) {
            std::getline(cells, *cell, '\t');
        }
        if (row.verdict == verdict) {
            rows.push_back(row);
        }
    }
    return rows;
}

class DataForeign : public DataTest {
  protected:
    void SetUp() override {
        DataTest::SetUp();
        if (!fs::exists(SharedData() / "dbf/manifest.tsv")) {
            GTEST_SKIP() << "no shared data at " << SharedData();
        }
        TheHost().SetLogging(false);
    }

    // Puts the table, and its memo file if there is one under the exact name, into the memory host.
    static std::string Load(const std::string& listed) {
        const fs::path source = SharedData() / "dbf" / listed;
        const std::string name = source.filename().string();
        TheHost().SetFile(name, FileOnDisk(source));
        const fs::path memo = fs::path(source).replace_extension(".dbt");
        if (fs::exists(memo)) {
            TheHost().SetFile(memo.filename().string(), FileOnDisk(memo));
        }
        return name;
    }
};

TEST_F(DataForeign, EveryListedTableOpensWithItsCounts) {
    const std::vector<Listed> rows = Manifest("open");
    ASSERT_FALSE(rows.empty());
    for (const Listed& row : rows) {
        SCOPED_TRACE(row.file);
        const std::string name = Load(row.file);
        OvraSQLTable table(database_);
        ASSERT_TRUE(table.Open(name.c_str(), 3)) << table.Error().CText();
        EXPECT_EQ(table.Version(), std::stoi(row.version, nullptr, 16));
        EXPECT_EQ(std::to_string(table.RecordCount()), row.records);
        EXPECT_EQ(std::to_string(table.Fields().Count()), row.columns);
        std::string letters;
        for (const char letter : std::string("CDLMN")) {
            for (const OvraSQLField* field : table.Fields()) {
                if (std::string("CNDLM")[static_cast<size_t>(field->Type())] == letter) {
                    letters += letter;
                    break;
                }
            }
        }
        EXPECT_EQ(letters, row.letters);
        int deleted = 0;
        uint32_t number = 1;
        for (; table.ReadRecord(number); ++number) {
            deleted += table.IsDeleted() ? 1 : 0;
            for (OvraSQLField* field : table.Fields()) {
                const TextView value = field->ValueText();
                ASSERT_EQ(value.data[value.length], '\0');
                ASSERT_LE(value.length, field->Type() == kFieldMemo ? 100000 : field->Length());
            }
        }
        EXPECT_EQ(number - 1, table.RecordCount()) << table.Error().CText();
        EXPECT_EQ(std::to_string(deleted), row.deleted);
    }
}

// Every cell is compared with the bytes of the file, read by their place in it.
TEST_F(DataForeign, EveryCharacterCellEqualsTheFilesBytes) {
    for (const Listed& row : Manifest("open")) {
        if (std::stoi(row.records) > 10000) {
            continue;  // the long ones show nothing new
        }
        SCOPED_TRACE(row.file);
        const std::string name = Load(row.file);
        const std::string bytes = TheHost().FileText(name);
        OvraSQLTable table(database_);
        ASSERT_TRUE(table.Open(name.c_str(), 3));
        for (uint32_t number = 1; number <= table.RecordCount(); ++number) {
            ASSERT_TRUE(table.ReadRecord(number));
            const size_t record = static_cast<size_t>(table.HeaderLength()) +
                                  (number - 1) * static_cast<size_t>(table.RecordLength());
            size_t offset = 1;
            for (OvraSQLField* field : table.Fields()) {
                const size_t length = static_cast<size_t>(field->Length());
                std::string cell = bytes.substr(
                    record + offset,
                    std::min(length, static_cast<size_t>(table.RecordLength()) - offset));
                offset += length;
                if (field->Type() == kFieldMemo) {
                    continue;
                }
                if (field->Type() == kFieldCharacter) {
                    cell.erase(cell.find_last_not_of(' ') + 1);
                } else if (field->Type() == kFieldNumeric) {
                    cell.erase(0, cell.find_first_not_of(' '));
                }
                cell = cell.c_str();
                // A cell that the record cuts off reads as blanks behind its end.
                ASSERT_EQ(Text(field->ValueText()).substr(0, cell.size()), cell)
                    << number << " " << Text(field->Name());
            }
        }
    }
}

TEST_F(DataForeign, MemosComeOutOfTheirBlocks) {
    const std::string name = Load("open/dbase_83.dbf");
    OvraSQLTable table(database_);
    ASSERT_TRUE(table.Open(name.c_str(), 3));
    int longest = 0;
    int texts = 0;
    for (uint32_t number = 1; number <= table.RecordCount(); ++number) {
        ASSERT_TRUE(table.ReadRecord(number));
        for (OvraSQLField* field : table.Fields()) {
            if (field->Type() == kFieldMemo && field->ValueText().length > 0) {
                ++texts;
                longest = std::max(longest, field->ValueText().length);
            }
        }
    }
    EXPECT_EQ(texts, 67);
    EXPECT_EQ(longest, 1268);
}

TEST_F(DataForeign, EveryListedRefusalHasItsTextAndLeavesTheFileAlone) {
    const std::vector<Listed> rows = Manifest("refuse");
    ASSERT_FALSE(rows.empty());
    for (const Listed& row : rows) {
        SCOPED_TRACE(row.file);
        const std::string name = Load(row.file);
        const std::string before = TheHost().FileText(name);
        std::string expected;
        if (row.reason.starts_with("version byte ")) {
            expected = "'" + name + "': Unsupported xBase file version (" + row.version + ")";
        } else if (row.reason.starts_with("field ")) {
            // "field NAME has type 'F'"
            const std::string field = row.reason.substr(6, row.reason.find(" has") - 6);
            const std::string letter = row.reason.substr(row.reason.find('\'') + 1, 1);
            expected = "'" + name + "' contains an unsupported field (" + field + ") of type '" +
                       letter + "'";
        } else if (row.reason.starts_with("memo file ")) {
            const std::string memo = fs::path(name).replace_extension(".dbt").string();
            expected = "Error opening '" + memo + "': No such file or directory";
        } else {
            TheHost().SetErrorText("short");
            expected = "Error reading from '" + name + "': short";
        }
        {
            OvraSQLTable table(database_);
            EXPECT_FALSE(table.Open(name.c_str(), 3));
            EXPECT_EQ(Text(table.Error()), expected);
        }
        EXPECT_EQ(TheHost().FileText(name), before);
        TheHost().Reset();
        TheHost().SetLogging(false);
        database_ = TheHost().MakeDatabase();
    }
}

// A record of a foreign table is rewritten with its values unchanged, and the file around it stays.
TEST_F(DataForeign, RewritingEveryRecordKeepsEveryValue) {
    for (const Listed& row : Manifest("open")) {
        if (std::stoi(row.records) > 1000) {
            continue;
        }
        SCOPED_TRACE(row.file);
        const std::string name = Load(row.file);
        OvraSQLTable table(database_);
        ASSERT_TRUE(table.Open(name.c_str(), 3));
        const size_t size = TheHost().FileText(name).size();
        for (uint32_t number = 1; number <= table.RecordCount(); ++number) {
            ASSERT_TRUE(table.ReadRecord(number));
            std::vector<std::string> values;
            for (OvraSQLField* field : table.Fields()) {
                values.push_back(Text(field->ValueText()));
            }
            const bool deleted = table.IsDeleted();
            ASSERT_TRUE(table.UpdateRecord()) << table.Error().CText();
            ASSERT_TRUE(table.ReadRecord(number));
            EXPECT_EQ(table.IsDeleted(), deleted);
            size_t index = 0;
            for (OvraSQLField* field : table.Fields()) {
                std::string value = Text(field->ValueText());
                std::string& old = values[index++];
                if (field->Type() != kFieldNumeric) {
                    // What was padded by NUL comes back padded by blanks.
                    value.erase(value.find_last_not_of(' ') + 1);
                    old.erase(old.find_last_not_of(' ') + 1);
                }
                EXPECT_EQ(value, old) << number << " " << Text(field->Name());
            }
        }
        EXPECT_EQ(TheHost().FileText(name).size(), size);
    }
}

}  // namespace
}  // namespace ovrasql
