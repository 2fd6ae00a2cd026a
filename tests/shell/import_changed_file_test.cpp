// Files that change while they are imported: what is inserted is what was measured.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "shell/import_source.h"
#include "tests/shell/import_fixture.h"

namespace ovrashell {
namespace {

class ChangedFileTest : public ImportTest {
  protected:
    void Append(const std::string& text) const {
        std::ofstream(folder_.File("in.csv"), std::ios::binary | std::ios::app) << text;
    }

    // Writes into the file without changing its length.
    void Overwrite(std::size_t at, const std::string& text) const {
        std::fstream file(folder_.File("in.csv"), std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(static_cast<std::streamoff>(at));
        file << text;
    }

    std::unique_ptr<ImportSource> Open() const {
        return OpenCsvSource(folder_.File("in.csv"), true);
    }

    static Rows RowsOf(ImportSource* source) {
        Rows rows;
        source->ForEachRow([&rows](const SourceRow& row, double) { rows.push_back(row); });
        return rows;
    }

    std::string WasChanged() const { return Named("in.csv") + " was changed while it was read"; }
};

template <typename Action>
std::string MessageOf(Action action) {
    try {
        action();
    } catch (const Error& error) {
        return error.what();
    }
    return "no error";
}

TEST_F(ChangedFileTest, RowsThatAreAppendedBetweenThePassesAreLeftOut) {
    folder_.Write("in.csv", "a,b\n1,x\n");
    const auto source = Open();
    EXPECT_EQ(RowsOf(source.get()), (Rows{{"1", "x"}}));
    EXPECT_TRUE(source->Remarks().empty());
    Append("987654,longer\n");
    source->EnsureUnchanged();
    EXPECT_EQ(RowsOf(source.get()), (Rows{{"1", "x"}}));
    EXPECT_EQ(
        source->Remarks(),
        (std::vector<std::string>{Named("in.csv") + " has grown since: its first 8 bytes are in"}));
}

TEST_F(ChangedFileTest, RowsThatAreAppendedDuringAPassAreLeftOut) {
    std::string rows = "a\n";
    for (int i = 0; i < 50000; ++i) {
        rows += "1\n";
    }
    folder_.Write("in.csv", rows);
    const auto source = Open();
    std::size_t count = 0;
    source->ForEachRow([&](const SourceRow&, double) {
        if (++count == 1) {
            Append("987654\n");
        }
    });
    EXPECT_EQ(count, 50000U);
    EXPECT_EQ(RowsOf(source.get()).size(), 50000U);
}

TEST_F(ChangedFileTest, FileThatIsWrittenAnewIsRefusedBeforeItsRowsAreInserted) {
    folder_.Write("in.csv", "a\n1\n2\n");
    const auto source = Open();
    RowsOf(source.get());
    Overwrite(4, "7");
    // Systems stamp files with the time of their last tick.
    std::filesystem::last_write_time(folder_.File("in.csv"), {});
    EXPECT_EQ(MessageOf([&] { source->EnsureUnchanged(); }), WasChanged());
    Append("and longer");
    EXPECT_EQ(MessageOf([&] { source->EnsureUnchanged(); }), WasChanged());
}

TEST_F(ChangedFileTest, FileThatIsCutIsRefused) {
    folder_.Write("in.csv", "a\n1\n2\n");
    const auto source = Open();
    RowsOf(source.get());
    std::filesystem::resize_file(folder_.File("in.csv"), 4);
    EXPECT_EQ(MessageOf([&] { source->EnsureUnchanged(); }), WasChanged());
    EXPECT_EQ(MessageOf([&] { RowsOf(source.get()); }), WasChanged());
}

TEST_F(ChangedFileTest, NoRowThatWasNotMeasuredIsHandedOut) {
    const std::string padding(100000, 'x');
    folder_.Write("in.csv", "a,b\n1," + padding + "\n2,x\n");
    const auto source = Open();
    RowsOf(source.get());
    source->EnsureUnchanged();
    Overwrite(4 + 2 + padding.size() + 1, "7");
    Rows rows;
    EXPECT_EQ(MessageOf([&] {
                  source->ForEachRow([&](const SourceRow& row, double) { rows.push_back(row); });
              }),
              WasChanged());
    for (const auto& row : rows) {
        EXPECT_EQ(row[0], "1");
    }
}

TEST_F(ChangedFileTest, FileThatAnotherOneReplacesIsReadAsItWas) {
    folder_.Write("in.csv", "a\n1\n");
    const auto source = Open();
    EXPECT_EQ(RowsOf(source.get()), (Rows{{"1"}}));
    folder_.Write("new.csv", "a\n987654\n");
    std::filesystem::rename(folder_.File("new.csv"), folder_.File("in.csv"));
    source->EnsureUnchanged();
    EXPECT_EQ(RowsOf(source.get()), (Rows{{"1"}}));
}

TEST_F(ChangedFileTest, FileOfTheSystemThatTellsNoSizeComesInWhole) {
    if (!std::filesystem::exists("/proc/version")) {
        GTEST_SKIP() << "no such file here";
    }
    ImportPath("/proc/version", "t", false);
    EXPECT_EQ(Select("select count(*) from t"), (Rows{{"1"}}));
}

}  // namespace
}  // namespace ovrashell
