// What the Tab key offers, by the line up to the cursor and the part of it that is completed.

#include "shell/completion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "shell/database.h"
#include "tests/support/temporary_folder.h"

namespace ovrashell {
namespace {

using Words = std::vector<std::string>;

class CompletionTest : public testing::Test {
  protected:
    void SetUp() override {
        Database database = Database::Create(folder_.File("db.dbf"));
        database.Query("create table harbours (tide char(5), tiller char(5))");
        database.Query("create table harvests (crop char(5))");
    }

    // `line` has a "|" before the part that is completed.
    Words Offered(std::string line) {
        const auto bar = line.find('|');
        line.erase(bar, 1);
        return Completions(folder_.File("db.dbf"), line, std::string_view(line).substr(bar));
    }

    ovratest::TemporaryFolder folder_;
};

TEST_F(CompletionTest, TablesColumnsAndWordsInAStatement) {
    EXPECT_EQ(Offered("select tide from |HAR"), (Words{"harbours", "harvests"}));
    EXPECT_EQ(Offered("select tide,|ti"),
              (Words{"tide", "tiller", "time", "timestamp", "timezone_hour", "timezone_minute"}));
    EXPECT_EQ(Offered(".explain select tide from |harv"), Words{"harvests"});
}

TEST_F(CompletionTest, ColumnsOnlyBehindAPoint) {
    EXPECT_EQ(Offered("select h.|ti"), (Words{"tide", "tiller"}));
    EXPECT_EQ(Offered("select h.|"), (Words{"crop", "tide", "tiller"}));
}

TEST_F(CompletionTest, CommandsBehindThePointThatBeginsALine) {
    EXPECT_EQ(Offered(".|He"), (Words{"headers", "help"}));
    EXPECT_EQ(Offered("  .|tr"), Words{"trace"});
    EXPECT_EQ(Offered(".|read"), Words{"read"}) << "no file before the blank";
    EXPECT_FALSE(IsFileWanted(".read"));
    EXPECT_EQ(Offered(".help |tr"), Words{"trace"});
    EXPECT_EQ(Offered(".help .|tr"), Words{"trace"});
}

TEST_F(CompletionTest, WordsThatACommandTakes) {
    EXPECT_EQ(Offered(".mode |"), (Words{"csv", "json", "line", "table", "tsv"}));
    EXPECT_EQ(Offered(".MODE |t"), (Words{"table", "tsv"}));
    EXPECT_EQ(Offered(".echo |o"), (Words{"off", "on"}));
    EXPECT_EQ(Offered(".schema |"), (Words{"harbours", "harvests"}));
    EXPECT_EQ(Offered(".indexes |harb"), Words{"harbours"});
}

TEST_F(CompletionTest, FilesBehindTheCommandsThatTakeThem) {
    folder_.Write("my file.csv", "");
    folder_.Write("my.sql", "");
    folder_.Write(".hidden", "");
    std::filesystem::create_directories(folder_.File("my folder/inside"));
    const std::string path = folder_.Path() + "/";
    for (const std::string command : {".import ", ".read ", ".output ", ".trace "}) {
        EXPECT_EQ(
            Offered(command + "|" + path + "my"),
            (Words{"\"" + path + "my file.csv\"", "\"" + path + "my folder/", path + "my.sql"}))
            << "a name with blanks is put into quotes";
    }
    EXPECT_TRUE(Offered(".read |" + path + "MY").empty());
    EXPECT_EQ(Offered(".read \"" + path + "my |fi"), Words{"file.csv\""});
    EXPECT_EQ(Offered(".read '|" + path + "my.s"), Words{path + "my.sql'"});
    EXPECT_EQ(Offered(".read \"" + path + "my |folder/"), Words{"folder/inside/"});
    EXPECT_EQ(Offered(".read |" + path + ".hid"), Words{path + ".hidden"});
    EXPECT_TRUE(Offered(".read |/nowhere/a").empty());
}

TEST_F(CompletionTest, UnreadableDatabaseOffersTheLanguage) {
    EXPECT_EQ(Completions("/nowhere/db.dbf", "selec", "selec"), Words{"select"});
    folder_.Write("harbours.dbf", "no table");
    EXPECT_EQ(Offered("select |crop"), Words{"crop"});
    EXPECT_EQ(Offered("select crop from |harb"), Words{"harbours"});
}

}  // namespace
}  // namespace ovrashell
