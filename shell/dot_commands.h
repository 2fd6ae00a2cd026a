#pragma once

// The prompt's own commands, which begin with a point.

#include <string>
#include <string_view>
#include <vector>

namespace ovrashell {

class Session;

// Runs one command line, the point included; the command's name may be in any case. Throws an Error
// for an unknown command or bad words.
void RunDotCommand(Session* session, const std::string& line);

// For completion: the commands' names without their point, and what stands behind the name of the
// command that a line begins with, as the help tells it. Empty where it begins with none.
std::vector<std::string> DotCommandNames();
std::string_view DotCommandArguments(std::string_view line);

// The path with the home folder in place of a "~" in front of its first slash.
std::string WithHome(const std::string& path);

}  // namespace ovrashell
