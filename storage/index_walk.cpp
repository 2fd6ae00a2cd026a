// OvraSQLIndex: finding a key and stepping through the keys.
//
// The walk's stack holds the pages from the root to the current entry. The top page's cursor is the
// entry; in each page below it the cursor is the child that leads up the stack, which is also the
// next entry once that child's keys are used up. So a step needs no search, and reads a page only
// when it goes down.

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "foundation/ignore_result.h"
#include "storage/ovra_sql_index.h"

namespace ovrasql {

namespace {

// A step under a held lock finds its place once. Only a file that changes under the lock makes the
// search for the place start over inside itself.
constexpr int32_t kMaximumReseeks = 4;

// Counts one level of nesting for as long as it lives.
class Nesting {
  public:
    explicit Nesting(int32_t* depth) : depth_(depth) { ++*depth_; }
    ~Nesting() { --*depth_; }
    Nesting(const Nesting&) = delete;
    Nesting& operator=(const Nesting&) = delete;

  private:
    int32_t* depth_;
};

}  // namespace

// --- Search

// The entry that a search would report if it ended now.
struct OvraSQLIndex::SearchPlace {
    OvraSQLIndexPage* page = nullptr;  // on the stack; null for none
    int32_t position = 0;
    uint32_t record = 0;
    bool found = false;

    void MoveTo(OvraSQLIndexPage* to, int32_t entry) {
        page = to;
        position = entry;
        record = to->Record(entry);
    }

