// Index files that no writer of ours makes: every operation must end, with a message, and read
// nothing outside its pages. A file may come from anywhere.

#include <functional>
#include <random>

#include "tests/storage/index_support.h"

namespace ovrasql {
namespace {

const std::string kCorrupt = "Error reading from 't.ovx': File is corrupt";
const std::string kReadError = "Error reading from 't.ovx': host text";

class IndexDamageTest : public IndexTest {
  protected:
    std::string Message() { return Text(index_->Error()); }

    // Every operation once, and walks to their ends. What they give is not looked at: they must
    // come back.
    void RunEverything() {
        for (const char* key : {"A", "M", "Z", ""}) {
            for (const bool exact : {true, false}) {
                Sought(*index_, key, exact);
                Walk(true);
                Sought(*index_, key, exact);
                Walk(false);
            }
            RanThrough(index_->SeekRecord(key, 12345, true));
        }
        Forward(*index_);
        Backward(*index_);
        for (const char* key : {"A", "M", "Z", "5"}) {
            RanThrough(index_->InsertKey(1, key));
            RanThrough(index_->DeleteKey(1, key));
            RanThrough(index_->DeleteKey(12345, key));
            uint32_t record = 0;
            RanThrough(index_->First(&record, true));
            RanThrough(index_->DeleteCurrentKey(record));
            RanThrough(index_->Last(&record, true));
            RanThrough(index_->DeleteCurrentKey(record));
        }
    }

    static void RanThrough(bool) {}

