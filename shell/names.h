#pragma once

// Names that the language takes: what becomes of the names in other people's files.

#include <string>
#include <string_view>
#include <vector>

namespace ovrashell {

// The words that no table or column can be called, and the words that begin or join statements.
const std::vector<std::string>& ReservedWords();
bool IsReserved(std::string_view word);

// Letters, digits and "_" with a letter in front, at most `limit` bytes, no reserved word. Other
// bytes become "_", and a reserved word gets a "_" behind it.
std::string UsableName(std::string_view name, std::size_t limit);

// The same for the columns of one table: equal names, ignoring case, get numbers behind them. A
// name that can stay as it is does so; what is made up or numbered keeps out of its way.
std::vector<std::string> UsableColumnNames(const std::vector<std::string>& names);

}  // namespace ovrashell
