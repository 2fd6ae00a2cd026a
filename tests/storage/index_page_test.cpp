// Pages in memory, the pool they come from, and the stack of a walk.

#include "storage/index_page.h"

#include "tests/storage/index_support.h"

namespace ovrasql {
namespace {

std::string BytesOf(const OvraSQLIndexPage& page) {
    return {reinterpret_cast<const char*>(page.Bytes()), static_cast<size_t>(page.PageSize())};
}

std::string Keys(const OvraSQLIndexPage& page) {
    std::string text = std::to_string(page.Child(0));
    for (int32_t i = 0; i < page.KeyCount(); ++i) {
        text += " " + Text(page.Key(i)) + " " + std::to_string(page.Child(i + 1));
    }
    return text;
}

class IndexPageTest : public ::testing::Test {
  protected:
    IndexPageTest() : page_(7, 20, 112) {}  // five entries and the rightmost child

    OvraSQLIndexPage page_;
};

TEST_F(IndexPageTest, ANewPageIsEmpty) {
    EXPECT_EQ(page_.Number(), 7U);
    EXPECT_EQ(page_.KeyCount(), 0);
    EXPECT_EQ(page_.Capacity(), 5);
    EXPECT_EQ(page_.Cursor(), 0);
    EXPECT_EQ(page_.RightmostChild(), 0U);
    EXPECT_EQ(BytesOf(page_), std::string(112, '\0'));
}

TEST_F(IndexPageTest, EntriesLieAsTheFormatSays) {
    page_.InsertEntry(0, 0x01020304, 0x0A0B0C0D, "KEY");
    page_.SetChild(1, 0xFFEEDDCC);
    EXPECT_EQ(Hex(BytesOf(page_).substr(0, 28)),
              "01 00 00 00 "                           // one key
              "04 03 02 01 0D 0C 0B 0A 4B 45 59 00 "   // child, record, key
              "00 00 00 00 00 00 00 00 CC DD EE FF");  // its room, the rightmost child
}

TEST_F(IndexPageTest, EntriesMakeRoomAndCloseUp) {
    page_.SetChild(0, 10);
    page_.InsertEntry(0, 1, 100, "C");  // the child that was rightmost stays so
    page_.InsertEntry(0, 2, 101, "A");
    page_.InsertEntry(1, 3, 102, "B");
    EXPECT_EQ(Keys(page_), "2 A 3 B 1 C 10");
    EXPECT_EQ(page_.Record(1), 102U);
    page_.RemoveEntry(1);
    EXPECT_EQ(Keys(page_), "2 A 1 C 10");
    page_.RemoveEntry(1);
    EXPECT_EQ(Keys(page_), "2 A 10");
    page_.RemoveEntry(0);
    EXPECT_EQ(Keys(page_), "10");
}

// The bytes behind a shorter key stay: nobody reads them.
TEST_F(IndexPageTest, AKeyOverwritesItsTextAndOneByte) {
    page_.InsertEntry(0, 0, 1, "LONGKEY");
    page_.SetKey(0, "AB");
    EXPECT_EQ(BytesOf(page_).substr(12, 12), std::string("AB\0GKEY\0\0\0\0\0", 12));
    page_.SetKey(0, "0123456789ABCDEF");  // cut to the room
    EXPECT_EQ(BytesOf(page_).substr(12, 12), std::string("0123456789A\0", 12));
}

TEST_F(IndexPageTest, AKeyWithoutItsNulEndsWithItsRoom) {
    page_.InsertEntry(0, 0, 1, "");
    std::memset(page_.Bytes() + 12, 'x', 12);
    EXPECT_EQ(Text(page_.Key(0)), std::string(12, 'x'));
}

TEST_F(IndexPageTest, TakenEntriesBringTheChildBehindThem) {
    OvraSQLIndexPage source(8, 20, 132);
    for (const char* key : {"F", "E", "D", "C", "B", "A"}) {
        source.InsertEntry(0, static_cast<uint32_t>(key[0]), 1, key);
    }
    source.SetChild(6, 99);
    page_.TakeEntries(source, 3, 3);
    EXPECT_EQ(Keys(page_), "68 D 69 E 70 F 99");
    page_.TakeEntries(source, 0, 1);
    EXPECT_EQ(Keys(page_), "65 A 66");
    EXPECT_EQ(Text(page_.Key(1)), "E");  // behind the live entries everything stays
}

// --- The pool

TEST(IndexPagePool, APageThatIsLetGoIsHandedOutAgain) {
    IndexPagePool pool;
    IndexPageHolder page = pool.Take(1, 20, 112);
    const OvraSQLIndexPage* first = page.get();
    page->InsertEntry(0, 5, 6, "KEY");
    page->SetCursor(1);
    page.reset();
    page = pool.Take(2, 30, 100);
    EXPECT_EQ(page.get(), first);
    EXPECT_EQ(page->Number(), 2U);
    EXPECT_EQ(page->Cursor(), 0);
    EXPECT_EQ(page->Capacity(), 3);
    EXPECT_EQ(BytesOf(*page), std::string(100, '\0'));
    const IndexPageHolder other = pool.Take(3, 30, 100);
    EXPECT_NE(other.get(), first);
}

TEST(IndexPagePool, APageGrowsWithItsNextUse) {
    IndexPagePool pool;
    pool.Take(1, 20, 112).reset();
    const IndexPageHolder page = pool.Take(2, 108, 1024);
    EXPECT_EQ(BytesOf(*page), std::string(1024, '\0'));
}

// --- The stack

class IndexPageStackTest : public ::testing::Test {
  protected:
    void Push(uint32_t number) { stack_.Push(pool_.Take(number, 20, 112)); }
    static uint32_t Number(const OvraSQLIndexPage* page) {
        return page == nullptr ? 0 : page->Number();
    }

