// Adding keys: bytes, splits, the order of writes, UNIQUE.

#include "tests/storage/index_support.h"

namespace ovrasql {
namespace {

class IndexInsertTest : public IndexTest {};

TEST_F(IndexInsertTest, AKeyIsWrittenIntoTheLeafAndTheGenerationRises) {
    Create(0);
    TheHost().ClearLog();
    Insert("B", 5);
    EXPECT_EQ(TheHost().FileText("t.ovx"),
              IndexFile({.generation = 1}, {PageBytes({{0, 5, "B"}})}));
    EXPECT_EQ(TheHost().LogText(),
              "ovFile_Lock t.ovx mode 2 at 0 length 427\n"
              "ovFile_Seek t.ovx at 0\n"
              "ovFile_Read t.ovx at 0 length 427\n"
              "ovFile_Seek t.ovx at 1024\n"
              "ovFile_Read t.ovx at 1024 length 1024\n"
              "ovFile_Seek t.ovx at 1024\n"
              "ovFile_Write t.ovx at 1024 length 1024\n"
              "ovFile_Seek t.ovx at 0\n"
              "ovFile_Write t.ovx at 0 length 427\n"
              "ovFile_Release t.ovx at 0 length 427\n");
    EXPECT_EQ(index_->Generation(), 1U);
}

// The example of docs/formats-ovx.md.
TEST_F(IndexInsertTest, TheDocumentedExampleIsWhatLiesInTheFile) {
    ASSERT_TRUE(index_->Create("t.ovx", "toupper( d.NAME )", kIndexTextOnly));
    Insert("ANNA BOB");
    const std::string zeros(96, '\0');
    EXPECT_EQ(TheHost().FileText("t.ovx"),
              Padded(Padded(FromHex("4F 56 58 49 03 02 00 00 00 02 00 00 00 01 00 00 00"
                                    "08 00 00 04 6C 00 04 00 00 00"
                                    "74 6F 75 70 70 65 72 28 20 64 2E 4E 41 4D 45 20 29"),
                            1024) +
                         FromHex("02 00 00 00 00 00 00 00 01 00 00 00 41 4E 4E 41") + zeros +
                         FromHex("00 00 00 00 02 00 00 00 42 4F 42"),
                     2048));
}

// A shorter key leaves the end of the one that stood there.
TEST_F(IndexInsertTest, AnEntryInFrontMovesTheOthersUp) {
    Create(0);
    Insert("LAST", 1);
    Insert("A", 2);
    EXPECT_EQ(FilePage(1), PageBytes({{0, 2, std::string("A\0ST", 4)}, {0, 1, "LAST"}}));
}

TEST_F(IndexInsertTest, EqualKeysRunNewestFirst) {
    Create(0);
    Insert("B B A B C B");
    EXPECT_EQ(Shape(), "A3 B6 B4 B2 B1 C5");
}

TEST_F(IndexInsertTest, NumbersAreOrderedByValueUnlessTheIndexIsText) {
    Create(0);
    Insert("10 9 100 9.0");
    EXPECT_EQ(Shape(), "9.04 92 101 1003");
    Create(kIndexTextOnly);
    Insert("10 9 100 9.0");
    EXPECT_EQ(Shape(), "101 1003 92 9.04");
}

TEST_F(IndexInsertTest, ADescendingIndexRunsBackward) {
    Create(kIndexDescending);
    Insert("B A C B");
    EXPECT_EQ(Shape(), "C3 B4 B1 A2");
}

// Nine entries: four stay, one goes up, four go right. Behind its live entries the old page keeps
// what it had.
TEST_F(IndexInsertTest, TheNinthKeySplitsALeaf) {
    Create(0);
    Insert("A B C D E F G H");
    TheHost().ClearLog();
    Insert("I", 9);
    const std::string stale = Little32(5) + Padded("E", 100) + EntryBytes({0, 6, "F"}) +
                              EntryBytes({0, 7, "G"}) + EntryBytes({0, 8, "H"});
    EXPECT_EQ(TheHost().FileText("t.ovx"),
              IndexFile({.generation = 9, .nextPage = 4, .root = 3},
                        {PageBytes({{0, 1, "A"}, {0, 2, "B"}, {0, 3, "C"}, {0, 4, "D"}}, 0, stale),
                         PageBytes({{0, 6, "F"}, {0, 7, "G"}, {0, 8, "H"}, {0, 9, "I"}}),
                         PageBytes({{1, 5, "E"}}, 2)}));
    EXPECT_EQ(TheHost().LogText({"ovFile_Write"}),
              "ovFile_Write t.ovx at 0 length 427\n"      // the next page number
              "ovFile_Write t.ovx at 1024 length 1024\n"  // the old page
              "ovFile_Write t.ovx at 2048 length 1024\n"  // the new one
              "ovFile_Write t.ovx at 3072 length 1024\n"  // the root
              "ovFile_Write t.ovx at 0 length 427\n");    // root number and generation
}

TEST_F(IndexInsertTest, TheNewKeyMayGoUpItself) {
    Create(0);
    Insert("A B C D F G H I");
    Insert("E", 9);
    EXPECT_EQ(Shape(), "(A1 B2 C3 D4) E9 (F5 G6 H7 I8)");
}

TEST_F(IndexInsertTest, TheNewKeyMayGoLeft) {
    Create(0);
    Insert("A B D E F G H I");
    Insert("C", 9);
    EXPECT_EQ(Shape(), "(A1 B2 C9 D3) E4 (F5 G6 H7 I8)");
}

// The root has eight keys and nine leaves; the next leaf that splits splits it as well.
TEST_F(IndexInsertTest, AFullRootSplitsBehindItsLeaf) {
    Create(0);
    uint32_t record = 0;
    while (index_->PageCount() < 11) {
        const std::string key = std::to_string(100 + record);
        ASSERT_TRUE(index_->InsertKey(record, View(key)));
        ++record;
    }
    // Keys rise, so each split leaves 4 in the last leaf: 9 keys for the first, 5 for each of
    // seven.
    EXPECT_EQ(record, 44U);
    while (index_->PageCount() < 13) {
        TheHost().ClearLog();
        const std::string key = std::to_string(100 + record);
        ASSERT_TRUE(index_->InsertKey(record, View(key)));
        ++record;
    }
    EXPECT_EQ(IndexShape("t.ovx").Faults(), "");
    EXPECT_EQ(index_->RootPage(), 13U);
    EXPECT_EQ(TheHost().LogText({"ovFile_Write"}),
              "ovFile_Write t.ovx at 0 length 427\n"
              "ovFile_Write t.ovx at 10240 length 1024\n"
              "ovFile_Write t.ovx at 11264 length 1024\n"
              "ovFile_Write t.ovx at 0 length 427\n"
              "ovFile_Write t.ovx at 3072 length 1024\n"
              "ovFile_Write t.ovx at 12288 length 1024\n"
              "ovFile_Write t.ovx at 13312 length 1024\n"
              "ovFile_Write t.ovx at 0 length 427\n");
}

TEST_F(IndexInsertTest, ADoubleKeyInAUniqueIndexIsRefusedBeforeAnyWrite) {
    Create(kIndexUnique);
    Insert("A B C D E F G H I");
    const std::string before = TheHost().FileText("t.ovx");
    for (const char* key : {"E", "B"}) {  // in the root, in a leaf
        EXPECT_FALSE(index_->InsertKey(20, key));
        EXPECT_EQ(Text(index_->Error()),
                  "Index 't.ovx' was created with the UNIQUE flag and the key '" +
                      std::string(key) + "' already exists in the index file");
        EXPECT_TRUE(index_->Failed());
    }
    EXPECT_EQ(TheHost().FileText("t.ovx"), before);
}

TEST_F(IndexInsertTest, TheUniqueMessageShowsTheKeyAsCut) {
    Create(kIndexUnique);
    const std::string key(99, 'K');
    ASSERT_TRUE(index_->InsertKey(1, View(key + "A")));
    EXPECT_FALSE(index_->InsertKey(2, View(key + "B")));
    EXPECT_EQ(Text(index_->Error()),
              "Index 't.ovx' was created with the UNIQUE flag and the key '" + key +
                  "' already exists in the index file");
}

// UNIQUE goes by comparison, so two numbers of one value are one key.
TEST_F(IndexInsertTest, UniqueNumbersAreUniqueByValue) {
    Create(kIndexUnique);
    Insert("10");
    EXPECT_FALSE(index_->InsertKey(2, "0010.0"));
    EXPECT_TRUE(index_->InsertKey(2, "0010.5"));
}

// Required: a NaN stands before every number, and every number before it, whichever is looked for.
// So it hides the keys behind it from a search and from the test for UNIQUE. The search for a
// record goes on through later keys and finds them.
TEST_F(IndexInsertTest, ANotANumberHidesUniqueNumbersBehindIt) {
    Create(kIndexUnique);
    Insert("5 NAN 7");
    EXPECT_EQ(Shape(), "73 NAN2 51");
    EXPECT_EQ(Sought(*index_, "5"), "at 3");
    EXPECT_TRUE(index_->InsertKey(4, "5"));
    EXPECT_EQ(Shape(), "54 73 NAN2 51");
    EXPECT_EQ(Sought(*index_, "7"), "found 3");
    EXPECT_TRUE(index_->DeleteKey(1, "5"));
    EXPECT_TRUE(index_->DeleteKey(4, "5"));
    EXPECT_FALSE(index_->DeleteKey(2, "NAN"));
    EXPECT_EQ(Text(index_->Error()), "Record is not in index");
    EXPECT_EQ(Shape(), "73 NAN2");
}

TEST_F(IndexInsertTest, EachFailureHasItsMessageAndLeavesTheGeneration) {
    Create(0);
    Insert("A B C D E F G H");
    struct Case {
        std::string service;
        int64_t call;
        std::string message;
    };
    for (const Case& each : {Case{"ovFile_Lock", 1, "Error locking 't.ovx' for write"},
                             Case{"ovFile_Seek", 1, "Error reading from 't.ovx': host text"},
                             Case{"ovFile_Read", 1, "Error reading from 't.ovx': host text"},
                             Case{"ovFile_Seek", 2, "Error reading from 't.ovx': host text"},
                             Case{"ovFile_Read", 2, "Error reading from 't.ovx': host text"},
                             Case{"ovFile_Write", 1, "Error writing to 't.ovx': host text"},
                             Case{"ovFile_Write", 2, "Error writing to 't.ovx': host text"},
                             Case{"ovFile_Write", 3, "Error writing to 't.ovx': host text"},
                             Case{"ovFile_Write", 4, "Error writing to 't.ovx': host text"},
                             Case{"ovFile_Write", 5, "Error writing to 't.ovx': host text"}}) {
        const std::string before = TheHost().FileText("t.ovx");
        TheHost().FailCall(each.service, each.call);
        EXPECT_FALSE(index_->InsertKey(9, "I"));
        EXPECT_TRUE(TheHost().FailureHappened());
        EXPECT_EQ(Text(index_->Error()), each.message);
        EXPECT_TRUE(index_->Failed());
        EXPECT_TRUE(TheHost().Locks().empty());
        EXPECT_EQ(FileHeader().substr(5, 4), before.substr(5, 4));
        TheHost().ClearFailures();
        TheHost().SetFile("t.ovx", before);
    }
    EXPECT_TRUE(index_->InsertKey(9, "I"));
    EXPECT_FALSE(index_->Failed());
    EXPECT_EQ(Shape(), "(A1 B2 C3 D4) E5 (F6 G7 H8 I9)");
}

// The page number may not wrap, so one is left for each of 64 levels and a new root. Refused before
// anything is written.
TEST_F(IndexInsertTest, ExhaustedPageNumbersFailAsAWrite) {
    constexpr uint32_t last = 0xFFFFFFFFU - 65;
    OpenBytes(IndexFile({.nextPage = last}, {PageBytes({})}));
    EXPECT_TRUE(index_->InsertKey(1, "A")) << Text(index_->Error());
    const std::string bytes = IndexFile({.nextPage = last + 1}, {PageBytes({})});
    OpenBytes(bytes);
    EXPECT_FALSE(index_->InsertKey(1, "A"));
    EXPECT_EQ(Text(index_->Error()), "Error writing to 't.ovx': File is full");
    EXPECT_EQ(TheHost().FileText("t.ovx"), bytes);
}

}  // namespace
}  // namespace ovrasql
