// Searching and stepping: what each operation reports, reads and locks.

#include "tests/storage/index_support.h"

namespace ovrasql {
namespace {

class IndexWalkTest : public IndexTest {
  protected:
    // Where Next goes from the place of a search.
    std::string NextFrom(const std::string& key, bool exact = true) {
        const std::string sought = Sought(*index_, key, exact);
        uint32_t record = 0;
        EXPECT_TRUE(index_->Next(&record, nullptr, true));
        return sought + ", then " + std::to_string(record);
    }
};

TEST_F(IndexWalkTest, AnEmptyIndexHasNoRecords) {
    Create(0);
    uint32_t record = 9;
    EXPECT_TRUE(index_->First(&record, true));
    EXPECT_EQ(record, 0U);
    EXPECT_TRUE(index_->Next(&record, nullptr, true));
    EXPECT_EQ(record, 0U);
    EXPECT_TRUE(index_->Last(&record, true));
    EXPECT_EQ(record, 0U);
    EXPECT_TRUE(index_->Previous(&record, true));
    EXPECT_EQ(record, 0U);
    EXPECT_EQ(Sought(*index_, "A"), "at 0");
    EXPECT_EQ(Sought(*index_, "", false), "at 0");
    EXPECT_FALSE(index_->SeekRecord("A", 1, true));
    EXPECT_FALSE(index_->SeekRecord("A", 0, true));
    EXPECT_FALSE(index_->Failed());
}

TEST_F(IndexWalkTest, StepsVisitLeavesAndInnerPages) {
    Create(0);
    Insert("A B C D E F G H I J K L M N");
    EXPECT_EQ(Shape(), "(A1 B2 C3 D4) E5 (F6 G7 H8 I9) J10 (K11 L12 M13 N14)");
    EXPECT_EQ(Forward(*index_), "1 2 3 4 5 6 7 8 9 10 11 12 13 14");
    EXPECT_EQ(Backward(*index_), "14 13 12 11 10 9 8 7 6 5 4 3 2 1");
    EXPECT_FALSE(index_->Failed());
}

TEST_F(IndexWalkTest, AWalkMayTurnRound) {
    Create(0);
    Insert("A B C D E F G H I");
    ASSERT_TRUE(index_->SeekRecord("D", 4, true));
    std::string text;
    for (const bool forward : {true, true, false, false, true, false, false}) {
        uint32_t record = 0;
        ASSERT_TRUE(forward ? index_->Next(&record, nullptr, true)
                            : index_->Previous(&record, true));
        text += std::to_string(record) + " ";
    }
    EXPECT_EQ(text, "5 6 5 4 5 4 3 ");
}

TEST_F(IndexWalkTest, NextGivesTheKey) {
    Create(0);
    Insert("A B C D E F G H I");
    uint32_t record = 0;
    TextView key;
    std::string keys;
    ASSERT_TRUE(index_->First(&record, true));
    while (index_->Next(&record, &key, true) && record != 0) {
        keys += Text(key);
    }
    EXPECT_EQ(keys, "BCDEFGHI");
    EXPECT_EQ(Text(key), "");  // none at the end
}

TEST_F(IndexWalkTest, SeekReportsTheFirstOfEqualKeysInTreeOrder) {
    Create(0);
    Insert("A M M M M M M M M M M Z");
    EXPECT_EQ(Shape(), "(A1 M11 M10 M9 M8 M7) M6 (M5 M4 M3 M2 Z12)");
    EXPECT_EQ(Sought(*index_, "M"), "found 11");
    std::string walk;
    uint32_t record = 0;
    while (index_->Next(&record, nullptr, true) && record != 0) {
        walk += std::to_string(record) + " ";
    }
    EXPECT_EQ(walk, "10 9 8 7 6 5 4 3 2 12 ");
}

// The first of the equal keys stands in the root, and the leaf left of it has none: the walk goes
// on from the root.
TEST_F(IndexWalkTest, AFoundKeyInAnInnerPageIsThePlace) {
    Create(0);
    Insert("A B C D E F G H I");
    EXPECT_EQ(NextFrom("E"), "found 5, then 6");
    uint32_t record = 0;
    EXPECT_EQ(Sought(*index_, "E"), "found 5");
    ASSERT_TRUE(index_->Previous(&record, true));
    EXPECT_EQ(record, 4U);
}

TEST_F(IndexWalkTest, AUniqueExactSearchStopsAtItsMatch) {
    Create(kIndexUnique);
    Insert("A B C D E F G H I");
    TheHost().ClearLog();
    EXPECT_EQ(Sought(*index_, "E"), "found 5");
    EXPECT_EQ(TheHost().CallCount("ovFile_Read"), 2);  // the header and the root
    EXPECT_EQ(NextFrom("E"), "found 5, then 6");
    TheHost().ClearLog();
    EXPECT_EQ(Sought(*index_, "E", false), "found 5");  // another key may begin with it
    EXPECT_EQ(TheHost().CallCount("ovFile_Read"), 3);
}

TEST_F(IndexWalkTest, APrefixFindsTheFirstKeyThatBeginsWithIt) {
    Create(0);
    Insert("AA AB ABC ABD AC");
    EXPECT_EQ(Sought(*index_, "AB", false), "found 2");
    EXPECT_EQ(Sought(*index_, "ABC", false), "found 3");
    EXPECT_EQ(Sought(*index_, "A", false), "found 1");
    EXPECT_EQ(Sought(*index_, "", false), "found 1");
    EXPECT_EQ(Sought(*index_, "ABCD", false), "at 4");
    Create(0);
    Insert("ABC");
    EXPECT_EQ(Sought(*index_, "AB", false), "found 1");
    EXPECT_EQ(Sought(*index_, "AB", true), "at 1");
}

// Without the key: the first entry above it in the leaf reached, or that leaf's last entry.
TEST_F(IndexWalkTest, AMissedKeyReportsANeighbourInItsLeaf) {
    Create(0);
    Insert("B D F H J L N P R");  // (B1 D2 F3 H4) J5 (L6 N7 P8 R9)
    EXPECT_EQ(NextFrom("A"), "at 1, then 2");
    EXPECT_EQ(NextFrom("C"), "at 2, then 3");
    EXPECT_EQ(NextFrom("I"), "at 4, then 5");  // above the leaf's last entry: Next goes up
    EXPECT_EQ(NextFrom("K"), "at 6, then 7");
    EXPECT_EQ(NextFrom("S"), "at 9, then 0");
    EXPECT_EQ(Sought(*index_, "I"), "at 4");
    uint32_t record = 0;
    ASSERT_TRUE(index_->Previous(&record, true));
    EXPECT_EQ(record, 4U);  // behind the last entry: the step back is onto it
}

// Whatever stands behind a page's live entries is not a child.
TEST_F(IndexWalkTest, AStepFromBehindTheLastEntryReadsNothingStale) {
    const std::string stale = Little32(2) + Padded("B", 100) + Little32(9) + Little32(3) + "C";
    OpenBytes(IndexFile({}, {PageBytes({{0, 1, "A"}}, 0, stale)}));
    EXPECT_EQ(NextFrom("X"), "at 1, then 0");
    EXPECT_FALSE(index_->Failed());
}

TEST_F(IndexWalkTest, ADescendingIndexIsSearchedDownward) {
    Create(kIndexDescending);
    Insert("B D F H J L N P R");
    EXPECT_EQ(Forward(*index_), "9 8 7 6 5 4 3 2 1");
    EXPECT_EQ(Sought(*index_, "F"), "found 3");
    EXPECT_EQ(Sought(*index_, "G"), "at 3");  // the next one below
    EXPECT_EQ(Sought(*index_, "S"), "at 9");
    Create(kIndexDescending);
    Insert("ABC ABD AC");
    EXPECT_EQ(Sought(*index_, "AB", false), "found 2");  // ABD comes first
}

TEST_F(IndexWalkTest, NumbersAreFoundByValue) {
    Create(0);
    Insert("0009 0010 0011");
    EXPECT_EQ(Sought(*index_, "10.0"), "found 2");
    EXPECT_EQ(Sought(*index_, "9.5"), "at 2");
    EXPECT_EQ(Sought(*index_, "10", false), "at 3");  // prefixes are bytes
    Create(kIndexTextOnly);
    Insert("0009 0010 0011");
    EXPECT_EQ(Sought(*index_, "10.0"), "at 3");
}

TEST_F(IndexWalkTest, SeekRecordFindsOneOfEqualKeys) {
    Create(0);
    Insert("A M M M M M M M M M M Z");
    EXPECT_TRUE(index_->SeekRecord("M", 4, true));
    uint32_t record = 0;
    ASSERT_TRUE(index_->Next(&record, nullptr, true));
    EXPECT_EQ(record, 3U);
    EXPECT_FALSE(index_->SeekRecord("M", 77, true));
    EXPECT_FALSE(index_->Failed());
}

// It does not end with the equal keys.
TEST_F(IndexWalkTest, SeekRecordRunsOnThroughLaterKeys) {
    Create(0);
    Insert("A B C D");
    EXPECT_TRUE(index_->SeekRecord("A", 3, true));
    EXPECT_FALSE(index_->SeekRecord("C", 1, true));
    uint32_t record = 9;
    EXPECT_TRUE(index_->Next(&record, nullptr, true));
    EXPECT_EQ(record, 0U);  // it ran to the end
}

// Each step of it is an operation of its own, with its own lock.
TEST_F(IndexWalkTest, SeekRecordLocksEachOfItsSteps) {
    Create(0);
    Insert("A B C D");
    TheHost().ClearLog();
    EXPECT_TRUE(index_->SeekRecord("A", 3, true));
    EXPECT_EQ(TheHost().CallCount("ovFile_Lock"), 3);
    EXPECT_EQ(TheHost().CallCount("ovFile_Release"), 3);
}

// When the key is not there, no walk starts; the neighbour counts if it is the record.
TEST_F(IndexWalkTest, SeekRecordWithoutTheKeyLooksAtTheNeighbourOnly) {
    Create(0);
    Insert("A C D");
    EXPECT_TRUE(index_->SeekRecord("B", 2, true));
    EXPECT_FALSE(index_->SeekRecord("B", 3, true));
    EXPECT_FALSE(index_->Failed());
}

// A key may be a view of the walk's own page, as Next gives it.
TEST_F(IndexWalkTest, TheKeySearchedForMayLieInTheWalk) {
    Create(0);
    Insert("A B C D E F G H I J K L M N");
    uint32_t record = 0;
    TextView key;
    ASSERT_TRUE(index_->SeekRecord("K", 11, true));
    ASSERT_TRUE(index_->Next(&record, &key, true));
    bool found = false;
    ASSERT_TRUE(index_->Seek(key, true, &record, &found, true));
    EXPECT_TRUE(found);
    EXPECT_EQ(record, 12U);
    ASSERT_TRUE(index_->Next(&record, &key, true));
    ASSERT_TRUE(index_->SeekRecord(key, 13, true));
    ASSERT_TRUE(index_->First(&record, true));
    ASSERT_TRUE(index_->Next(&record, &key, true));
    ASSERT_TRUE(index_->InsertKey(20, key));
    ASSERT_TRUE(index_->SeekRecord("B", 20, true));
}

// --- Calls of the host

TEST_F(IndexWalkTest, AStepWithinAPageReadsTheHeaderAlone) {
    Create(0);
    Insert("A B C");
    uint32_t record = 0;
    ASSERT_TRUE(index_->First(&record, true));
    for (const bool forward : {true, false}) {
        TheHost().ClearLog();
        ASSERT_TRUE(forward ? index_->Next(&record, nullptr, true)
                            : index_->Previous(&record, true));
        EXPECT_EQ(TheHost().LogText(),
                  "ovFile_Lock t.ovx mode 1 at 0 length 427\n"
                  "ovFile_Seek t.ovx at 0\n"
                  "ovFile_Read t.ovx at 0 length 427\n"
                  "ovFile_Release t.ovx at 0 length 427\n");
    }
}

TEST_F(IndexWalkTest, ASearchHoldsTheLockFromTheHeaderToTheLastPage) {
    Create(0);
    Insert("A B C D E F G H I");
    TheHost().ClearLog();
    EXPECT_EQ(Sought(*index_, "B"), "found 2");
    EXPECT_EQ(TheHost().LogText({"ovFile_Lock", "ovFile_Read", "ovFile_Release"}),
              "ovFile_Lock t.ovx mode 1 at 0 length 427\n"
              "ovFile_Read t.ovx at 0 length 427\n"
              "ovFile_Read t.ovx at 3072 length 1024\n"
              "ovFile_Read t.ovx at 1024 length 1024\n"
              "ovFile_Release t.ovx at 0 length 427\n");
}

TEST_F(IndexWalkTest, WithoutTheLockFlagNothingIsLocked) {
    Create(0);
    Insert("A B");
    TheHost().ClearLog();
    uint32_t record = 0;
    bool found = false;
    ASSERT_TRUE(index_->Seek("A", true, &record, &found, false));
    ASSERT_TRUE(index_->Next(&record, nullptr, false));
    ASSERT_TRUE(index_->Previous(&record, false));
    ASSERT_TRUE(index_->First(&record, false));
    ASSERT_TRUE(index_->Last(&record, false));
    ASSERT_TRUE(index_->SeekRecord("A", 1, false));
    EXPECT_EQ(TheHost().CallCount("ovFile_Lock"), 0);
}

// --- Failures

// A lock that is refused fails a search; to the steps it is the end, with a message.
TEST_F(IndexWalkTest, ARefusedLockFailsSeekAlone) {
    Create(0);
    Insert("A B");
    TheHost().RefuseLocks(true);
    EXPECT_EQ(Sought(*index_, "A"), "failed");
    EXPECT_EQ(Text(index_->Error()), "Error locking 't.ovx' for read");
    EXPECT_TRUE(index_->Failed());
    EXPECT_FALSE(index_->SeekRecord("A", 1, true));
    TheHost().RefuseLocks(false);
    uint32_t record = 0;
    ASSERT_TRUE(index_->First(&record, true));
    EXPECT_FALSE(index_->Failed());
    TheHost().RefuseLocks(true);
    record = 9;
    EXPECT_TRUE(index_->Next(&record, nullptr, true));
    EXPECT_EQ(record, 0U);
    EXPECT_TRUE(index_->Failed());
    record = 9;
    EXPECT_TRUE(index_->Previous(&record, true));
    EXPECT_EQ(record, 0U);
    record = 9;
    EXPECT_TRUE(index_->First(&record, true));
    EXPECT_EQ(record, 0U);
    EXPECT_TRUE(index_->Failed());
    record = 9;
    EXPECT_TRUE(index_->Last(&record, true));
    EXPECT_EQ(record, 0U);
    EXPECT_TRUE(index_->Failed());
    EXPECT_EQ(Text(index_->Error()), "Error locking 't.ovx' for read");
}

TEST_F(IndexWalkTest, AHeaderThatCannotBeReadIsNoRecord) {
    Create(0);
    Insert("A B");
    const auto failRead = [] { TheHost().FailCall("ovFile_Read", 1); };
    failRead();
    EXPECT_EQ(Sought(*index_, "A"), "at 0");
    EXPECT_TRUE(index_->Failed());
    EXPECT_EQ(Text(index_->Error()), "Error reading from 't.ovx': host text");
    uint32_t record = 0;
    ASSERT_TRUE(index_->First(&record, true));
    failRead();
    EXPECT_TRUE(index_->Next(&record, nullptr, true));
    EXPECT_EQ(record, 0U);
    EXPECT_TRUE(index_->Failed());
    ASSERT_TRUE(index_->Next(&record, nullptr, true));  // the walk has not moved
    EXPECT_EQ(record, 2U);
    EXPECT_FALSE(index_->Failed());
    failRead();
    EXPECT_TRUE(index_->Previous(&record, true));
    EXPECT_EQ(record, 0U);
    failRead();
    EXPECT_TRUE(index_->First(&record, true));
    EXPECT_EQ(record, 0U);
    failRead();
    EXPECT_TRUE(index_->Last(&record, true));
    EXPECT_EQ(record, 0U);
    EXPECT_TRUE(index_->Failed());
}

TEST_F(IndexWalkTest, APageThatCannotBeReadFailsEveryOperation) {
    Create(0);
    Insert("A B C D E F G H I");
    uint32_t record = 9;
    const auto failPage = [](int64_t number) { TheHost().FailCall("ovFile_Read", number); };
    for (const int64_t page : {2, 3}) {  // the root, the leaf
        failPage(page);
        EXPECT_EQ(Sought(*index_, "A"), "failed");
        EXPECT_EQ(Text(index_->Error()), "Error reading from 't.ovx': host text");
        failPage(page);
        EXPECT_FALSE(index_->First(&record, true));
        EXPECT_EQ(record, 0U);
        failPage(page);
        EXPECT_FALSE(index_->Last(&record, true));
        EXPECT_TRUE(index_->Failed());
        EXPECT_TRUE(TheHost().Locks().empty());
    }
    ASSERT_TRUE(index_->SeekRecord("E", 5, true));
    failPage(2);
    record = 9;
    EXPECT_FALSE(index_->Next(&record, nullptr, true));
    EXPECT_EQ(record, 0U);
    ASSERT_TRUE(index_->Next(&record, nullptr, true));  // the walk is over
    EXPECT_EQ(record, 0U);
    ASSERT_TRUE(index_->SeekRecord("E", 5, true));
    failPage(2);
    EXPECT_FALSE(index_->Previous(&record, true));
    EXPECT_TRUE(TheHost().Locks().empty());
}

TEST_F(IndexWalkTest, ClosingEndsTheWalk) {
    Create(0);
    Insert("A B");
    uint32_t record = 0;
    ASSERT_TRUE(index_->First(&record, true));
    ASSERT_TRUE(index_->Open("t.ovx", 3));
    ASSERT_TRUE(index_->Next(&record, nullptr, true));
    EXPECT_EQ(record, 0U);
}

}  // namespace
}  // namespace ovrasql
