#include "host/interrupted_swap.h"

#include <cinttypes>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace ovrahost {

namespace {

namespace fs = std::filesystem;

// Calls `operation(newFile, place)` for each new file of the data file. What cannot be done is left
// as it is: the table is then no worse than it was.
template <class Operation>
void ForEachFollower(const std::string& dataPath, uint64_t dataFileNumber, Operation operation) {
    const std::string suffix = FollowerSuffix(dataFileNumber);
    fs::path folder = fs::path(dataPath).parent_path();
    folder = folder.empty() ? "." : folder;
    std::error_code error;
    // Not by a range: its step throws what this one tells, and ends at, too.
    for (fs::directory_iterator entry(folder, error); entry != fs::directory_iterator();
         entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        const std::size_t end = name.rfind(suffix);
        if (end != std::string::npos && end > 0 && entry->path().extension() == ".tmp") {
            operation(entry->path(), folder / name.substr(0, end));
        }
    }
}

}  // namespace

std::string FollowerSuffix(uint64_t dataFileNumber) {
    char text[32];
    std::snprintf(text, sizeof text, ".of-%" PRIx64 ".", dataFileNumber);
    return text;
}

bool IsSwapUnfinished(const std::string& dataPath, uint64_t dataFileNumber) {
    bool found = false;
    ForEachFollower(dataPath, dataFileNumber,
                    [&found](const fs::path&, const fs::path&) { found = true; });
    return found;
}

void FinishSwap(const std::string& dataPath, uint64_t dataFileNumber) {
    ForEachFollower(dataPath, dataFileNumber, [](const fs::path& newFile, const fs::path& place) {
        std::error_code ignored;
        fs::rename(newFile, place, ignored);
    });
}

void ForgetSwap(const std::string& dataPath, uint64_t dataFileNumber) {
    ForEachFollower(dataPath, dataFileNumber, [](const fs::path& newFile, const fs::path&) {
        std::error_code ignored;
        fs::remove(newFile, ignored);
    });
}

}  // namespace ovrahost
