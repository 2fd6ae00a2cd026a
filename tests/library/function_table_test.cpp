// What the library shows: two functions, and a table of 48 words at fixed places.

#include "library/function_table.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <set>
#include <string>

#include "tests/support/test_database.h"

namespace ovrasql {
namespace {

uint64_t Word(int32_t slot) {
    uint64_t word = 0;
    std::memcpy(&word, static_cast<const char*>(ovra_database_library()) + slot * 8, sizeof(word));
    return word;
}

TEST(FunctionTableTest, Word0IsInterfaceVersion7) { EXPECT_EQ(Word(0), 7U); }

TEST(FunctionTableTest, ExactlyTheOfferedSlotsAreFilled) {
    const std::set<int32_t> filled = {0,  1,  2,  3,  4,  5,  6,  11, 12, 13,
                                      22, 23, 24, 25, 26, 31, 32, 34, 35, 36};
    for (int32_t slot = 0; slot < 48; ++slot) {
        EXPECT_EQ(Word(slot) != 0, filled.count(slot) == 1) << "slot " << slot;
    }
}

TEST(FunctionTableTest, SlotNumbersAndStructureTellTheSameLayout) {
    const ovra_library_table& table = Library();
    EXPECT_EQ(Word(OVRA_SLOT_DATABASE_CREATE), reinterpret_cast<uintptr_t>(table.database_create));
    EXPECT_EQ(Word(OVRA_SLOT_VIEW_SKIP), reinterpret_cast<uintptr_t>(table.view_skip));
    EXPECT_EQ(Word(OVRA_SLOT_VARIABLE_VALUE_STRING),
              reinterpret_cast<uintptr_t>(table.variable_value_string));
    EXPECT_EQ(Word(OVRA_SLOT_DATABASE_FREE), reinterpret_cast<uintptr_t>(table.database_free));
}

TEST(FunctionTableTest, TheFourSuccessEntriesAreFourFunctionsThatAnswer1) {
    const ovra_library_table& table = Library();
    const std::set<uint64_t> addresses = {Word(3), Word(31), Word(32), Word(34)};
    EXPECT_EQ(addresses.size(), 4U);
    EXPECT_EQ(table.success_3(), 1);
    EXPECT_EQ(table.success_31(), 1);
    EXPECT_EQ(table.success_32(), 1);
    EXPECT_EQ(table.success_34(), 1);
}

TEST(FunctionTableTest, TheTableIsTheSameAtEveryCall) {
    EXPECT_EQ(ovra_database_library(), ovra_database_library());
    EXPECT_EQ(ovra_database_library(), &kLibraryFunctionTable);
}

// A symbol too many would meet the host's own of the same name.
TEST(FunctionTableTest, TheSharedLibraryExportsTwoFunctionsAndNothingElse) {
    const std::string command = std::string("nm -D --defined-only '") + OVRA_LIBRARY_FILE + "'";
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    ASSERT_NE(pipe, nullptr);
    std::set<std::string> symbols;
    char line[512];
    while (fgets(line, sizeof(line), pipe.get()) != nullptr) {
        const std::string text(line);
        const size_t name = text.rfind(' ') + 1;
        symbols.insert(text.substr(name - 2, 1) + " " + text.substr(name, text.size() - name - 1));
    }
    EXPECT_EQ(symbols,
              (std::set<std::string>{"T ovra_database_library", "T ovra_register_library"}));
}

}  // namespace
}  // namespace ovrasql
