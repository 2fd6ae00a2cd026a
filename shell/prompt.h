#pragma once

// The prompt at a terminal: lines are read, run and shown until .quit or Ctrl-D. An error ends its
// line only. It also understands "exit", "quit" and "help", which no statement begins with.

#include <string>

namespace ovrashell {

class Session;

void RunPrompt(Session* session, const std::string& databasePath);

}  // namespace ovrashell
