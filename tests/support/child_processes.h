#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <vector>

namespace ovratest {

// Runs `work(number)` in as many processes at once; `work` gives the exit status. Gives the
// statuses, -1 for a process that died.
inline std::vector<int> RunProcesses(int count, const std::function<int(int)>& work) {
    std::vector<pid_t> children;
    for (int number = 0; number < count; ++number) {
        const pid_t child = ::fork();
        if (child == 0) {
            ::_exit(work(number));
        }
        children.push_back(child);
    }
    std::vector<int> statuses;
    for (const pid_t child : children) {
        int status = 0;
        ::waitpid(child, &status, 0);
        statuses.push_back(WIFEXITED(status) ? WEXITSTATUS(status) : -1);
    }
    return statuses;
}

}  // namespace ovratest
