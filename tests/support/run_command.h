#pragma once

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <string>

namespace ovratest {

struct CommandResult {
    int status = -1;     // the exit status; -1 when it could not be started or died
    std::string output;  // standard output, with standard error where the command joins them
};

// Runs a command line in the shell.
inline CommandResult RunCommand(const std::string& command) {
    CommandResult result;
    std::FILE* pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr) {
        return result;
    }
    std::array<char, 4096> chunk{};
    std::size_t count = 0;
    while ((count = std::fread(chunk.data(), 1, chunk.size(), pipe)) > 0) {
        result.output.append(chunk.data(), count);
    }
    const int status = ::pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

inline bool HasCommand(const std::string& name) {
    return RunCommand("command -v " + name + " 2>/dev/null").status == 0;
}

}  // namespace ovratest
