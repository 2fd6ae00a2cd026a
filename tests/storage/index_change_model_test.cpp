// Insertions and deletions at random, one by one, against a model of how docs/formats-ovx.md says
// that a tree grows and shrinks: after each change, the same entries in the same pages. Pages of
// every order that the usual page has room for, from two keys on.

#include <algorithm>
#include <random>

#include "tests/storage/index_image.h"

namespace ovrasql {
namespace {

constexpr int kModelChanges = 240;

class IndexModel {
  public:
    IndexModel(int32_t order, int32_t flags) : order_(static_cast<size_t>(order)), flags_(flags) {
        image_.flags = static_cast<uint32_t>(flags);
    }

    [[nodiscard]] const IndexImage& Image() const { return image_; }

    // False where UNIQUE refuses the key.
    bool Insert(uint32_t record, const std::string& key) {
        Entry entry{0, record, key};
        uint32_t newPage = 0;
        const Insertion result = InsertBelow(image_.root, &entry, &newPage);
        if (result == Insertion::kRefused) {
            return false;
        }
        if (result == Insertion::kGoesUp) {
            const uint32_t number = AddPage();
            entry.child = image_.root;
            Page(number) = PageImage{{entry}, newPage};
            image_.root = number;
        }
        ++image_.generation;
        return true;
    }

    // False where there is no such entry.
    bool Delete(uint32_t record, const std::string& key) {
        if (DeleteBelow(image_.root, record, key) == Deletion::kNotThere) {
            return false;
        }
        ++image_.generation;
        return true;
    }

  private:
    enum class Insertion { kGoesUp, kDone, kRefused };
    enum class Deletion { kDone, kShort, kNotThere };

    PageImage& Page(uint32_t number) { return image_.pages[number]; }

    uint32_t AddPage() {
        image_.pages.emplace_back();
        return static_cast<uint32_t>(image_.pages.size() - 1);
    }

    [[nodiscard]] int32_t Compare(const std::string& key, const Entry& entry) const {
        return OvraSQLIndex::CompareKeys(View(key), View(entry.key), true, flags_);
    }

    // The first entry from `position` on that is not below the key.
    size_t PlaceOf(const std::string& key, const PageImage& page, size_t position) const {
        while (position < page.Count() && Compare(key, page.entries[position]) > 0) {
            ++position;
        }
        return position;
    }

    // --- Growing

    // In front of the first entry that is not below it, in a leaf. What a page that splits hands
    // up to its parent replaces the entry, with the page right of it.
    Insertion InsertBelow(uint32_t number, Entry* entry, uint32_t* newPage) {
        if (number == 0) {
            return Insertion::kGoesUp;  // into the leaf above
        }
        const size_t position = PlaceOf(entry->key, Page(number), 0);
        const bool isUnique = (flags_ & kIndexUnique) != 0;
        if (isUnique && position < Page(number).Count() &&
            Compare(entry->key, Page(number).entries[position]) == 0) {
            return Insertion::kRefused;
        }
        const uint32_t child = Page(number).Child(position);
        const Insertion result = InsertBelow(child, entry, newPage);
        if (result != Insertion::kGoesUp) {
            return result;
        }
        PageImage& page = Page(number);
        entry->child = child;
        page.entries.insert(At(page, position), *entry);
        page.SetChild(position + 1, *newPage);
        if (page.Count() <= order_) {
            return Insertion::kDone;
        }
        // Lower half, middle, upper half; of an even number the spare one goes to the upper half.
        *newPage = AddPage();
        *entry = Cut(Page(number), order_ / 2, &Page(number), &Page(*newPage));
        return Insertion::kGoesUp;
    }

    // --- Shrinking

