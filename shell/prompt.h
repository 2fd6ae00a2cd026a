#pragma once

// The prompt at a terminal: lines are read, run and shown until .quit or Ctrl-D. A statement that
// is typed ends with its line; one that is pasted goes on as in a script. An error ends its
// statement only. It also understands "exit", "quit" and "help", which no statement begins with.

#include <string>

namespace ovrashell {

class Session;

void RunPrompt(Session* session, const std::string& databasePath);

}  // namespace ovrashell
