#pragma once

// A script as fuzz targets run it: text, one step a line, every line good for something.
//
//     SQL                 any statement; a SELECT gives its rows, up to a limit
//     .query SQL          the same through database_query, which takes no SELECT
//     .with a|b           the parameters of the statements that follow
//     .view SQL           opens a view that stays open beside the other statements
//     .next               moves every open view one row on
//     .close              closes the view that was opened first
//     .pack  .reopen      database_pack; database_free and database_open
//     .fold  .exact       the options "caseinsensitive" and "casesensitive"
//     .cache N            the option "statement_cache_size"
//     .folder C           the option "subdir_char"
//     .new                goes on with a database of its own, without tables
//     !PATH OFFSET HEX    overwrites bytes of a file, as a faulty disk or another program would
//     !PATH cut LENGTH    makes a file that long, with NULs where it grows
//
// What is checked, whatever the text is:
//  - a call that fails leaves a text, of at most 1023 bytes;
//  - a SELECT gives the same rows when it is run once more (it comes from the statement cache
//  then);
//  - nothing is left behind once the database is closed (RequireNothingLeft).
// What a script tells, its transcript, is for comparison with another run of it.

#include <cstddef>
#include <cstdint>
#include <string>

namespace ovrasql::fuzz {

struct ScriptOptions {
    bool trace = false;      // the option "log" is set first
    bool cacheless = false;  // no compiled statement is kept
    bool forgetful = false;  // the database is closed and opened before each statement
    bool fileEdits = false;  // lines that begin with "!" are obeyed, otherwise they are statements
};

struct ScriptResult {
    std::string transcript;
    bool failed = false;    // a call failed
    bool cutShort = false;  // the bound on service calls was reached: the rest tells nothing
    std::string path;       // of the database that was used last; its files are in the host still
};

ScriptResult RunScript(const uint8_t* bytes, size_t size, const ScriptOptions& options);

}  // namespace ovrasql::fuzz
