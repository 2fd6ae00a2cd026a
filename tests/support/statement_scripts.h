#pragma once

// One list of small scripts that covers the dialect: every form of statement, and the calls around
// statements (opening, packing, options, views that are left in the middle). Tests that let things
// go wrong at each place (failing host calls, failing allocations, kills, damaged files) run them
// all, so a statement that is added here is tried in all of them.
//
// A script has a setup, which makes its database, and the steps under test. Steps are texts:
//
//   create                 a new database at main.dbf; an open one is closed first
//   open                   the database at main.dbf is opened (again)
//   pack                   database_pack
//   option KEY [VALUE]     database_set_option
//   select ...             a view, read to its end
//   walk N select ...      a view, moved on by N rows and closed there
//   reveal select ...      a view whose columns are described, read to its end in every type
//   anything else          a statement without rows
//
// The setup begins with a database that was just created; the tested steps begin with it freshly
// opened, unless the first of them is "create" or "open". Nothing here needs the in-memory host.

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ovrasql {

struct ScriptStep {
    std::string text;
    std::vector<std::string> parameters;
    bool fails = false;  // as it stands: a statement that the dialect refuses

    // Not explicit, so that a list of texts is a list of steps.
    ScriptStep(const char* sql) : text(sql) {}
    ScriptStep(std::string sql) : text(std::move(sql)) {}
    ScriptStep(std::string sql, std::vector<std::string> values)
        : text(std::move(sql)), parameters(std::move(values)) {}
};

struct StatementScript {
    std::string name;  // letters, digits and "_"
    std::vector<ScriptStep> setup;
    std::vector<ScriptStep> tested;
};

const std::vector<StatementScript>& StatementScripts();

// The script of that name, which must be there.
const StatementScript& ScriptNamed(std::string_view name);

enum class StepKind { kCreate, kOpen, kPack, kOption, kSelect, kWalk, kReveal, kStatement };

StepKind KindOf(const ScriptStep& step);
bool ReadsOnly(const ScriptStep& step);  // leaves the files as they are

// The SQL of a step that has some, without the words before it.
std::string_view SqlOf(const ScriptStep& step);
int WalkedRows(const ScriptStep& step);                                          // of "walk"
std::pair<std::string_view, std::string_view> OptionOf(const ScriptStep& step);  // key, value

}  // namespace ovrasql
