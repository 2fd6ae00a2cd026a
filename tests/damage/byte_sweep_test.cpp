#include <gtest/gtest.h>

#include <set>
#include <string>

#include "tests/damage/damaged_database.h"

// Every byte of a database, one at a time: set to 0, set to 255, all its bits flipped.

namespace ovrasql {
namespace {

TEST(ByteSweep, TheSoundDatabaseRunsThroughAllStatements) {
    size_t bytes = 0;
    for (const auto& [path, content] : SoundFiles()) {
        bytes += content.size();
    }
    EXPECT_GT(bytes, 30000U);
    EXPECT_LT(bytes, 36000U);
    DamageTally tally;
    RunDamaged("nothing", SoundFiles(), &tally);
    EXPECT_EQ(tally.unharmed, tally.tried);
}

TEST(ByteSweep, NoByteCanDoHarm) {
    Files files = SoundFiles();
    DamageTally tally;
    for (auto& [path, content] : files) {
        for (size_t offset = 0; offset < content.size(); ++offset) {
            const uint8_t sound = content[offset];
            // A value that is there already is no damage; flipping a 0 gives the 255 once more.
            for (const uint8_t value :
                 std::set<uint8_t>{0, 255, static_cast<uint8_t>(255 - sound)}) {
                if (value != sound) {
                    content[offset] = value;
                    RunDamaged(
                        path + " byte " + std::to_string(offset) + " = " + std::to_string(value),
                        files, &tally);
                }
            }
            content[offset] = sound;
        }
    }
    Report("byte sweep", tally, {6643, 1407});
    EXPECT_EQ(tally.cases, 45935);
}

}  // namespace
}  // namespace ovrasql
