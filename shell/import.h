#pragma once

// Import: a CSV or .dbf file becomes a table, or more rows of a table that is there.

#include <ostream>
#include <string>

#include "shell/database.h"

namespace ovrashell {

struct ImportRequest {
    std::string path;
    std::string table;  // empty: the file's name
    // Of a CSV file:
    bool hasHeader = true;
    char separator = '\0';  // 0: a comma, or what the header has in place of it
};

// Reads the file into the table, which is made when it does not exist: with types that keep every
// value as it is (column_guess.h); what is written with other digits, and a word for true or false
// with 1 or 0, is the same value. A table that is there takes the rows by the names of its columns,
// or in their order where the file has no names, if each value fits into them. The summary goes to
// `report`: rows, renamed columns, and the values that the table cannot hold as they stand. A
// progress bar goes to standard error while it is a terminal. Throws an Error; nothing is made or
// added when the file itself is at fault, or was changed since it was measured. An Error of a later
// row tells how many rows are in.
void ImportFile(Database* database, const ImportRequest& request, std::ostream* report);

// The separator of that name: a byte stands for itself, "tab" for a tab. Throws an Error for what
// cannot separate values.
char SeparatorFromName(const std::string& name);

// What to type for a data file in the folder at hand to become a table of a new database. The table
// is not called as the file, whose place its own data file would take.
std::string ImportCommand(const std::string& path);

}  // namespace ovrashell
