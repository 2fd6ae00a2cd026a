// The shell's database: texts that the C interface has no length for.

#include "shell/database.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/temporary_folder.h"

namespace {

// The views claim more bytes than they have; they must be refused before they are read.
TEST(ShellDatabase, StatementsOf2GiBAreRefused) {
    if (sizeof(void*) == 4) {
        GTEST_SKIP() << "addresses have 32 bits";
    }
    const ovratest::TemporaryFolder folder;
    ovrashell::Database database = ovrashell::Database::Create(folder.File("db.dbf"));
    const std::string_view huge("x", std::size_t{1} << 31);
    EXPECT_THROW(database.Query(huge, {}), ovrashell::Error);
    EXPECT_THROW(database.Compile(huge), ovrashell::Error);
    EXPECT_THROW(static_cast<void>(database.Select(huge, {})), ovrashell::Error);
    EXPECT_NO_THROW(database.Query("create table t (a integer)", {}));
}

}  // namespace
