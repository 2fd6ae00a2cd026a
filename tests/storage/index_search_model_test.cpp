// Searches in trees of several levels, for each sum of index flags, against a model that searches
// the bytes of the file: the record reported, whether it was found, and the steps from there.

#include <locale.h>
#include <stdlib.h>

#include <algorithm>
#include <ostream>
#include <random>

#include "tests/storage/index_image.h"

namespace ovrasql {
namespace {

constexpr int kSearchedKeys = 200;
constexpr int kSearches = 1000;

struct Reported {
    uint32_t record = 0;
    bool found = false;
    bool isBehind = false;  // the search ended behind that record, which is its leaf's last
};

bool operator==(const Reported& one, const Reported& other) {
    return one.record == other.record && one.found == other.found;
}

// How a failed comparison shows it.
void PrintTo(const Reported& reported, std::ostream* out) {
    *out << (reported.found ? "found " : "at ") << reported.record;
}

// With a point whatever locale the program runs in.
bool ReadsAsNumber(const std::string& text, double* value) {
    static const locale_t plain = ::newlocale(LC_ALL_MASK, "C", nullptr);
    char* end = nullptr;
    *value = ::strtod_l(text.c_str(), &end, plain);
    return *end == '\0';
}

// Negative, 0 or positive as the key searched for stands before, at or behind an entry's.
int OrderOf(const std::string& key, const std::string& entry, bool exact, uint32_t flags) {
    const int sign = (flags & kIndexDescending) != 0 ? -1 : 1;
    double one = 0;
    double other = 0;
    if (exact && (flags & kIndexTextOnly) == 0 && ReadsAsNumber(key, &one) &&
        ReadsAsNumber(entry, &other)) {
        return one == other ? 0 : (one > other ? sign : -sign);
    }
    const std::string compared = exact ? entry : entry.substr(0, key.size());
    return sign * key.compare(compared);
}

// Goes down left of each key that is not below the one searched for: equal ones may stand there.
// Without an equal key the neighbour is reported, the one above in the leaf at the end of the path
// or else that leaf's last.
Reported SearchImage(const IndexImage& image, const std::string& key, bool exact) {
    Reported reported;
    uint32_t number = image.root;
    do {
        const PageImage& page = image.pages[number];
        size_t position = 0;
        int order = 1;
        while (position < page.Count() &&
               (order = OrderOf(key, page.entries[position].key, exact, image.flags)) > 0) {
            if (!reported.found) {
                reported.record = page.entries[position].record;
            }
            ++position;
        }
        number = page.Child(position);
        if (position == page.Count()) {
            reported.isBehind = number == 0 && !reported.found;
            continue;
        }
        if (order == 0 || number == 0) {
            reported.record = page.entries[position].record;
            reported.found = reported.found || order == 0;
        }
        if (order == 0 && exact && (image.flags & kIndexUnique) != 0) {
            return reported;
        }
    } while (number != 0);
    return reported;
}

class IndexSearchModelTest : public IndexTest, public ::testing::WithParamInterface<int32_t> {
  protected:
    // Numbers of which several texts have one value, or texts that begin alike.
    std::string RandomKey(bool ofNumbers) {
        const auto value = static_cast<uint32_t>(random_() % 400);
        if (ofNumbers) {
            return std::string(random_() % 3, '0') + std::to_string(value) +
                   (random_() % 3 == 0 ? ".0" : "");
        }
        return std::string("AB", 1 + value % 2) + static_cast<char>('A' + value % 3) +
               std::to_string(value % 50);
    }

    void Fill(bool ofNumbers) {
        Create(GetParam());
        uint32_t record = 1;
        for (int key = 0; key < kSearchedKeys; ++key) {
            record += index_->InsertKey(record, View(RandomKey(ofNumbers))) ? 1U : 0U;
        }
    }

    Reported Search(const std::string& key, bool exact) {
        Reported reported;
        EXPECT_TRUE(index_->Seek(View(key), exact, &reported.record, &reported.found, true));
        return reported;
    }

    // The walk goes on from the record reported, both ways. Going back from behind a record gives
    // that record.
    void CompareSteps(const std::vector<uint32_t>& records, const std::string& key, bool exact,
                      const Reported& expected) {
        const auto place = std::find(records.begin(), records.end(), expected.record);
        ASSERT_NE(place, records.end());
        uint32_t record = 0;
        ASSERT_TRUE(index_->Next(&record, nullptr, true));
        EXPECT_EQ(record, place + 1 == records.end() ? 0 : place[1]) << "behind " << key;
        Search(key, exact);
        ASSERT_TRUE(index_->Previous(&record, true));
        const uint32_t before = place == records.begin() ? 0 : place[-1];
        EXPECT_EQ(record, expected.isBehind ? expected.record : before) << "before " << key;
    }

    std::mt19937 random_{7};
};

TEST_P(IndexSearchModelTest, SearchesLandWhereTheBytesSay) {
    TheHost().SetLogging(false);
    for (const bool ofNumbers : {false, true}) {
        Fill(ofNumbers);
        const IndexImage image = ReadIndexImage(TheHost().FileText("t.ovx"));
        ASSERT_NE(image.pages[image.pages[image.root].Child(0)].Child(0), 0U) << "three levels";
        const IndexShape shape("t.ovx");
        std::vector<uint32_t> records;
        for (const auto& [key, record] : shape.Keys()) {
            records.push_back(record);
        }
        for (int search = 0; search < kSearches; ++search) {
            std::string key = RandomKey(ofNumbers);
            if (search % 3 == 0) {
                key.resize(random_() % (key.size() + 1));
            }
            const bool exact = search % 2 == 0;
            const Reported expected = SearchImage(image, key, exact);
            ASSERT_EQ(Search(key, exact), expected) << "'" << key << "' exact " << exact;
            CompareSteps(records, key, exact, expected);
            if (HasFailure()) {
                return;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(EachSumOfFlags, IndexSearchModelTest, ::testing::Range(0, 8));

}  // namespace
}  // namespace ovrasql