    // Walks one page's entries and leaves its cursor where the search leaves the page. Gives the
    // child to go on with, 0 when the search has ended.
    uint32_t Search(const SearchKey& key, OvraSQLIndexPage* to) {
        const int32_t count = to->KeyCount();
        for (int32_t entry = 0; entry < count; ++entry) {
            to->SetCursor(entry);
            const int32_t order = ovrasql::CompareKeys(key, to->Key(entry));
            if (order > 0) {
                if (!found) {
                    MoveTo(to, entry);  // the best so far: the last one below the key
                }
                continue;
            }
            if (order == 0) {
                found = true;
                MoveTo(to, entry);
                if (key.exact && (key.flags & kIndexUnique) != 0) {
                    return 0;  // there is no other
                }
            }
            // Also left of an equal key, where the first of the equal ones may be.
            const uint32_t child = to->Child(entry);
            if (child == 0) {
                MoveTo(to, entry);
            }
            return child;
        }
        to->SetCursor(count);
        return to->RightmostChild();
    }
};

bool OvraSQLIndex::SearchTree(const SearchKey& key, SearchPlace* place) {
    uint32_t child = header_.RootPage();
    do {
        OvraSQLIndexPage* page = LoadPagePushed(child);
        if (page == nullptr) {
            return false;
        }
        child = place->Search(key, page);
    } while (child != 0);
    return true;
}

// The search itself, with the header read. Leaves the stack at the page of the entry reported.
bool OvraSQLIndex::SearchHeldTree(TextView key, bool exact, uint32_t* recordNumber, bool* found) {
    const SearchKey searchKey(CutKey(key), exact, header_.Flags());
    SearchPlace place;
    if (!SearchTree(searchKey, &place)) {
        return AbandonWalk();
    }
    *recordNumber = place.record;
    *found = place.found;
    OvraSQLIndexPage* page = stack_.Top();
    if (place.page == nullptr || place.page == page) {
        return true;  // at the leaf's end the cursor stays behind the last entry, for Next
    }
    while (page != place.page) {
        page = stack_.Below();
    }
    stack_.Push(stack_.Pop());
    stack_.Top()->SetCursor(place.position);
    return true;
}

bool OvraSQLIndex::Seek(TextView key, bool exact, uint32_t* recordNumber, bool* found, bool lock) {
    failed_ = false;
    *recordNumber = 0;
    *found = false;
    searchKey_ = key;  // it may lie in a page of the walk that ends here
    stack_.RemoveAll();
    RangeLock held;
    if (lock && !LockHeader(LockMode::kShared, &held)) {
        return false;
    }
    if (!ReadHeader()) {
        return true;  // Required: a header that cannot be read is no record, not a failed search.
    }
    StartCounting();
    return SearchHeldTree(searchKey_, exact, recordNumber, found);
}

bool OvraSQLIndex::SeekRecord(TextView key, uint32_t recordNumber, bool lock) {
    // Record number 0 stands for every failure of a search or a step.
    uint32_t reported = 0;
    bool found = false;
    IgnoreResult(Seek(key, true, &reported, &found, lock));
    // Required: the loop does not end with the equal keys. It runs on to the index's end.
    uint64_t steps = 0;
    while (found && reported != recordNumber && reported != 0) {
        if (++steps > header_.MostKeys()) {
            FailAsCorrupt();
            return AbandonWalk();
        }
        IgnoreResult(Next(&reported, nullptr, lock));
    }
    return reported == recordNumber && reported != 0;
}

// --- Both ends

// Empties the stack, takes the lock and reads the header. Required: a failure here counts as the
// end of the index; Failed() tells.
bool OvraSQLIndex::BeginWalk(bool lock, RangeLock* held) {
    failed_ = false;
    stack_.RemoveAll();
    if ((lock && !LockHeader(LockMode::kShared, held)) || !ReadHeader()) {
        return false;
    }
    StartCounting();
    return true;
}

bool OvraSQLIndex::First(uint32_t* recordNumber, bool lock) {
    *recordNumber = 0;
    RangeLock held;
    if (!BeginWalk(lock, &held)) {
        return true;
    }
    const OvraSQLIndexPage* root = LoadPagePushed(header_.RootPage());
    if (root == nullptr) {
        return AbandonWalk();
    }
    if (root->KeyCount() == 0) {
        return true;
    }
    if (!DescendLeft(root->Child(0))) {
        return AbandonWalk();
    }
    ReportForward(recordNumber, nullptr);
    return true;
}

bool OvraSQLIndex::Last(uint32_t* recordNumber, bool lock) {
    *recordNumber = 0;
    RangeLock held;
    if (!BeginWalk(lock, &held)) {
        return true;
    }
    OvraSQLIndexPage* root = LoadPagePushed(header_.RootPage());
    if (root == nullptr) {
        return AbandonWalk();
    }
    if (root->KeyCount() == 0) {
        return true;
    }
    root->SetCursor(root->KeyCount());
    if (!DescendRight(root->RightmostChild())) {
        return AbandonWalk();
    }
    ReportBackward(recordNumber);
    return true;
}

// --- Steps

bool OvraSQLIndex::Next(uint32_t* recordNumber, TextView* key, bool lock) {
    *recordNumber = 0;
    if (key != nullptr) {
        *key = TextView();
    }
    RangeLock held;
    if (!BeginStep(lock, &held)) {
        return true;
    }
    if (!CountStep(1)) {
        return AbandonWalk();
    }
    OvraSQLIndexPage* top = stack_.Top();
    // At the key count the page is used up, or its rightmost child is next.
    top->SetCursor(std::min(top->Cursor() + 1, top->KeyCount()));
    if (!DescendLeft(top->Child(top->Cursor()))) {
        return AbandonWalk();
    }
    ReportForward(recordNumber, key);
    return true;
}

bool OvraSQLIndex::Previous(uint32_t* recordNumber, bool lock) {
    *recordNumber = 0;
    const bool wasBehind = StandsBehindLastEntry();
    RangeLock held;
    if (!BeginStep(lock, &held)) {
        return true;
    }
    if (!CountStep(-1)) {
        return AbandonWalk();
    }
    OvraSQLIndexPage* top = stack_.Top();
    if (wasBehind && !StandsBehindLastEntry()) {
        // The place was found again at the entry before it, which is this step's. There may be keys
        // behind that entry now that the walk has not come from.
        top->SetCursor(top->Cursor() + 1);
    } else if (!DescendRight(top->Child(top->Cursor()))) {
        return AbandonWalk();
    }
    ReportBackward(recordNumber);
    return true;
}

void OvraSQLIndex::StartCounting() {
    walkGeneration_ = header_.Generation();
    walkSteps_ = 0;
    walkHighestPage_ = 0;
}

// Lock, header, and the place in the tree as it is now. False when there is no place to step from:
// the end, or a failure that counts as the end.
bool OvraSQLIndex::BeginStep(bool lock, RangeLock* held) {
    failed_ = false;
    if ((lock && !LockHeader(LockMode::kShared, held)) || !ReadHeader()) {
        return false;
    }
    if (header_.Generation() != walkGeneration_ && !FindPlaceAgain()) {
        return false;
    }
    return stack_.Top() != nullptr;
}

// Somebody has changed the index: the pages on the stack are old. Finds the entry that the walk
// stands on by its key and record number. If it is gone the walk has ended.
bool OvraSQLIndex::FindPlaceAgain() {
    const OvraSQLIndexPage* top = stack_.Top();
    if (top == nullptr || top->KeyCount() == 0) {
        return AbandonWalk();
    }
    if (reseekDepth_ == kMaximumReseeks) {
        FailAsCorrupt();
        return AbandonWalk();
    }
    // Behind the last entry, where a search may have ended, the last entry is the place: right for
    // a step forward. Others ask StandsBehindLastEntry first.
    const int32_t position = std::min(top->Cursor(), top->KeyCount() - 1);
    const Nesting nesting(&reseekDepth_);
    return SeekRecord(top->Key(position), top->Record(position), false) || AbandonWalk();
}

bool OvraSQLIndex::StandsBehindLastEntry() {
    const OvraSQLIndexPage* top = stack_.Top();
    return top != nullptr && top->Cursor() >= top->KeyCount();
}

// A walk that goes further one way than its pages have keys runs in circles through shared pages.
// No more pages than the highest number among them can have been visited, whatever the header
// says; one page more covers a walk that began beside its first entry.
bool OvraSQLIndex::CountStep(int64_t direction) {
    walkSteps_ += direction;
    const uint64_t pages = uint64_t{1} + std::min(walkHighestPage_, header_.PageCount());
    const uint64_t most = pages * static_cast<uint64_t>(header_.Capacity());
    return static_cast<uint64_t>(std::llabs(walkSteps_)) <= most || FailAsCorrupt();
}

// Pushes the pages from the child down to the leftmost leaf. A new page's cursor is 0.
bool OvraSQLIndex::DescendLeft(uint32_t child) {
    while (child != 0) {
        const OvraSQLIndexPage* page = LoadPagePushed(child);
        if (page == nullptr) {
            return false;
        }
        child = page->Child(0);
    }
    return true;
}

// The same to the rightmost leaf, each cursor behind the last entry.
bool OvraSQLIndex::DescendRight(uint32_t child) {
    while (child != 0) {
        OvraSQLIndexPage* page = LoadPagePushed(child);
        if (page == nullptr) {
            return false;
        }
        page->SetCursor(page->KeyCount());
        child = page->RightmostChild();
    }
    return true;
}

// Drops the pages that are used up and reports the entry at the cursor of the first that is not.
// A page without keys is used up from the start.
void OvraSQLIndex::ReportForward(uint32_t* recordNumber, TextView* key) {
    for (OvraSQLIndexPage* top = stack_.Top(); top != nullptr; top = stack_.Top()) {
        if (top->Cursor() < top->KeyCount()) {
            *recordNumber = top->Record(top->Cursor());
            if (key != nullptr) {
                *key = top->Key(top->Cursor());
            }
            return;
        }
        stack_.Pop();
    }
}

void OvraSQLIndex::ReportBackward(uint32_t* recordNumber) {
    for (OvraSQLIndexPage* top = stack_.Top(); top != nullptr; top = stack_.Top()) {
        if (top->Cursor() > 0) {
            top->SetCursor(top->Cursor() - 1);
            *recordNumber = top->Record(top->Cursor());
            return;
        }
        stack_.Pop();
    }
}

bool OvraSQLIndex::AbandonWalk() {
    stack_.RemoveAll();
    return false;
}

}  // namespace ovrasql
