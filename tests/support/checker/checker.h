#pragma once

// The checker looks at the files of a database and says what is wrong with them. It was written
// from docs/formats-dbf.md and docs/formats-ovx.md, shares no line with the library, and stands on
// the C++ standard library alone, so what both get wrong alike is not much.
//
// It is silent on every database that the library leaves after whole statements, and takes any
// bytes whatever: each loop is bounded by the size of the files, not by what they say.

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace ovrasql::checker {

using FileBytes = std::vector<uint8_t>;
using FileMap = std::map<std::string, FileBytes>;  // path -> bytes

enum class FindingKind {
    kDataFile,        // a .dbf file: its header, its length, a record
    kMemo,            // a memo file, or a record's way into it
    kIndexStructure,  // an .ovx file: its header, its pages, the order of its keys
    kMissingKey,      // a record that is not in an index under its key
    kStaleKey,        // a key whose record is deleted, missing or of another key
    kCatalog,         // a catalog row, or what it names
    kUnlistedFile,    // a file that no catalog row names
};

struct Finding {
    FindingKind kind;
    std::string file;
    uint32_t record = 0;  // 0 when it is about no single record
    std::string text;     // readable; with file, record and page
    // Nothing that is stored is lost or wrong, and nothing stands in the way of later statements:
    // what a process leaves that died between two writes, such as bytes behind the last counted
    // record.
    bool harmless = false;
};

// Every table that the catalog lists, with its memos and indexes, the catalog itself, and the files
// that lie beside it. Paths in `files` are as the catalog forms them: its own folder and a name.
std::vector<Finding> CheckDatabase(const FileMap& files, const std::string& catalogPath);

// The files below a folder, by their paths as seen from inside it. No more than 1 GiB is read.
FileMap ReadFolder(const std::filesystem::path& folder);

std::string Describe(const std::vector<Finding>& findings);  // one finding a line

// A table as its records stand in the data file, read without any index: the live ones, each column
// as the library would give it.
struct CheckedTable {
    std::string name;
    std::string path;  // of its data file
    std::vector<std::string> columns;
    std::vector<std::vector<std::string>> rows;
    std::vector<uint32_t> recordNumbers;  // one for each row
};

// The tables that the catalog lists and whose data files can be read, in the order of their rows.
std::vector<CheckedTable> ReadTables(const FileMap& files, const std::string& catalogPath);

}  // namespace ovrasql::checker
