#include "foundation/hash_table.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <unordered_map>

#include "foundation/coll_hash_table.h"
#include "foundation/hash_table2.h"
#include "tests/foundation/foundation_support.h"

namespace ovrasql {
namespace {

using Table = HashTable<Counted>;

int32_t AddName(Table& table, const std::string& name, int32_t number = 0) {
    return table.Add(std::make_unique<Counted>(View(name), number));
}

std::string WalkedNames(const Table& table) {
    std::string names;
    for (const Counted* item : table) {
        names += Std(item->name) + " ";
    }
    return names;
}

TEST(HashTable, StatesItsSizesBeforeItHoldsAnything) {
    const Table table(true, false);
    EXPECT_EQ(table.BucketCount(), 4096);
    EXPECT_EQ(table.Capacity(), 512);
    EXPECT_EQ(table.Count(), 0);
    EXPECT_EQ(table.Find("x"), nullptr);
    EXPECT_EQ(table.ItemAt(0), nullptr);
}

TEST(HashTable, TheCapacityRisesBy512WithItem513AndAllAreFound) {
    Table table(true, false);
    for (int32_t number = 0; number < 512; ++number) {
        EXPECT_EQ(AddName(table, "name" + std::to_string(number), number), number);
    }
    EXPECT_EQ(table.Capacity(), 512);
    AddName(table, "name512", 512);
    EXPECT_EQ(table.Capacity(), 1024);
    for (int32_t number = 0; number < 513; ++number) {
        const Counted* item = table.Find(View("name" + std::to_string(number)));
        ASSERT_NE(item, nullptr) << number;
        EXPECT_EQ(item->number, number);
    }
    int32_t expected = 0;
    for (const Counted* item : table) {
        EXPECT_EQ(item->number, expected++);
    }
    EXPECT_EQ(expected, 513);
}

TEST(HashTable, StaysCorrectAtAHundredThousandItems) {
    Table table(true, true);
    constexpr int32_t kItems = 100000;
    for (int32_t number = 0; number < kItems; ++number) {
        AddName(table, "Key" + std::to_string(number), number);
    }
    for (int32_t number = 0; number < kItems; ++number) {
        const Counted* item = table.Find(View("kEY" + std::to_string(number)));
        ASSERT_NE(item, nullptr) << number;
        ASSERT_EQ(item->number, number);
    }
    EXPECT_EQ(table.Find("key100000"), nullptr);
}

TEST(HashTable, RemovingTheLastTwoOfThreeGivesTheirSlotsBack) {
    Table table(true, false);
    AddName(table, "a");
    AddName(table, "b");
    AddName(table, "c");
    const std::unique_ptr<Counted> middle(table.Remove("b"));
    EXPECT_EQ(NameOf(middle.get()), "b");
    EXPECT_EQ(table.Count(), 3);
    const std::unique_ptr<Counted> last(table.Remove("c"));
    EXPECT_EQ(table.Count(), 1);
    EXPECT_EQ(AddName(table, "d"), 1);
}

TEST(HashTable, RemovingTheFirstOfThreeLeavesAHole) {
    Table table(true, false);
    AddName(table, "a");
    AddName(table, "b");
    AddName(table, "c");
    const std::unique_ptr<Counted> item(table.Remove("a"));
    EXPECT_EQ(table.Count(), 3);
    EXPECT_EQ(table.ItemAt(0), nullptr);
    EXPECT_EQ(WalkedNames(table), "b c ");
    EXPECT_EQ(AddName(table, "a"), 3);
    EXPECT_EQ(WalkedNames(table), "b c a ");
}

TEST(HashTable, RemovingAnUnknownNameGivesNull) {
    Table table(true, false);
    EXPECT_EQ(table.Remove("x"), nullptr);
    AddName(table, "a");
    EXPECT_EQ(table.Remove("A"), nullptr);
    EXPECT_EQ(table.Count(), 1);
}

TEST(HashTable, EqualNamesAreAllStoredAndTheFirstIsFound) {
    Table table(true, true);
    AddName(table, "name", 1);
    AddName(table, "NAME", 2);
    AddName(table, "Name", 3);
    EXPECT_EQ(table.Count(), 3);
    EXPECT_EQ(table.Find("nAmE")->number, 1);
    const std::unique_ptr<Counted> first(table.Remove("name"));
    EXPECT_EQ(first->number, 1);
    EXPECT_EQ(table.Find("name")->number, 2);
}

// Growing splits the chains; the order of equals in them must come through it.
TEST(HashTable, TheFirstOfEqualsIsFoundAfterGrowing) {
    Table table(true, false);
    for (int32_t number = 0; number < 40; ++number) {
        AddName(table, "same", number);
    }
    for (int32_t number = 0; number < 2000; ++number) {
        AddName(table, "other" + std::to_string(number), number);
    }
    for (int32_t number = 0; number < 40; ++number) {
        const std::unique_ptr<Counted> item(table.Remove("same"));
        ASSERT_EQ(item->number, number);
    }
    EXPECT_EQ(table.Find("same"), nullptr);
}

// A statement can name one thing a hundred thousand times, and each name is stored.
TEST(HashTable, StoringOneMoreOfAnEqualNameLooksAtOneOfThem) {
    HashStore<Counted> store(true, kHashTableBucketBits, kHashTableStep);
    int32_t compared = 0;
    for (int32_t number = 0; number < 1000; ++number) {
        store.Insert(new Counted("same", number), 7, [&compared](const Counted&, const Counted&) {
            ++compared;
            return 0;
        });
    }
    EXPECT_EQ(compared, 999);
    const auto same = [](const Counted&) { return 0; };
    EXPECT_EQ(store.ItemAt(store.Find(7, same))->number, 0);
}

TEST(HashTable, EqualNamesAreTakenOutInTheOrderOfTheirAdding) {
    Table table(true, false);
    for (int32_t number = 0; number < 3; ++number) {
        AddName(table, "same", number);
    }
    for (int32_t number = 3; number < 10; ++number) {
        const std::unique_ptr<Counted> item(table.Remove("same"));
        ASSERT_EQ(item->number, number - 3);
        AddName(table, "same", number);
        ASSERT_EQ(table.Find("same")->number, number - 2);
    }
}

TEST(HashTable, NamesThatDifferInCaseDifferUnlessCaseIsIgnored) {
    Table table(true, false);
    AddName(table, "a", 1);
    AddName(table, "A", 2);
    EXPECT_EQ(table.Find("A")->number, 2);
    EXPECT_FALSE(table.IgnoresCase());
}

// Equal-hash chains are rare, so the order is looked at in a table with one bucket's worth of slots
// and many names: in each chain the lengths rise, and at equal length the bytes.
TEST(HashTable, ChainsAreSortedByLengthAndThenByBytes) {
    Table table(true, false);
    const char* const names[] = {"zzz", "b", "aa", "a", "abc", "zz", "c", "zza"};
    for (const char* name : names) {
        AddName(table, name);
    }
    int32_t members = 0;
    int32_t chained = 0;
    for (uint32_t bucket = 0; bucket < 8; ++bucket) {
        TextView before;
        for (int32_t slot = table.Store().ChainHead(bucket); slot != kNoSlot;
             slot = table.Store().ChainNext(slot)) {
            const TextView name = table.ItemAt(slot)->name;
            EXPECT_TRUE(before.length < name.length ||
                        (before.length == name.length && Std(before) < Std(name)))
                << Std(before) << " before " << Std(name);
            chained += before.length == 0 ? 0 : 1;
            before = name;
            ++members;
        }
    }
    EXPECT_EQ(members, 8);
    EXPECT_GT(chained, 0) << "no chain of two to look at";
    EXPECT_EQ(table.Store().ChainNext(kNoSlot), kNoSlot);
    EXPECT_EQ(table.Store().ChainNext(table.Store().UsedSlots()), kNoSlot);
}

TEST(HashTable, ComparesByLengthFirst) {
    const Table exact(true, false);
    const Table folding(true, true);
    const Counted two("zz");
    const Counted three("aaa");
    EXPECT_LT(exact.CompareItems(two, three), 0);
    EXPECT_GT(exact.CompareItems(three, two), 0);
    EXPECT_LT(exact.CompareKey(two, "aaa"), 0);
    EXPECT_GT(exact.CompareKey(two, "z"), 0);
    EXPECT_NE(exact.CompareKey(two, "ZZ"), 0);
    EXPECT_EQ(folding.CompareKey(two, "ZZ"), 0);
    EXPECT_EQ(exact.CompareKey(two, "zz"), 0);
}

TEST(HashTable, TheBucketIsTheHashMaskedToTheBucketBits) {
    const Table exact(true, false);
    const Table folding(true, true);
    const Table small(true, false, 4);
    const Counted item("Customer");
    EXPECT_EQ(exact.HashItem(item), static_cast<int32_t>(HashText("Customer") & 4095));
    EXPECT_EQ(folding.HashItem(item), static_cast<int32_t>(HashText("customer") & 4095));
    EXPECT_EQ(small.HashItem(item), static_cast<int32_t>(HashText("Customer") & 15));
    EXPECT_EQ(small.BucketCount(), 16);
}

TEST(HashTable, AKeyMayHoldAnyByteAndBeEmpty) {
    Table table(true, false);
    table.Add(std::make_unique<Counted>(TextView("a\0b", 3), 1));
    table.Add(std::make_unique<Counted>("", 2));
    table.Add(std::make_unique<Counted>("\xff\xfe", 3));
    EXPECT_EQ(table.Find(TextView("a\0b", 3))->number, 1);
    EXPECT_EQ(table.Find(TextView("a\0c", 3)), nullptr);
    EXPECT_EQ(table.Find("")->number, 2);
    EXPECT_EQ(table.Find("\xff\xfe")->number, 3);
}

TEST(HashTable, RemoveAllDeletesOwnedItemsAndKeepsTheGrownCapacity) {
    Table table(true, false);
    for (int32_t number = 0; number < 600; ++number) {
        AddName(table, std::to_string(number));
    }
    table.RemoveAll();
    EXPECT_EQ(Counted::alive, 0);
    EXPECT_EQ(table.Count(), 0);
    EXPECT_EQ(table.Capacity(), 1024);
    EXPECT_EQ(table.Find("5"), nullptr);
    EXPECT_EQ(AddName(table, "5"), 0);
    EXPECT_EQ(NameOf(table.Find("5")), "5");
}

TEST(HashTable, ABorrowingTableLeavesItsItemsAlone) {
    Counted mine("mine");
    {
        Table table(false, false);
        table.Add(&mine);
        EXPECT_EQ(table.Add(static_cast<Counted*>(nullptr)), kNoSlot);
        EXPECT_EQ(table.Count(), 1);
    }
    EXPECT_EQ(Counted::alive, 1);
}

TEST(HashTable, AHashMadeOnceServesLookUpAndInsertion) {
    Table table(true, true);
    const uint32_t hash = table.HashKey("Key");
    EXPECT_EQ(table.FindHashed("Key", hash), nullptr);
    table.AddHashed(std::make_unique<Counted>("Key", 7), hash);
    EXPECT_EQ(table.FindHashed("KEY", hash)->number, 7);
    EXPECT_EQ(table.Find("key")->number, 7);
}

// A table whose items come and go for as long as the process lives must not grow without end.
TEST(HashTable, HolesAreClosedWhenTheyAreMostOfALongTable) {
    Table table(true, false);
    AddName(table, "stays");
    AddName(table, "item0");
    constexpr int32_t kRounds = 20000;
    for (int32_t number = 1; number <= kRounds; ++number) {
        AddName(table, "item" + std::to_string(number));
        const std::unique_ptr<Counted> old(table.Remove(View("item" + std::to_string(number - 1))));
        ASSERT_NE(old, nullptr);
    }
    EXPECT_LT(table.Count(), 2048);
    EXPECT_EQ(WalkedNames(table), "stays item20000 ");
    EXPECT_EQ(NameOf(table.Find("stays")), "stays");
    EXPECT_EQ(NameOf(table.Find("item20000")), "item20000");
    EXPECT_EQ(table.Find("item19999"), nullptr);
}

// What moves together takes its place in the chains along.
TEST(HashTable, WhatIsLeftIsFoundWhenHolesAreClosed) {
    Table table(true, false);
    constexpr int32_t kItems = 1024;  // all the room there is
    for (int32_t number = 0; number < kItems; ++number) {
        AddName(table, std::to_string(number), number);
    }
    std::string left;
    for (int32_t number = 0; number < kItems; number += 2) {
        const std::unique_ptr<Counted> item(table.Remove(View(std::to_string(number))));
        left += std::to_string(number + 1) + " ";
    }
    EXPECT_EQ(table.Count(), kItems);
    AddName(table, "new");
    EXPECT_EQ(table.Count(), kItems / 2 + 1);
    EXPECT_EQ(WalkedNames(table), left + "new ");
    for (int32_t number = 0; number < kItems; ++number) {
        const std::string name = std::to_string(number);
        EXPECT_EQ(NameOf(table.Find(View(name))), number % 2 == 0 ? "null" : name);
    }
}

// Closing them would cost more than it gives.
TEST(HashTable, HolesStayWhenTheyAreLessThanHalf) {
    Table table(true, false);
    constexpr int32_t kItems = 2048;  // all the room there is
    for (int32_t number = 0; number < kItems; ++number) {
        AddName(table, std::to_string(number), number);
    }
    for (int32_t number = 0; number < 600; ++number) {
        const std::unique_ptr<Counted> item(table.Remove(View(std::to_string(number))));
    }
    EXPECT_EQ(AddName(table, "new"), kItems);
    EXPECT_EQ(NameOf(table.Find("599")), "null");
    EXPECT_EQ(NameOf(table.Find("600")), "600");
    EXPECT_EQ(NameOf(table.Find("new")), "new");
}

// Below that size a hole stays a hole, and slot numbers keep their meaning.
TEST(HashTable, FewHolesStay) {
    Table table(true, false);
    for (int32_t number = 0; number < 400; ++number) {
        AddName(table, std::to_string(number));
    }
    for (int32_t number = 0; number < 399; ++number) {
        const std::unique_ptr<Counted> item(table.Remove(View(std::to_string(number))));
    }
    EXPECT_EQ(AddName(table, "new"), 400);
    EXPECT_EQ(NameOf(table.ItemAt(399)), "399");
}

// Two names of one hash are rare among 32 bits, but among so many names there are some.
TEST(HashTable, NamesOfOneHashAreToldApart) {
    Table table(true, false);
    std::unordered_map<uint32_t, std::string> names;
    std::string first;
    std::string second;
    for (int32_t number = 0; second.empty() && number < 2000000; ++number) {
        const std::string name = "name" + std::to_string(number);
        const auto [found, isNew] = names.emplace(table.HashKey(View(name)), name);
        if (!isNew) {
            first = found->second;
            second = name;
        }
    }
    ASSERT_FALSE(second.empty());
    AddName(table, first, 1);
    EXPECT_EQ(table.Find(View(second)), nullptr);
    AddName(table, second, 2);
    EXPECT_EQ(table.Find(View(first))->number, 1);
    EXPECT_EQ(table.Find(View(second))->number, 2);
    const std::unique_ptr<Counted> taken(table.Remove(View(second)));
    EXPECT_EQ(taken->number, 2);
    EXPECT_EQ(table.Find(View(second)), nullptr);
    AddName(table, second, 3);
    const std::unique_ptr<Counted> other(table.Remove(View(first)));
    EXPECT_EQ(other->number, 1);
    EXPECT_EQ(table.Find(View(second))->number, 3);
}

TEST(HashTable, AWalkSeesItemsAddedOnTheWay) {
    Table table(true, false);
    AddName(table, "a");
    std::string names;
    for (const Counted* item : table) {
        names += Std(item->name);
        if (table.Count() < 3) {
            AddName(table, table.Count() == 1 ? "b" : "c");
        }
    }
    EXPECT_EQ(names, "abc");
}

// The slots behind a walk may become fewer under it; then as many items are left out.
TEST(HashTable, AWalkLeavesItemsOutWhenHolesAreClosedUnderIt) {
    Table table(true, false);
    constexpr int32_t kItems = 1024;  // all the room there is
    constexpr int32_t kHoles = 600;
    for (int32_t number = 0; number < kItems; ++number) {
        AddName(table, std::to_string(number), number);
    }
    for (int32_t number = 0; number < kHoles; ++number) {
        const std::unique_ptr<Counted> item(table.Remove(View(std::to_string(number))));
    }
    std::string names;
    for (const Counted* item : table) {
        names += Std(item->name) + " ";
        if (item->number == kHoles) {
            AddName(table, "new");
        }
    }
    // 600 stood at slot 600 and what is left now ends at slot 424.
    EXPECT_EQ(names, "600 ");
}

// --- HashTable2, with a key like that of the columns in a scope: a name, the table in front of it,
// and whether a table was written at all. The hash takes the texts, so only the comparison tells
// an empty table from none.

struct ScopeKey {
    TextView table;
    TextView name;
    bool qualified = false;
};

struct ScopeItem {
    ScopeKey key;
    int32_t number;
};

ScopeKey ItemKey(const ScopeItem& item) { return item.key; }
uint32_t HashOfKey(const ScopeKey& key) {
    return HashTextNoCase(key.name, HashTextNoCase(key.table));
}
int32_t CompareKeys(const ScopeKey& first, const ScopeKey& second) {
    const int32_t names = CompareByLength(first.name, second.name, true);
    const int32_t tables = CompareByLength(first.table, second.table, true);
    const int32_t qualified = int32_t{first.qualified} - int32_t{second.qualified};
    return names != 0 ? names : (tables != 0 ? tables : qualified);
}

TEST(HashTable2, FindsByAllPartsOfTheKey) {
    HashTable2<ScopeItem, ScopeKey> table(true);
    EXPECT_EQ(table.Add(std::make_unique<ScopeItem>(ScopeItem{{"", "a", false}, 1})), 0);
    EXPECT_EQ(table.Add(std::make_unique<ScopeItem>(ScopeItem{{"", "A", true}, 2})), 1);
    EXPECT_EQ(table.Add(std::make_unique<ScopeItem>(ScopeItem{{"t", "a", true}, 3})), 2);
    EXPECT_EQ(table.Add(std::make_unique<ScopeItem>(ScopeItem{{"t", "A", true}, 4})), 3);
    EXPECT_EQ(table.Find(ScopeKey{"", "A", false})->number, 1);
    EXPECT_EQ(table.Find(ScopeKey{"", "a", true})->number, 2);
    EXPECT_EQ(table.Find(ScopeKey{"T", "a", true})->number, 3);
    EXPECT_EQ(table.Find(ScopeKey{"T", "a", false}), nullptr);
    EXPECT_EQ(table.Find(ScopeKey{"u", "a", true}), nullptr);
    EXPECT_EQ(table.Count(), 4);
    EXPECT_EQ(table.Capacity(), 512);
    EXPECT_EQ(table.BucketCount(), 4096);
    EXPECT_EQ(table.HashItem(*table.ItemAt(0)), table.HashKey(ScopeKey{"", "A", true}));
}

TEST(HashTable2, RemovesAndWalksInOrder) {
    HashTable2<ScopeItem, ScopeKey> table(true);
    for (int32_t number = 0; number < 5; ++number) {
        table.Add(std::make_unique<ScopeItem>(ScopeItem{{"t", "same", true}, number}));
    }
    const std::unique_ptr<ScopeItem> first(table.Remove(ScopeKey{"T", "SAME", true}));
    EXPECT_EQ(first->number, 0);
    EXPECT_EQ(table.Remove(ScopeKey{"", "same", false}), nullptr);
    int32_t expected = 1;
    for (const ScopeItem* item : table) {
        EXPECT_EQ(item->number, expected++);
    }
    EXPECT_EQ(expected, 5);
    table.RemoveAll();
    EXPECT_EQ(table.Count(), 0);
    EXPECT_EQ(table.Add(static_cast<ScopeItem*>(nullptr)), kNoSlot);
}

// --- CollHashTable

TEST(CollHashTable, WalksInInsertionOrderAndSkipsHoles) {
    CollHashTable<Counted> table(true);
    for (const char* name : {"a", "b", "c", "d"}) {
        table.Add(std::make_unique<Counted>(name));
    }
    const std::unique_ptr<Counted> first(table.Remove("A"));
    const std::unique_ptr<Counted> third(table.Remove("C"));
    Collection<Counted>& walk = table;
    EXPECT_EQ(walk.Count(), 4);
    EXPECT_EQ(NameOf(walk.First()), "b");
    EXPECT_EQ(NameOf(walk.Next()), "d");
    EXPECT_EQ(NameOf(walk.Current()), "d");
    EXPECT_EQ(walk.Next(), nullptr);
    EXPECT_EQ(walk.Current(), nullptr);
    EXPECT_EQ(NameOf(walk.Last()), "d");
    EXPECT_EQ(NameOf(walk.Previous()), "b");
    EXPECT_EQ(walk.Previous(), nullptr);
    EXPECT_EQ(walk.Previous(), nullptr);
    EXPECT_EQ(NameOf(walk.Next()), "b");
}

TEST(CollHashTable, FindsTheFirstOfNamesThatDifferInCaseOnly) {
    CollHashTable<Counted> table(true);
    table.Add(std::make_unique<Counted>("Field", 1));
    table.Add(std::make_unique<Counted>("FIELD", 2));
    EXPECT_EQ(table.Find("field")->number, 1);
    EXPECT_EQ(table.CompareItems(*table.ItemAt(0), *table.ItemAt(1)), 0);
    EXPECT_EQ(table.CompareKey(*table.ItemAt(0), "fielD"), 0);
    EXPECT_EQ(table.HashItem(*table.ItemAt(0)), table.HashItem(*table.ItemAt(1)));
    EXPECT_EQ(table.Capacity(), 512);
    EXPECT_EQ(table.BucketCount(), 4096);
}

TEST(CollHashTable, AnEmptyTableWalksNothing) {
    CollHashTable<Counted> table(true);
    EXPECT_EQ(table.First(), nullptr);
    EXPECT_EQ(table.Last(), nullptr);
    EXPECT_EQ(table.Next(), nullptr);
    EXPECT_EQ(table.Previous(), nullptr);
    EXPECT_EQ(table.Current(), nullptr);
}

TEST(CollHashTable, RemoveAllLeavesItReadyForNewItems) {
    CollHashTable<Counted> table(true);
    table.Add(std::make_unique<Counted>("a"));
    table.Add(std::make_unique<Counted>("b"));
    table.Last();
    table.RemoveAll();
    EXPECT_EQ(Counted::alive, 0);
    EXPECT_EQ(table.Previous(), nullptr);
    table.Add(std::make_unique<Counted>("c"));
    EXPECT_EQ(NameOf(table.First()), "c");
    int32_t walked = 0;
    for (const Counted* item : table) {
        EXPECT_EQ(NameOf(item), "c");
        ++walked;
    }
    EXPECT_EQ(walked, 1);
}

}  // namespace
}  // namespace ovrasql
