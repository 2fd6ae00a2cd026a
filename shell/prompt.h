#pragma once

// The prompt at a terminal: lines are read, run and shown until .quit or Ctrl-D. A statement that
// is typed ends with its line; one that is pasted goes on as in a script, but for empty lines. An
// error ends its statement, and those that are chained to it. The prompt also understands "exit",
// "quit" and "help".

#include <string>

namespace ovrashell {

class Session;

void RunPrompt(Session* session, const std::string& databasePath);

}  // namespace ovrashell
