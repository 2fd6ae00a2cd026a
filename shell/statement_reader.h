#pragma once

// How typed lines become statements. A statement ends where its line ends, unless a backslash
// stands at the end of the line: then it goes on with the next one. A ";" outside quotes ends a
// statement too, and is taken away, since the language has none. A "'" opens and closes a quoted
// text.

#include <string>
#include <string_view>
#include <vector>

namespace ovrashell {

// The statements of one or more joined lines, without the ";" between them and without the white
// space around them. Empty ones are left out.
std::vector<std::string> SplitStatements(std::string_view text);

// Joins lines that end with a backslash.
class StatementReader {
  public:
    // Takes one line, without its line end. True when the statement is complete: Take() has it
    // then.
    bool Add(std::string_view line);

    // Hands out what has been gathered, also when the last line asked for more, and starts afresh.
    std::string Take();

    bool IsContinuing() const { return continuing_; }

  private:
    std::string gathered_;
    bool continuing_ = false;
};

}  // namespace ovrashell
