#pragma once

// SQL scripts: data-driven tests. A file of tests/sql/scripts reads like a session at a prompt:
//
//     create table t (a integer)        (lines above the first test: run before each of them)
//
//     test  name_of_the_behaviour
//     # why it is so
//     run   insert into t values (1)    a statement without rows
//     insert t                          shorthand: one INSERT for each line below
//       1|'x'
//     with  5|abc                       parameters of the next statement
//     query select a from t             all rows of a view
//       1|NULL
//     columns select a from t           the names of the view's columns
//       a
//     plan  select a from t             what the compiled program shows of indexes and sorting
//       index ia parts 1 range
//     files                             the files that are there
//     option caseinsensitive            database_set_option
//     pack / reopen / open PATH         database_pack, a fresh database_open
//     save PATH / restore PATH          keep a file; close, put it back as it was, and open again
//
// Indented lines are what is expected: rows with "|" between values, an empty value as NULL, or
// "error: <text>". No line means that it works. A line that ends in a backslash goes on in the
// next.

#include <string>
#include <vector>

namespace ovrasql {

struct ScriptStep {
    int line = 0;
    std::string command;
    std::string argument;
    std::vector<std::string> expected;
};

struct ScriptTest {
    std::string name;
    std::string file;
    int line = 0;
    std::vector<ScriptStep> steps;  // the file's common ones first
};

// The tests of one file. A line that can't be read becomes a step with the command "".
std::vector<ScriptTest> ReadScript(const std::string& path);

// Runs one test over a fresh host; failures are reported at the script's lines.
void RunScript(const ScriptTest& test);

}  // namespace ovrasql
