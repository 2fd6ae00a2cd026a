// The shell's database: what the C interface has no length for, and what it keeps compiled.

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

// A statement is run, found slow and then explained.
TEST(ShellDatabase, OptimizersNotesAreTracedForAStatementThatHasRunBefore) {
    const std::string note = "No index found appropriate for ORDER BY optimization\n";
    const std::string statement = "select a from t order by b";
    const ovratest::TemporaryFolder folder;
    ovrashell::Database database = ovrashell::Database::Create(folder.File("db.dbf"));
    database.Query("create table t (a integer, b char(3))");
    EXPECT_FALSE(database.Select(statement).Next());
    for (const char* trace : {"first", "second"}) {
        database.SetOption("log", folder.File(trace));
        database.Compile(statement);
        EXPECT_NE(folder.Read(trace).find(note), std::string::npos) << trace;
    }
    EXPECT_FALSE(database.Select(statement).Next());
    EXPECT_NE(folder.Read("second").find("*** Using Cached"), std::string::npos)
        << "and it is kept again";
}

}  // namespace
