// The session by itself: failures that no file or terminal brings about.

#include "shell/session.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <new>
#include <ostream>
#include <sstream>
#include <streambuf>

#include "shell/trace_capture.h"
#include "tests/support/temporary_folder.h"

namespace ovrashell {
namespace {

class SessionTest : public testing::Test {
  protected:
    ovratest::TemporaryFolder folder_;
    Database database_ = Database::Create(folder_.File("db.dbf"));
};

// Has no room for a single byte.
class OutOfMemory : public std::streambuf {
    int_type overflow(int_type /*byte*/) override { throw std::bad_alloc(); }
};

TEST_F(SessionTest, FailureOfAnyKindIsAnErrorWithItsLine) {
    OutOfMemory nowhere;
    std::ostream out(&nowhere);
    out.exceptions(std::ios::badbit);
    Session session(std::move(database_), &out);
    std::istringstream input("create table t (a char(1))\nselect a from t\n");
    try {
        session.RunStream(&input, "script");
        FAIL() << "nothing was thrown";
    } catch (const Error& error) {
        EXPECT_STREQ(error.what(), "script:2: Out of memory");
    }
}

TEST_F(SessionTest, TraceThatIsCapturedLeavesNothingWhenTheProgramIsKilled) {
    const ovratest::TemporaryFolder temporary;
    const char* before = std::getenv("TMPDIR");
    const std::string restored = before == nullptr ? std::string() : before;
    ::setenv("TMPDIR", temporary.Path().c_str(), 1);
    std::ostringstream out;
    Session session(std::move(database_), &out);
    {
        const TraceCapture trace(&session);
        EXPECT_TRUE(std::filesystem::is_empty(temporary.Path()));
        session.RunText("create table t (a char(1))");
        EXPECT_NE(trace.Text().find("create table t"), std::string::npos);
    }
    if (before == nullptr) {
        ::unsetenv("TMPDIR");
    } else {
        ::setenv("TMPDIR", restored.c_str(), 1);
    }
}

}  // namespace
}  // namespace ovrashell
