#include "shell/catalog.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <map>
#include <numeric>
#include <system_error>

#include "shell/database.h"
#include "shell/dbf_header.h"

namespace ovrashell {

namespace {

// Where the schema table keeps what: its columns in their fixed order.
enum CatalogColumn : std::size_t { kType, kTable, kIndex, kFile, kColumns, kIndexFlags, kCount };
constexpr std::array<std::string_view, kCount> kCatalogNames = {"TYPE", "TABLE",   "INDEX",
                                                                "FILE", "COLUMNS", "INDEXFLAGS"};

constexpr int kUniqueFlag = 1;
constexpr int kDescendingFlag = 2;

uint32_t LittleEndian(const char* bytes, std::size_t count) {
    uint32_t value = 0;
    for (std::size_t i = count; i-- > 0;) {
        value = (value << 8) | static_cast<unsigned char>(bytes[i]);
    }
    return value;
}

Column ParseDescriptor(const char* bytes) {
    Column column;
    const char* end = std::find(bytes, bytes + kNameSize, '\0');
    column.name.assign(bytes, end);
    column.letter = bytes[kLetterOffset];
    column.width = static_cast<unsigned char>(bytes[kWidthOffset]);
    column.decimals = static_cast<unsigned char>(bytes[kDecimalsOffset]);
    return column;
}

std::string TrimmedRight(const char* bytes, std::size_t length) {
    std::string text(bytes, length);
    text.erase(text.find_last_not_of(std::string_view(" \0", 2)) + 1);
    return text;
}

std::string HexByte(char byte) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    const auto number = static_cast<unsigned char>(byte);
    return {kDigits[number >> 4], kDigits[number & 0x0F]};
}

std::string FolderOf(const std::string& path) {
    const auto slash = path.find_last_of("/\\");
    return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

IndexEntry MakeIndexEntry(const std::vector<std::string>& row) {
    const int flags = std::atoi(row[kIndexFlags].c_str());
    return {row[kIndex], row[kColumns], (flags & kUniqueFlag) != 0, (flags & kDescendingFlag) != 0};
}

}  // namespace

bool EqualNoCase(std::string_view first, std::string_view second) {
    return Lowered(first) == Lowered(second);
}

std::string Lowered(std::string_view text) {
    std::string lowered(text);
    for (char& byte : lowered) {
        byte = byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
    }
    return lowered;
}

DbfFile::DbfFile(const std::string& path) : path_(path) {
    std::ifstream file(path, std::ios::binary);
    std::array<char, kHeaderSize> header{};
    if (!file.read(header.data(), header.size())) {
        // What is there and ends well has too few bytes.
        throw Error(file.is_open() && !file.bad()
                        ? "'" + path + "' is too short to be a data file"
                        : "Cannot read '" + path + "': " + std::generic_category().message(errno));
    }
    if ((header[0] & 0x7F) != 3) {
        throw Error("'" + path +
                    "' is no data file of a version that can be read (its first byte is " +
                    HexByte(header[0]) + ")");
    }
    recordCount_ = LittleEndian(&header[4], 4);
    headerLength_ = LittleEndian(&header[8], 2);
    recordLength_ = LittleEndian(&header[10], 2);
    // The terminator behind the descriptors is one byte, and some writers leave more room than
    // that.
    const std::size_t fields =
        headerLength_ > kHeaderSize ? (headerLength_ - kHeaderSize - 1) / kDescriptorSize : 0;
    for (std::size_t i = 0; i < fields; ++i) {
        std::array<char, kDescriptorSize> descriptor{};
        if (!file.read(descriptor.data(), descriptor.size())) {
            throw Error("'" + path + "' ends inside its header");
        }
        columns_.push_back(ParseDescriptor(descriptor.data()));
    }
}

bool DbfFile::HasMemo() const {
    return std::any_of(columns_.begin(), columns_.end(),
                       [](const Column& column) { return column.letter == 'M'; });
}

bool DbfFile::IsCutShort() const {
    std::ifstream file(path_, std::ios::binary | std::ios::ate);
    return file.tellg() < static_cast<std::streamoff>(headerLength_) +
                              static_cast<std::streamoff>(recordCount_) * recordLength_;
}

std::vector<std::vector<std::string>> DbfFile::LiveRecords() const {
    const auto width = std::accumulate(columns_.begin(), columns_.end(), std::size_t{1},
                                       [](std::size_t sum, const Column& column) {
                                           return sum + static_cast<std::size_t>(column.width);
                                       });
    if (recordLength_ == 0) {
        // Reading nothing always succeeds: as many empty records as the header counts.
        throw Error("'" + path_ + "' has records of no length");
    }
    std::vector<std::vector<std::string>> rows;
    std::vector<char> record(std::max<std::size_t>(recordLength_, width), ' ');
    std::ifstream file(path_, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(headerLength_));
    for (uint32_t n = 0; n < recordCount_ && file.read(record.data(), recordLength_); ++n) {
        if (record[0] == '*') {
            continue;
        }
        std::vector<std::string> row;
        const char* cell = record.data() + 1;
        for (const Column& column : columns_) {
            row.push_back(TrimmedRight(cell, static_cast<std::size_t>(column.width)));
            cell += column.width;
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

bool IsPlainTable(const std::string& path) {
    try {
        const DbfFile file(path);
        const auto hasName = [](const Column& column, std::string_view name) {
            return EqualNoCase(column.name, name);
        };
        return !std::equal(file.Columns().begin(), file.Columns().end(), kCatalogNames.begin(),
                           kCatalogNames.end(), hasName);
    } catch (const Error&) {
        return false;
    }
}

std::vector<TableEntry> ReadCatalog(const std::string& databasePath) {
    const DbfFile schema(databasePath);
    std::vector<TableEntry> tables;
    if (schema.Columns().size() < kCount) {
        return tables;
    }
    const auto rows = schema.LiveRecords();
    std::multimap<std::string, IndexEntry> indexes;
    for (const auto& row : rows) {
        if (row[kType] == "I") {
            indexes.emplace(Lowered(row[kTable]), MakeIndexEntry(row));
        }
    }
    for (const auto& row : rows) {
        if (row[kType] == "T") {
            TableEntry table{row[kTable], FolderOf(databasePath) + row[kFile], {}};
            const auto [first, last] = indexes.equal_range(Lowered(table.name));
            std::for_each(first, last,
                          [&table](const auto& entry) { table.indexes.push_back(entry.second); });
            tables.push_back(std::move(table));
        }
    }
    std::sort(tables.begin(), tables.end(), [](const TableEntry& a, const TableEntry& b) {
        return Lowered(a.name) < Lowered(b.name);
    });
    return tables;
}

std::optional<TableEntry> LookUpTable(const std::string& databasePath, std::string_view name) {
    for (TableEntry& table : ReadCatalog(databasePath)) {
        if (EqualNoCase(table.name, name)) {
            return std::move(table);
        }
    }
    return std::nullopt;
}

TableEntry FindTable(const std::string& databasePath, std::string_view name) {
    auto table = LookUpTable(databasePath, name);
    if (!table.has_value()) {
        throw Error("Unknown table '" + std::string(name) + "'");
    }
    return *std::move(table);
}

std::string NewDataFile(const std::string& databasePath, std::string_view table) {
    return FolderOf(databasePath) + Lowered(table) + ".dbf";
}

std::string ColumnText(const Column& column) {
    const std::string width = std::to_string(column.width);
    switch (column.letter) {
        case 'C':
            return column.name + " char(" + width + ")";
        case 'L':
            return column.name + " boolean";
        case 'M':
            return column.name + " memo";
        case 'N':
            // The width counts the point, the precision does not.
            return column.decimals == 0 ? column.name + " numeric(" + width + ")"
                                        : column.name + " numeric(" +
                                              std::to_string(column.width - 1 - column.decimals) +
                                              "," + std::to_string(column.decimals) + ")";
        default:
            return column.name + " " + column.letter + "(" + width + ")";
    }
}

}  // namespace ovrashell
