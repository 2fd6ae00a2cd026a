// Removing keys: bytes, both ways of redistributing and of merging, the root that goes, deep trees.

#include "tests/storage/index_support.h"

namespace ovrasql {
namespace {

class IndexDeleteTest : public IndexTest {
  protected:
    void Delete(const std::string& key, uint32_t record) {
        ASSERT_TRUE(index_->DeleteKey(record, View(key))) << Text(index_->Error());
    }
    std::string Writes() { return TheHost().LogText({"ovFile_Write"}); }

    // Two leaves under a root: (A1 B2 C3 D4) E5 (F6 G7 H8 I9).
    void MakeTwoLeaves() {
        Create(0);
        Insert("A B C D E F G H I");
    }
};

TEST_F(IndexDeleteTest, ALeafClosesUp) {
    Create(0);
    Insert("A B C");
    TheHost().ClearLog();
    Delete("B", 2);
    // The entry that was last stays behind the live ones.
    EXPECT_EQ(TheHost().FileText("t.ovx"),
              IndexFile({.generation = 4},
                        {PageBytes({{0, 1, "A"}, {0, 3, "C"}}, 0, Little32(3) + "C")}));
    EXPECT_EQ(TheHost().LogText({"ovFile_Lock", "ovFile_Read", "ovFile_Write", "ovFile_Release"}),
              "ovFile_Lock t.ovx mode 2 at 0 length 427\n"
              "ovFile_Read t.ovx at 0 length 427\n"
              "ovFile_Read t.ovx at 1024 length 1024\n"
              "ovFile_Write t.ovx at 1024 length 1024\n"
              "ovFile_Write t.ovx at 0 length 427\n"
              "ovFile_Release t.ovx at 0 length 427\n");
}

TEST_F(IndexDeleteTest, TheLastKeyLeavesAnEmptyRoot) {
    Create(0);
    Insert("A");
    Delete("A", 1);
    EXPECT_EQ(Shape(), "");
    EXPECT_EQ(index_->RootPage(), 1U);
    EXPECT_EQ(Forward(*index_), "");
    Insert("B", 2);
    EXPECT_EQ(Shape(), "B2");
}

TEST_F(IndexDeleteTest, APairThatIsNotThereIsNotDeleted) {
    MakeTwoLeaves();
    const std::string before = TheHost().FileText("t.ovx");
    EXPECT_FALSE(index_->DeleteKey(2, "A"));
    EXPECT_EQ(Text(index_->Error()), "Record is not in index");
    EXPECT_TRUE(index_->Failed());
    EXPECT_FALSE(index_->DeleteKey(1, "AA"));
    EXPECT_FALSE(index_->DeleteKey(1, ""));
    EXPECT_EQ(TheHost().FileText("t.ovx"), before);
    EXPECT_EQ(index_->Generation(), 9U);
}

// A smaller entry is passed, a greater one does not end the search: everything right of the place
// is looked at.
TEST_F(IndexDeleteTest, AFailedSearchReadsEverySubtreeToTheRight) {
    Create(0);
    Insert("A B C D E F G H I J K L M N");  // (A B C D) E (F G H I) J (K L M N)
    TheHost().ClearLog();
    EXPECT_FALSE(index_->DeleteKey(99, "F"));
    EXPECT_EQ(TheHost().CallCount("ovFile_Read"), 4);  // header, root, two leaves
    TheHost().ClearLog();
    EXPECT_FALSE(index_->DeleteKey(99, "A"));
    EXPECT_EQ(TheHost().CallCount("ovFile_Read"), 5);
}

TEST_F(IndexDeleteTest, OneOfManyEqualKeysIsFoundInAnyPage) {
    Create(0);
    Insert("M M M M M M M M M M M M");
    EXPECT_EQ(Shape(), "(M12 M11 M10 M9 M8 M7 M6) M5 (M4 M3 M2 M1)");
    Delete("M", 2);
    EXPECT_EQ(Shape(), "(M12 M11 M10 M9 M8 M7 M6) M5 (M4 M3 M1)");
    Delete("M", 5);  // M4 takes its place, and the leaf left with two takes three from the left
    EXPECT_EQ(Shape(), "(M12 M11 M10 M9) M8 (M7 M6 M4 M3 M1)");
    Delete("M", 12);
    EXPECT_EQ(Shape(), "(M11 M10 M9) M8 (M7 M6 M4 M3 M1)");
}

TEST_F(IndexDeleteTest, ThreeKeysAreEnoughForALeaf) {
    MakeTwoLeaves();
    TheHost().ClearLog();
    Delete("A", 1);
    EXPECT_EQ(Shape(), "(B2 C3 D4) E5 (F6 G7 H8 I9)");
    EXPECT_EQ(TheHost().CallCount("ovFile_Read"), 3);  // no sibling
}

TEST_F(IndexDeleteTest, AnInnerKeyIsReplacedByItsSuccessor) {
    MakeTwoLeaves();
    TheHost().ClearLog();
    Delete("E", 5);
    EXPECT_EQ(Shape(), "(A1 B2 C3 D4) F6 (G7 H8 I9)");
    EXPECT_EQ(Writes(),
              "ovFile_Write t.ovx at 3072 length 1024\n"  // the root with the new key
              "ovFile_Write t.ovx at 2048 length 1024\n"  // the leaf it came from
              "ovFile_Write t.ovx at 0 length 427\n");
    EXPECT_EQ(FilePage(3), PageBytes({{1, 6, "F"}}, 2));
}

// The leaf on the left is short, the right one can spare a key: it passes through the parent.
TEST_F(IndexDeleteTest, AShortLeftLeafTakesFromTheRight) {
    MakeTwoLeaves();
    Delete("A", 1);
    TheHost().ClearLog();
    Delete("B", 2);
    const std::string behind = Little32(4) + Padded("D", 100) + EntryBytes({0, 5, "E"}) +
                               EntryBytes({0, 6, "F"}) + EntryBytes({0, 7, "G"}) +
                               EntryBytes({0, 8, "H"});
    EXPECT_EQ(TheHost().FileText("t.ovx"),
              IndexFile({.generation = 11, .nextPage = 4, .root = 3},
                        {PageBytes({{0, 3, "C"}, {0, 4, "D"}, {0, 5, "E"}}, 0, behind),
                         PageBytes({{0, 7, "G"}, {0, 8, "H"}, {0, 9, "I"}}, 0, Little32(9) + "I"),
                         PageBytes({{1, 6, "F"}}, 2)}));
    EXPECT_EQ(Writes(),
              "ovFile_Write t.ovx at 1024 length 1024\n"  // left
              "ovFile_Write t.ovx at 2048 length 1024\n"  // right
              "ovFile_Write t.ovx at 3072 length 1024\n"  // parent
              "ovFile_Write t.ovx at 0 length 427\n");
}

// Several keys move at once when the sibling has many: the counts come out even.
TEST_F(IndexDeleteTest, AShortLeftLeafTakesHalfOfTheSurplus) {
    MakeTwoLeaves();
    Insert("J K L M", 10);
    Delete("A", 1);
    Delete("B", 2);  // 2 and 8: R - 1 - (L + R) / 2 = 2 beside the one through the parent
    EXPECT_EQ(Shape(), "(C3 D4 E5 F6 G7) H8 (I9 J10 K11 L12 M13)");
}

TEST_F(IndexDeleteTest, AShortRightLeafTakesFromTheLeft) {
    MakeTwoLeaves();
    Insert("AA AB AC AD", 10);
    EXPECT_EQ(Shape(), "(A1 AA10 AB11 AC12 AD13 B2 C3 D4) E5 (F6 G7 H8 I9)");
    Delete("F", 6);
    TheHost().ClearLog();
    Delete("G", 7);  // 8 and 2: two go over beside the one through the parent
    EXPECT_EQ(Shape(), "(A1 AA10 AB11 AC12 AD13) B2 (C3 D4 E5 H8 I9)");
    // Behind the left page's entries: C where it stood last, D where it stood last and before.
    const std::string behind =
        Little32(3) + Padded("C", 100) + EntryBytes({0, 4, "D"}) + EntryBytes({0, 4, "D"});
    EXPECT_EQ(
        TheHost().FileText("t.ovx"),
        IndexFile(
            {.generation = 15, .nextPage = 4, .root = 3},
            {PageBytes({{0, 1, "A"}, {0, 10, "AA"}, {0, 11, "AB"}, {0, 12, "AC"}, {0, 13, "AD"}}, 0,
                       behind),
             PageBytes({{0, 3, "C"}, {0, 4, "D"}, {0, 5, "E"}, {0, 8, "H"}, {0, 9, "I"}}),
             PageBytes({{1, 2, "B"}}, 2)}));
    EXPECT_EQ(Writes(),
              "ovFile_Write t.ovx at 2048 length 1024\n"  // right as it is, first
              "ovFile_Write t.ovx at 1024 length 1024\n"
              "ovFile_Write t.ovx at 2048 length 1024\n"
              "ovFile_Write t.ovx at 3072 length 1024\n"
              "ovFile_Write t.ovx at 0 length 427\n");
}

// The left sibling is asked first.
TEST_F(IndexDeleteTest, BetweenTwoRichSiblingsTheLeftOneGives) {
    Create(0);
    Insert("A B C D E F G H I J K L M N");
    Delete("F", 6);
    TheHost().ClearLog();
    Delete("G", 7);
    EXPECT_EQ(Shape(), "(A1 B2 C3) D4 (E5 H8 I9) J10 (K11 L12 M13 N14)");
    EXPECT_EQ(TheHost().CallCount("ovFile_Read"), 5);  // both siblings are read
}

// The left sibling has no more than it needs: the page goes into it. The root runs out of keys,
// and the left page becomes the root.
TEST_F(IndexDeleteTest, AShortRightLeafMergesIntoTheLeftOne) {
    MakeTwoLeaves();
    Delete("A", 1);
    Delete("F", 6);
    TheHost().ClearLog();
    Delete("G", 7);
    EXPECT_EQ(Shape(), "B2 C3 D4 E5 H8 I9");
    // Behind the live entries: G and H from before the split; the right page's I, once for each
    // step that closed it up; the root's last key and its right child.
    const std::string behindLeft = Little32(7) + Padded("G", 100) + EntryBytes({0, 8, "H"});
    const std::string closedUp = EntryBytes({0, 9, "I"});
    const std::string behindRight = closedUp.substr(4) + closedUp + closedUp + closedUp;
    const std::string behindRoot = Little32(5) + Padded("E", 100) + Little32(2);
    EXPECT_EQ(
        TheHost().FileText("t.ovx"),
        IndexFile(
            {.generation = 12, .nextPage = 4, .root = 1},
            {PageBytes(
                 {{0, 2, "B"}, {0, 3, "C"}, {0, 4, "D"}, {0, 5, "E"}, {0, 8, "H"}, {0, 9, "I"}}, 0,
                 behindLeft),
             PageBytes({}, 0, behindRight), PageBytes({}, 1, behindRoot)}));
    EXPECT_EQ(Writes(),
              "ovFile_Write t.ovx at 1024 length 1024\n"
              "ovFile_Write t.ovx at 2048 length 1024\n"
              "ovFile_Write t.ovx at 3072 length 1024\n"
              "ovFile_Write t.ovx at 0 length 427\n");
    Insert("X", 20);
    EXPECT_EQ(index_->PageCount(), 4U);  // the pages that went are not used again
}

TEST_F(IndexDeleteTest, AShortLeftmostLeafTakesTheRightOneIn) {
    MakeTwoLeaves();
    Delete("I", 9);
    Delete("A", 1);
    TheHost().ClearLog();
    Delete("B", 2);
    EXPECT_EQ(Shape(), "C3 D4 E5 F6 G7 H8");
    const std::string last = EntryBytes({0, 8, "H"});
    const std::string behindRight = last.substr(4) + last + last + EntryBytes({0, 9, "I"});
    EXPECT_EQ(
        TheHost().FileText("t.ovx"),
        IndexFile(
            {.generation = 12, .nextPage = 4, .root = 1},
            {PageBytes(
                 {{0, 3, "C"}, {0, 4, "D"}, {0, 5, "E"}, {0, 6, "F"}, {0, 7, "G"}, {0, 8, "H"}}, 0,
                 Little32(7) + Padded("G", 100) + last),
             PageBytes({}, 0, behindRight),
             PageBytes({}, 1, Little32(5) + Padded("E", 100) + Little32(2))}));
    EXPECT_EQ(Writes(),
              "ovFile_Write t.ovx at 1024 length 1024\n"
              "ovFile_Write t.ovx at 2048 length 1024\n"
              "ovFile_Write t.ovx at 3072 length 1024\n"
              "ovFile_Write t.ovx at 0 length 427\n");
}

TEST_F(IndexDeleteTest, AMergeInTheMiddleTakesOneKeyFromTheParent) {
    Create(0);
    Insert("A B C D E F G H I J K L M N");
    Delete("A", 1);
    Delete("N", 14);
    Delete("F", 6);
    Delete("G", 7);
    EXPECT_EQ(Shape(), "(B2 C3 D4 E5 H8 I9) J10 (K11 L12 M13)");
    EXPECT_EQ(index_->RootPage(), 3U);  // it still has a key
}

TEST_F(IndexDeleteTest, AnInnerKeyWhoseSuccessorLeavesAShortLeafMerges) {
    MakeTwoLeaves();
    Delete("A", 1);
    Delete("I", 9);
    Delete("E", 5);
    EXPECT_EQ(Shape(), "B2 C3 D4 F6 G7 H8");
}

// Three levels: merges go up until a page has enough, the root last.
TEST_F(IndexDeleteTest, ADeepTreeShrinksToNothing) {
    Create(0);
    const uint32_t count = 600;
    for (uint32_t record = 1; record <= count; ++record) {
        ASSERT_TRUE(index_->InsertKey(record, View(std::to_string(10000 + record))));
    }
    const uint32_t pages = index_->PageCount();
    for (uint32_t step = 0; step < count; ++step) {
        const uint32_t record = step * 7 % 600 + 1;  // 7 and 600 share no divisor: every record
        ASSERT_TRUE(index_->DeleteKey(record, View(std::to_string(10000 + record))))
            << Text(index_->Error());
        if (step % 10 == 0) {
            const IndexShape shape("t.ovx");
            ASSERT_EQ(shape.Faults(), "") << record;
            ASSERT_EQ(shape.Keys().size(), count - step - 1);
        }
    }
    EXPECT_EQ(Shape(), "");
    EXPECT_EQ(index_->PageCount(), pages);
    EXPECT_EQ(index_->Generation(), 2 * count);
}

// Ten leaves of four keys, five under each of two inner pages. A merge leaves the left inner page
// with the three keys that it needs; the next one leaves it short, and it takes from the right.
TEST_F(IndexDeleteTest, AnInnerPageIsMendedOnlyWhenItIsShort) {
    Create(0);
    for (uint32_t record = 1; record <= 49; ++record) {
        ASSERT_TRUE(index_->InsertKey(record, View(std::to_string(100 + record))));
    }
    EXPECT_EQ(IndexShape("t.ovx").Line().substr(0, 75),
              "((1011 1022 1033 1044) 1055 (1066 1077 1088 1099) 11010 (11111 11212 11313 ");
    Delete("106", 6);
    Delete("101", 1);
    TheHost().ClearLog();
    Delete("102", 2);
    EXPECT_EQ(Writes(),
              "ovFile_Write t.ovx at 1024 length 1024\n"  // the two leaves
              "ovFile_Write t.ovx at 2048 length 1024\n"
              "ovFile_Write t.ovx at 3072 length 1024\n"  // their parent
              "ovFile_Write t.ovx at 0 length 427\n");
    for (const uint32_t record : {11U, 3U, 4U, 5U}) {
        Delete(std::to_string(100 + record), record);
    }
    TheHost().ClearLog();
    Delete("107", 7);
    EXPECT_EQ(Writes(),
              "ovFile_Write t.ovx at 1024 length 1024\n"
              "ovFile_Write t.ovx at 4096 length 1024\n"
              "ovFile_Write t.ovx at 3072 length 1024\n"   // left, right and their parent,
              "ovFile_Write t.ovx at 12288 length 1024\n"  // of the inner pages
              "ovFile_Write t.ovx at 13312 length 1024\n"
              "ovFile_Write t.ovx at 0 length 427\n");
    EXPECT_EQ(IndexShape("t.ovx").Faults(), "");
}

// More subtrees than a path is long are looked through, one after the other.
TEST_F(IndexDeleteTest, ASearchInVainMayVisitManyPages) {
    Create(0);
    for (uint32_t record = 1; record <= 600; ++record) {
        ASSERT_TRUE(index_->InsertKey(record, View(std::to_string(10000 + record))));
    }
    EXPECT_GT(index_->PageCount(), 100U);
    EXPECT_FALSE(index_->DeleteKey(601, "10001"));
    EXPECT_EQ(Text(index_->Error()), "Record is not in index");
}

// --- Failures

TEST_F(IndexDeleteTest, EachFailureHasItsMessageAndLeavesTheGeneration) {
    struct Case {
        std::string service;
        int64_t call;
        std::string message;
    };
    MakeTwoLeaves();
    Delete("A", 1);
    Delete("F", 6);  // the next one merges: reads 1 to 4, writes 1 to 4
    const std::string before = TheHost().FileText("t.ovx");
    const std::string readMessage = "Error reading from 't.ovx': host text";
    const std::string writeMessage = "Error writing to 't.ovx': host text";
    for (const Case& each :
         {Case{"ovFile_Lock", 1, "Error locking 't.ovx' for write"},
          Case{"ovFile_Read", 1, readMessage}, Case{"ovFile_Read", 2, readMessage},
          Case{"ovFile_Read", 3, readMessage}, Case{"ovFile_Read", 4, readMessage},
          Case{"ovFile_Write", 1, writeMessage}, Case{"ovFile_Write", 2, writeMessage},
          Case{"ovFile_Write", 3, writeMessage}, Case{"ovFile_Write", 4, writeMessage}}) {
        TheHost().FailCall(each.service, each.call);
        EXPECT_FALSE(index_->DeleteKey(7, "G"));
        EXPECT_TRUE(TheHost().FailureHappened()) << each.service << each.call;
        EXPECT_EQ(Text(index_->Error()), each.message);
        EXPECT_TRUE(index_->Failed());
        EXPECT_TRUE(TheHost().Locks().empty());
        EXPECT_EQ(FileHeader(), before.substr(0, 427));
        TheHost().ClearFailures();
        TheHost().SetFile("t.ovx", before);
    }
}

TEST_F(IndexDeleteTest, AFailedRedistributionFails) {
    MakeTwoLeaves();
    Delete("A", 1);
    const std::string before = TheHost().FileText("t.ovx");
    for (int64_t write = 1; write <= 4; ++write) {
        TheHost().FailCall("ovFile_Write", write);
        EXPECT_FALSE(index_->DeleteKey(2, "B"));
        EXPECT_EQ(Text(index_->Error()), "Error writing to 't.ovx': host text");
        TheHost().SetFile("t.ovx", before);
    }
}

// --- The entry under the walk

TEST_F(IndexDeleteTest, TheCurrentEntryIsDeletedWithoutRaisingTheGeneration) {
    MakeTwoLeaves();
    ASSERT_TRUE(index_->SeekRecord("G", 7, true));
    ASSERT_TRUE(index_->DeleteCurrentKey(7));
    EXPECT_EQ(Shape(), "(A1 B2 C3 D4) E5 (F6 H8 I9)");
    EXPECT_EQ(FileHeader(), IndexHeaderBytes({.generation = 9, .nextPage = 4, .root = 3}));
    uint32_t record = 9;
    EXPECT_TRUE(index_->Next(&record, nullptr, true));
    EXPECT_EQ(record, 0U);  // the walk has ended
}

TEST_F(IndexDeleteTest, TheCurrentEntryMayStandInTheRoot) {
    MakeTwoLeaves();
    ASSERT_TRUE(index_->SeekRecord("E", 5, true));
    ASSERT_TRUE(index_->DeleteCurrentKey(5));
    EXPECT_EQ(Shape(), "(A1 B2 C3 D4) F6 (G7 H8 I9)");
}

TEST_F(IndexDeleteTest, DeletingTheCurrentEntryMergesAndMovesTheRoot) {
    MakeTwoLeaves();
    Delete("A", 1);
    Delete("I", 9);
    ASSERT_TRUE(index_->SeekRecord("G", 7, true));
    ASSERT_TRUE(index_->DeleteCurrentKey(7));
    EXPECT_EQ(Shape(), "B2 C3 D4 E5 F6 H8");
    EXPECT_EQ(FileHeader(), IndexHeaderBytes({.generation = 11, .nextPage = 4, .root = 1}));
}

TEST_F(IndexDeleteTest, TheCurrentEntryIsFoundAgainAfterAChange) {
    MakeTwoLeaves();
    ASSERT_TRUE(index_->SeekRecord("G", 7, true));
    OvraSQLIndex other(database_);
    ASSERT_TRUE(other.Open("t.ovx", 3));
    ASSERT_TRUE(other.InsertKey(20, "FF"));
    ASSERT_TRUE(index_->DeleteCurrentKey(7));
    EXPECT_EQ(Shape(), "(A1 B2 C3 D4) E5 (F6 FF20 H8 I9)");
}

TEST_F(IndexDeleteTest, TheCurrentEntryStaysWhenItsIndexCannotBeRead) {
    MakeTwoLeaves();
    ASSERT_TRUE(index_->SeekRecord("G", 7, true));
    const std::string before = TheHost().FileText("t.ovx");
    TheHost().FailCall("ovFile_Read", 1);
    EXPECT_FALSE(index_->DeleteCurrentKey(7));
    EXPECT_EQ(Text(index_->Error()), "Error reading from 't.ovx': host text");
    EXPECT_EQ(TheHost().FileText("t.ovx"), before);
}

// After the header, whose generation is another one, the search for the place reads it again, and
// then the root.
TEST_F(IndexDeleteTest, TheCurrentEntryStaysWhenItsPlaceCannotBeFoundAgain) {
    MakeTwoLeaves();
    ASSERT_TRUE(index_->SeekRecord("G", 7, true));
    OvraSQLIndex other(database_);
    ASSERT_TRUE(other.Open("t.ovx", 3));
    ASSERT_TRUE(other.InsertKey(20, "FF"));
    const std::string before = TheHost().FileText("t.ovx");
    TheHost().FailCall("ovFile_Read", 3);
    EXPECT_FALSE(index_->DeleteCurrentKey(7));
    EXPECT_EQ(Text(index_->Error()), "Error reading from 't.ovx': host text");
    EXPECT_EQ(TheHost().FileText("t.ovx"), before);
}

// Both leaves, the root that has run empty, and the header with the new root.
TEST_F(IndexDeleteTest, EachFailedWriteBehindTheCurrentEntryIsTold) {
    MakeTwoLeaves();
    Delete("A", 1);
    Delete("I", 9);
    const std::string before = TheHost().FileText("t.ovx");
    for (int64_t write = 1; write <= 4; ++write) {
        ASSERT_TRUE(index_->SeekRecord("G", 7, true));
        TheHost().FailCall("ovFile_Write", write);
        EXPECT_FALSE(index_->DeleteCurrentKey(7));
        EXPECT_TRUE(TheHost().FailureHappened());
        EXPECT_EQ(Text(index_->Error()), "Error writing to 't.ovx': host text");
        TheHost().SetFile("t.ovx", before);
    }
}

// Required: a deletion under a walk raises no generation, so another walk can go on from a root
// that has gone. Its last page is then underfull and has no parent.
TEST_F(IndexDeleteTest, ARootThatHasGoneUnderAWalkHasNoParentToMendIt) {
    MakeTwoLeaves();
    Delete("A", 1);
    Delete("I", 9);
    ASSERT_TRUE(index_->SeekRecord("F", 6, true));
    OvraSQLIndex other(database_);
    ASSERT_TRUE(other.Open("t.ovx", 3));
    for (const auto& [key, record] : {std::pair{"G", 7U}, {"H", 8U}, {"F", 6U}, {"E", 5U}}) {
        ASSERT_TRUE(other.SeekRecord(key, record, true));
        ASSERT_TRUE(other.DeleteCurrentKey(record));
    }
    EXPECT_EQ(Shape(), "B2 C3 D4");
    EXPECT_TRUE(index_->DeleteCurrentKey(6));
    EXPECT_FALSE(index_->Failed());
    EXPECT_EQ(Sought(*index_, "C"), "found 3");
}

// A missed search stands behind the last entry; what is left there of an older one does not count.
TEST_F(IndexDeleteTest, BehindTheLastEntryThereIsNothingToDelete) {
    OpenBytes(IndexFile({}, {PageBytes({{0, 1, "A"}}, 0, Little32(7) + "B")}));
    EXPECT_EQ(Sought(*index_, "X"), "at 1");
    EXPECT_FALSE(index_->DeleteCurrentKey(7));
    EXPECT_EQ(Text(index_->Error()), "Record is not in index");
}

TEST_F(IndexDeleteTest, AnotherRecordOrNoWalkIsNotDeleted) {
    MakeTwoLeaves();
    const std::string before = TheHost().FileText("t.ovx");
    EXPECT_FALSE(index_->DeleteCurrentKey(1));
    EXPECT_EQ(Text(index_->Error()), "Record is not in index");
    ASSERT_TRUE(index_->SeekRecord("G", 7, true));
    EXPECT_FALSE(index_->DeleteCurrentKey(6));
    EXPECT_EQ(Text(index_->Error()), "Record is not in index");
    EXPECT_EQ(TheHost().FileText("t.ovx"), before);
    EXPECT_TRUE(index_->DeleteCurrentKey(7));  // the walk stands where it stood
}

}  // namespace
}  // namespace ovrasql
