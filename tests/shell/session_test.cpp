// The session by itself.

#include "shell/session.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "shell/trace_capture.h"
#include "tests/support/temporary_folder.h"

namespace ovrashell {
namespace {

class SessionTest : public testing::Test {
  protected:
    ovratest::TemporaryFolder folder_;
    Database database_ = Database::Create(folder_.File("db.dbf"));
};

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
        session.RunLine("create table t (a char(1))");
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
