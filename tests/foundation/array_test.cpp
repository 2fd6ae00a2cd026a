#include "foundation/array.h"

#include <gtest/gtest.h>

#include <memory>

#include "tests/foundation/foundation_support.h"

namespace ovrasql {
namespace {

TEST(Array, GivesIndexesInOrderAndNullOutside) {
    Array<Counted> array(true);
    EXPECT_EQ(array.Append(std::make_unique<Counted>("a")), 0);
    EXPECT_EQ(array.Append(std::make_unique<Counted>("b")), 1);
    EXPECT_EQ(array.Count(), 2);
    EXPECT_EQ(Std(array.Get(1)->name), "b");
    EXPECT_EQ(array.Get(-1), nullptr);
    EXPECT_EQ(array.Get(2), nullptr);
}

TEST(Array, CapacityRisesBy52WhenAnAppendFindsItFull) {
    Array<Counted> array(true);
    EXPECT_EQ(array.Capacity(), 0);
    array.Append(std::make_unique<Counted>("first"));
    EXPECT_EQ(array.Capacity(), 52);
    while (array.Count() < 52) {
        array.Append(std::make_unique<Counted>("more"));
    }
    EXPECT_EQ(array.Capacity(), 52);
    array.Append(std::make_unique<Counted>("the 53rd"));
    EXPECT_EQ(array.Capacity(), 104);
}

TEST(Array, KeepsTheCapacityItWasMadeWithUntilThatIsFull) {
    Array<Counted> array(true, 2);
    array.Append(std::make_unique<Counted>("a"));
    array.Append(std::make_unique<Counted>("b"));
    EXPECT_EQ(array.Capacity(), 2);
    array.Append(std::make_unique<Counted>("c"));
    EXPECT_EQ(array.Capacity(), 54);
}

TEST(Array, SetFarBehindTheEndMakesTheCapacityTheIndexPlus52) {
    Array<Counted> array(true, 52);
    array.Set(100, std::make_unique<Counted>("far"));
    EXPECT_EQ(array.Capacity(), 152);
    EXPECT_EQ(array.Count(), 101);
    EXPECT_EQ(Std(array.Get(100)->name), "far");
    for (int32_t index = 0; index < 100; ++index) {
        EXPECT_EQ(array.Get(index), nullptr) << index;
    }
}

TEST(Array, SetBelowTheCapacityLeavesItAndRaisesTheCount) {
    Array<Counted> array(true, 52);
    array.Set(51, std::make_unique<Counted>("last"));
    EXPECT_EQ(array.Capacity(), 52);
    EXPECT_EQ(array.Count(), 52);
    array.Set(3, std::make_unique<Counted>("inner"));
    EXPECT_EQ(array.Count(), 52);
}

TEST(Array, AnOwningArrayDeletesWhatASetReplaces) {
    Array<Counted> array(true);
    array.Append(std::make_unique<Counted>("old"));
    array.Set(0, std::make_unique<Counted>("new"));
    EXPECT_EQ(Counted::alive, 1);
    EXPECT_EQ(Std(array.Get(0)->name), "new");
}

TEST(Array, SettingTheItemThatStandsThereKeepsIt) {
    Array<Counted> array(true);
    array.Append(std::make_unique<Counted>("same"));
    array.Set(0, array.Get(0));
    EXPECT_EQ(Counted::alive, 1);
    EXPECT_EQ(Std(array.Get(0)->name), "same");
}

TEST(Array, ASetAtANegativeIndexOnlyEndsTheItem) {
    Array<Counted> array(true);
    array.Set(-1, std::make_unique<Counted>("nowhere"));
    EXPECT_EQ(array.Count(), 0);
    EXPECT_EQ(Counted::alive, 0);
}

TEST(Array, ABorrowingArrayLeavesItsItemsAlone) {
    Counted item("mine");
    {
        Array<Counted> array(false);
        array.Append(&item);
        array.Set(0, &item);
        array.RemoveAll();
        array.Append(&item);
    }
    EXPECT_EQ(Counted::alive, 1);
}

TEST(Array, ReleaseHandsTheItemBackAndKeepsTheCount) {
    Array<Counted> array(true);
    array.Append(std::make_unique<Counted>("out"));
    const std::unique_ptr<Counted> item(array.Release(0));
    EXPECT_EQ(Std(item->name), "out");
    EXPECT_EQ(array.Get(0), nullptr);
    EXPECT_EQ(array.Count(), 1);
    EXPECT_EQ(array.Release(7), nullptr);
}

TEST(Array, RemoveAllDeletesOwnedItemsAndKeepsTheCapacity) {
    Array<Counted> array(true);
    for (int32_t number = 0; number < 60; ++number) {
        array.Append(std::make_unique<Counted>("x", number));
    }
    array.RemoveAll();
    EXPECT_EQ(Counted::alive, 0);
    EXPECT_EQ(array.Count(), 0);
    EXPECT_EQ(array.Capacity(), 104);
    EXPECT_EQ(array.Append(std::make_unique<Counted>("again")), 0);
    EXPECT_EQ(array.Get(1), nullptr);
}

TEST(Array, WalksItsSlotsInOrder) {
    Array<Counted> array(true);
    for (int32_t number = 0; number < 1000; ++number) {
        array.Append(std::make_unique<Counted>("x", number));
    }
    int32_t expected = 0;
    for (const Counted* item : array) {
        EXPECT_EQ(item->number, expected++);
    }
    EXPECT_EQ(expected, 1000);
}

TEST(Array, EmptyArraysWalkNothing) {
    const Array<Counted> array(true);
    EXPECT_EQ(array.begin(), array.end());
}

}  // namespace
}  // namespace ovrasql
