#include <gtest/gtest.h>

#include <string>

#include "tests/language/tree_dump.h"

// CREATE, ALTER and DROP. The parser checks shape and a few lengths; names are checked when the
// statement runs.

namespace ovrasql {
namespace {

class ParseDefinition : public ::testing::Test {
  protected:
    std::string Parse(const std::string& text) { return bench_.Parse(text); }
    // The type, width and scale of the only column of a table, or the message.
    std::string Type(const std::string& type) {
        const std::string tree = Parse("create table t (a " + type + ")");
        const std::string head = "(create-table t (a ";
        return tree.compare(0, head.size(), head) == 0
                   ? tree.substr(head.size(), tree.size() - head.size() - 2)
                   : tree;
    }

    ParserBench bench_;
};

TEST_F(ParseDefinition, CreatesATableOfEveryType) {
    EXPECT_EQ(Parse("create table Staff (Name char(30), note memo, pay numeric(10,2), ok bool)"),
              "(create-table Staff (Name 0 30 0) (note 4 10 0) (pay 1 13 2) (ok 3 1 0))");
    EXPECT_EQ(Parse("CREATE TABLE t(a INTEGER)"), "(create-table t (a 1 19 0))");
}

TEST_F(ParseDefinition, GivesEachTypeWordItsColumn) {
    EXPECT_EQ(Type("char"), "0 1 0");
    EXPECT_EQ(Type("character"), "0 1 0");
    EXPECT_EQ(Type("char(7)"), "0 7 0");
    EXPECT_EQ(Type("character ( 7 )"), "0 7 0");
    EXPECT_EQ(Type("varchar(7)"), "0 7 0");
    EXPECT_EQ(Type("numeric"), "1 19 0");
    EXPECT_EQ(Type("decimal"), "1 19 0");
    EXPECT_EQ(Type("numeric(8)"), "1 8 0");
    EXPECT_EQ(Type("decimal(8)"), "1 8 0");
    EXPECT_EQ(Type("numeric(10,2)"), "1 13 2");
    EXPECT_EQ(Type("numeric(10,0)"), "1 10 0");
    EXPECT_EQ(Type("integer"), "1 19 0");
    EXPECT_EQ(Type("smallint"), "1 19 0");
    EXPECT_EQ(Type("memo"), "4 10 0");
    EXPECT_EQ(Type("bool"), "3 1 0");
    EXPECT_EQ(Type("boolean"), "3 1 0");
}

TEST_F(ParseDefinition, RefusesEveryOtherType) {
    for (const char* word : {"date", "int", "float", "double", "real", "dec", "text", "12", "(",
                             ")", "'char'", "varying"}) {
        EXPECT_EQ(Type(word), "Unknown field type") << word;
    }
    EXPECT_EQ(Parse("create table t (a"), "Unknown field type");
}

TEST_F(ParseDefinition, ReadsWidthsFromAnyKindOfToken) {
    EXPECT_EQ(Type("char('12')"), "0 12 0");
    EXPECT_EQ(Type("varchar(:12)"), "0 12 0");
    EXPECT_EQ(Type("numeric('5','-1')"), "1 5 -1");
    EXPECT_EQ(Type("char(-)"), "0 0 0");
    EXPECT_EQ(Type("char('-5')"), "0 -5 0");
    EXPECT_EQ(Type("char(300)"), "0 300 0");
}

TEST_F(ParseDefinition, SaysWhatAWidthShouldBe) {
    EXPECT_EQ(Type("char(x)"), "Syntax Error: Expected integer, found 'x'");
    EXPECT_EQ(Type("char()"), "Syntax Error: Expected integer, found ')'");
    EXPECT_EQ(Type("char(1.5)"), "Syntax Error: Expected integer, found '1.5'");
    EXPECT_EQ(Type("varchar(x)"), "Syntax Error: Expected integer, found 'x'");
    EXPECT_EQ(Type("numeric(x)"), "Syntax Error: Expected integer, found 'x'");
    EXPECT_EQ(Type("numeric(5,x)"), "Syntax Error: Expected integer, found 'x'");
    EXPECT_EQ(Parse("create table t (a char("), "Syntax Error: Expected integer at end of query");
}

// Which message a missing parenthesis gives depends on the type word.
TEST_F(ParseDefinition, MissesTheParenthesesOfTypes) {
    EXPECT_EQ(Type("char(5,2)"), kMismatched);
    EXPECT_EQ(Type("character(5 x)"), kMismatched);
    EXPECT_EQ(Type("varchar"), "Syntax Error: Expected open parenthesis, found ')'");
    EXPECT_EQ(Type("varchar 5"), "Syntax Error: Expected open parenthesis, found '5'");
    EXPECT_EQ(Type("varchar(5,2)"), "Syntax Error: Expected close parenthesis, found ','");
    EXPECT_EQ(Type("numeric(5 6)"), "Syntax Error: Expected close parenthesis, found '6'");
    EXPECT_EQ(Type("numeric(5,2,1)"), "Syntax Error: Expected close parenthesis, found ','");
    EXPECT_EQ(Type("integer(5)"), kMismatched);
    EXPECT_EQ(Type("memo(5)"), kMismatched);
}

TEST_F(ParseDefinition, BoundsTheWidthOfNumbers) {
    const char* const tooWide = "NUMERIC fields may only be 19 digits, field is too many digits";
    EXPECT_EQ(Type("numeric(18,1)"), tooWide);
    EXPECT_EQ(Type("numeric(17,1)"), "1 19 1");
    EXPECT_EQ(Type("numeric(20)"), tooWide);
    EXPECT_EQ(Type("numeric(19)"), "1 19 0");
    // The width is tested before the parenthesis.
    EXPECT_EQ(Type("numeric(20 x"), tooWide);
}

TEST_F(ParseDefinition, AddsWidthsWithoutOverflow) {
    const char* const tooWide = "NUMERIC fields may only be 19 digits, field is too many digits";
    EXPECT_EQ(Type("numeric(2147483647,1)"), tooWide);
    EXPECT_EQ(Type("numeric(2147483647,2147483647)"), tooWide);
    EXPECT_EQ(Type("numeric('-2147483648','-5')"), "1 -2147483648 -5");
}

TEST_F(ParseDefinition, KnowsNoConstraints) {
    EXPECT_EQ(Type("char(5) not null"), kMismatched);
    EXPECT_EQ(Type("char(5) default 'x'"), kMismatched);
    EXPECT_EQ(Type("integer primary key"), kMismatched);
}

TEST_F(ParseDefinition, BoundsColumnNames) {
    EXPECT_EQ(Parse("create table t (abcdefghijk char)"),
              "Column name 'abcdefghijk' exceeds the maximum length of 10 characters");
    EXPECT_EQ(Parse("create table t (abcdefghij char)"), "(create-table t (abcdefghij 0 1 0))");
    EXPECT_EQ(Parse("alter table t add abcdefghijk char"),
              "Column name 'abcdefghijk' exceeds the maximum length of 10 characters");
}

TEST_F(ParseDefinition, BoundsTableAndIndexNames) {
    const std::string longest(64, 'n');
    const std::string tooLong(65, 'n');
    const std::string complaint =
        " name '" + tooLong + "' exceeds the maximum length of 64 characters";
    EXPECT_EQ(Parse("create table " + longest + " (a char)"),
              "(create-table " + longest + " (a 0 1 0))");
    EXPECT_EQ(Parse("create table " + tooLong + " (a char)"), "Table" + complaint);
    EXPECT_EQ(Parse("alter table " + tooLong + " add a char"), "Table" + complaint);
    EXPECT_EQ(Parse("create index " + tooLong + " on t (a)"), "Index" + complaint);
    EXPECT_EQ(Parse("create index " + longest + " on " + tooLong + " (a)"),
              "(create-index " + longest + " " + tooLong + " (a asc))");
}

TEST_F(ParseDefinition, SaysWhatCreateTableWants) {
    EXPECT_EQ(Parse("create"), "Syntax Error: Expected TABLE at end of query");
    EXPECT_EQ(Parse("create view v"), "Syntax Error: Expected TABLE, found 'view'");
    EXPECT_EQ(Parse("create table"), "Syntax Error: Expected identifier at end of query");
    EXPECT_EQ(Parse("create table 't' (a char)"), "Syntax Error: Expected identifier, found 't'");
    EXPECT_EQ(Parse("create table date (a char)"),
              "Syntax Error: Expected identifier, found 'date'");
    EXPECT_EQ(Parse("create table t"), "Syntax Error: Expected open parenthesis at end of query");
    EXPECT_EQ(Parse("create table t a char"), "Syntax Error: Expected open parenthesis, found 'a'");
    EXPECT_EQ(Parse("create table t ()"), "Syntax Error: Expected column name, found ')'");
    EXPECT_EQ(Parse("create table t (a char,)"), "Syntax Error: Expected column name, found ')'");
    EXPECT_EQ(Parse("create table t (a char"), kMismatched);
    EXPECT_EQ(Parse("create table t (a char) x"), kUnfinished);
}

TEST_F(ParseDefinition, AddsColumns) {
    EXPECT_EQ(Parse("alter table t add a char(5)"), "(alter-add t (a 0 5 0))");
    EXPECT_EQ(Parse("alter table t add (a char(5))"), "(alter-add t (a 0 5 0))");
    EXPECT_EQ(Parse("alter table t add (a char(5), b memo)"), "(alter-add t (a 0 5 0) (b 4 10 0))");
}

TEST_F(ParseDefinition, SaysWhatAlterAddWants) {
    EXPECT_EQ(Parse("alter table t add column x char"),
              "Syntax Error: Expected column name, found 'column'");
    EXPECT_EQ(Parse("alter table t add"), "Syntax Error: Expected column name at end of query");
    EXPECT_EQ(Parse("alter table t add a char, b char"), kUnfinished);
    EXPECT_EQ(Parse("alter table t add (a char"), kMismatched);
    EXPECT_EQ(Parse("alter table t add (a char b char)"), kMismatched);
}

TEST_F(ParseDefinition, DropsAColumn) {
    EXPECT_EQ(Parse("alter table t drop column a"), "(alter-drop t a)");
    EXPECT_EQ(Parse("alter table t drop column a, b"), kUnfinished);
    EXPECT_EQ(Parse("alter table t drop a"), "Syntax Error: Expected COLUMN, found 'a'");
    EXPECT_EQ(Parse("alter table t drop"), "Syntax Error: Expected COLUMN at end of query");
    EXPECT_EQ(Parse("alter table t drop column"),
              "Syntax Error: Expected column name at end of query");
    EXPECT_EQ(Parse("alter table t drop column 'a'"),
              "Syntax Error: Expected column name, found 'a'");
}

TEST_F(ParseDefinition, SaysWhatAlterWants) {
    EXPECT_EQ(Parse("alter"), "Syntax Error: Expected TABLE at end of query");
    EXPECT_EQ(Parse("alter index i"), "Syntax Error: Expected TABLE, found 'index'");
    EXPECT_EQ(Parse("alter table"), "Syntax Error: Expected identifier at end of query");
    EXPECT_EQ(Parse("alter table t"), "Syntax Error: Expected ADD or DROP at end of query");
    EXPECT_EQ(Parse("alter table t rename u"),
              "Syntax Error: Expected ADD or DROP, found 'rename'");
}

TEST_F(ParseDefinition, DropsWhateverIsNamed) {
    EXPECT_EQ(Parse("drop table t"), "(drop-table \"t\")");
    EXPECT_EQ(Parse("drop index i"), "(drop-index \"i\")");
    EXPECT_EQ(Parse("drop table"), "(drop-table \"\")");
    EXPECT_EQ(Parse("drop index"), "(drop-index \"\")");
    EXPECT_EQ(Parse("drop table select"), "(drop-table \"select\")");
    EXPECT_EQ(Parse("drop table 'a b'"), "(drop-table \"a b\")");
    EXPECT_EQ(Parse("drop index 12"), "(drop-index \"12\")");
    EXPECT_EQ(Parse("drop table ;"), "(drop-table \";\")");
    const std::string longName(200, 'n');
    EXPECT_EQ(Parse("drop table " + longName), "(drop-table \"" + longName + "\")");
}

TEST_F(ParseDefinition, SaysWhatDropWants) {
    EXPECT_EQ(Parse("drop"), "Syntax Error: Expected TABLE or INDEX at end of query");
    EXPECT_EQ(Parse("drop view v"), "Syntax Error: Expected TABLE or INDEX, found 'view'");
    EXPECT_EQ(Parse("drop table a, b"), kUnfinished);
    EXPECT_EQ(Parse("drop index i on t"), kUnfinished);
}

TEST_F(ParseDefinition, CreatesIndexes) {
    EXPECT_EQ(Parse("create index i on t (a)"), "(create-index i t (a asc))");
    EXPECT_EQ(Parse("create unique index i on t (a, b)"),
              "(create-unique-index i t (a asc) (b asc))");
    EXPECT_EQ(Parse("create index i on t (a desc, b asc, c)"),
              "(create-index i t (a desc) (b asc) (c asc))");
}

TEST_F(ParseDefinition, SaysWhatCreateIndexWants) {
    EXPECT_EQ(Parse("create unique i"), "Syntax Error: Expected INDEX, found 'i'");
    EXPECT_EQ(Parse("create unique"), "Syntax Error: Expected INDEX at end of query");
    EXPECT_EQ(Parse("create index"), "Syntax Error: Expected identifier at end of query");
    EXPECT_EQ(Parse("create index on t (a)"), "Syntax Error: Expected identifier, found 'on'");
    EXPECT_EQ(Parse("create index i"), "Syntax Error: Expected ON at end of query");
    EXPECT_EQ(Parse("create index i t (a)"), "Syntax Error: Expected ON, found 't'");
    EXPECT_EQ(Parse("create index i on (a)"), "Syntax Error: Expected identifier, found '('");
    EXPECT_EQ(Parse("create index i on t a"), "Syntax Error: Expected open parenthesis, found 'a'");
    EXPECT_EQ(Parse("create index i on t"),
              "Syntax Error: Expected open parenthesis at end of query");
    EXPECT_EQ(Parse("create index i on t ()"),
              "Syntax Error: Expected column identifier, found ')'");
    EXPECT_EQ(Parse("create index i on t (a,)"),
              "Syntax Error: Expected column identifier, found ')'");
    EXPECT_EQ(Parse("create index i on t (upper(a))"),
              "Syntax Error: Expected column identifier, found 'upper'");
    EXPECT_EQ(Parse("create index i on t (a"),
              "Syntax Error: Expected close parenthesis at end of query");
    EXPECT_EQ(Parse("create index i on t (a b)"),
              "Syntax Error: Expected close parenthesis, found 'b'");
    EXPECT_EQ(Parse("create index i on t (a) b"), kUnfinished);
}

}  // namespace
}  // namespace ovrasql
