// Inserting, updating and deleting records with their indexes, and what a failure leaves.

#include "tests/schema/schema_fixture.h"

namespace ovrasql {
namespace {

class RecordUpkeepTest : public SchemaTest {
  protected:
    void SetUp() override {
        SchemaTest::SetUp();
        CreateDatabase();
        ASSERT_TRUE(CreateTable("t", {{"a", 0, 5}, {"n", 1, 4}}));
    }

    // A unique index on a and an ordinary one on n, over the records (x 1) and (y 2).
    void FillTable() {
        ASSERT_TRUE(CreateIndex("t", "ia", true, {"a"}));
        ASSERT_TRUE(CreateIndex("t", "in", false, {"n"}));
        Insert("t", {"x", "1"});
        Insert("t", {"y", "2"});
        table_ = OpenForWriting("t");
    }

    void TearDown() override {
        table_.reset();
        SchemaTest::TearDown();
    }

    [[nodiscard]] std::string TableError() const { return Text(table_->Error()); }

    std::unique_ptr<Table> table_;
};

TEST_F(RecordUpkeepTest, AnInsertPutsKeysIntoAllIndexes) {
    FillTable();
    EXPECT_EQ(Records("t"), (Texts{"x|1", "y|2"}));
    EXPECT_EQ(Keys("t", "ia"), (Texts{"X=1", "Y=2"}));
    EXPECT_EQ(Keys("t", "in"), (Texts{"0001=1", "0002=2"}));
}

TEST_F(RecordUpkeepTest, ADuplicateIsRefusedBeforeAnythingIsWritten) {
    FillTable();
    SetValues(*table_, {"X", "3"});
    EXPECT_FALSE(table_->InsertRecord());
    EXPECT_EQ(TableError(), "Inserted record violates UNIQUE constraint on index 'ia'");
    EXPECT_EQ(Records("t"), (Texts{"x|1", "y|2"}));
    EXPECT_EQ(Keys("t", "in"), (Texts{"0001=1", "0002=2"}));
}

TEST_F(RecordUpkeepTest, AUniqueTestThatCantBeMadeStopsTheInsert) {
    FillTable();
    SetValues(*table_, {"z", "3"});
    TheHost().FailCall("ovFile_Lock", 1);
    EXPECT_FALSE(table_->InsertRecord());
    EXPECT_EQ(TableError(), "Error locking 'db/ia.ovx' for read");
    EXPECT_EQ(Records("t"), (Texts{"x|1", "y|2"}));
    TheHost().SetErrorText("bad disk");
    TheHost().FailCall("ovFile_Read", 1);
    EXPECT_FALSE(table_->InsertRecord());
    EXPECT_EQ(TableError(), "Error reading from 'db/ia.ovx': bad disk");
    EXPECT_EQ(Records("t"), (Texts{"x|1", "y|2"}));
}

TEST_F(RecordUpkeepTest, AFailedAppendGivesTheDataFilesMessage) {
    FillTable();
    SetValues(*table_, {"z", "3"});
    TheHost().SetErrorText("disk full");
    TheHost().FailCall("ovFile_Write", 1);
    EXPECT_FALSE(table_->InsertRecord());
    EXPECT_EQ(TableError(), "Error writing to 'db/t.dbf': disk full");
    EXPECT_EQ(Keys("t", "ia"), (Texts{"X=1", "Y=2"}));
}

TEST_F(RecordUpkeepTest, AFailedIndexLeavesTheRecordAndTheKeysBeforeIt) {
    FillTable();
    SetValues(*table_, {"z", "3"});
    // The record and the header, then page and header of the first index, then the second.
    TheHost().SetErrorText("disk full");
    TheHost().FailCall("ovFile_Write", 5);
    EXPECT_FALSE(table_->InsertRecord());
    EXPECT_EQ(TableError(), "Error writing to 'db/in.ovx': disk full");
    EXPECT_EQ(Records("t"), (Texts{"x|1", "y|2", "z|3"}));
    EXPECT_EQ(Keys("t", "ia"), (Texts{"X=1", "Y=2", "Z=3"}));
    EXPECT_EQ(Keys("t", "in"), (Texts{"0001=1", "0002=2"}));
}

TEST_F(RecordUpkeepTest, AnUpdateQueuesItsKeysUntilTheyAreApplied) {
    FillTable();
    ASSERT_TRUE(table_->ReadRecord(1));
    SetValues(*table_, {"w", "7"});
    ASSERT_TRUE(table_->UpdateRecord());
    EXPECT_EQ(table_->PendingUpdateCount(), 2);
    EXPECT_EQ(Records("t"), (Texts{"w|7", "y|2"}));
    EXPECT_EQ(Keys("t", "ia").size(), 2U);
    ASSERT_TRUE(table_->ApplyIndexUpdates());
    EXPECT_EQ(Keys("t", "ia"), (Texts{"W=1", "Y=2"}));
    EXPECT_EQ(Keys("t", "in"), (Texts{"0002=2", "0007=1"}));
    // The queue is not emptied by being applied.
    EXPECT_EQ(table_->PendingUpdateCount(), 2);
}

TEST_F(RecordUpkeepTest, AnUpdateToTheSameValueChangesNoKey) {
    FillTable();
    ASSERT_TRUE(table_->ReadRecord(1));
    SetValues(*table_, {"X", "1"});
    ASSERT_TRUE(table_->UpdateRecord());
    EXPECT_EQ(table_->PendingUpdateCount(), 0);
    EXPECT_EQ(Records("t"), (Texts{"X|1", "y|2"}));
}

TEST_F(RecordUpkeepTest, AnUpdateToAnotherRecordsKeyIsRefused) {
    FillTable();
    ASSERT_TRUE(table_->ReadRecord(1));
    SetValues(*table_, {"y", "1"});
    EXPECT_FALSE(table_->UpdateRecord());
    EXPECT_EQ(TableError(), "Updated record violates UNIQUE constraint on index 'ia'");
    EXPECT_EQ(Records("t"), (Texts{"x|1", "y|2"}));
    EXPECT_EQ(table_->PendingUpdateCount(), 0);
}

// Keys of numbers are equal by value, so a record can meet itself under another spelling.
TEST_F(RecordUpkeepTest, ARecordIsNoDuplicateOfItself) {
    ASSERT_TRUE(CreateIndex("t", "in", true, {"n"}));
    Insert("t", {"x", "1.0"});
    table_ = OpenForWriting("t");
    ASSERT_TRUE(table_->ReadRecord(1));
    SetValues(*table_, {"x", "1.00"});
    ASSERT_TRUE(table_->UpdateRecord()) << TableError();
    ASSERT_TRUE(table_->ApplyIndexUpdates());
    EXPECT_EQ(Keys("t", "in"), Texts{"1.00=1"});
}

// What was queued before the failure is still applied: keys can then point at a record that was not
// rewritten.
TEST_F(RecordUpkeepTest, ChangesQueuedBeforeAFailureStayQueued) {
    ASSERT_TRUE(CreateIndex("t", "an", false, {"n"}));
    FillTable();
    ASSERT_TRUE(table_->ReadRecord(1));
    SetValues(*table_, {"y", "9"});
    EXPECT_FALSE(table_->UpdateRecord());
    EXPECT_EQ(table_->PendingUpdateCount(), 1);
    EXPECT_TRUE(table_->ApplyIndexUpdates());
    EXPECT_EQ(Records("t"), (Texts{"x|1", "y|2"}));
    const std::unique_ptr<Table> other = OpenForWriting("t");
    uint32_t number = 0;
    bool found = false;
    ASSERT_TRUE(other->Indexes().Find("an")->Seek("0009", /*exact=*/true, &number, &found));
    EXPECT_TRUE(found);
    EXPECT_EQ(number, 1U);
}

// The other record still holds its key while the first one is changed.
TEST_F(RecordUpkeepTest, TwoRecordsCantSwapAUniqueValue) {
    FillTable();
    ASSERT_TRUE(table_->ReadRecord(1));
    SetValues(*table_, {"y", "1"});
    EXPECT_FALSE(table_->UpdateRecord());
}

TEST_F(RecordUpkeepTest, AMissingOldKeyStopsAnUpdateOfAUniqueIndex) {
    FillTable();
    ASSERT_TRUE(table_->Indexes().Find("ia")->File().DeleteKey(1, "X"));
    ASSERT_TRUE(table_->ReadRecord(1));
    SetValues(*table_, {"w", "1"});
    EXPECT_FALSE(table_->UpdateRecord());
    EXPECT_EQ(TableError(), "Key not found during update in seek of UNIQUE index");
    EXPECT_EQ(Records("t"), (Texts{"x|1", "y|2"}));
}

TEST_F(RecordUpkeepTest, AUniqueTestThatCantBeMadeStopsTheUpdate) {
    FillTable();
    ASSERT_TRUE(table_->ReadRecord(1));
    SetValues(*table_, {"w", "1"});
    // The test for the new key, then the search for the old one.
    for (int32_t call = 1; call <= 2; ++call) {
        TheHost().FailCall("ovFile_Lock", call);
        EXPECT_FALSE(table_->UpdateRecord());
        EXPECT_EQ(TableError(), "Error locking 'db/ia.ovx' for read");
        EXPECT_EQ(Records("t"), (Texts{"x|1", "y|2"}));
    }
}

// A statement that walks the unique index it rewrites must find itself on the same entry behind the
// test for duplicates, which searches with the same index.
TEST_F(RecordUpkeepTest, AnUpdateKeepsTheWalkOfItsUniqueIndex) {
    ASSERT_TRUE(CreateIndex("t", "ia", true, {"a"}));
    for (const char* value : {"a", "b", "c", "d"}) {
        Insert("t", {value, "0"});
    }
    table_ = OpenForWriting("t");
    Index* const index = table_->Indexes().Find("ia");
    uint32_t number = 0;
    Texts visited;
    for (bool more = index->First(&number); more && number != 0; more = index->Next(&number)) {
        ASSERT_TRUE(table_->ReadRecord(number));
        const std::string value = Text(table_->Data().FindField("a")->ValueText());
        visited.push_back(value);
        table_->Data().FindField("a")->SetValue((value + "2").c_str());
        ASSERT_TRUE(table_->UpdateRecord()) << TableError();
    }
    EXPECT_EQ(visited, (Texts{"a", "b", "c", "d"}));
    ASSERT_TRUE(table_->ApplyIndexUpdates());
    EXPECT_EQ(Keys("t", "ia"), (Texts{"A2=1", "B2=2", "C2=3", "D2=4"}));
}

TEST_F(RecordUpkeepTest, AFailedApplyEndsAtTheFailure) {
    FillTable();
    ASSERT_TRUE(table_->ReadRecord(1));
    SetValues(*table_, {"w", "7"});
    ASSERT_TRUE(table_->UpdateRecord());
    TheHost().FailCall("ovFile_Lock", 1);
    EXPECT_FALSE(table_->ApplyIndexUpdates());
    EXPECT_EQ(TableError(), "Error locking 'db/ia.ovx' for write");
    EXPECT_EQ(Keys("t", "in").size(), 2U);
    const std::unique_ptr<Table> other = OpenForWriting("t");
    uint32_t number = 0;
    bool found = false;
    ASSERT_TRUE(other->Indexes().Find("in")->Seek("0007", /*exact=*/true, &number, &found));
    EXPECT_FALSE(found);
}

TEST_F(RecordUpkeepTest, ADeletedRecordsKeysStayUntilTheyAreApplied) {
    FillTable();
    ASSERT_TRUE(table_->ReadRecord(1));
    ASSERT_TRUE(table_->DeleteRecord());
    EXPECT_EQ(Records("t"), (Texts{"*x|1", "y|2"}));
    EXPECT_EQ(Keys("t", "ia"), (Texts{"X=1", "Y=2"}));
    ASSERT_TRUE(table_->ApplyIndexDeletes());
    EXPECT_EQ(Keys("t", "ia"), Texts{"Y=2"});
    EXPECT_EQ(Keys("t", "in"), Texts{"0002=2"});
    EXPECT_EQ(table_->PendingDeleteCount(), 2);
}

TEST_F(RecordUpkeepTest, ARecordDeletedTwiceQueuesItsKeysOnce) {
    FillTable();
    ASSERT_TRUE(table_->ReadRecord(1));
    ASSERT_TRUE(table_->DeleteRecord());
    ASSERT_TRUE(table_->DeleteRecord());
    EXPECT_EQ(table_->PendingDeleteCount(), 2);
    EXPECT_TRUE(table_->ApplyIndexDeletes()) << TableError();
}

TEST_F(RecordUpkeepTest, AFailedDeleteQueuesNothing) {
    FillTable();
    ASSERT_TRUE(table_->ReadRecord(1));
    TheHost().SetErrorText("disk full");
    TheHost().FailCall("ovFile_Write", 1);
    EXPECT_FALSE(table_->DeleteRecord());
    EXPECT_EQ(TableError(), "Error writing to 'db/t.dbf': disk full");
    EXPECT_EQ(table_->PendingDeleteCount(), 0);
    EXPECT_FALSE(table_->Data().IsDeleted());
}

TEST_F(RecordUpkeepTest, AnApplyOfMissingKeysFailsWithTheFilesMessage) {
    FillTable();
    ASSERT_TRUE(table_->ReadRecord(1));
    ASSERT_TRUE(table_->DeleteRecord());
    ASSERT_TRUE(table_->ApplyIndexDeletes());
    EXPECT_FALSE(table_->ApplyIndexDeletes());
    EXPECT_EQ(TableError(), Text(table_->Indexes().Find("ia")->File().Error()));
    EXPECT_NE(TableError(), "");
}

TEST_F(RecordUpkeepTest, ANumberKeyIsPaddedToTheWidthOfItsField) {
    ASSERT_TRUE(CreateIndex("t", "in", false, {"n"}));
    Insert("t", {"x", "42"});
    Insert("t", {"y", "9"});
    EXPECT_EQ(Keys("t", "in"), (Texts{"0009=2", "0042=1"}));
}

// A read gives a date and a wide logical with their blanks, and so the key has them before that.
TEST_F(RecordUpkeepTest, AValueShorterThanItsColumnIsFoundAgainByItsKey) {
    ASSERT_TRUE(CreateTable("d", {{"day", 2, 8}, {"flag", 3, 2}, {"n", 1, 2}}));
    ASSERT_TRUE(CreateIndex("d", "iday", true, {"day"}));
    ASSERT_TRUE(CreateIndex("d", "iflag", false, {"flag", "n"}));
    Insert("d", {"", "T", "1"});
    Insert("d", {"2026", "", "2"});
    EXPECT_EQ(Keys("d", "iday"), (Texts{"        =1", "2026    =2"}));
    EXPECT_EQ(Keys("d", "iflag"), (Texts{"  :02=2", "T :01=1"}));
    table_ = OpenForWriting("d");
    SetValues(*table_, {"", "F", "3"});
    EXPECT_FALSE(table_->InsertRecord());
    EXPECT_EQ(TableError(), "Inserted record violates UNIQUE constraint on index 'iday'");
    ASSERT_TRUE(table_->ReadRecord(1));
    SetValues(*table_, {"2027", "F", "1"});
    ASSERT_TRUE(table_->UpdateRecord()) << TableError();
    ASSERT_TRUE(table_->ReadRecord(2));
    SetValues(*table_, {"2026", "", "2"});
    ASSERT_TRUE(table_->UpdateRecord()) << TableError();
    EXPECT_EQ(table_->PendingUpdateCount(), 2);  // none for what stays as it is
    ASSERT_TRUE(table_->ApplyIndexUpdates()) << TableError();
    EXPECT_EQ(Keys("d", "iday"), (Texts{"2026    =2", "2027    =1"}));
    Delete("d", 1);
    Delete("d", 2);
    EXPECT_TRUE(Keys("d", "iday").empty());
    EXPECT_TRUE(Keys("d", "iflag").empty());
}

// The new memo text must survive the building of the old key, which reads the old one.
TEST_F(RecordUpkeepTest, AMemoInAKeyIsUpdatedWithItsKey) {
    ASSERT_TRUE(CreateTable("m", {{"k", 0, 3}, {"text", 4, 10}}));
    ASSERT_TRUE(CreateIndex("m", "im", false, {"text"}));
    Insert("m", {"a", "old words"});
    EXPECT_EQ(Keys("m", "im"), Texts{"OLD WORDS=1"});
    table_ = OpenForWriting("m");
    ASSERT_TRUE(table_->ReadRecord(1));
    table_->Data().FindField("text")->SetValue("new and longer words");
    ASSERT_TRUE(table_->UpdateRecord());
    ASSERT_TRUE(table_->ApplyIndexUpdates());
    EXPECT_EQ(Records("m"), Texts{"a|new and longer words"});
    EXPECT_EQ(Keys("m", "im"), Texts{"NEW AND LONGER WORDS=1"});
}

TEST_F(RecordUpkeepTest, ALockedReadGivesTheDataFilesMessage) {
    FillTable();
    ASSERT_TRUE(table_->ReadRecord(1));
    ASSERT_TRUE(table_->LockAndReadRecord());
    EXPECT_EQ(table_->Data().LockedRecord(), 1U);
    ASSERT_TRUE(table_->ReadRecord(2));
    TheHost().SetErrorText("busy");
    TheHost().FailCall("ovFile_Lock", 1);
    EXPECT_FALSE(table_->LockAndReadRecord());
    EXPECT_EQ(TableError(), "Error locking 'db/t.dbf' for write: busy");
}

TEST_F(RecordUpkeepTest, WithoutARecordThereIsNothingToUpdate) {
    FillTable();
    EXPECT_FALSE(table_->UpdateRecord());
    EXPECT_EQ(TableError(), "Invalid record number");
    EXPECT_FALSE(table_->DeleteRecord());
    EXPECT_EQ(TableError(), "Invalid record number");
}

}  // namespace
}  // namespace ovrasql
