// Operations at random on each kind of index, 100,000 on most of them, against an ordered list kept
// beside it: the same keys in the same order, newest first among equal ones.

#include <cstdlib>
#include <map>
#include <ostream>
#include <random>

#include "tests/storage/index_support.h"

namespace ovrasql {
namespace {

constexpr int kChecks = 8;

struct Kind {
    const char* name;
    int32_t flags;
    bool numbers;  // keys are numbers, of which several texts have one value
    int operations = 100000;
};

// Otherwise a test's name is made from all bytes, also from those between the members.
void PrintTo(const Kind& kind, std::ostream* out) { *out << kind.name; }

// The order that the list keeps. Keys of one kind are all numbers or all texts, so it is an order.
struct KeyLess {
    bool byValue = false;
    bool descending = false;

    bool operator()(const std::string& first, const std::string& second) const {
        const std::string& low = descending ? second : first;
        const std::string& high = descending ? first : second;
        return byValue ? std::strtod(low.c_str(), nullptr) < std::strtod(high.c_str(), nullptr)
                       : low < high;
    }
};

using Model = std::multimap<std::string, uint32_t, KeyLess>;

class IndexRandomTest : public IndexTest, public ::testing::WithParamInterface<Kind> {
  protected:
    IndexRandomTest()
        : model_(KeyLess{GetParam().numbers && (GetParam().flags & kIndexTextOnly) == 0,
                         (GetParam().flags & kIndexDescending) != 0}) {}

    std::string RandomKey() {
        const auto number = static_cast<uint32_t>(random_() % 700);
        std::string key = std::to_string(number);
        if (GetParam().numbers) {
            const char* const endings[] = {"", ".0", ".", ".00"};
            return std::string(random_() % 3, '0') + key + endings[random_() % 4];
        }
        // Texts of very different lengths, so that stale bytes lie about in the pages.
        return "K" + key + std::string(number % 7 * 13, 'X') + (number % 3 == 0 ? ":" : "");
    }

    void Insert() {
        const std::string key = RandomKey();
        const bool refused =
            (GetParam().flags & kIndexUnique) != 0 && model_.find(key) != model_.end();
        ++record_;
        ASSERT_EQ(index_->InsertKey(record_, View(key)), !refused) << Text(index_->Error());
        if (!refused) {
            model_.emplace_hint(model_.lower_bound(key), key, record_);
        }
    }

    void Delete() {
        const auto range = model_.equal_range(RandomKey());
        if (range.first == range.second) {
            return;
        }
        auto victim = range.first;
        std::advance(victim, random_() % std::distance(range.first, range.second));
        ASSERT_TRUE(index_->DeleteKey(victim->second, View(victim->first)))
            << Text(index_->Error());
        model_.erase(victim);
    }

    void DeleteMissing() {
        ASSERT_FALSE(index_->DeleteKey(0xFFFFFFFFU, View(RandomKey())));
        ASSERT_EQ(Text(index_->Error()), "Record is not in index");
    }

    // A search, and some steps from where it leads.
    void Search() {
        const std::string key = RandomKey();
        auto expected = model_.lower_bound(key);
        const bool there = model_.find(key) != model_.end();
        uint32_t record = 0;
        bool found = false;
        ASSERT_TRUE(index_->Seek(View(key), true, &record, &found, true));
        ASSERT_EQ(found, there) << key;
        if (!found) {
            return;
        }
        for (int step = 0; step < 5 && expected != model_.end(); ++step, ++expected) {
            ASSERT_EQ(record, expected->second) << key;
            ASSERT_TRUE(index_->Next(&record, nullptr, true));
        }
        ASSERT_EQ(record, expected == model_.end() ? 0 : expected->second);
    }

    void CompareEverything() {
        const IndexShape shape("t.ovx");
        ASSERT_EQ(shape.Faults(), "");
        ASSERT_EQ(shape.Keys().size(), model_.size());
        uint32_t record = 0;
        ASSERT_TRUE(index_->First(&record, true));
        for (const auto& [key, expected] : model_) {
            ASSERT_EQ(record, expected) << key;
            ASSERT_TRUE(index_->Next(&record, nullptr, true));
        }
        ASSERT_EQ(record, 0U);
        ASSERT_TRUE(index_->Last(&record, true));
        for (auto entry = model_.rbegin(); entry != model_.rend(); ++entry) {
            ASSERT_EQ(record, entry->second) << entry->first;
            ASSERT_TRUE(index_->Previous(&record, true));
        }
        ASSERT_EQ(record, 0U);
    }

    Model model_;
    std::mt19937 random_{123};
    uint32_t record_ = 0;
};

TEST_P(IndexRandomTest, AgreesWithAListKeptBesideIt) {
    TheHost().SetLogging(false);
    Create(GetParam().flags);
    const int operations = GetParam().operations;
    for (int operation = 1; operation <= operations; ++operation) {
        // Grows at first, shrinks in the middle, and so on: merges as well as splits.
        const bool growing = operation / (operations / 8) % 2 == 0;
        const auto choice = static_cast<uint32_t>(random_() % 1000);
        if (choice < (growing ? 600U : 200U)) {
            Insert();
        } else if (choice < 850) {
            Delete();
        } else if (choice < 851) {
            DeleteMissing();
        } else {
            Search();
        }
        if (operation % (operations / kChecks) == 0) {
            CompareEverything();
        }
        if (HasFatalFailure()) {
            FAIL() << "operation " << operation;
        }
    }
    while (!model_.empty()) {
        ASSERT_TRUE(index_->DeleteKey(model_.begin()->second, View(model_.begin()->first)));
        model_.erase(model_.begin());
    }
    EXPECT_EQ(Shape(), "");
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, IndexRandomTest,
    ::testing::Values(
        Kind{"Plain", 0, false}, Kind{"PlainNumbers", 0, true, 20000},
        Kind{"Unique", kIndexUnique, false}, Kind{"UniqueNumbers", kIndexUnique, true, 20000},
        Kind{"Descending", kIndexDescending, true}, Kind{"Text", kIndexTextOnly, true},
        Kind{"UniqueDescendingText", kIndexUnique | kIndexDescending | kIndexTextOnly, false}),
    [](const auto& parameter) { return std::string(parameter.param.name); });

}  // namespace
}  // namespace ovrasql
