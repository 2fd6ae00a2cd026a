#include "tests/crash/crash_scripts.h"

namespace ovrasql {

namespace {

// The numbers in the headers of t pass a byte: with the first tested step its next free block (of
// 512 bytes) goes from 255 to 256, with the second its count of records, and with one of them the
// generation of its index. 254 records have a text each.
StatementScript NumbersInHeadersPassAByte() {
    StatementScript script = {"numbers_in_headers_pass_a_byte",
                              {"create table t (a integer, m memo)", "create index ta on t (a)"},
                              {"insert into t values (1001, 'text of one block')",
                               "insert into t values (1002, 'text of another')"}};
    for (int number = 1; number <= 254; ++number) {
        script.setup.emplace_back("insert into t values (?, 'text')",
                                  std::vector<std::string>{std::to_string(number)});
    }
    return script;
}

// The 1024th key in order splits a page and the one above it: the count of pages goes from 254 to
// 256, and the generation from 1023 to 1024.
StatementScript PagesOfAnIndexPassAByte() {
    StatementScript script = {"pages_of_an_index_pass_a_byte",
                              {"create table t (a integer)", "create index ta on t (a)"},
                              {"insert into t values (1024)"}};
    for (int number = 1; number <= 1023; ++number) {
        script.setup.emplace_back("insert into t values (?)",
                                  std::vector<std::string>{std::to_string(number)});
    }
    return script;
}

std::vector<StatementScript> MakeScripts() {
    std::vector<StatementScript> scripts = StatementScripts();
    // Eight rows fill a page of the catalog's indexes; there is a ninth, and then its end.
    scripts.push_back(
        {"catalog_index_splits",
         {"create table a (n integer)", "create table b (n integer)", "create index ai on a (n)",
          "insert into a values (1)", "insert into b values (2)", "create index bi on b (n)",
          "create table c (n integer)"},
         {"create table d (n integer)", "create index ci on c (n)", "create table e (m memo)",
          "drop table a"}});
    // A pack moves each text to another block.
    scripts.push_back(
        {"texts_move_when_a_table_is_built_anew",
         {"create table t (a integer, m memo)", "create index ta on t (a)",
          "insert into t values (1, 'first, soon old')", "insert into t values (2, 'second')",
          "insert into t values (3, 'third')", "update t set m = 'first, new' where a = 1",
          "delete from t where a = 2"},
         {"alter table t add b char(2)", "update t set m = 'third, new' where a = 3", "pack"}});
    scripts.push_back({"memo_file_comes_and_goes",
                       {"create table t (a integer)", "create index ta on t (a)",
                        "insert into t values (1)", "insert into t values (2)"},
                       {"alter table t add m memo", "update t set m = 'text' where a = 2",
                        "alter table t drop column m"}});
    scripts.push_back(
        {"several_rows_with_texts_and_keys",
         {"create table t (a integer, b char(30), m memo)", "create unique index ta on t (a)",
          "create index tb on t (b desc)", "insert into t values (1, 'one', 'text of one')",
          "insert into t values (2, 'two', 'text of two')",
          "insert into t values (3, 'three', 'text of three')"},
         {"insert into t select a + 10, b, m from t where a < 10",
          "update t set b = 'changed', m = 'changed text', a = a + 1000",
          "delete from t where a > 1002"}});
    scripts.push_back(NumbersInHeadersPassAByte());
    scripts.push_back(PagesOfAnIndexPassAByte());
    return scripts;
}

}  // namespace

const std::vector<StatementScript>& CrashScripts() {
    static const std::vector<StatementScript> scripts = MakeScripts();
    return scripts;
}

}  // namespace ovrasql
