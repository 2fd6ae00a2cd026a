// The kills find a wrong order of writes: here two changes of a statement are exchanged on paper,
// and there is a place where a kill breaks what is promised.

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/crash/dying_statement.h"

namespace ovrasql {
namespace {

// The statement with one change moved in front of another; both are named by the start of their
// description, and the first of each counts. Says what a kill behind any whole change breaks.
std::string Broken(std::vector<ScriptStep> steps, const std::string& early,
                   const std::string& late) {
    const ScriptStep last = steps.back();
    steps.pop_back();
    RecordedChanges recorded = RecordChanges({"planted", std::move(steps), {last}});
    std::vector<FileChange>& changes = recorded.steps[0].changes;
    const auto place = [&](const std::string& text) {
        return std::find_if(changes.begin(), changes.end(), [&](const FileChange& change) {
            return Describe(change).compare(0, text.size(), text) == 0;
        });
    };
    if (place(early) == changes.end() || place(late) == changes.end()) {
        ADD_FAILURE() << "no such change: " << early << " or " << late;
        return "";
    }
    if (place(late) < place(early)) {
        std::rotate(place(late), place(early), place(early) + 1);
    }
    FileSet after = recorded.start;
    for (const FileChange& change : changes) {
        Apply(change, &after);
    }
    const DyingStatement dying(recorded.steps[0], recorded.start, after);
    FileSet files = recorded.start;
    std::string broken;
    for (size_t index = 0; index < changes.size(); ++index) {
        Apply(changes[index], &files);
        const KillPoint point = {index, changes[index].bytes.size(), false};
        broken += dying.Unexpected(point, checker::CheckDatabase(files, "main.dbf"));
        broken += dying.WrongRows(point, checker::ReadTables(files, "main.dbf"));
    }
    return broken;
}

const std::vector<ScriptStep> kInsert = {
    "create table t (a integer, m memo)", "create index ta on t (a)",
    "insert into t values (1, 'one')", "insert into t values (2, 'two')"};

// The second record of t; its file begins with a header of 97 bytes.
const std::string kRecord = "write t.dbf at 127";

TEST(PlantedOrder, AsItIsBreaksNothing) {
    EXPECT_EQ(Broken(kInsert, kRecord, "write ta.ovx at 1024"), "");
}

TEST(PlantedOrder, OfACountBeforeItsRecordIsFound) {
    EXPECT_NE(Broken(kInsert, "write t.dbf at 0", kRecord), "");
}

TEST(PlantedOrder, OfAKeyBeforeItsRecordIsFound) {
    EXPECT_NE(Broken(kInsert, "write ta.ovx at 1024", kRecord), "");
    EXPECT_NE(Broken(kInsert, "write ta.ovx at 1024", "write t.dbf at 0"), "");
}

TEST(PlantedOrder, OfACountedRecordBeforeItsTextIsFound) {
    const std::string text = "write t.dbt at 1024";
    EXPECT_NE(Broken(kInsert, "write t.dbf at 0", text), "");
}

TEST(PlantedOrder, OfAMemoHeaderBeforeItsTextIsFound) {
    EXPECT_NE(Broken(kInsert, "write t.dbt at 0", "write t.dbt at 1024"), "");
}

// Records of 20 bytes behind a header of 65.
TEST(PlantedOrder, OfALaterRowBeforeAnEarlierOneIsFound) {
    const std::vector<ScriptStep> rows = {"create table t (a integer)", "insert into t values (1)",
                                          "insert into t values (2)", "insert into t values (3)"};
    for (const char* sql : {"update t set a = a + 10 where a > 0", "delete from t where a < 9"}) {
        std::vector<ScriptStep> steps = rows;
        steps.emplace_back(sql);
        EXPECT_EQ(Broken(steps, "write t.dbf at 65", "write t.dbf at 85"), "");
        EXPECT_NE(Broken(steps, "write t.dbf at 85", "write t.dbf at 65"), "") << sql;
        EXPECT_NE(Broken(steps, "write t.dbf at 105", "write t.dbf at 85"), "") << sql;
    }
}

TEST(PlantedOrder, OfACatalogRowBeforeItsFileIsFound) {
    const std::vector<ScriptStep> steps = {"create table t (a integer)",
                                           "create table v (a integer)"};
    const std::string row = "write main.dbf at 0";
    EXPECT_EQ(Broken(steps, "create v.dbf", row), "");
    RecordedChanges recorded = RecordChanges({"planted", {steps[0]}, {steps[1]}});
    std::vector<FileChange>& changes = recorded.steps[0].changes;
    // All that concerns the file goes to the end.
    std::stable_partition(changes.begin(), changes.end(),
                          [](const FileChange& change) { return change.path != "v.dbf"; });
    FileSet files = recorded.start;
    std::string broken;
    const DyingStatement dying(recorded.steps[0], recorded.start, files);
    for (size_t index = 0; index < changes.size(); ++index) {
        Apply(changes[index], &files);
        broken += dying.Unexpected({index, changes[index].bytes.size(), false},
                                   checker::CheckDatabase(files, "main.dbf"));
    }
    EXPECT_NE(broken, "");
}

TEST(PlantedOrder, OfADroppedFileBeforeItsRowIsFound) {
    const std::vector<ScriptStep> steps = {"create table t (a integer)", "drop table t"};
    EXPECT_NE(Broken(steps, "delete t.dbf", "write main.dbf"), "");
}

TEST(PlantedOrder, OfAnIndexBeforeItsDataFileIsFound) {
    const std::vector<ScriptStep> steps = {"create table t (a integer)", "create index ta on t (a)",
                                           "insert into t values (1)",   "insert into t values (2)",
                                           "delete from t where a = 1",  "pack"};
    RecordedChanges recorded = RecordChanges(
        {"planted", std::vector<ScriptStep>(steps.begin(), steps.end() - 1), {steps.back()}});
    std::string index;
    std::string data;
    for (const FileChange& change : recorded.steps[0].changes) {
        index = change.newPath == "ta.ovx" ? Describe(change) : index;
        data = change.newPath == "t.dbf" ? Describe(change) : data;
    }
    EXPECT_EQ(Broken(steps, data, index), "");
    EXPECT_NE(Broken(steps, index, data), "");
}

}  // namespace
}  // namespace ovrasql
