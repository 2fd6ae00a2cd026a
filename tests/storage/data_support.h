#pragma once

// What the tests of data and memo files share: a fresh memory host for each test, lists of columns,
// and bytes as hexadecimal text.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "storage/ovra_sql_memo_field.h"
#include "storage/ovra_sql_table.h"
#include "tests/support/memory_host.h"

namespace ovrasql {

// Columns as a caller of Create describes them: they stand in no table.
class ColumnList {
  public:
    ColumnList& Add(const std::string& name, int32_t type, int32_t length, int32_t decimals = 0) {
        columns_.Add(std::make_unique<OvraSQLField>(
            nullptr, TextView(name.data(), static_cast<int32_t>(name.size())), type, length,
            decimals));
        return *this;
    }
    operator Collection<OvraSQLField>&() { return columns_; }  // NOLINT: stands in for the list

  private:
    CollHashTable<OvraSQLField> columns_{true};
};

inline std::string Text(TextView text) {
    return std::string(text.data, static_cast<size_t>(text.length));
}

// "41 42" for "AB".
inline std::string Hex(std::string_view bytes) {
    static const char* const kDigits = "0123456789ABCDEF";
    std::string hex;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        hex += hex.empty() ? "" : " ";
        hex += kDigits[value >> 4U];
        hex += kDigits[value & 15U];
    }
    return hex;
}

// The bytes behind a text of hexadecimal digits; blanks and line ends don't count.
inline std::string FromHex(std::string_view hex) {
    std::string digits;
    for (const char c : hex) {
        if (c != ' ' && c != '\n') {
            digits += c;
        }
    }
    std::string bytes;
    for (size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

inline std::string Little16(uint32_t value) {
    return {static_cast<char>(value & 0xFFU), static_cast<char>(value >> 8U & 0xFFU)};
}

inline std::string Little32(uint32_t value) {
    return Little16(value & 0xFFFFU) + Little16(value >> 16U);
}

// A descriptor put together by hand, without the library.
inline std::string Descriptor(std::string name, char letter, int length, int decimals = 0) {
    name.resize(11, '\0');
    std::string bytes = name + letter + std::string(4, '\0');
    bytes += static_cast<char>(length);
    bytes += static_cast<char>(decimals);
    return bytes + std::string(14, '\0');
}

// A whole data file put together by hand.
inline std::string DataFile(int version, uint32_t count, uint32_t headerLength,
                            uint32_t recordLength, const std::string& behindHeader) {
    std::string bytes(1, static_cast<char>(version));
    bytes += std::string("\x63\x0C\x1F", 3);  // 1999-12-31
    bytes += Little32(count) + Little16(headerLength) + Little16(recordLength);
    return bytes + std::string(20, '\0') + behindHeader;
}

class DataTest : public ::testing::Test {
  protected:
    void SetUp() override {
        TheHost().Reset();
        database_ = TheHost().MakeDatabase();
    }
    void TearDown() override {
        for (const std::string& misuse : TheHost().Misuses()) {
            ADD_FAILURE() << misuse;
        }
        EXPECT_EQ(TheHost().OpenFileCount(), 0);
    }

    // The file with its date of last update made zero, for comparisons of whole files.
    static std::string FileWithoutDate(const std::string& path) {
        std::string bytes = TheHost().FileText(path);
        for (size_t i = 1; i < 4 && i < bytes.size(); ++i) {
            bytes[i] = '\0';
        }
        return bytes;
    }

    void* database_ = nullptr;
};

}  // namespace ovrasql
