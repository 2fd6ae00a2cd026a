#include "foundation/stack.h"

#include <gtest/gtest.h>

#include <memory>

#include "tests/foundation/foundation_support.h"

namespace ovrasql {
namespace {

std::unique_ptr<Counted> Item(TextView name) { return std::make_unique<Counted>(name); }

std::string PopName(Stack<Counted>& stack) {
    const std::unique_ptr<Counted> item(stack.Pop());
    return NameOf(item.get());
}

TEST(Stack, PopGivesTheLastPushedAndNullWhenEmpty) {
    Stack<Counted> stack(true);
    EXPECT_EQ(stack.Pop(), nullptr);
    stack.Push(Item("a"));
    stack.Push(Item("b"));
    EXPECT_EQ(stack.Count(), 2);
    EXPECT_EQ(PopName(stack), "b");
    EXPECT_EQ(PopName(stack), "a");
    EXPECT_EQ(stack.Pop(), nullptr);
    EXPECT_EQ(stack.Count(), 0);
    EXPECT_TRUE(stack.IsEmpty());
}

TEST(Stack, WalksFromTheTopDown) {
    Stack<Counted> stack(true);
    EXPECT_EQ(stack.Top(), nullptr);
    EXPECT_EQ(stack.Below(), nullptr);
    stack.Push(Item("a"));
    stack.Push(Item("b"));
    EXPECT_EQ(NameOf(stack.Top()), "b");
    EXPECT_EQ(NameOf(stack.Below()), "a");
    EXPECT_EQ(stack.Below(), nullptr);
    EXPECT_EQ(stack.Below(), nullptr);
    EXPECT_EQ(NameOf(stack.Top()), "b");
}

// A walk that has gone down cuts the stack back to where it stands, and that entry comes off too.
TEST(Stack, PopCutsBackToTheWalkingPointer) {
    Stack<Counted> stack(true);
    stack.Push(Item("a"));
    stack.Push(Item("b"));
    stack.Push(Item("c"));
    stack.Push(Item("d"));
    stack.Top();
    stack.Below();
    stack.Below();
    EXPECT_EQ(PopName(stack), "b");
    EXPECT_EQ(stack.Count(), 1);
    EXPECT_EQ(Counted::alive, 1);
    EXPECT_EQ(PopName(stack), "a");
}

TEST(Stack, PopAfterAWalkOffTheBottomGivesTheLastEntry) {
    Stack<Counted> stack(true);
    stack.Push(Item("a"));
    stack.Push(Item("b"));
    stack.Top();
    stack.Below();
    EXPECT_EQ(stack.Below(), nullptr);
    EXPECT_EQ(PopName(stack), "a");
    EXPECT_EQ(Counted::alive, 0);
    EXPECT_TRUE(stack.IsEmpty());
}

TEST(Stack, PopMovesTheWalkingPointerToTheNewTop) {
    Stack<Counted> stack(true);
    stack.Push(Item("a"));
    stack.Push(Item("b"));
    stack.Push(Item("c"));
    EXPECT_EQ(PopName(stack), "c");
    EXPECT_EQ(NameOf(stack.Below()), "a");
}

TEST(Stack, PushMovesTheWalkingPointerToTheNewItem) {
    Stack<Counted> stack(true);
    stack.Push(Item("a"));
    stack.Push(Item("b"));
    stack.Top();
    stack.Below();
    stack.Push(Item("c"));
    EXPECT_EQ(PopName(stack), "c");
}

TEST(Stack, ABorrowingStackDropsWithoutDeleting) {
    Counted low("low");
    Counted high("high");
    Stack<Counted> stack(false);
    stack.Push(&low);
    stack.Push(&high);
    stack.Top();
    stack.Below();
    EXPECT_EQ(stack.Pop(), &low);
    EXPECT_EQ(Counted::alive, 2);
}

TEST(Stack, RemoveAllDeletesOwnedItemsAndLeavesTheCount) {
    Stack<Counted> stack(true);
    stack.Push(Item("a"));
    stack.Push(Item("b"));
    stack.RemoveAll();
    EXPECT_EQ(Counted::alive, 0);
    EXPECT_EQ(stack.Count(), 2);
    EXPECT_TRUE(stack.IsEmpty());
    EXPECT_EQ(stack.Top(), nullptr);
    EXPECT_EQ(stack.Pop(), nullptr);
}

TEST(Stack, GrowsPastItsFirstRoom) {
    Stack<Counted> stack(true);
    for (int32_t number = 0; number < 1000; ++number) {
        stack.Push(std::make_unique<Counted>("x", number));
    }
    for (int32_t number = 999; number >= 0; --number) {
        const std::unique_ptr<Counted> item(stack.Pop());
        ASSERT_EQ(item->number, number);
    }
}

}  // namespace
}  // namespace ovrasql
