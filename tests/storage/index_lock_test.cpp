// Several processes on one index file: locks, and walks that others overtake.

#include "tests/storage/index_support.h"

namespace ovrasql {
namespace {

class IndexLockTest : public IndexTest {
  protected:
    // A second process with the same file open.
    void OpenOther() {
        TheHost().SetCurrentProcess(1);
        other_ = std::make_unique<OvraSQLIndex>(database_);
        ASSERT_TRUE(other_->Open("t.ovx", 3));
        TheHost().SetCurrentProcess(0);
    }
    void TearDown() override {
        other_.reset();
        IndexTest::TearDown();
    }
    uint32_t Next() {
        uint32_t record = 0;
        EXPECT_TRUE(index_->Next(&record, nullptr, true));
        return record;
    }
    uint32_t Previous() {
        uint32_t record = 0;
        EXPECT_TRUE(index_->Previous(&record, true));
        return record;
    }
    int32_t PagesRead() {
        int32_t count = 0;
        for (const HostCall& call : TheHost().Calls()) {
            count += call.name == "ovFile_Read" && call.length == 1024 ? 1 : 0;
        }
        return count;
    }

    std::unique_ptr<OvraSQLIndex> other_;
};

TEST_F(IndexLockTest, ProcessesInsertingInTurnLoseNoKey) {
    Create(0);
    OpenOther();
    std::string expected;
    for (uint32_t record = 1; record <= 200; ++record) {
        OvraSQLIndex& writer = record % 3 == 0 ? *other_ : *index_;
        ASSERT_TRUE(writer.InsertKey(record, View(std::to_string(1000 + record))));
        expected += (record == 1 ? "" : " ") + std::to_string(record);
    }
    EXPECT_EQ(Forward(*index_), expected);
    EXPECT_EQ(Forward(*other_), expected);
    EXPECT_EQ(IndexShape("t.ovx").Faults(), "");
}

TEST_F(IndexLockTest, AWalkGoesOnAcrossAnothersInsert) {
    Create(0);
    Insert("B D F H");
    OpenOther();
    uint32_t record = 0;
    ASSERT_TRUE(index_->First(&record, true));
    EXPECT_EQ(Next(), 2U);  // on D
    ASSERT_TRUE(other_->InsertKey(10, "A"));
    ASSERT_TRUE(other_->InsertKey(11, "E"));
    EXPECT_EQ(Next(), 11U);
    ASSERT_TRUE(other_->InsertKey(12, "C"));
    EXPECT_EQ(Next(), 3U);
    EXPECT_EQ(Previous(), 11U);
    ASSERT_TRUE(other_->InsertKey(13, "DD"));
    EXPECT_EQ(Previous(), 13U);
}

// The place is lost only to the header's generation: the page is read again then, and only then.
TEST_F(IndexLockTest, OnlyANewGenerationMakesAWalkSearch) {
    Create(0);
    Insert("A B C D");
    OpenOther();
    uint32_t record = 0;
    ASSERT_TRUE(index_->First(&record, true));
    TheHost().ClearLog();
    EXPECT_EQ(Next(), 2U);
    EXPECT_EQ(PagesRead(), 0);
    ASSERT_TRUE(other_->InsertKey(9, "E"));
    TheHost().ClearLog();
    EXPECT_EQ(Next(), 3U);
    EXPECT_EQ(PagesRead(), 1);
    // One lock for the step and its search.
    EXPECT_EQ(TheHost().CallCount("ovFile_Lock"), 1);
    TheHost().ClearLog();
    EXPECT_EQ(Next(), 4U);
    EXPECT_EQ(PagesRead(), 0);
}

TEST_F(IndexLockTest, AWalkSurvivesASplitOfItsPage) {
    Create(0);
    Insert("A B C D E F G H");
    OpenOther();
    ASSERT_TRUE(index_->SeekRecord("F", 6, true));
    ASSERT_TRUE(other_->InsertKey(20, "BB"));
    EXPECT_EQ(Shape(), "(A1 B2 BB20 C3) D4 (E5 F6 G7 H8)");
    EXPECT_EQ(Next(), 7U);
    EXPECT_EQ(Next(), 8U);
    EXPECT_EQ(Next(), 0U);
}

TEST_F(IndexLockTest, AWalkAmongEqualKeysFindsItsRecordAgain) {
    Create(0);
    Insert("M M M M M M M M M M M M");
    OpenOther();
    ASSERT_TRUE(index_->SeekRecord("M", 6, true));
    ASSERT_TRUE(other_->InsertKey(20, "M"));
    ASSERT_TRUE(other_->DeleteKey(9, "M"));
    EXPECT_EQ(Next(), 5U);
}

TEST_F(IndexLockTest, AGenerationThatStartsOverIsNoticed) {
    OpenBytes(IndexFile({.generation = 0xFFFFFFFFU}, {PageBytes({{0, 1, "A"}, {0, 2, "C"}})}));
    OpenOther();
    uint32_t record = 0;
    ASSERT_TRUE(index_->First(&record, true));
    ASSERT_TRUE(other_->InsertKey(9, "B"));
    EXPECT_EQ(other_->Generation(), 0U);
    EXPECT_EQ(Next(), 9U);
}

// The search for the place is part of the step: what stops it is the end, with a message.
TEST_F(IndexLockTest, AWalkThatCannotFindItsPlaceEndsWithAMessage) {
    Create(0);
    Insert("A B C D");
    OpenOther();
    for (const bool forward : {true, false}) {
        ASSERT_TRUE(index_->SeekRecord("B", 2, true));
        ASSERT_TRUE(other_->InsertKey(9, "E"));
        TheHost().FailCall("ovFile_Read", 3);  // the step's header, the search's, the page
        EXPECT_EQ(forward ? Next() : Previous(), 0U);
        EXPECT_TRUE(index_->Failed());
        EXPECT_EQ(Text(index_->Error()), "Error reading from 't.ovx': host text");
        TheHost().ClearFailures();
    }
}

// The entry under the walk has gone: the walk is over, which is no failure.
TEST_F(IndexLockTest, AWalkWhoseEntryIsDeletedEnds) {
    Create(0);
    Insert("A B C D");
    OpenOther();
    ASSERT_TRUE(index_->SeekRecord("B", 2, true));
    ASSERT_TRUE(other_->DeleteKey(2, "B"));
    EXPECT_EQ(Next(), 0U);
    EXPECT_FALSE(index_->Failed());
    EXPECT_EQ(Next(), 0U);
    EXPECT_EQ(Previous(), 0U);
}

TEST_F(IndexLockTest, AWalkWhoseEntryIsRekeyedEnds) {
    Create(0);
    Insert("A B C D");
    OpenOther();
    ASSERT_TRUE(index_->SeekRecord("C", 3, true));
    ASSERT_TRUE(other_->DeleteKey(3, "C"));
    ASSERT_TRUE(other_->InsertKey(3, "AA"));
    EXPECT_EQ(Next(), 0U);
}

// Required: the search for the place begins at an equal key and ends at the record, wherever that
// stands behind. So the walk takes up its record at the later key, and passes over what lies
// between.
TEST_F(IndexLockTest, AWalkWhoseEntryIsRekeyedGoesOnBehindItWhereAnotherHasItsKey) {
    Create(0);
    Insert("A C C D Z");
    OpenOther();
    ASSERT_TRUE(index_->SeekRecord("C", 3, true));
    ASSERT_TRUE(other_->DeleteKey(3, "C"));
    ASSERT_TRUE(other_->InsertKey(3, "Y"));
    EXPECT_EQ(Shape(), "A1 C2 D4 Y3 Z5");
    EXPECT_EQ(Next(), 5U);
    EXPECT_EQ(Next(), 0U);
}

// A missed search stands behind the last entry of its leaf. When the index changes there, the last
// entry is the place.
TEST_F(IndexLockTest, AWalkBehindALeafsEndGoesOnFromTheLastEntry) {
    Create(0);
    Insert("A B C");
    OpenOther();
    EXPECT_EQ(Sought(*index_, "X"), "at 3");
    ASSERT_TRUE(other_->InsertKey(9, "Z"));
    EXPECT_EQ(Next(), 9U);
}

// Going back, the last entry is the next one, whether it stands in a leaf still or goes up.
TEST_F(IndexLockTest, AWalkBehindALeafsEndGoesBackToTheLastEntry) {
    Create(0);
    Insert("A B C D E F G H");
    OpenOther();
    EXPECT_EQ(Sought(*index_, "X"), "at 8");
    ASSERT_TRUE(other_->InsertKey(20, "0"));
    EXPECT_EQ(Shape(), "(020 A1 B2 C3) D4 (E5 F6 G7 H8)");
    EXPECT_EQ(Previous(), 8U);
    EXPECT_EQ(Previous(), 7U);
    EXPECT_EQ(Next(), 8U);
    EXPECT_EQ(Next(), 0U);

    EXPECT_EQ(Sought(*index_, "X"), "at 8");
    for (const char* key : {"EE", "I", "J", "K", "L"}) {
        ASSERT_TRUE(other_->InsertKey(21, key));
    }
    EXPECT_EQ(Shape(), "(020 A1 B2 C3) D4 (E5 EE21 F6 G7) H8 (I21 J21 K21 L21)");
    EXPECT_EQ(Previous(), 8U);
    EXPECT_EQ(Previous(), 7U);
}

TEST_F(IndexLockTest, BehindALeafsEndThereIsNothingToDeleteWhateverAnotherInserts) {
    Create(0);
    Insert("A B C");
    OpenOther();
    EXPECT_EQ(Sought(*index_, "X"), "at 3");
    ASSERT_TRUE(other_->InsertKey(9, "0A"));
    const std::string before = TheHost().FileText("t.ovx");
    EXPECT_FALSE(index_->DeleteCurrentKey(3));
    EXPECT_EQ(Text(index_->Error()), "Record is not in index");
    EXPECT_EQ(TheHost().FileText("t.ovx"), before);
    EXPECT_EQ(Previous(), 3U);  // the walk stands where it stood
}

TEST_F(IndexLockTest, AWalkOverAnEmptyIndexHasNoPlaceToFindAgain) {
    Create(0);
    OpenOther();
    EXPECT_EQ(Sought(*index_, "X"), "at 0");
    ASSERT_TRUE(other_->InsertKey(9, "Z"));
    EXPECT_EQ(Next(), 0U);
    EXPECT_EQ(Previous(), 0U);
    EXPECT_FALSE(index_->Failed());
}

// A change by the walk's own object, and one by another that its own change has read past, are
// noticed too.
TEST_F(IndexLockTest, AWalkNoticesChangesOfItsOwnObject) {
    Create(0);
    Insert("A B C D E F G H");
    OpenOther();
    ASSERT_TRUE(index_->SeekRecord("E", 5, true));
    ASSERT_TRUE(other_->InsertKey(20, "EE"));
    ASSERT_TRUE(index_->InsertKey(21, "EA"));
    EXPECT_EQ(Next(), 21U);
    EXPECT_EQ(Next(), 20U);
    EXPECT_EQ(Next(), 6U);
}

// A UNIQUE test in the middle of a walk moves it; the search for the record puts it back.
TEST_F(IndexLockTest, ASearchForTheRecordPutsAWalkBack) {
    Create(kIndexUnique);
    Insert("A B C D");
    ASSERT_TRUE(index_->SeekRecord("B", 2, true));
    EXPECT_EQ(Sought(*index_, "Z"), "at 4");
    ASSERT_TRUE(index_->SeekRecord("B", 2, true));
    EXPECT_EQ(Next(), 3U);
}

TEST_F(IndexLockTest, AHeldWriteLockStopsReadersAndWriters) {
    Create(0);
    Insert("A");
    OpenOther();
    TheHost().SetCurrentProcess(1);
    HostFile file(::ovFile_Open(TheHost().Program(), 2, "t.ovx", 5, 3));
    TheHost().SetCurrentProcess(0);
    const RangeLock held(file.Handle(), LockMode::kExclusive, 0, kIndexHeaderLength);
    EXPECT_EQ(Sought(*index_, "A"), "failed");
    EXPECT_EQ(Text(index_->Error()), "Error locking 't.ovx' for read");
    EXPECT_FALSE(index_->InsertKey(2, "B"));
    EXPECT_EQ(Text(index_->Error()), "Error locking 't.ovx' for write");
    EXPECT_FALSE(index_->DeleteKey(1, "A"));
    EXPECT_EQ(Text(index_->Error()), "Error locking 't.ovx' for write");
    EXPECT_FALSE(index_->DeleteCurrentKey(1));
}

}  // namespace
}  // namespace ovrasql
