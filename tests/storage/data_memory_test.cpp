// Memory of tables and fields: reading records takes none, and running out of it in the middle of
// an operation leaves files, locks and values in order.

#include <cstdlib>
#include <new>

#include "foundation/ignore_result.h"
#include "storage/memo_text.h"
#include "tests/storage/data_support.h"
#include "tests/support/failing_allocations.h"

namespace ovrasql {
namespace {

// Counts from now on and lets the given allocation fail, 0 for none.
void StartCounting(int64_t failing) {
    ovratest::allocationCount = 0;
    ovratest::failingAllocation = failing;
    ovratest::countingAllocations = true;
}

// Runs `work` once for each of its allocations, with that one failing, and `check` after each of
// these runs, until a run needs no more of them. `prepare` comes before each.
template <class Prepare, class Work, class Check>
void FailEachAllocation(const Prepare& prepare, const Work& work, const Check& check) {
    int64_t failures = 0;
    for (int64_t number = 1; number == failures + 1; ++number) {
        ASSERT_LT(number, 1000) << "no end of allocations";
        SCOPED_TRACE(number);
        prepare();
        StartCounting(number);
        try {
            work();
        } catch (const std::bad_alloc&) {
            ovratest::countingAllocations = false;
            ++failures;
            check();
        }
        ovratest::countingAllocations = false;
    }
    EXPECT_GT(failures, 0) << "nothing is allocated at all";
}

class DataMemory : public DataTest {
  protected:
    // A table of 100 records with a number, a text and a memo of 100 bytes.
    void MakeTable(OvraSQLTable& table) {
        ColumnList columns;
        columns.Add("A", 0, 20).Add("N", 1, 12, 2).Add("M", 4, 10);
        ASSERT_TRUE(table.Create("t.dbf", columns));
        for (int i = 1; i <= 100; ++i) {
            table.FindField("A")->SetValue("text");
            table.FindField("N")->SetValue((std::to_string(i) + ".50").c_str());
            table.FindField("M")->SetValue(std::string(100, 'm').c_str());
            ASSERT_TRUE(table.AppendRecord());
        }
        TheHost().ClearLog();
    }
};

TEST_F(DataMemory, ReadingAndDecodingRecordsAllocatesNothing) {
    OvraSQLTable table(database_);
    MakeTable(table);
    TheHost().SetLogging(false);
    OvraSQLField* text = table.FindField("A");
    OvraSQLField* number = table.FindField("N");
    OvraSQLField* memo = table.FindField("M");
    ASSERT_TRUE(table.ReadRecord(1));
    ASSERT_EQ(memo->ValueText().length, 100);  // makes the memo's two buffers
    double sum = 0;
    int32_t lengths = 0;
    StartCounting(0);
    for (uint32_t record = 1; record <= 100; ++record) {
        lengths += table.ReadRecord(record) ? 1 : 0;
        lengths += text->ValueText().length + memo->ValueText().length;
        sum += number->Number().value;
        table.SwapFieldValues();
        table.SwapFieldValues();
        text->SetValue("other");
    }
    ovratest::countingAllocations = false;
    EXPECT_EQ(ovratest::allocationCount, 0);
    EXPECT_EQ(lengths, 100 * (1 + 4 + 100));
    EXPECT_EQ(sum, 5100.0);  // 1 + ... + 100 and a hundred halves
}

TEST_F(DataMemory, ScanningCostsOneSeekAndOneReadARecord) {
    OvraSQLTable table(database_);
    MakeTable(table);
    for (uint32_t record = 1; record <= 100; ++record) {
        ASSERT_TRUE(table.ReadRecord(record));
        EXPECT_EQ(Text(table.FindField("A")->ValueText()), "text");
    }
    EXPECT_EQ(TheHost().CallCount("ovFile_Seek"), 100);
    EXPECT_EQ(TheHost().CallCount("ovFile_Read"), 100);
    EXPECT_EQ(TheHost().Calls().size(), 200U);
}

TEST_F(DataMemory, AMemoTextThatFindsNoRoomStaysAsItWas) {
    const std::string first(100, 'a');
    const std::string longer(5000, 'b');
    MemoText text;
    FailEachAllocation([&] { text.Assign(first.c_str()); }, [&] { text.Assign(longer.c_str()); },
                       [&] {
                           ASSERT_TRUE(text.IsLoaded());
                           EXPECT_EQ(Text(text.Bytes()), first);
                           text.Assign("fits");
                           EXPECT_EQ(Text(text.Bytes()), "fits");
                       });
    EXPECT_EQ(Text(text.Bytes()), longer);
    // A text of its own that never had a buffer.
    std::unique_ptr<MemoText> fresh;
    FailEachAllocation([&] { fresh = std::make_unique<MemoText>(); }, [&] { fresh->Assign("a"); },
                       [&] {
                           EXPECT_FALSE(fresh->IsLoaded());
                           EXPECT_EQ(Text(fresh->Text()), "");
                       });
    const std::string more(3000, 'c');
    FailEachAllocation(
        [&] {
            fresh = std::make_unique<MemoText>();
            fresh->Assign(first.c_str());
        },
        [&] { ASSERT_TRUE(fresh->Append(more.data(), 3000)); },
        [&] { EXPECT_EQ(Text(fresh->Bytes()), first); });
}

TEST_F(DataMemory, ASetThatFindsNoRoomKeepsTheOldText) {
    OvraSQLTable table(database_);
    MakeTable(table);
    auto* memo = dynamic_cast<OvraSQLMemoField*>(table.FindField("M"));
    ASSERT_NE(memo, nullptr);
    const std::string longer(5000, 'x');
    FailEachAllocation([&] { ASSERT_TRUE(table.ReadRecord(1)); },
                       [&] { memo->SetValue(longer.c_str()); },
                       [&] {
                           EXPECT_FALSE(memo->IsDirty());
                           EXPECT_EQ(Text(memo->ValueText()), std::string(100, 'm'));
                       });
    EXPECT_EQ(Text(memo->ValueText()), longer);
}

// Half of a text must not pass for the whole at the next look.
TEST_F(DataMemory, ATextThatFindsNoRoomIsReadAgain) {
    OvraSQLTable table(database_);
    MakeTable(table);
    const std::string longer(5000, 'x');
    table.FindField("M")->SetValue(longer.c_str());
    ASSERT_TRUE(table.AppendRecord());
    int32_t seen = 0;
    FailEachAllocation(
        [&] {
            table.Close();
            ASSERT_TRUE(table.Open("t.dbf", 3));  // new fields, without buffers
            ASSERT_TRUE(table.ReadRecord(101));
        },
        [&] { seen = table.FindField("M")->ValueText().length; },
        [&] { EXPECT_EQ(Text(table.FindField("M")->ValueText()), longer); });
    EXPECT_EQ(seen, 5000);
}

// Whatever runs out of memory, no lock stays, and the object goes on working.
TEST_F(DataMemory, ChangesThatFindNoRoomGiveTheirLocksBack) {
    OvraSQLTable table(database_);
    MakeTable(table);
    const std::string longer(5000, 'x');
    FailEachAllocation(
        [&] {
            ASSERT_TRUE(table.ReadRecord(1));
            table.FindField("M")->SetValue(longer.c_str());
        },
        [&] { ASSERT_TRUE(table.AppendRecord()); },
        [&] { EXPECT_TRUE(TheHost().Locks().empty()); });
    EXPECT_EQ(table.RecordCount(), 101U);
    FailEachAllocation(
        [&] {
            table.Close();
            ASSERT_TRUE(table.Open("t.dbf", 3));
            ASSERT_TRUE(table.ReadRecord(1));
            ASSERT_TRUE(table.LockAndReadRecord());
            table.FindField("M")->SetValue(longer.c_str());
        },
        [&] { ASSERT_TRUE(table.UpdateRecord()); },
        [&] {
            EXPECT_TRUE(TheHost().Locks().empty());
            EXPECT_EQ(table.LockedRecord(), 0U);
        });
    ASSERT_TRUE(table.ReadRecord(1));
    EXPECT_EQ(Text(table.FindField("M")->ValueText()), longer);
}

// Handles that the caller opened stay the caller's; those that the table opened are closed.
TEST_F(DataMemory, MakingAndOpeningFindNoRoomWithoutLosingAHandle) {
    ColumnList columns;
    columns.Add("A", 0, 20).Add("M", 4, 10);
    std::unique_ptr<OvraSQLTable> table;
    const auto renew = [&] { table = std::make_unique<OvraSQLTable>(database_); };
    FailEachAllocation(
        renew, [&] { ASSERT_TRUE(table->Create("t.dbf", columns)); },
        [&] {
            EXPECT_EQ(TheHost().OpenFileCount(), 0);
            EXPECT_FALSE(table->ReadRecord(1));
        });
    table->FindField("A")->SetValue("kept");
    ASSERT_TRUE(table->AppendRecord());
    FailEachAllocation(
        renew, [&] { ASSERT_TRUE(table->Open("t.dbf", 3)); },
        [&] { IgnoreResult(table->ReadRecord(1)); });
    ASSERT_TRUE(table->ReadRecord(1));
    EXPECT_EQ(Text(table->FindField("A")->ValueText()), "kept");
    table.reset();

    void* data = ovFile_Open(TheHost().Program(), 2, "d", 1, 15);
    void* memo = ovFile_Open(TheHost().Program(), 2, "m", 1, 15);
    FailEachAllocation(
        renew, [&] { ASSERT_TRUE(table->CreateFromHandles(data, "d", memo, "m", columns)); },
        [&] { EXPECT_EQ(TheHost().OpenFileCount(), 2); });
}

// When memory is gone for good, what is open must still go: a destructor that allocates would end
// the program.
TEST_F(DataMemory, ClosingAndDestroyingTakeNoMemory) {
    OvraSQLTable made(database_);
    MakeTable(made);
    auto closed = std::make_unique<OvraSQLTable>(database_);
    auto unopened = std::make_unique<OvraSQLTable>(database_);
    ASSERT_TRUE(closed->Open("t.dbf", 3));
    StartCounting(0);
    made.Close();
    closed.reset();
    unopened.reset();
    ovratest::countingAllocations = false;
    EXPECT_EQ(ovratest::allocationCount, 0);
    EXPECT_TRUE(made.DataPath().IsEmpty());
}

}  // namespace
}  // namespace ovrasql
