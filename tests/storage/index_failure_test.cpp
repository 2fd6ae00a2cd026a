// The host fails at each of its calls in turn: every operation comes back, says so, and holds no
// lock; and what it says is the index's own text.

#include <algorithm>

#include "tests/storage/index_support.h"

namespace ovrasql {
namespace {

class IndexFailureTest : public IndexTest {
  protected:
    // One operation's outcome. A result that is true beside Failed() is a step's way to fail.
    void Count(bool result) {
        failures_ += !result || index_->Failed() ? 1 : 0;
        if (index_->Failed()) {
            const std::string error = Text(index_->Error());
            EXPECT_TRUE(std::any_of(messages_.begin(), messages_.end(), [&](const auto& message) {
                return error.starts_with(message);
            })) << error;
        }
        EXPECT_TRUE(TheHost().Locks().empty());
    }

    // Splits, both kinds of redistribution and merging, searches and steps, both ways.
    void RunScript() {
        Count(index_->Create("t.ovx", "expression", 0));
        if (!index_->IsOpen()) {
            Count(index_->Open("t.ovx", 3));
        }
        for (uint32_t record = 1; record <= 30; ++record) {
            Count(index_->InsertKey(record, View(std::to_string(100 + record * 17 % 31))));
        }
        uint32_t record = 0;
        bool found = false;
        Count(index_->Seek("110", true, &record, &found, true));
        for (int step = 0; step < 10; ++step) {
            Count(index_->Next(&record, nullptr, true));
        }
        for (int step = 0; step < 10; ++step) {
            Count(index_->Previous(&record, true));
        }
        Count(index_->First(&record, true));
        Count(index_->Last(&record, true));
        for (record = 1; record <= 30; ++record) {
            const bool deleted =
                index_->DeleteKey(record, View(std::to_string(100 + record * 17 % 31)));
            Count(deleted);
        }
        Count(index_->Open("t.ovx", 3));
    }

    int failures_ = 0;
    const std::vector<std::string> messages_ = {
        "Error creating 't.ovx': host text",   "Error opening 't.ovx': host text",
        "Error reading from 't.ovx': ",        "Error writing to 't.ovx': host text",
        "Error locking 't.ovx' for write",     "Error locking 't.ovx' for read",
        "'t.ovx' is either corrupt or is not", "Record is not in index"};
};

TEST_F(IndexFailureTest, TheScriptRunsWithoutFailures) {
    RunScript();
    EXPECT_EQ(failures_, 0);
    EXPECT_EQ(Shape(), "");
}

TEST_F(IndexFailureTest, EveryCallMayFail) {
    RunScript();
    const int64_t calls = TheHost().FallibleCalls();
    ASSERT_GT(calls, 500);
    TheHost().SetLogging(false);
    for (const FailureKind kind : {FailureKind::kOutright, FailureKind::kHalf}) {
        for (int64_t call = 1; call <= calls; ++call) {
            index_->Close();
            TheHost().RemoveFile("t.ovx");
            TheHost().FailCall(call, kind);
            failures_ = 0;
            RunScript();
            ASSERT_TRUE(TheHost().FailureHappened());
            // A release that fails is nobody's failure.
            EXPECT_TRUE(failures_ > 0 || Shape().empty()) << "call " << call;
            TheHost().ClearFailures();
        }
    }
}

TEST_F(IndexFailureTest, AHostThatFailsForEverIsBorne) {
    for (const int64_t call : {1, 2, 4, 20, 100, 400}) {
        index_->Close();
        TheHost().RemoveFile("t.ovx");
        TheHost().FailCall(call, FailureKind::kOutright, FailureSpan::kForEver);
        failures_ = 0;
        RunScript();
        EXPECT_GT(failures_, 0);
        TheHost().ClearFailures();
    }
}

TEST_F(IndexFailureTest, AHostWithoutErrorTextLeavesTheMessageBare) {
    TheHost().SetErrorTextNull();
    EXPECT_FALSE(index_->Open("none.ovx", 3));
    EXPECT_EQ(Text(index_->Error()), "Error opening 'none.ovx': ");
}

}  // namespace
}  // namespace ovrasql
