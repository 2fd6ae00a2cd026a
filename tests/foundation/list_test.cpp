#include "foundation/list.h"

#include <gtest/gtest.h>

#include <memory>

#include "foundation/coll_list.h"
#include "foundation/ignore_result.h"
#include "tests/foundation/foundation_support.h"

namespace ovrasql {
namespace {

// The names from head to tail.
std::string Names(const List<Counted>& list) {
    std::string names;
    for (const Counted* item : list) {
        names += Std(item->name);
    }
    return names;
}

void AddTail(List<Counted>& list, TextView name) {
    list.Insert(std::make_unique<Counted>(name), ListPlace::kTail);
}

TEST(List, InsertsAtHeadCursorAndTailAndMovesTheCursor) {
    List<Counted> list(true);
    AddTail(list, "b");
    AddTail(list, "d");
    EXPECT_EQ(NameOf(list.Current()), "d");
    list.Insert(std::make_unique<Counted>("c"), ListPlace::kCursor);
    EXPECT_EQ(NameOf(list.Current()), "c");
    list.Insert(std::make_unique<Counted>("a"), ListPlace::kHead);
    EXPECT_EQ(NameOf(list.Current()), "a");
    EXPECT_EQ(Names(list), "abcd");
    EXPECT_EQ(list.Count(), 4);
}

TEST(List, InsertBeforeACursorThatIsNowhereGoesToTheTail) {
    List<Counted> list(true);
    list.Insert(std::make_unique<Counted>("a"), ListPlace::kCursor);
    EXPECT_EQ(list.Next(), nullptr);
    list.Insert(std::make_unique<Counted>("b"), ListPlace::kCursor);
    EXPECT_EQ(Names(list), "ab");
}

TEST(List, WalksBothWaysAndEndsNowhere) {
    List<Counted> list(true);
    AddTail(list, "a");
    AddTail(list, "b");
    EXPECT_EQ(NameOf(list.First()), "a");
    EXPECT_EQ(NameOf(list.Next()), "b");
    EXPECT_EQ(list.Next(), nullptr);
    EXPECT_EQ(list.Current(), nullptr);
    EXPECT_EQ(list.Next(), nullptr);
    EXPECT_EQ(list.Previous(), nullptr);
    EXPECT_EQ(NameOf(list.Last()), "b");
    EXPECT_EQ(NameOf(list.Previous()), "a");
    EXPECT_EQ(list.Previous(), nullptr);
}

TEST(List, AnEmptyListGivesNull) {
    List<Counted> list(true);
    EXPECT_EQ(list.First(), nullptr);
    EXPECT_EQ(list.Last(), nullptr);
    EXPECT_EQ(list.Current(), nullptr);
    EXPECT_EQ(list.Count(), 0);
}

TEST(List, FindComparesPointersAndMovesTheCursorOnlyOnAMatch) {
    List<Counted> list(false);
    Counted first("same");
    Counted second("same");
    Counted stranger("same");
    list.Insert(&first, ListPlace::kTail);
    list.Insert(&second, ListPlace::kTail);
    EXPECT_EQ(list.Find(&first), &first);
    EXPECT_EQ(list.Current(), &first);
    EXPECT_EQ(list.Find(&stranger), nullptr);
    EXPECT_EQ(list.Current(), &first);
}

TEST(List, RemovingTheHeadMovesACursorThereToTheNewHead) {
    List<Counted> list(true);
    AddTail(list, "a");
    AddTail(list, "b");
    list.First();
    const std::unique_ptr<Counted> item(list.Remove(ListPlace::kHead));
    EXPECT_EQ(NameOf(item.get()), "a");
    EXPECT_EQ(NameOf(list.Current()), "b");
}

TEST(List, RemovingTheHeadLeavesACursorElsewhere) {
    List<Counted> list(true);
    AddTail(list, "a");
    AddTail(list, "b");
    AddTail(list, "c");
    const std::unique_ptr<Counted> item(list.Remove(ListPlace::kHead));
    EXPECT_EQ(NameOf(list.Current()), "c");
    EXPECT_EQ(Names(list), "bc");
}

TEST(List, RemovingAtTheCursorMovesItToTheNextOrNowhere) {
    List<Counted> list(true);
    AddTail(list, "a");
    AddTail(list, "b");
    AddTail(list, "c");
    list.First();
    list.Next();
    const std::unique_ptr<Counted> middle(list.Remove(ListPlace::kCursor));
    EXPECT_EQ(NameOf(middle.get()), "b");
    EXPECT_EQ(NameOf(list.Current()), "c");
    const std::unique_ptr<Counted> last(list.Remove(ListPlace::kCursor));
    EXPECT_EQ(NameOf(last.get()), "c");
    EXPECT_EQ(list.Current(), nullptr);
    EXPECT_EQ(Names(list), "a");
}

TEST(List, RemovingTheTailMovesACursorThereToTheOneBefore) {
    List<Counted> list(true);
    AddTail(list, "a");
    AddTail(list, "b");
    const std::unique_ptr<Counted> item(list.Remove(ListPlace::kTail));
    EXPECT_EQ(NameOf(item.get()), "b");
    EXPECT_EQ(NameOf(list.Current()), "a");
}

TEST(List, RemovingFromAnEmptyListLeavesACountOfMinusOne) {
    List<Counted> list(true);
    EXPECT_EQ(list.Remove(ListPlace::kHead), nullptr);
    EXPECT_EQ(list.Count(), -1);
    list.RemoveAll();
    EXPECT_EQ(list.Count(), 0);
}

TEST(List, RemoveAllDeletesOwnedItemsAndClearDoesNot) {
    List<Counted> list(true);
    AddTail(list, "a");
    AddTail(list, "b");
    list.RemoveAll();
    EXPECT_EQ(Counted::alive, 0);
    EXPECT_EQ(list.Count(), 0);
    EXPECT_EQ(list.First(), nullptr);

    Counted mine("mine");
    list.Insert(&mine, ListPlace::kTail);
    list.Clear();
    EXPECT_EQ(Counted::alive, 1);
    EXPECT_EQ(list.Count(), 0);
    EXPECT_EQ(list.Current(), nullptr);
}

TEST(List, TheDestructorDeletesOwnedItemsOnly) {
    Counted mine("mine");
    {
        List<Counted> owning(true);
        AddTail(owning, "a");
        List<Counted> borrowing(false);
        borrowing.Insert(&mine, ListPlace::kTail);
    }
    EXPECT_EQ(Counted::alive, 1);
}

TEST(List, DeleteItemPassesOverNull) {
    List<Counted> list(true);
    list.DeleteItem(nullptr);
    list.DeleteItem(std::make_unique<Counted>("gone").release());
    EXPECT_EQ(Counted::alive, 0);
}

// A queue that is filled and emptied many times works on the same nodes.
TEST(List, FreedNodesServeAgain) {
    List<Counted> list(true);
    for (int32_t round = 0; round < 100; ++round) {
        AddTail(list, "a");
        AddTail(list, "b");
        const std::unique_ptr<Counted> item(list.Remove(ListPlace::kHead));
        EXPECT_EQ(NameOf(item.get()), "a");
        list.RemoveAll();
    }
    EXPECT_EQ(Counted::alive, 0);
}

TEST(List, WalkingByRangeLeavesTheCursor) {
    List<Counted> list(true);
    AddTail(list, "a");
    AddTail(list, "b");
    list.First();
    EXPECT_EQ(Names(list), "ab");
    EXPECT_EQ(NameOf(list.Current()), "a");
}

TEST(CollList, IsAListBehindTheCollectionInterface) {
    CollList<Counted> list(true);
    list.Insert(std::make_unique<Counted>("b"), ListPlace::kTail);
    list.Insert(std::make_unique<Counted>("a"), ListPlace::kHead);
    list.Insert(std::make_unique<Counted>("c"), ListPlace::kTail);
    Collection<Counted>& walk = list;
    EXPECT_EQ(walk.Count(), 3);
    EXPECT_EQ(NameOf(walk.First()), "a");
    EXPECT_EQ(NameOf(walk.Next()), "b");
    EXPECT_EQ(NameOf(walk.Current()), "b");
    EXPECT_EQ(NameOf(walk.Last()), "c");
    EXPECT_EQ(NameOf(walk.Previous()), "b");
    EXPECT_EQ(NameOf(list.Find(walk.First())), "a");
    const std::unique_ptr<Counted> item(list.Remove(ListPlace::kCursor));
    EXPECT_EQ(NameOf(item.get()), "a");
    list.RemoveAll();
    EXPECT_EQ(Counted::alive, 1);
    EXPECT_EQ(list.Count(), 0);
}

TEST(CollList, ClearLeavesTheItemsAlone) {
    Counted mine("mine");
    CollList<Counted> list(true);
    list.Insert(&mine, ListPlace::kTail);
    list.Clear();
    list.DeleteItem(nullptr);
    EXPECT_EQ(Counted::alive, 1);
    EXPECT_EQ(list.begin() != list.end(), false);
}

}  // namespace
}  // namespace ovrasql
