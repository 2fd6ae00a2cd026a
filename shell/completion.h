#pragma once

// What the Tab key offers: the words of the language, the tables and columns of a database, the dot
// commands and what stands behind them.

#include <string>
#include <string_view>
#include <vector>

namespace ovrashell {

// Whether a file's name is wanted at the end of the line, as behind ".read".
bool IsFileWanted(std::string_view line);

// What can stand in place of `text`, which is what `line`, up to the cursor, ends with. In the
// order of the alphabet. What cannot be read, of the database as of a folder, offers nothing.
std::vector<std::string> Completions(const std::string& databasePath, std::string_view line,
                                     std::string_view text);

}  // namespace ovrashell
