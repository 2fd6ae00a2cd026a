#pragma once

// .dbf files as the tests make and read them, byte by byte and without the product's code
// (docs/formats-dbf.md).

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace ovratest {

struct DbfColumn {
    std::string name;
    char letter = 'C';
    std::size_t width = 0;
    std::size_t decimals = 0;
};

struct DbfContent {
    std::vector<DbfColumn> columns;
    std::vector<std::vector<std::string>> rows;  // cells as they stand in the live records
};

inline std::string LittleEndian(std::size_t number, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i, number >>= 8) {
        text += static_cast<char>(number & 0xFF);
    }
    return text;
}

inline std::size_t NumberAt(const std::string& bytes, std::size_t at, std::size_t count) {
    std::size_t number = 0;
    for (std::size_t i = count; i-- > 0;) {
        number = number << 8 | static_cast<unsigned char>(bytes[at + i]);
    }
    return number;
}

// The bytes of a data file. Cells are filled up with blanks.
inline std::string DbfBytes(const DbfContent& content) {
    std::size_t recordLength = 1;
    std::string descriptors;
    for (const DbfColumn& column : content.columns) {
        std::string descriptor(32, '\0');
        descriptor.replace(0, column.name.size(), column.name);
        descriptor[11] = column.letter;
        descriptor[16] = static_cast<char>(column.width);
        descriptor[17] = static_cast<char>(column.decimals);
        descriptors += descriptor;
        recordLength += column.width;
    }
    std::string bytes = "\x03\x7E\x0B\x15" + LittleEndian(content.rows.size(), 4) +
                        LittleEndian(33 + descriptors.size(), 2) + LittleEndian(recordLength, 2) +
                        std::string(20, '\0') + descriptors + '\r';
    for (const auto& row : content.rows) {
        bytes += ' ';
        for (std::size_t i = 0; i < content.columns.size(); ++i) {
            const std::size_t width = content.columns[i].width;
            bytes += (row[i] + std::string(width, ' ')).substr(0, width);
        }
    }
    return bytes + '\x1A';
}

// Empty when there is no such file.
inline std::string FileOnDisk(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Reads a data file. Records that the file has no more bytes for are left out.
inline DbfContent ReadDbfBytes(const std::string& bytes) {
    DbfContent content;
    const std::size_t headerLength = NumberAt(bytes, 8, 2);
    const std::size_t recordLength = NumberAt(bytes, 10, 2);
    for (std::size_t at = 32; at + 33 <= headerLength; at += 32) {
        const std::string name = bytes.substr(at, 11);
        content.columns.push_back({name.substr(0, name.find('\0')), bytes[at + 11],
                                   NumberAt(bytes, at + 16, 1), NumberAt(bytes, at + 17, 1)});
    }
    const std::size_t records = NumberAt(bytes, 4, 4);
    for (std::size_t record = 0; record < records; ++record) {
        std::size_t at = headerLength + record * recordLength;
        if (at + recordLength > bytes.size()) {
            break;
        }
        if (bytes[at++] == '*') {
            continue;
        }
        std::vector<std::string> row;
        for (const DbfColumn& column : content.columns) {
            row.push_back(bytes.substr(at, column.width));
            at += column.width;
        }
        content.rows.push_back(row);
    }
    return content;
}

}  // namespace ovratest