    // The pages from where the key would stand to the right end.
    Deletion DeleteBelow(uint32_t number, uint32_t record, const std::string& key) {
        PageImage& page = Page(number);
        for (size_t position = 0; position <= page.Count(); ++position) {
            position = PlaceOf(key, page, position);
            if (position < page.Count() && page.entries[position].record == record &&
                Compare(key, page.entries[position]) == 0) {
                return DeleteAt(number, position);
            }
            const uint32_t child = page.Child(position);
            const Deletion result =
                child == 0 ? Deletion::kNotThere : DeleteBelow(child, record, key);
            if (result == Deletion::kShort) {
                return Mend(number, position);
            }
            if (result == Deletion::kDone) {
                return result;
            }
        }
        return Deletion::kNotThere;
    }

    // An entry of an inner page is replaced by the one that follows it, the first of a leaf.
    Deletion DeleteAt(uint32_t number, size_t position) {
        PageImage& page = Page(number);
        if (page.Child(position) == 0) {
            page.entries.erase(At(page, position));
            return ShortOrDone(number);
        }
        const Deletion result = TakeFirst(page.Child(position + 1), &page.entries[position]);
        return result == Deletion::kShort ? Mend(number, position + 1) : result;
    }

    Deletion TakeFirst(uint32_t number, Entry* slot) {
        PageImage& page = Page(number);
        if (page.Child(0) != 0) {
            const Deletion result = TakeFirst(page.Child(0), slot);
            return result == Deletion::kShort ? Mend(number, 0) : result;
        }
        slot->record = page.entries[0].record;
        slot->key = page.entries[0].key;
        page.entries.erase(page.entries.begin());
        return ShortOrDone(number);
    }

    // Half the order, less one; but no page may run empty.
    [[nodiscard]] size_t LeastKeys() const { return std::max<size_t>(order_ / 2, 2) - 1; }

    Deletion ShortOrDone(uint32_t number) {
        const bool isShort = number != image_.root && Page(number).Count() < LeastKeys();
        return isShort ? Deletion::kShort : Deletion::kDone;
    }

    // The child at the position is short: a sibling gives, the left one if it can, or they merge.
    Deletion Mend(uint32_t number, size_t position) {
        PageImage& parent = Page(number);
        const auto gives = [&](size_t sibling) {
            return Page(parent.Child(sibling)).Count() > LeastKeys();
        };
        const bool hasLeft = position > 0;
        if (hasLeft && gives(position - 1)) {
            ShareOut(&parent, position - 1);
            return Deletion::kDone;
        }
        if (position < parent.Count() && gives(position + 1)) {
            ShareOut(&parent, position);
            return Deletion::kDone;
        }
        Merge(&parent, hasLeft ? position - 1 : position);
        if (number == image_.root && parent.Count() == 0) {
            image_.root = parent.rightmost;
        }
        return ShortOrDone(number);
    }

    // The two children beside the entry get as many keys each, the poorer one the odd key.
    void ShareOut(PageImage* parent, size_t position) {
        Entry& between = parent->entries[position];
        PageImage& left = Page(parent->Child(position));
        PageImage& right = Page(parent->Child(position + 1));
        const size_t keys = left.Count() + right.Count();
        const size_t toLeft = left.Count() <= right.Count() ? keys - keys / 2 : keys / 2;
        const Entry middle = Cut(Joined(left, between, right), toLeft, &left, &right);
        between.record = middle.record;
        between.key = middle.key;
    }

    // Into the left one. The right one stays in the file, with no keys.
    void Merge(PageImage* parent, size_t position) {
        const uint32_t number = parent->Child(position);
        PageImage& right = Page(parent->Child(position + 1));
        Page(number) = Joined(Page(number), parent->entries[position], right);
        right.entries.clear();
        parent->entries.erase(At(*parent, position));
        parent->SetChild(position, number);
    }

    // --- Pages

    static std::vector<Entry>::iterator At(PageImage& page, size_t position) {
        return page.entries.begin() + static_cast<std::ptrdiff_t>(position);
    }

    static PageImage Joined(const PageImage& left, const Entry& between, const PageImage& right) {
        PageImage joined = left;
        joined.entries.push_back({left.rightmost, between.record, between.key});
        joined.entries.insert(joined.entries.end(), right.entries.begin(), right.entries.end());
        joined.rightmost = right.rightmost;
        return joined;
    }

