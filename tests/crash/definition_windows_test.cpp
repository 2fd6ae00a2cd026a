// A process that dies within a definition or a pack leaves files and catalog rows that do not go
// together. What the next one finds at each place, what the same statement says when it is run
// again, and what helps, is the same every time. The tests are that list.

#include <gtest/gtest.h>

#include "tests/crash/recorded_changes.h"
#include "tests/support/checker/checker.h"

namespace ovrasql {
namespace {

std::vector<std::string> KeptRows(const FileSet& files, const std::string& table) {
    std::vector<std::string> rows;
    for (const checker::CheckedTable& read : checker::ReadTables(files, "main.dbf")) {
        for (const Row& row : read.rows) {
            std::string text;
            for (const std::string& value : row) {
                text += (text.empty() ? "" : "|") + value;
            }
            if (read.name == table) {
                rows.push_back(text);
            }
        }
    }
    return rows;
}

std::string Clean() { return checker::Describe(checker::CheckDatabase(TakeFiles(), "main.dbf")); }

class DefinitionWindows : public testing::Test {
  protected:
    // The last of the steps is the statement that dies.
    void Record(std::vector<ScriptStep> steps) {
        const ScriptStep last = steps.back();
        steps.pop_back();
        recorded_ = RecordChanges({"windows", std::move(steps), {last}});
        statement_ = last.text;
    }

    [[nodiscard]] size_t Changes() const { return recorded_.steps[0].changes.size(); }

    // The files with the first changes made and the others not.
    [[nodiscard]] FileSet Killed(size_t changes) const {
        FileSet files = recorded_.start;
        for (size_t index = 0; index < changes; ++index) {
            Apply(recorded_.steps[0].changes[index], &files);
        }
        return files;
    }

    // The first place behind a change that is described so.
    [[nodiscard]] size_t Behind(const std::string& change) const {
        for (size_t index = 0; index < Changes(); ++index) {
            const std::string text = Describe(recorded_.steps[0].changes[index]);
            if (text.find(change) != std::string::npos) {
                return index + 1;
            }
        }
        ADD_FAILURE() << change;
        return 0;
    }

    // A process finds the files of that place. Whatever was open before is gone.
    TestDatabase& Open(size_t changes) {
        database_.reset();
        RestoreFiles(Killed(changes));
        database_ = std::make_unique<TestDatabase>();
        EXPECT_TRUE(database_->Open()) << database_->Error();
        return *database_;
    }

    std::string Pack() { return database_->Pack() ? "" : database_->Error(); }

    // What the statement says when it is run again, at each place: equal answers in a row once.
    Texts Answers() {
        Texts answers;
        for (size_t changes = 1; changes <= Changes(); ++changes) {
            const std::string answer = Open(changes).Run(statement_);
            if (answers.empty() || answers.back() != answer) {
                answers.push_back(answer);
            }
        }
        return answers;
    }

    void Rename(const std::string& from, const std::string& to) {
        TheHost().SetFile(to, TheHost().FileBytes(from));
        TheHost().RemoveFile(from);
    }

