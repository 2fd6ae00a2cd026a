// When a statement is begun again, and what a call leaves behind.

#include "host/call_scope.h"

#include "tests/host/two_programs.h"

namespace ovrahost {
namespace {

class CallScopeTest : public TwoProgramsTest {
  protected:
    // What ALTER TABLE does first. True when nobody else uses the table.
    bool AlterTable() {
        ++runs_;
        auto table = Open(&database_.program);
        const bool began = table != nullptr && BeginRebuild(&database_.program);
        if (table != nullptr) {
            Close(&database_.program, std::move(table));
        }
        return began;
    }

    HostDatabase database_;
    int runs_ = 0;
};

TEST_F(CallScopeTest, RefusedRebuildIsBegunAgainAlone) {
    auto reader = Open(&one_);
    EXPECT_FALSE(RunStatement(&database_, [&] { return AlterTable(); }));
    EXPECT_EQ(runs_, 2);
    EXPECT_EQ(database_.hostError,
              std::string(kInUse) + ": Lock not granted within 0 milliseconds");
    EndCall(&one_);
    EXPECT_TRUE(RunStatement(&database_, [&] { return AlterTable(); }));
    EXPECT_EQ(runs_, 3);
}

TEST_F(CallScopeTest, StatementThatSucceededIsNotRunAgain) {
    auto reader = Open(&one_);
    EXPECT_TRUE(RunStatement(&database_, [&] {
        EXPECT_FALSE(AlterTable());
        return true;
    }));
    EXPECT_EQ(runs_, 1);
}

TEST_F(CallScopeTest, StatementThatFailedForAnotherReasonIsNotRunAgain) {
    EXPECT_FALSE(RunStatement(&database_, [&] {
        ++runs_;
        return false;
    }));
    EXPECT_EQ(runs_, 1);
}

TEST_F(CallScopeTest, CallEndsTheRebuildThatItBegan) {
    EXPECT_TRUE(RunStatement(&database_, [&] {
        EXPECT_TRUE(AlterTable());
        EXPECT_FALSE(CanOpen(&one_));
        return true;
    }));
    EXPECT_TRUE(CanOpen(&one_)) << error_;
}

}  // namespace
}  // namespace ovrahost
