#pragma once

// A sound database of 30 KiB with everything in it that a file can hold, and the run that every
// damaged copy of it has to stand.
//
// A run opens the files through the public table, takes a fixed list of statements to them (scan,
// look-up, order, join, insert, update, delete, memo, definitions, pack) and closes. Whatever the
// bytes are, it must come back with: rows or a message for each statement, at most a second and
// 64 MiB for each, and no file, lock or block of the host left over. The first thing that is
// missing becomes a test failure that names the damage.

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/support/memory_host.h"

namespace ovrasql {

using Files = std::map<std::string, Bytes>;

// main.dbf with item.dbf, item.dbt, item_name.ovx, item_price.ovx, part.dbf, part_item.ovx.
const Files& SoundFiles();

struct DamageTally {
    int32_t cases = 0;
    int32_t tried = 0;
    int32_t refused = 0;    // the database did not open
    int32_t disturbed = 0;  // it opened, and not the same number of statements failed
    int32_t unharmed = 0;
    int32_t silent = 0;  // statements that failed without a message
    double seconds = 0;  // of the slowest statement
    int64_t bytes = 0;   // at the peak of the statement that took most
};

// In a release build all cases are tried; slower builds try every 7th, which falls on all kinds of
// values and places. The variable OVRA_DAMAGE_EVERY says otherwise.
#if defined(__SANITIZE_ADDRESS__) || !defined(NDEBUG)
inline constexpr int32_t kTriedCases = 7;
#else
inline constexpr int32_t kTriedCases = 1;
#endif

// Counts the case and, if it is one of those to be tried, runs the statements over `files`.
void RunDamaged(const std::string& name, const Files& files, DamageTally* tally);

// Little-endian places in a file's bytes. Putting goes nowhere when the file is too short.
[[nodiscard]] uint32_t Get(const Bytes& bytes, size_t offset, size_t width);
void Put(Bytes* bytes, size_t offset, size_t width, uint64_t value);

// A number somewhere in a file.
struct DamagedField {
    const char* name;
    size_t offset;
    size_t width;
    std::set<uint32_t> limits;  // values to try beside those that every field is tried with
};

// The places in a sound file at which a structure begins that it has once or several times.
using Places = std::vector<size_t> (*)(const Bytes& sound);
std::vector<size_t> PlaceOfHeader(const Bytes& sound);

// Runs with each field of each of the structures in each of the files set to 0, 1, the greatest
// number, half of it, the neighbours and the double of what is there, and its limits; as many cases
// as differ from what is there.
void TryFields(const std::vector<std::string>& paths, Places places,
               const std::vector<DamagedField>& fields, DamageTally* tally);

// What a sweep has to meet when all its cases are tried, so that it does not become hollow: cases
// in which the statements notice the damage, and statements that fail without a message.
struct ExpectedOutcome {
    int32_t leastDisturbed = 0;
    int32_t mostSilent = 0;
};

// Tells how many cases of which outcome there were, and fails the test when they are not as
// expected.
void Report(const char* what, const DamageTally& tally, const ExpectedOutcome& expected);

}  // namespace ovrasql
