#pragma once

// The prompt's own commands, which begin with a point.

#include <string>
#include <vector>

namespace ovrashell {

class Session;

// Runs one command line, the point included. Throws an Error for an unknown command or bad words.
void RunDotCommand(Session* session, const std::string& line);

// The commands' names, for completion.
std::vector<std::string> DotCommandNames();

}  // namespace ovrashell