    RecordedChanges recorded_;
    std::string statement_;
    std::unique_ptr<TestDatabase> database_;
};

TEST_F(DefinitionWindows, CreateTableLeavesAFileInTheWayOfTheNext) {
    Record({"create table t (a integer)", "create table v (a integer, m memo)"});
    EXPECT_EQ(Answers(),
              (Texts{"Table 'v' cannot be created because datafile 'v.dbf' already exists",
                     "Table 'v' already exists"}));
    for (size_t changes = 1; changes < Changes(); ++changes) {
        TestDatabase& database = Open(changes);
        if (database.Run(statement_) != "Table 'v' already exists") {
            TheHost().RemoveFile("v.dbf");
            EXPECT_EQ(database.Run(statement_), "");
        }
        EXPECT_EQ(database.Run("insert into v values (1, 'text')"), "");
        EXPECT_EQ(Pack(), "");
        EXPECT_EQ(database.RowsText("select * from v"), "1|text\n");
    }
}

// The row of a table is there and counted, and its key is not: pack can't open what it can't find.
TEST_F(DefinitionWindows, CreateTableWithoutItsKeyStopsPackUntilTheTableIsMadeAgain) {
    Record({"create table t (a integer)", "create table v (a integer)"});
    TestDatabase& database = Open(Behind("write main.dbf at 0"));
    EXPECT_EQ(Pack(), "Unable to open data file: Unknown table 'v'");
    TheHost().RemoveFile("v.dbf");
    EXPECT_EQ(database.Run(statement_), "");
    EXPECT_EQ(Pack(), "");
}

TEST_F(DefinitionWindows, CreateIndexIsRunAgainUntilItsRowHasItsFirstKey) {
    Record({"create table t (a integer)", "insert into t values (1)", "insert into t values (2)",
            "create index ta on t (a)"});
    EXPECT_EQ(Answers(),
              (Texts{"", "Inserted record violates UNIQUE constraint on index 'Schema_1'",
                     "Index 'ta' already exists"}));
    for (size_t changes = 1; changes < Behind("write main.ovx at 1024"); ++changes) {
        TestDatabase& database = Open(changes);
        EXPECT_EQ(database.Run(statement_), "");
        EXPECT_EQ(database.Run("insert into t values (3)"), "");
        EXPECT_EQ(database.RowsText("select a from t where a = 3"), "3\n");
        EXPECT_EQ(Pack(), "");
    }
}

// With the key that says which indexes a table has, and without the one that finds an index by its
// name: changes keep the index up, queries that would use it fail (without a message), and there is
// no way to drop it but with its table.
TEST_F(DefinitionWindows, CreateIndexWithOneOfItsTwoKeysIsHalfKnown) {
    Record({"create table t (a integer)", "insert into t values (1)", "insert into t values (2)",
            "create index ta on t (a)"});
    TestDatabase& database = Open(Behind("write main.ovx at 1024"));
    EXPECT_EQ(database.Run("insert into t values (3)"), "");
    EXPECT_EQ(database.RowsText("select a from t where a = 3"), "error: ");
    EXPECT_EQ(database.RowsText("select a from t where a + 0 = 3"), "3\n");
    EXPECT_EQ(database.Run("drop index ta"), "Index name 'ta' does not exist");
    EXPECT_EQ(Pack(), "");

    EXPECT_EQ(database.Run("create table copy (a integer)"), "");
    EXPECT_EQ(database.Run("insert into copy select a from t"), "");
    EXPECT_EQ(database.Run("drop table t"), "");
    EXPECT_EQ(database.Run("create index ta on copy (a)"), "");
    EXPECT_EQ(database.RowsText("select a from copy where a = 3"), "3\n");
}

TEST_F(DefinitionWindows, DropTableGoesOnUntilItsRowIsGone) {
    Record({"create table t (a integer, m memo)", "create index ta on t (a)",
            "insert into t values (1, 'text')", "drop table t"});
    EXPECT_EQ(Answers(), (Texts{"", "Table 't' does not exist"}));
    TestDatabase& database = Open(Behind("write main.dbf at 0"));
    EXPECT_EQ(database.RowsText("select * from t"), "1|text\n") << "the rows of indexes go first";
    EXPECT_EQ(database.Run(statement_), "");
    EXPECT_EQ(Clean(), "ta.ovx: no row of the catalog names this file\n");
    EXPECT_EQ(database.Run("create table t (a integer)"), "");
    EXPECT_EQ(database.Run("create index ta on t (a)"), "") << "over the old file";
    EXPECT_EQ(Clean(), "");
}

TEST_F(DefinitionWindows, DropTableWithoutItsRowLeavesFilesInTheWay) {
    Record({"create table t (a integer, m memo)", "drop table t"});
    TestDatabase& database = Open(Changes() - 2);
    const std::string create = "create table t (b char(3))";
    EXPECT_EQ(database.Run(create),
              "Table 't' cannot be created because datafile 't.dbf' already exists");
    TheHost().RemoveFile("t.dbf");
    EXPECT_EQ(database.Run(create), "");
}

TEST_F(DefinitionWindows, DropIndexIsRunAgain) {
    Record({"create table t (a integer)", "create index ta on t (a)", "insert into t values (1)",
            "drop index ta"});
    EXPECT_EQ(Answers(), (Texts{"", "Index name 'ta' does not exist"}));
    TestDatabase& database = Open(Behind("delete ta.ovx"));
    EXPECT_EQ(database.Run("insert into t values (2)"),
              "Error opening 'ta.ovx': No such file or directory");
    EXPECT_EQ(Pack(), "") << "or the index is made anew";
    EXPECT_EQ(Clean(), "");
    EXPECT_EQ(database.Run("insert into t values (2)"), "");
}

TEST_F(DefinitionWindows, AlterTableIsRunAgainUntilTheDataFileIsNew) {
    Record({"create table t (a integer)", "create index ta on t (a)", "insert into t values (1)",
            "insert into t values (2)", "delete from t where a = 1",
            "alter table t add b char(2)"});
    EXPECT_EQ(Answers(), (Texts{"", "A field named 'b' already exists in table 't'"}));
    TestDatabase& database = Open(Behind("to t.dbf"));
    EXPECT_EQ(database.RowsText("select a from t where a = 2"), "")
        << "by the keys of the old file";
    EXPECT_EQ(database.RowsText("select a from t"), "2\n");
    EXPECT_EQ(Pack(), "");
    EXPECT_EQ(database.RowsText("select a from t where a = 2"), "2\n");
}

// Each text of the old memo file stands elsewhere in the new one, which has not got its name yet.
TEST_F(DefinitionWindows, TextsAreThoseOfOthersWhileTheMemoFileIsTheOldOne) {
    Record({"create table t (a integer, m memo)", "insert into t values (1, 'old')",
            "insert into t values (2, 'second')", "update t set m = 'new' where a = 1", "pack"});
    const size_t between = Behind("to t.dbf");
    const std::vector<std::string> whole = {"1|new", "2|second"};
    EXPECT_EQ(KeptRows(Killed(between - 1), "t"), whole);
    EXPECT_EQ(KeptRows(Killed(between), "t"), (std::vector<std::string>{"1|old", "2|second"}));
    EXPECT_EQ(KeptRows(Killed(between + 1), "t"), whole);

    TestDatabase& database = Open(between);
    const std::string temporary = recorded_.steps[0].changes[between].path;
    ASSERT_TRUE(TheHost().HasFile(temporary));
    Rename(temporary, "t.dbt");
    EXPECT_EQ(Pack(), "");
    EXPECT_EQ(database.RowsText("select * from t"), "1|new\n2|second\n");
    EXPECT_EQ(Clean(), "");
}

TEST_F(DefinitionWindows, AnotherPackMakesTheTextsOfOthersPermanent) {
    Record({"create table t (a integer, m memo)", "insert into t values (1, 'old')",
            "insert into t values (2, 'second')", "update t set m = 'new' where a = 1", "pack"});
    TestDatabase& database = Open(Behind("to t.dbf"));
    EXPECT_EQ(Pack(), "");
    EXPECT_EQ(database.RowsText("select * from t"), "1|old\n2|second\n");
    EXPECT_EQ(TheHost().FileText("t.dbt").find("new"), std::string::npos);
}

TEST_F(DefinitionWindows, TheFirstMemoColumnMayLackItsFile) {
    Record({"create table t (a integer)", "insert into t values (1)", "create table u (a integer)",
            "alter table t add m memo"});
    const size_t between = Behind("to t.dbf");
    TestDatabase& database = Open(between);
    EXPECT_EQ(database.Run("insert into t values (2, 'text')"), "Unknown table 't'");
    EXPECT_EQ(Pack(), "Unable to open data file: Error opening 't.dbt': No such file or directory");
    Rename(recorded_.steps[0].changes[between].path, "t.dbt");
    EXPECT_EQ(Pack(), "");
    EXPECT_EQ(database.Run("insert into t values (2, 'text')"), "");
    EXPECT_EQ(Clean(), "");
}

TEST_F(DefinitionWindows, TheLastMemoColumnMayLeaveItsFile) {
    Record({"create table t (a integer, m memo)", "insert into t values (1, 'text')",
            "alter table t drop column m"});
    TestDatabase& database = Open(Behind("to t.dbf"));
    EXPECT_EQ(database.RowsText("select * from t"), "1\n");
    EXPECT_EQ(Clean(), "t.dbt: no row of the catalog names this file\n");
    EXPECT_EQ(database.Run("alter table t add n memo"), "") << "goes over it";
    EXPECT_EQ(Clean(), "");
}

// The catalog's own indexes are trees like others, and nothing builds them anew. Eight rows fill a
// page of them.
TEST_F(DefinitionWindows, ASplitOfTheCatalogsIndexMayHideTables) {
    Record({"create table a (n integer)", "create table b (n integer)",
            "create table c (n integer)", "create table d (n integer)",
            "create table e (n integer)", "create table f (n integer)", "insert into f values (1)",
            "create table g (n integer)"});
    const size_t oldPage = Behind("write main.ovx at 1024");
    TestDatabase& database = Open(oldPage);
    EXPECT_EQ(database.RowsText("select * from f"), "error: Unknown table 'f'");
    EXPECT_EQ(KeptRows(Killed(oldPage), "f"), (std::vector<std::string>{"1"}))
        << "the data file is whole";
    EXPECT_EQ(Pack(), "Unable to open data file: Unknown table 'other'");
}

}  // namespace
}  // namespace ovrasql
