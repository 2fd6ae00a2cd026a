// Several handles and processes on one table: record locks, header locks, and rows that others add.

#include "tests/storage/data_support.h"

namespace ovrasql {
namespace {

const std::string kField = Descriptor("A", 'C', 3) + "\r";  // header 65, record 4

class DataLock : public DataTest {
  protected:
    void SetUp() override {
        DataTest::SetUp();
        TheHost().SetFile("t.dbf", DataFile(3, 2, 65, 4, kField + " one two\x1A"));
        Open(table_);
        TheHost().SetCurrentProcess(1);
        Open(other_);
        TheHost().SetCurrentProcess(0);
        TheHost().ClearLog();
    }
    void TearDown() override {
        table_.reset();
        other_.reset();
        DataTest::TearDown();
    }
    void Open(std::unique_ptr<OvraSQLTable>& table) {
        table = std::make_unique<OvraSQLTable>(database_);
        ASSERT_TRUE(table->Open("t.dbf", 3));
    }
    static bool Append(OvraSQLTable& table, TextView value) {
        table.FindField("A")->SetValue(value);
        return table.AppendRecord();
    }
    static std::string Value(OvraSQLTable& table) { return table.FindField("A")->Value(); }

    std::unique_ptr<OvraSQLTable> table_;
    std::unique_ptr<OvraSQLTable> other_;  // another process
};

TEST_F(DataLock, AppendsInTurnLoseNoRecord) {
    ASSERT_TRUE(Append(*table_, "3"));
    ASSERT_TRUE(Append(*other_, "4"));
    ASSERT_TRUE(Append(*other_, "5"));
    ASSERT_TRUE(Append(*table_, "6"));
    EXPECT_EQ(table_->CurrentRecord(), 6U);
    EXPECT_EQ(TheHost().FileText("t.dbf").substr(65), " one two 3   4   5   6  \x1A");
    EXPECT_EQ(TheHost().FileText("t.dbf").substr(4, 4), Little32(6));
}

TEST_F(DataLock, ARecordThatAnotherProcessAddedIsReadWithoutBeingTold) {
    ASSERT_TRUE(Append(*other_, "3"));
    EXPECT_EQ(table_->RecordCount(), 2U);
    ASSERT_TRUE(table_->ReadRecord(3));
    EXPECT_EQ(Value(*table_), "3");
    EXPECT_EQ(table_->RecordCount(), 3U);
}

TEST_F(DataLock, AChangeByAnotherProcessIsSeenAtTheNextRead) {
    ASSERT_TRUE(table_->ReadRecord(1));
    EXPECT_EQ(Value(*table_), "one");
    ASSERT_TRUE(other_->ReadRecord(1));
    other_->FindField("A")->SetValue("new");
    ASSERT_TRUE(other_->UpdateRecord());
    EXPECT_EQ(Value(*table_), "one");
    ASSERT_TRUE(table_->ReadRecord(1));
    EXPECT_EQ(Value(*table_), "new");
}

// An update rewrites the header from the file, not from what it knew at open.
TEST_F(DataLock, AnUpdateKeepsTheCountThatOthersLeft) {
    ASSERT_TRUE(table_->ReadRecord(1));
    ASSERT_TRUE(Append(*other_, "3"));
    ASSERT_TRUE(table_->UpdateRecord());
    EXPECT_EQ(TheHost().FileText("t.dbf").substr(4, 4), Little32(3));
}

TEST_F(DataLock, LockAndReadTakesTheRecordLockAndUpdateGivesItBack) {
    ASSERT_TRUE(table_->ReadRecord(2));
    TheHost().ClearLog();
    ASSERT_TRUE(table_->LockAndReadRecord());
    EXPECT_EQ(table_->LockedRecord(), 2U);
    EXPECT_EQ(TheHost().LogText(),
              "ovFile_Lock t.dbf mode 2 at 69 length 4\n"
              "ovFile_Seek t.dbf at 69\n"
              "ovFile_Read t.dbf at 69 length 4\n");
    TheHost().ClearLog();
    ASSERT_TRUE(table_->LockAndReadRecord());  // once more takes no second lock
    EXPECT_EQ(TheHost().CallCount("ovFile_Lock"), 0);
    TheHost().ClearLog();
    table_->FindField("A")->SetValue("2");
    ASSERT_TRUE(table_->UpdateRecord());
    EXPECT_EQ(table_->LockedRecord(), 0U);
    EXPECT_EQ(TheHost().LogText({"ovFile_Lock", "ovFile_Release"}),
              "ovFile_Release t.dbf at 69 length 4\n"
              "ovFile_Lock t.dbf mode 2 at 0 length 65\n"
              "ovFile_Release t.dbf at 0 length 65\n");
}

TEST_F(DataLock, ALockedRecordIsRefusedToOthers) {
    ASSERT_TRUE(table_->ReadRecord(2));
    ASSERT_TRUE(table_->LockAndReadRecord());
    ASSERT_TRUE(other_->ReadRecord(2));  // reading asks for no lock
    EXPECT_FALSE(other_->LockAndReadRecord());
    EXPECT_EQ(Text(other_->Error()), "Error locking 't.dbf' for write: The range is locked");
    EXPECT_EQ(other_->LockedRecord(), 0U);
    EXPECT_FALSE(other_->UpdateRecord());
    EXPECT_EQ(Text(other_->Error()), "Error locking 't.dbf' for write: The range is locked");
    EXPECT_FALSE(other_->MarkDeleted(true));
    EXPECT_FALSE(other_->IsDeleted());
    ASSERT_TRUE(other_->ReadRecord(1));
    EXPECT_TRUE(other_->UpdateRecord());  // other records are free
}

TEST_F(DataLock, TheDestructorReleasesTheRecordLockBeforeItCloses) {
    ASSERT_TRUE(table_->ReadRecord(1));
    ASSERT_TRUE(table_->LockAndReadRecord());
    TheHost().ClearLog();
    table_.reset();
    EXPECT_EQ(TheHost().LogText(),
              "ovFile_Release t.dbf at 65 length 4\n"
              "ovFile_Close t.dbf\n");
}

TEST_F(DataLock, AFailedReadKeepsTheLock) {
    ASSERT_TRUE(table_->ReadRecord(1));
    TheHost().FailCall("ovFile_Read", 1);
    EXPECT_FALSE(table_->LockAndReadRecord());
    EXPECT_EQ(table_->LockedRecord(), 1U);
    ASSERT_EQ(TheHost().Locks().size(), 1U);
    EXPECT_EQ(TheHost().Locks()[0].offset, 65);
}

TEST_F(DataLock, AFailedUpdateGivesTheLockBackAllTheSame) {
    ASSERT_TRUE(table_->ReadRecord(1));
    ASSERT_TRUE(table_->LockAndReadRecord());
    TheHost().FailCall("ovFile_Write", 1);
    EXPECT_FALSE(table_->UpdateRecord());
    EXPECT_EQ(table_->LockedRecord(), 0U);
    EXPECT_TRUE(TheHost().Locks().empty());
}

TEST_F(DataLock, AfterCloseNoLockIsRemembered) {
    ASSERT_TRUE(table_->ReadRecord(1));
    ASSERT_TRUE(table_->LockAndReadRecord());
    table_->Close();
    EXPECT_EQ(table_->LockedRecord(), 0U);
    ASSERT_TRUE(table_->Open("t.dbf", 3));
    TheHost().ClearLog();
    ASSERT_TRUE(table_->LockAndReadRecord());
    EXPECT_EQ(TheHost().CallCount("ovFile_Lock"), 1);
}

TEST_F(DataLock, LockHeaderTakesTheShortRange) {
    ASSERT_TRUE(table_->LockHeader(LockMode::kShared));
    ASSERT_TRUE(other_->LockHeader(LockMode::kShared));
    EXPECT_TRUE(other_->ReleaseHeader());
    EXPECT_FALSE(Append(*other_, "x"));  // a shared lock of another keeps writers out
    EXPECT_EQ(Text(other_->Error()), "Error locking 't.dbf' for write: The range is locked");
    EXPECT_TRUE(table_->ReleaseHeader());
    EXPECT_EQ(TheHost().LogText({"ovFile_Lock", "ovFile_Release"}),
              "ovFile_Lock t.dbf mode 1 at 0 length 32\n"
              "ovFile_Lock t.dbf mode 1 at 0 length 32\n"
              "ovFile_Release t.dbf at 0 length 32\n"
              "ovFile_Lock t.dbf mode 2 at 0 length 65 failed\n"
              "ovFile_Release t.dbf at 0 length 32\n");
    EXPECT_TRUE(Append(*other_, "x"));
}

TEST_F(DataLock, LockHeaderForWriteIsExclusive) {
    ASSERT_TRUE(table_->LockHeader(LockMode::kExclusive));
    EXPECT_FALSE(other_->LockHeader(LockMode::kShared));
    EXPECT_FALSE(other_->ReadRecord(3));
    EXPECT_EQ(Text(other_->Error()), "Error locking 't.dbf' for write: The range is locked");
    ASSERT_TRUE(table_->ReleaseHeader());
    EXPECT_TRUE(other_->LockHeader(LockMode::kShared));
    EXPECT_TRUE(other_->ReleaseHeader());
}

// A host may answer with a positive number. Everything takes that as a lock but these two.
TEST_F(DataLock, OnlyZeroIsSuccessForTheShortHeaderLock) {
    hostServices.ovFile_Lock = [](void*, int32_t, int64_t, int64_t) -> int32_t { return 1; };
    hostServices.ovFile_Release = [](void*, int64_t, int64_t) -> int32_t { return 1; };
    EXPECT_FALSE(table_->LockHeader(LockMode::kExclusive));
    EXPECT_FALSE(table_->ReleaseHeader());
    EXPECT_TRUE(Append(*table_, "3"));
    EXPECT_TRUE(table_->UpdateRecord());
    ASSERT_TRUE(table_->LockAndReadRecord());
    EXPECT_EQ(table_->LockedRecord(), 3U);
    ASSERT_TRUE(table_->UpdateRecord());
    BindHostServices(nullptr);
}

// The longer header range overlaps the short one, so a lock of its own would be refused on one kind
// of host and, given back, would end the outer lock on the other.
TEST_F(DataLock, UnderLockHeaderTheHeaderIsReloadedWithoutALock) {
    TheHost().SetSelfConflict(true);
    ASSERT_TRUE(table_->LockHeader(LockMode::kExclusive));
    TheHost().ClearLog();
    EXPECT_FALSE(table_->ReadRecord(3));
    EXPECT_EQ(Text(table_->Error()), "Invalid record number");
    ASSERT_TRUE(Append(*table_, "3"));
    ASSERT_TRUE(table_->MarkDeleted(true));
    EXPECT_EQ(TheHost().LogText({"ovFile_Lock", "ovFile_Release"}),
              "ovFile_Lock t.dbf mode 2 at 73 length 4\n"
              "ovFile_Release t.dbf at 73 length 4\n");
    ASSERT_EQ(TheHost().Locks().size(), 1U);
    EXPECT_TRUE(table_->ReleaseHeader());
    TheHost().ClearLog();
    EXPECT_FALSE(table_->ReadRecord(9));
    EXPECT_EQ(TheHost().CallCount("ovFile_Lock"), 1);
}

// A lock for writing would take the place of the one for reading on some hosts, and giving it back
// would end both. So the table's own lock keeps it out, as another's would.
TEST_F(DataLock, UnderLockHeaderForReadNothingIsWrittenToTheHeader) {
    TheHost().SetSelfConflict(true);
    ASSERT_TRUE(table_->ReadRecord(1));
    ASSERT_TRUE(table_->LockHeader(LockMode::kShared));
    const std::string before = TheHost().FileText("t.dbf");
    TheHost().ClearLog();
    EXPECT_FALSE(Append(*table_, "3"));
    EXPECT_EQ(Text(table_->Error()),
              "Error locking 't.dbf' for write: The header is locked for reading");
    EXPECT_FALSE(table_->ReadRecord(3));
    EXPECT_EQ(Text(table_->Error()), "Invalid record number");
    EXPECT_EQ(TheHost().CallCount("ovFile_Lock"), 0);
    EXPECT_EQ(TheHost().FileText("t.dbf"), before);
    // A change in its place is made, as it is when another holds the header.
    EXPECT_FALSE(table_->MarkDeleted(true));
    EXPECT_EQ(TheHost().LogText({"ovFile_Lock", "ovFile_Write", "ovFile_Release"}),
              "ovFile_Lock t.dbf mode 2 at 65 length 4\n"
              "ovFile_Write t.dbf at 65 length 1\n"
              "ovFile_Release t.dbf at 65 length 4\n");
    EXPECT_FALSE(Append(*other_, "x"));  // the lock has lasted
    EXPECT_TRUE(table_->ReleaseHeader());
    EXPECT_TRUE(Append(*table_, "3"));
    EXPECT_TRUE(Append(*other_, "4"));
}

// A lock on a record that is never updated stays with the file when another record is locked.
TEST_F(DataLock, LockingAnotherRecordRemembersOnlyThat) {
    ASSERT_TRUE(table_->ReadRecord(1));
    ASSERT_TRUE(table_->LockAndReadRecord());
    ASSERT_TRUE(table_->ReadRecord(2));
    ASSERT_TRUE(table_->LockAndReadRecord());
    EXPECT_EQ(table_->LockedRecord(), 2U);
    EXPECT_EQ(TheHost().Locks().size(), 2U);
    table_.reset();
    EXPECT_TRUE(TheHost().Locks().empty());
}

// The next one to append writes over what the unlucky one left behind the last counted record.
TEST_F(DataLock, AnAppendCutShortBehindItsRecordLeavesACountThatHolds) {
    other_->FindField("A")->SetValue("bad");
    TheHost().FailCall(6, FailureKind::kOutright, FailureSpan::kForEver);
    EXPECT_FALSE(other_->AppendRecord());
    TheHost().ClearFailures();
    EXPECT_EQ(TheHost().FileText("t.dbf").substr(65), " one two bad\x1A");
    ASSERT_TRUE(Append(*table_, "3"));
    EXPECT_EQ(TheHost().FileText("t.dbf").substr(65), " one two 3  \x1A");
    EXPECT_EQ(table_->CurrentRecord(), 3U);
}

// A range without bytes would reach to the file's end on many hosts, whatever put the 0 there.
TEST_F(DataLock, RangesHaveBytesEvenIfTheHeaderSaysNone) {
    ASSERT_TRUE(table_->ReadRecord(1));
    TheHost().SetFile("t.dbf", DataFile(3, 2, 0, 0, kField + " one two\x1A"));
    ASSERT_TRUE(table_->ReadHeader());
    TheHost().ClearLog();
    EXPECT_FALSE(table_->ReadRecord(3));
    EXPECT_FALSE(table_->LockAndReadRecord());
    EXPECT_FALSE(table_->UpdateRecord());
    EXPECT_FALSE(table_->MarkDeleted(true));
    EXPECT_FALSE(table_->AppendRecord());
    EXPECT_EQ(TheHost().LogText({"ovFile_Lock"}),
              "ovFile_Lock t.dbf mode 2 at 0 length 32\n"
              "ovFile_Lock t.dbf mode 2 at 0 length 1\n"
              "ovFile_Lock t.dbf mode 2 at 0 length 1\n"
              "ovFile_Lock t.dbf mode 2 at 0 length 32\n");
    EXPECT_EQ(TheHost().CallCount("ovFile_Write"), 0);
    EXPECT_TRUE(TheHost().Locks().empty());
}

// The count may have become smaller under the table: what is no record any more is not locked.
TEST_F(DataLock, ARecordAboveTheCountIsNotLocked) {
    ASSERT_TRUE(table_->ReadRecord(2));
    TheHost().SetFile("t.dbf", DataFile(3, 1, 65, 4, kField + " one\x1A"));
    ASSERT_TRUE(table_->ReadHeader());
    TheHost().ClearLog();
    EXPECT_FALSE(table_->LockAndReadRecord());
    EXPECT_EQ(Text(table_->Error()), "Invalid record number");
    EXPECT_EQ(TheHost().LogText({"ovFile_Lock", "ovFile_Release"}),
              "ovFile_Lock t.dbf mode 2 at 0 length 65\n"
              "ovFile_Release t.dbf at 0 length 65\n");
    EXPECT_EQ(table_->LockedRecord(), 0U);
}

// A deletion takes the record lock and gives it back whether or not it was held before.
TEST_F(DataLock, MarkDeletedDoesNotLookAtTheLockedRecord) {
    ASSERT_TRUE(table_->ReadRecord(1));
    ASSERT_TRUE(table_->LockAndReadRecord());
    TheHost().ClearLog();
    ASSERT_TRUE(table_->MarkDeleted(true));
    EXPECT_EQ(table_->LockedRecord(), 1U);
    EXPECT_EQ(TheHost().LogText({"ovFile_Lock", "ovFile_Release"}),
              "ovFile_Lock t.dbf mode 2 at 65 length 4\n"
              "ovFile_Release t.dbf at 65 length 4\n"
              "ovFile_Lock t.dbf mode 2 at 0 length 65\n"
              "ovFile_Release t.dbf at 0 length 65\n");
    table_->Close();
}

TEST_F(DataLock, ClosingEndsTheShortHeaderLock) {
    ASSERT_TRUE(table_->LockHeader(LockMode::kExclusive));
    table_->Close();
    EXPECT_TRUE(TheHost().Locks().empty());
    ASSERT_TRUE(table_->Open("t.dbf", 3));
    TheHost().ClearLog();
    EXPECT_FALSE(table_->ReadRecord(3));
    EXPECT_EQ(TheHost().CallCount("ovFile_Lock"), 1);  // it is asked for anew
}

}  // namespace
}  // namespace ovrasql