    // So many entries into the left page, the next one is given back, the rest into the right one.
    static Entry Cut(PageImage whole, size_t toLeft, PageImage* left, PageImage* right) {
        const Entry middle = whole.entries[toLeft];
        left->entries.assign(whole.entries.begin(), At(whole, toLeft));
        left->rightmost = middle.child;
        right->entries.assign(At(whole, toLeft + 1), whole.entries.end());
        right->rightmost = whole.rightmost;
        return middle;
    }

    IndexImage image_;
    size_t order_;
    int32_t flags_;
};

// The first difference between a file and the model, empty if there is none.
std::string DifferenceBetween(const IndexImage& file, const IndexImage& model) {
    if (file.generation != model.generation || file.root != model.root ||
        file.pages.size() != model.pages.size()) {
        return "the headers differ";
    }
    for (size_t number = 1; number < file.pages.size(); ++number) {
        const PageImage& one = file.pages[number];
        const PageImage& other = model.pages[number];
        const bool same =
            one.rightmost == other.rightmost &&
            std::equal(one.entries.begin(), one.entries.end(), other.entries.begin(),
                       other.entries.end(), [](const Entry& entry, const Entry& modelled) {
                           return entry.child == modelled.child &&
                                  entry.record == modelled.record && entry.key == modelled.key;
                       });
        if (!same) {
            return "page " + std::to_string(number) + " differs";
        }
    }
    return "";
}

class IndexChangeModelTest : public IndexTest, public ::testing::WithParamInterface<uint32_t> {
  protected:
    void InsertRandom(IndexModel* model) {
        const std::string key = std::to_string(random_() % 150);
        ++record_;
        const bool inserted = model->Insert(record_, key);
        ASSERT_EQ(index_->InsertKey(record_, View(key)), inserted) << Text(index_->Error());
        if (inserted) {
            living_.push_back({0, record_, key});
        }
    }

    void DeleteRandom(IndexModel* model) {
        const size_t victim = random_() % living_.size();
        const Entry entry = living_[victim];
        living_.erase(living_.begin() + static_cast<std::ptrdiff_t>(victim));
        ASSERT_TRUE(model->Delete(entry.record, entry.key));
        ASSERT_TRUE(index_->DeleteKey(entry.record, View(entry.key))) << Text(index_->Error());
        ASSERT_FALSE(model->Delete(entry.record, entry.key));
        ASSERT_FALSE(index_->DeleteKey(entry.record, View(entry.key)));
    }

    // Grows, shrinks to about a half, and grows again; then it is emptied.
    void ChangeAtRandom(int32_t flags) {
        OpenBytes(IndexFile({.flags = static_cast<uint32_t>(flags), .order = GetParam()},
                            {PageBytes({})}));
        IndexModel model(static_cast<int32_t>(GetParam()), flags);
        for (int change = 0; change < kModelChanges || !living_.empty(); ++change) {
            const uint32_t chance = change >= kModelChanges ? 0U : (change / 80 == 1 ? 20U : 85U);
            if (random_() % 100 < chance || living_.empty()) {
                InsertRandom(&model);
            } else {
                DeleteRandom(&model);
            }
            const IndexImage file = ReadIndexImage(TheHost().FileText("t.ovx"));
            ASSERT_EQ(DifferenceBetween(file, model.Image()), "") << "change " << change;
        }
    }

    std::mt19937 random_{11};
    std::vector<Entry> living_;
    uint32_t record_ = 0;
};

TEST_P(IndexChangeModelTest, EachChangeLeavesThePagesOfTheModel) {
    TheHost().SetLogging(false);
    for (const int32_t flags : {0, kIndexUnique, kIndexDescending, kIndexTextOnly}) {
        ChangeAtRandom(flags);
        if (HasFatalFailure()) {
            FAIL() << "flags " << flags;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Orders, IndexChangeModelTest, ::testing::Range(2U, 10U));

}  // namespace
}  // namespace ovrasql