    // The most entries that a walk can report is what the file's pages could hold.
    void Walk(bool forward) {
        uint64_t steps = 0;
        uint32_t record = 1;
        while ((forward ? index_->Next(&record, nullptr, true) : index_->Previous(&record, true)) &&
               record != 0) {
            ASSERT_LE(++steps, uint64_t{index_->PageCount()} * 9000);
        }
    }
};

TEST_F(IndexDamageTest, APageBelowItselfIsCorrupt) {
    OpenBytes(
        IndexFile({.nextPage = 3}, {PageBytes({{2, 1, "M"}}, 2), PageBytes({{1, 2, "C"}}, 1)}));
    uint32_t record = 9;
    EXPECT_FALSE(index_->First(&record, true));
    EXPECT_EQ(record, 0U);
    EXPECT_EQ(Message(), kCorrupt);
    EXPECT_FALSE(index_->Last(&record, true));
    EXPECT_EQ(Sought(*index_, "A"), "failed");
    EXPECT_EQ(Message(), kCorrupt);
    const std::string before = TheHost().FileText("t.ovx");
    EXPECT_FALSE(index_->InsertKey(1, "A"));
    EXPECT_EQ(Message(), kCorrupt);
    EXPECT_FALSE(index_->DeleteKey(9, "A"));
    EXPECT_EQ(Message(), kCorrupt);
    EXPECT_EQ(TheHost().FileText("t.ovx"), before);
}

TEST_F(IndexDamageTest, ACycleMetByAStepIsCorrupt) {
    OpenBytes(IndexFile({.nextPage = 3}, {PageBytes({{2, 1, "M"}}, 1), PageBytes({{0, 2, "C"}})}));
    uint32_t record = 0;
    ASSERT_TRUE(index_->First(&record, true));
    EXPECT_EQ(record, 2U);
    ASSERT_TRUE(index_->Next(&record, nullptr, true));
    EXPECT_EQ(record, 1U);
    EXPECT_FALSE(index_->Next(&record, nullptr, true));
    EXPECT_EQ(record, 0U);
    EXPECT_EQ(Message(), kCorrupt);
    EXPECT_TRUE(index_->Failed());
}

// Each page's children are all the next page: nine to the power of the depth steps, if nobody
// counted. The header may allow for every page number there is.
TEST_F(IndexDamageTest, SharedPagesDoNotMultiplyAWalk) {
    const uint32_t depth = 30;
    std::vector<std::string> pages;
    for (uint32_t page = 1; page <= depth; ++page) {
        const uint32_t child = page == depth ? 0 : page + 1;
        pages.push_back(PageBytes(std::vector<Entry>(8, Entry{child, page, "M"}), child));
    }
    for (const uint32_t nextPage : {depth + 1, 0xFFFFFFFFU}) {
        OpenBytes(IndexFile({.nextPage = nextPage}, pages));
        uint32_t record = 0;
        uint32_t steps = 0;
        ASSERT_TRUE(index_->First(&record, true));
        while (index_->Next(&record, nullptr, true)) {
            ASSERT_NE(record, 0U);
            ASSERT_LE(++steps, 31U * 9U);
        }
        EXPECT_EQ(Message(), kCorrupt);
        ASSERT_TRUE(index_->Last(&record, true));
        while (index_->Previous(&record, true)) {
            ASSERT_NE(record, 0U);
            ASSERT_LE(++steps, 2 * 31U * 9U);
        }
        EXPECT_EQ(Message(), kCorrupt);
        EXPECT_FALSE(index_->SeekRecord("M", 999, true));
        EXPECT_EQ(Message(), kCorrupt);
        EXPECT_FALSE(index_->DeleteKey(999, "M"));
        EXPECT_EQ(Message(), kCorrupt);
    }
}

TEST_F(IndexDamageTest, ATreeDeeperThanAnyTreeIsCorrupt) {
    std::vector<std::string> pages;
    for (uint32_t page = 1; page <= 65; ++page) {
        const uint32_t child = page == 65 ? 0 : page + 1;
        pages.push_back(PageBytes({{child, page, "M"}}, child));
    }
    OpenBytes(IndexFile({.nextPage = 66}, pages));
    uint32_t record = 0;
    EXPECT_FALSE(index_->First(&record, true));
    EXPECT_EQ(Message(), kCorrupt);
    EXPECT_FALSE(index_->InsertKey(1, "A"));
    EXPECT_EQ(Message(), kCorrupt);
    EXPECT_FALSE(index_->DeleteKey(99, "A"));
    EXPECT_EQ(Message(), kCorrupt);
}

// A count that the page cannot hold reports like a page that cannot be read.
TEST_F(IndexDamageTest, ABadKeyCountIsAReadError) {
    for (const uint32_t count : {10U, 0xFFFFFFFFU, 0x80000000U}) {
        std::string page = PageBytes({{0, 1, "A"}});
        page.replace(0, 4, Little32(count));
        OpenBytes(IndexFile({}, {page}));
        EXPECT_EQ(Sought(*index_, "A"), "failed");
        EXPECT_EQ(Message(), kReadError);
        EXPECT_FALSE(index_->InsertKey(1, "A"));
        EXPECT_EQ(Message(), kReadError);
        EXPECT_FALSE(index_->DeleteKey(1, "A"));
        EXPECT_EQ(Message(), kReadError);
    }
}

// Nine keys fit beside the rightmost child, though no writer stores more than eight.
TEST_F(IndexDamageTest, NineKeysAreAPage) {
    std::vector<Entry> entries;
    for (uint32_t i = 1; i <= 9; ++i) {
        entries.push_back({0, i, std::string(1, static_cast<char>('A' + i))});
    }
    OpenBytes(IndexFile({}, {PageBytes(entries)}));
    EXPECT_EQ(Forward(*index_), "1 2 3 4 5 6 7 8 9");
    ASSERT_TRUE(index_->InsertKey(20, "A"));
    EXPECT_EQ(Shape(), "(A20 B1 C2 D3) E4 (F5 G6 H7 I8 J9)");
}

// With pages of 4 + 2 * 20 bytes the count check alone would let two keys in, and their rightmost
// child would lie behind the page.
TEST_F(IndexDamageTest, TheRightmostChildMustFitAsWell) {
    const HeaderValues header{.nextPage = 11, .root = 10, .pageSize = 44, .entrySize = 20};
    const std::string full =
        Little32(2) + EntryBytes({0, 1, "A"}, 20) + EntryBytes({0, 2, "B"}, 20);
    OpenBytes(Padded(IndexHeaderBytes(header), 440) + full);
    EXPECT_EQ(Sought(*index_, "A"), "failed");
    EXPECT_EQ(Message(), kReadError);
    OpenBytes(Padded(IndexHeaderBytes(header), 440) + Padded("", 44));
    EXPECT_TRUE(index_->InsertKey(1, "A"));
    EXPECT_TRUE(index_->InsertKey(2, "B"));
    EXPECT_EQ(Forward(*index_), "1 2");
}

TEST_F(IndexDamageTest, PageNumbersAreCheckedByChanges) {
    // The next page number itself passes; a page is there.
    OpenBytes(IndexFile({.nextPage = 2, .root = 2}, {PageBytes({}), PageBytes({})}));
    EXPECT_TRUE(index_->DeleteKey(1, "A") || Message() == "Record is not in index");
    // One above it does not, although it is there too.
    OpenBytes(IndexFile({.nextPage = 2, .root = 3}, {PageBytes({}), PageBytes({}), PageBytes({})}));
    EXPECT_FALSE(index_->InsertKey(1, "A"));
    EXPECT_EQ(Message(), kReadError);
    EXPECT_FALSE(index_->DeleteKey(1, "A"));
    EXPECT_EQ(Message(), kReadError);
    EXPECT_EQ(Sought(*index_, "A"), "at 0");  // a search does not ask the header
}

TEST_F(IndexDamageTest, APageOutsideTheFileIsAReadError) {
    OpenBytes(IndexFile({.nextPage = 9}, {PageBytes({{7, 1, "M"}}, 8)}));
    EXPECT_EQ(Sought(*index_, "A"), "failed");
    EXPECT_EQ(Message(), kReadError);
    EXPECT_FALSE(index_->InsertKey(1, "Z"));
    EXPECT_EQ(Message(), kReadError);
}

// Page 0 is the header. It is never read as a page of the tree by luck, and never written as one.
TEST_F(IndexDamageTest, TheHeaderIsNoTreePage) {
    const std::string bytes = IndexFile({.root = 0}, {PageBytes({})});
    OpenBytes(bytes);
    EXPECT_EQ(Sought(*index_, "A"), "failed");
    EXPECT_FALSE(index_->InsertKey(1, "A"));
    EXPECT_EQ(Message(), kCorrupt);
    EXPECT_FALSE(index_->DeleteKey(1, "A"));
    EXPECT_EQ(Message(), kCorrupt);
    EXPECT_EQ(TheHost().FileText("t.ovx"), bytes);
}

// A next page number that is too small would have a split write over the page being split.
TEST_F(IndexDamageTest, ASplitDoesNotOverwriteItsOwnPath) {
    std::vector<Entry> entries;
    for (uint32_t i = 1; i <= 8; ++i) {
        entries.push_back({0, i, std::string(1, static_cast<char>('A' + i))});
    }
    const std::string bytes = IndexFile({.nextPage = 1}, {PageBytes(entries)});
    OpenBytes(bytes);
    EXPECT_FALSE(index_->InsertKey(9, "Z"));
    EXPECT_EQ(Message(), kCorrupt);
    EXPECT_EQ(TheHost().FileText("t.ovx"), bytes);
}

TEST_F(IndexDamageTest, PagesWithoutKeysAreWalkedOver) {
    // ( ) C ((D) with an empty page above) F ( )
    OpenBytes(
        IndexFile({.nextPage = 6}, {PageBytes({{2, 1, "C"}, {3, 2, "F"}}, 5), PageBytes({}),
                                    PageBytes({}, 4), PageBytes({{0, 3, "D"}}), PageBytes({})}));
    EXPECT_EQ(Forward(*index_), "1 3 2");
    EXPECT_EQ(Backward(*index_), "2 3 1");
    EXPECT_EQ(Sought(*index_, "D"), "found 3");
    // The search ends in the last, empty page: the entry reported is in the root, and the walk
    // stands on it.
    EXPECT_EQ(Sought(*index_, "X"), "at 2");
    uint32_t record = 9;
    ASSERT_TRUE(index_->Next(&record, nullptr, true));
    EXPECT_EQ(record, 0U);
    EXPECT_EQ(Sought(*index_, "A"), "at 0");  // an empty page, and nothing below the key
    ASSERT_TRUE(index_->Next(&record, nullptr, true));
    EXPECT_EQ(record, 1U);
}

// The page between two keys has none: a search for what would stand there ends on the key before,
// and a step from it on the key behind.
TEST_F(IndexDamageTest, AStepFromBesideAPageWithoutKeysSkipsNothing) {
    OpenBytes(IndexFile({.nextPage = 5},
                        {PageBytes({{2, 1, "C"}, {3, 2, "F"}}, 4), PageBytes({{0, 3, "A"}}),
                         PageBytes({}), PageBytes({{0, 4, "Z"}})}));
    EXPECT_EQ(Sought(*index_, "D"), "at 1");
    uint32_t record = 0;
    ASSERT_TRUE(index_->Next(&record, nullptr, true));
    EXPECT_EQ(record, 2U);
    EXPECT_EQ(Sought(*index_, "D"), "at 1");
    ASSERT_TRUE(index_->Previous(&record, true));
    EXPECT_EQ(record, 3U);
}

// A root without keys is an empty index, whatever child it names.
TEST_F(IndexDamageTest, ARootWithoutKeysHasNoEnds) {
    OpenBytes(IndexFile({.nextPage = 3}, {PageBytes({}, 2), PageBytes({{0, 2, "A"}})}));
    EXPECT_EQ(Forward(*index_), "");
    EXPECT_EQ(Backward(*index_), "");
    EXPECT_EQ(Sought(*index_, "A"), "found 2");
}

// Sizes that change under a walk without a new generation: its pages are not stored by them.
TEST_F(IndexDamageTest, APageOfOtherSizesIsNotDeletedFrom) {
    Create(0);
    Insert("A B C");
    const std::string before = TheHost().FileText("t.ovx");
    ASSERT_TRUE(index_->SeekRecord("B", 2, true));
    const std::string page = PageBytes({{0, 1, "A"}}, 0, "", 1024, 54);
    for (const HeaderValues& header : {HeaderValues{.generation = 3, .entrySize = 54},
                                       HeaderValues{.generation = 3, .pageSize = 512}}) {
        const std::string bytes = IndexFile(header, {page});
        TheHost().SetFile("t.ovx", bytes);
        EXPECT_FALSE(index_->DeleteCurrentKey(2));
        EXPECT_EQ(Message(), kCorrupt);
        EXPECT_EQ(TheHost().FileText("t.ovx"), bytes);
        TheHost().SetFile("t.ovx", before);
        ASSERT_TRUE(index_->SeekRecord("B", 2, true));
    }
}

// A page with room for one key: two leaves and the key between them are too many for it.
TEST_F(IndexDamageTest, AMergeThatDoesNotFitFailsBeforeAnyWrite) {
    const HeaderValues header{.nextPage = 7, .root = 4, .pageSize = 116};
    std::string bytes = Padded(IndexHeaderBytes(header), size_t{4} * 116);
    bytes += PageBytes({{5, 1, "M"}}, 6, "", 116);
    bytes += PageBytes({{0, 2, "A"}}, 0, "", 116) + PageBytes({{0, 3, "P"}}, 0, "", 116);
    for (const bool leftOne : {true, false}) {
        OpenBytes(bytes);
        EXPECT_EQ(Forward(*index_), "2 1 3");
        EXPECT_FALSE(index_->DeleteKey(leftOne ? 2 : 3, leftOne ? "A" : "P"));
        EXPECT_EQ(Message(), kCorrupt);
        EXPECT_EQ(TheHost().FileText("t.ovx"), bytes);
    }
}

// However small the order, a page without keys is too small.
TEST_F(IndexDamageTest, ATinyOrderDoesNotLeaveEmptyPages) {
    for (const uint32_t order : {0U, 2U, 3U}) {
        OpenBytes(IndexFile(
            {.nextPage = 4, .order = order},
            {PageBytes({{2, 1, "M"}}, 3), PageBytes({{0, 2, "A"}}), PageBytes({{0, 3, "P"}})}));
        ASSERT_TRUE(index_->DeleteKey(2, "A"));
        EXPECT_EQ(index_->RootPage(), 2U);
        EXPECT_EQ(Forward(*index_), "1 3");
    }
}

// An order of more keys than fit counts as what fits, nine, when a page may run short as well.
TEST_F(IndexDamageTest, AnOrderBeyondThePageCountsAsWhatFits) {
    OpenBytes(IndexFile({.order = 65535}, {PageBytes({})}));
    Insert("A B C D E F G H I J");
    ASSERT_TRUE(index_->DeleteKey(1, "A"));
    EXPECT_EQ(IndexShape("t.ovx").Line(), "(B2 C3 D4) E5 (F6 G7 H8 I9 J10)");
}

// A leaf left short with siblings that are damaged: nothing is merged into a page of the path.
TEST_F(IndexDamageTest, ASiblingOnThePathIsCorrupt) {
    for (const uint32_t sibling : {0U, 1U, 2U}) {
        const std::string bytes = IndexFile(
            {.nextPage = 4}, {PageBytes({{2, 1, "M"}}, sibling), PageBytes({{0, 2, "A"}})});
        OpenBytes(bytes);
        EXPECT_FALSE(index_->DeleteKey(2, "A"));
        EXPECT_EQ(Message(), kCorrupt);
        EXPECT_EQ(TheHost().FileText("t.ovx"), bytes);
    }
}

TEST_F(IndexDamageTest, AnUnderfullPageWithoutSiblingsIsCorrupt) {
    OpenBytes(IndexFile({.nextPage = 3}, {PageBytes({}, 2), PageBytes({{0, 2, "A"}})}));
    EXPECT_FALSE(index_->DeleteKey(2, "A"));
    EXPECT_EQ(Message(), kCorrupt);
}

TEST_F(IndexDamageTest, AnInnerKeyWithoutASuccessorIsCorrupt) {
    OpenBytes(IndexFile({.nextPage = 4},
                        {PageBytes({{2, 1, "M"}}, 3), PageBytes({{0, 2, "A"}}), PageBytes({})}));
    EXPECT_FALSE(index_->DeleteKey(1, "M"));
    EXPECT_EQ(Message(), kCorrupt);
    OpenBytes(IndexFile({.nextPage = 4}, {PageBytes({{2, 1, "M"}}, 0), PageBytes({{0, 2, "A"}})}));
    EXPECT_FALSE(index_->DeleteKey(1, "M"));
    EXPECT_EQ(Message(), kCorrupt);
}

TEST_F(IndexDamageTest, AKeyThatFillsItsRoomIsReadToItsEnd) {
    OpenBytes(IndexFile({}, {PageBytes({{0, 1, std::string(100, 'K')}})}));
    EXPECT_EQ(Sought(*index_, std::string(99, 'K'), false), "found 1");
    EXPECT_EQ(Sought(*index_, std::string(99, 'K'), true), "at 1");  // it is longer
    EXPECT_TRUE(index_->InsertKey(2, "A"));
    EXPECT_EQ(Forward(*index_), "2 1");
}

// Orders below 4: pages of one and two keys still make a tree.
TEST_F(IndexDamageTest, TinyOrdersWork) {
    for (const uint32_t order : {0U, 1U, 2U, 3U, 65535U}) {
        OpenBytes(IndexFile({.order = order}, {PageBytes({})}));
        std::string expected;
        for (uint32_t record = 1; record <= 60; ++record) {
            ASSERT_TRUE(index_->InsertKey(record, View(std::to_string(100 + record * 7 % 61))));
        }
        for (uint32_t key = 1; key <= 60; ++key) {
            // record * 7 = key modulo 61; 7 * 35 = 245 = 4 * 61 + 1
            expected += (key == 1 ? "" : " ") + std::to_string(key * 35 % 61);
        }
        EXPECT_EQ(Forward(*index_), expected) << order;
        // A page that would get too many keys fails the deletion instead.
        for (uint32_t record = 1; record <= 60; ++record) {
            const bool deleted =
                index_->DeleteKey(record, View(std::to_string(100 + record * 7 % 61)));
            EXPECT_TRUE(deleted || Message() == kCorrupt || Message() == "Record is not in index");
        }
    }
}

// Files with bytes changed at random, and files of nothing but random bytes behind a good header.
TEST_F(IndexDamageTest, RandomDamageNeverHangsOrCrashes) {
    Create(0);
    for (uint32_t record = 1; record <= 300; ++record) {
        ASSERT_TRUE(index_->InsertKey(record, View(std::to_string(record * 37 % 300))));
    }
    const std::string good = TheHost().FileText("t.ovx");
    TheHost().SetLogging(false);
    std::mt19937 random(20240607);
    for (int round = 0; round < 120; ++round) {
        std::string bytes = good;
        const int changes = 1 << random() % 8;
        for (int change = 0; change < changes; ++change) {
            // Page heads and child numbers, where it hurts; now and then anything.
            const size_t page = random() % (good.size() / 1024);
            const size_t offset =
                random() % 4 == 0 ? random() % 1024 : random() % 10 * 108 + random() % 5;
            bytes[page * 1024 + offset] =
                static_cast<char>(random() % 4 == 0 ? random() : random() % 32);
        }
        if (random() % 8 == 0) {
            bytes.resize(random() % bytes.size());
        }
        index_->Close();
        TheHost().SetFile("t.ovx", bytes);
        if (index_->Open("t.ovx", 3)) {
            RunEverything();
        }
    }
    SUCCEED();
}

}  // namespace
}  // namespace ovrasql
