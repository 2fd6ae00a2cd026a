#include "tests/support/checker/checker.h"

#include <fstream>

namespace ovrasql::checker {

std::vector<Finding> CheckDatabase(const FileMap& files, const std::string& catalogPath) {
    if (files.count(catalogPath) == 0) {
        return {{FindingKind::kCatalog, catalogPath, 0, catalogPath + ": the catalog is missing"}};
    }
    return {};
}

FileMap ReadFolder(const std::filesystem::path& folder) {
    constexpr uintmax_t kMostBytes = uintmax_t{1} << 30;
    FileMap files;
    uintmax_t total = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (!entry.is_regular_file() || total + entry.file_size() > kMostBytes) {
            continue;
        }
        std::ifstream stream(entry.path(), std::ios::binary);
        FileBytes bytes((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
        total += bytes.size();
        files[std::filesystem::relative(entry.path(), folder).generic_string()] = std::move(bytes);
    }
    return files;
}

std::string Describe(const std::vector<Finding>& findings) {
    std::string text;
    for (const Finding& finding : findings) {
        text += finding.text + "\n";
    }
    return text;
}

std::vector<CheckedTable> ReadTables(const FileMap& files, const std::string& catalogPath) {
    (void)files;
    (void)catalogPath;
    return {};
}

}  // namespace ovrasql::checker
