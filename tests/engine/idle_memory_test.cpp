// What a statement holds between two runs. The cache keeps statements for as long as the database
// is open, so the longest text that one has ever met must go with the run.

#include <memory>
#include <string>
#include <vector>

#include "engine/sql_engine.h"
#include "engine/text_buffer.h"
#include "storage/ovra_sql_memo_field.h"
#include "tests/damage/live_memory.h"
#include "tests/engine/engine_database.h"

namespace ovrasql {
namespace {

using ovratest::liveBytes;

constexpr int32_t kLongText = 1 << 20;

const std::string longText(kLongText, 'a');

TEST(IdleTextBuffer, IsKeptUpToTheIdleRoom) {
    TextBuffer buffer;
    buffer.Room(kIdleTextRoom);
    const int64_t grown = liveBytes;
    buffer.Rest();
    EXPECT_EQ(liveBytes, grown);
}

TEST(IdleTextBuffer, IsGivenBackAboveIt) {
    TextBuffer buffer;
    const int64_t before = liveBytes;
    buffer.Room(kIdleTextRoom + 1);
    EXPECT_GT(liveBytes, before + kIdleTextRoom);
    buffer.Rest();
    EXPECT_EQ(liveBytes, before);
    buffer.Room(1)[0] = 'x';
}

struct IdleStack : testing::Test {
    IdleStack() {
        // The places' buffers are there before anything is measured; each holds a short text.
        stack.PushCopy("a");
        stack.PushCopy("b");
        stack.Clear();
    }

    // Whether the operation takes memory for the long text, and a cleared stack has none of it.
    template <class Operation>
    bool GivesBack(Operation operation) {
        const int64_t before = liveBytes;
        operation();
        const bool takes = liveBytes > before + kLongText / 2;
        stack.Clear();
        return takes && !failure.failed && liveBytes <= before;
    }

    EngineFailure failure;
    SQL_Stack stack{&failure, false};
};

TEST_F(IdleStack, HoldsNoLongTextThatAnInstructionMade) {
    EXPECT_TRUE(GivesBack([this] {
        stack.PushString(longText.c_str());
        stack.Upper();
    }));
    EXPECT_TRUE(GivesBack([this] {
        stack.PushString(longText.c_str());
        stack.PushInteger(0);
        stack.Substring(false);
    }));
    EXPECT_TRUE(GivesBack([this] {
        stack.PushNull();
        stack.PushString(longText.c_str());
        stack.Lower();
        stack.IfNull();
    }));
}

TEST_F(IdleStack, HoldsNoLongTextOfAMemoThatWasCopied) {
    OvraSQLMemoField memo(nullptr, "M", 10, 0);
    memo.SetValue(longText.c_str());
    EXPECT_TRUE(GivesBack([this, &memo] {
        stack.PushColumn(&memo, 0);
        stack.CopyTop();
    }));
}

TEST_F(IdleStack, KeepsItsRoomForShortTexts) {
    const int64_t before = liveBytes;
    stack.PushCopy("c");
    stack.PushCopy("d");
    stack.Clear();
    EXPECT_EQ(liveBytes, before);
}

class IdleStatement : public EngineDatabase {
  protected:
    void SetUp() override {
        EngineDatabase::SetUp();
        TheHost().SetLogging(false);  // the log would count as memory that a statement holds
        ASSERT_EQ(CreateTable("t", {{"m", 4, 10}}), "");
        ASSERT_EQ(Insert("t", {"m"}, {"short"}), "");
        view = ovDatabase_AddView(database, "v", 1, nullptr);
    }

    // Runs the statement to its end and resets it.
    void Run(SQLEngine* engine) {
        engine->SetView(view);
        ASSERT_EQ(engine->SetParameters(TheHost().MakeList({}), 0), 1);
        int32_t result = 1;
        while (result == 1) {
            result = engine->Run();
        }
        ASSERT_EQ(result, 0) << engine->ErrorMessage().CText();
        engine->Reset();
    }

    void* view = nullptr;
};

// Each has run over a short text before, so all that it needs anyway is there.
TEST_F(IdleStatement, HoldsNoLongMemo) {
    const Texts texts = {"select upper(m) from t",
                         "select distinct m from t",
                         "select m, count(*) from t group by m",
                         "select m from t union select m from t",
                         "select lower(m) from t order by m desc",
                         "select ifnull(m, 'x') from t where substring(m from 2) like 'a%'"};
    std::vector<std::unique_ptr<SQLEngine>> statements;
    for (const std::string& text : texts) {
        statements.push_back(std::make_unique<SQLEngine>(*schema, database));
        ASSERT_EQ(statements.back()->Compile(text.c_str()), 1)
            << text << ": " << ToText(statements.back()->ErrorMessage().View());
        Run(statements.back().get());
    }
    ASSERT_EQ(Insert("t", {"m"}, {longText}), "");
    for (size_t i = 0; i < texts.size(); ++i) {
        const int64_t before = liveBytes;
        Run(statements[i].get());
        EXPECT_LT(liveBytes, before + kLongText / 2) << texts[i];
    }
}

}  // namespace
}  // namespace ovrasql
