#include "host/interrupted_swap.h"

#include <dirent.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <memory>
#include <string_view>

#include "host/posix_file.h"

namespace ovrahost {

namespace {

constexpr std::string_view kTemporaryEnd = ".tmp";

// Calls `operation(newFile, place)` for each new file of the data file, which gives 0 or fails like
// a system call. Goes on behind a failure. Gives the errno value of the last, also of reading the
// folder, or 0.
//
// By the system's own calls: the standard library's iterator ends the program when memory runs out.
template <class Operation>
int ForEachFollower(const std::string& dataPath, uint64_t dataFileNumber, Operation operation) {
    const std::string suffix = FollowerSuffix(dataFileNumber);
    const std::size_t slash = dataPath.rfind('/');
    const std::string folder = slash == std::string::npos ? "./" : dataPath.substr(0, slash + 1);
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(::opendir(folder.c_str()), &::closedir);
    if (entries == nullptr) {
        return errno;
    }
    int failure = 0;
    errno = 0;
    while (const dirent* entry = ::readdir(entries.get())) {
        const std::string name = entry->d_name;
        const std::size_t end = name.rfind(suffix);
        if (end != std::string::npos && end > 0 && name.ends_with(kTemporaryEnd) &&
            operation(folder + name, folder + name.substr(0, end)) != 0) {
            failure = errno;
        }
        errno = 0;  // what tells the end of the folder from a failure
    }
    return errno != 0 ? errno : failure;
}

bool Tell(int failure, std::string* error) {
    *error = failure == 0 ? std::string()
                          : "The rebuild of the table was interrupted and can't be finished: " +
                                SystemErrorText(failure);
    return failure == 0;
}

}  // namespace

std::string FollowerSuffix(uint64_t dataFileNumber) {
    char text[32];
    std::snprintf(text, sizeof text, ".of-%" PRIx64 ".", dataFileNumber);
    return text;
}

bool IsSwapFinished(const std::string& dataPath, uint64_t dataFileNumber, std::string* error) {
    bool found = false;
    const int failure =
        ForEachFollower(dataPath, dataFileNumber, [&found](const std::string&, const std::string&) {
            found = true;
            return 0;
        });
    return Tell(failure, error) && !found;
}

bool FinishSwap(const std::string& dataPath, uint64_t dataFileNumber, std::string* error) {
    return Tell(ForEachFollower(dataPath, dataFileNumber,
                                [](const std::string& newFile, const std::string& place) {
                                    return std::rename(newFile.c_str(), place.c_str());
                                }),
                error);
}

void ForgetSwap(const std::string& dataPath, uint64_t dataFileNumber) {
    ForEachFollower(dataPath, dataFileNumber, [](const std::string& newFile, const std::string&) {
        return std::remove(newFile.c_str());
    });
}

}  // namespace ovrahost
