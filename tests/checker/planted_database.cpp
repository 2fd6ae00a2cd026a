#include "tests/checker/planted_database.h"

#include <gtest/gtest.h>

#include "tests/support/script_session.h"

namespace ovrasql {

namespace {

std::string PersonName(int number) {
    return std::string(1, static_cast<char>('a' + (number * 7) % 26)) + "name" +
           std::to_string(number);
}

// The first three notes take one block, two blocks and one.
std::string Note(int number) {
    return number == 2 ? std::string(700, 'n') : "note " + std::to_string(number);
}

FileMap MakeFiles() {
    TheHost().Reset();
    TestDatabase database;
    EXPECT_TRUE(database.Create());
    const auto run = [&](const std::string& sql, const Texts& parameters = {}) {
        EXPECT_EQ(database.Run(sql, parameters), "") << sql;
    };
    run("create table people "
        "(name char(12), age numeric(5), ok boolean, tall numeric(2,2), note memo)");
    run("create index by_name on people (name)");
    run("create unique index by_age on people (age)");
    run("create index by_old on people (age desc)");
    run("create index by_all on people (ok, name, age)");
    run("create index by_note on people (note)");
    run("create table plain (word char(3))");
    for (int number = 1; number <= 61; ++number) {
        run("insert into people values (?, ?, ?, '1.75', ?)",
            {PersonName(number), std::to_string(number * 10), std::to_string(number % 2),
             Note(number)});
    }
    run("delete from people where age > 400 and age < 450");
    for (const char* word : {"one", "two", "six"}) {
        run("insert into plain values (?)", {word});
    }
    return TakeFiles();
}

}  // namespace

const FileMap& HealthyFiles() {
    static const FileMap files = MakeFiles();
    return files;
}

void Planter::Set8(const std::string& path, size_t offset, uint32_t value) {
    File(path).at(offset) = static_cast<uint8_t>(value & 0xFF);
}

void Planter::Set16(const std::string& path, size_t offset, uint32_t value) {
    Set8(path, offset, value);
    Set8(path, offset + 1, value >> 8);
}

void Planter::Set32(const std::string& path, size_t offset, uint32_t value) {
    Set16(path, offset, value);
    Set16(path, offset + 2, value >> 16);
}

void Planter::SetText(const std::string& path, size_t offset, const std::string& text) {
    for (size_t index = 0; index < text.size(); ++index) {
        Set8(path, offset + index, static_cast<uint8_t>(text[index]));
    }
}

uint32_t Planter::Get32(const std::string& path, size_t offset) const {
    const FileBytes& bytes = files_.at(path);
    return uint32_t{bytes.at(offset)} | uint32_t{bytes.at(offset + 1)} << 8 |
           uint32_t{bytes.at(offset + 2)} << 16 | uint32_t{bytes.at(offset + 3)} << 24;
}

std::string Planter::GetText(const std::string& path, size_t offset, size_t length) const {
    const auto start = files_.at(path).begin() + static_cast<std::ptrdiff_t>(offset);
    return std::string(start, start + static_cast<std::ptrdiff_t>(length));
}

void Planter::Cut(const std::string& path, size_t bytes) {
    File(path).resize(File(path).size() - bytes);
}

void Planter::Resize(const std::string& path, size_t size) { File(path).resize(size); }

void Planter::Append(const std::string& path, const std::string& bytes) {
    File(path).insert(File(path).end(), bytes.begin(), bytes.end());
}

size_t Planter::Record(const std::string& path, uint32_t number) const {
    const FileBytes& bytes = files_.at(path);
    const size_t header = bytes.at(8) + size_t{256} * bytes.at(9);
    const size_t length = bytes.at(10) + size_t{256} * bytes.at(11);
    return header + (number - 1) * length;
}

size_t Planter::Cell(const std::string& path, uint32_t record, size_t column) const {
    size_t offset = Record(path, record) + 1;
    for (size_t before = 0; before < column; ++before) {
        offset += files_.at(path).at(Descriptor(before) + 16);
    }
    return offset;
}

uint32_t Planter::Count(const std::string& path, uint32_t page) const {
    return Get32(path, Page(page));
}

uint32_t Planter::Child(const std::string& path, uint32_t page, uint32_t entry) const {
    return Get32(path, Entry(page, entry));
}

uint32_t Planter::FirstLeaf(const std::string& path) const {
    uint32_t page = Root(path);
    while (Child(path, page, 0) != 0) {
        page = Child(path, page, 0);
    }
    return page;
}

uint32_t Planter::LastLeaf(const std::string& path) const {
    uint32_t page = Root(path);
    while (Child(path, page, 0) != 0) {
        page = Child(path, page, Count(path, page));
    }
    return page;
}

size_t Planter::PlaceOfKey(const std::string& path, const std::string& key) const {
    for (uint32_t page = 1; page < Get32(path, 9); ++page) {
        for (uint32_t entry = 0; entry < Count(path, page); ++entry) {
            if (GetText(path, KeyOf(page, entry), key.size() + 1) == key + std::string(1, '\0')) {
                return KeyOf(page, entry);
            }
        }
    }
    ADD_FAILURE() << key;
    return 0;
}

uint32_t Planter::RowOf(const std::string& name) const {
    const std::string path = "main.dbf";
    for (uint32_t record = 1; record <= Get32(path, 4); ++record) {
        const std::string table = GetText(path, Cell(path, record, 1), name.size() + 1);
        const std::string index = GetText(path, Cell(path, record, 2), name.size() + 1);
        const bool isTable = table == name + " " && index[0] == ' ';
        if (isTable || index == name + " ") {
            return record;
        }
    }
    ADD_FAILURE() << name;
    return 1;
}

}  // namespace ovrasql