    IndexPagePool pool_;
    OvraSQLIndexPageStack stack_;
};

TEST_F(IndexPageStackTest, AnEmptyStackHasNoPages) {
    EXPECT_EQ(stack_.Top(), nullptr);
    EXPECT_EQ(stack_.Below(), nullptr);
    EXPECT_EQ(stack_.Pop(), nullptr);
    EXPECT_EQ(stack_.Count(), 0);
}

TEST_F(IndexPageStackTest, TheWalkingPointerGoesDownFromTheTop) {
    Push(1);
    Push(2);
    Push(3);
    EXPECT_EQ(Number(stack_.Top()), 3U);
    EXPECT_EQ(Number(stack_.Below()), 2U);
    EXPECT_EQ(Number(stack_.Below()), 1U);
    EXPECT_EQ(Number(stack_.Below()), 0U);
    EXPECT_EQ(Number(stack_.Below()), 0U);
    EXPECT_EQ(Number(stack_.Top()), 3U);
    EXPECT_EQ(stack_.Count(), 3);
    EXPECT_EQ(stack_.At(0).Number(), 1U);
}

TEST_F(IndexPageStackTest, PopCutsBackToTheWalkingPointer) {
    for (uint32_t number = 1; number <= 5; ++number) {
        Push(number);
    }
    stack_.Top();
    stack_.Below();
    stack_.Below();
    EXPECT_EQ(Number(stack_.Pop().get()), 3U);
    EXPECT_EQ(stack_.Count(), 2);
    EXPECT_EQ(Number(stack_.Pop().get()), 2U);  // the pointer moved to the new top
}

TEST_F(IndexPageStackTest, PopWithThePointerOffTheStackTakesTheLastPage) {
    Push(1);
    Push(2);
    stack_.Top();
    stack_.Below();
    stack_.Below();
    EXPECT_EQ(Number(stack_.Pop().get()), 1U);
    EXPECT_EQ(stack_.Count(), 0);
}

TEST_F(IndexPageStackTest, ItIsFullAtTheGreatestDepth) {
    for (int32_t depth = 0; depth < kIndexMaximumDepth; ++depth) {
        EXPECT_FALSE(stack_.IsFull());
        Push(1);
    }
    EXPECT_TRUE(stack_.IsFull());
    stack_.RemoveAll();
    EXPECT_EQ(stack_.Count(), 0);
    EXPECT_EQ(stack_.Top(), nullptr);
}

}  // namespace
}  // namespace ovrasql
