// What the comparison finds in files in which a statement has been done in part, in the order of
// its rows and in another one.

#include "tests/faults/damage_report.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace ovrasql {
namespace {

const StatementScript kUpdate = {
    "update",
    {"create table t (a integer, m memo)", "insert into t values (1, 'one')",
     "insert into t values (2, 'two')", "insert into t values (3, 'three')"},
    {"update t set a = a + 10"}};

// The files when these records of t alone have been updated.
FileSet Updated(const RecordedScript& recorded, const std::vector<size_t>& records) {
    FileSet files = recorded.steps[0].before;
    const Bytes& after = recorded.steps[0].after.at("t.dbf");
    Bytes& bytes = files["t.dbf"];
    const auto length = static_cast<size_t>(after[10]);
    for (const size_t record : records) {
        const size_t offset = after[8] + (record - 1) * length;
        std::copy_n(after.begin() + static_cast<std::ptrdiff_t>(offset), length,
                    bytes.begin() + static_cast<std::ptrdiff_t>(offset));
    }
    return files;
}

std::string Found(const std::vector<size_t>& updated) {
    const RecordedScript recorded = Record(kUpdate);
    std::string text;
    for (const HarmFound& found :
         Compare(recorded.steps[0], kUpdate.tested[0], /*ok=*/false, Updated(recorded, updated))) {
        text += std::string(NameOf(found.harm)) + ": " + found.text + "\n";
    }
    return text;
}

TEST(DamageReport, FindsNothingWhereTheFirstRowsAreDone) {
    EXPECT_EQ(Found({}), "");
    EXPECT_EQ(Found({1}), "");
    EXPECT_EQ(Found({1, 2}), "");
    EXPECT_EQ(Found({1, 2, 3}), "");
}

TEST(DamageReport, FindsRowsThatAreDoneBeforeEarlierOnes) {
    EXPECT_EQ(Found({2}), "order: t.dbf, record 2 was changed before t.dbf, record 1\n");
    EXPECT_EQ(Found({3}), "order: t.dbf, record 3 was changed before t.dbf, record 1\n");
    EXPECT_EQ(Found({1, 3}), "order: t.dbf, record 3 was changed before t.dbf, record 2\n");
}

}  // namespace
}  // namespace ovrasql
