// OvraSQLIndex: adding a key. A new key goes in front of the keys equal to it, so equal keys run
// newest first; its record number has no part in that.
//
// Writes, in this order: for each page that splits, from the leaf up, the header with the raised
// next page number, the old page, the new page; then the page that took the last entry, or the new
// root; then the header with the raised generation. A failure in between leaves what was written.

#include <algorithm>
#include <cassert>
#include <limits>
#include <utility>

#include "storage/index_change.h"
#include "storage/ovra_sql_index.h"

namespace ovrasql {

namespace {

// Page numbers that one insertion can use up: a split on each level and a new root.
constexpr uint32_t kMostNewPages = kIndexMaximumDepth + 1;

}  // namespace

bool OvraSQLIndex::InsertKey(uint32_t recordNumber, TextView key) {
    failed_ = false;
    RangeLock held;
    if (!LockHeader(LockMode::kExclusive, &held) || !ReadHeader()) {
        return false;
    }
    if (header_.PageCount() > std::numeric_limits<uint32_t>::max() - kMostNewPages) {
        return Fail("Error writing to '", "': File is full");  // numbers would run out half-way
    }
    if (header_.RootPage() == 0) {
        return FailAsCorrupt();  // page 0 is the header
    }
    Change change(header_, CutKey(key), recordNumber);
    const InsertResult result = InsertInto(&change, header_.RootPage());
    if (result == InsertResult::kFailed) {
        return false;
    }
    if (result == InsertResult::kPassUp && !GrowRoot(&change)) {
        return false;
    }
    return RaiseGeneration();
}

// The root has split: a new root above its two halves.
bool OvraSQLIndex::GrowRoot(Change* change) {
    const uint32_t number = header_.PageCount();
    assert(!change->IsOnPath(number));  // the split below has taken a number that was not less
    const IndexPageHolder root = NewPage(number);
    root->InsertEntry(0, header_.RootPage(), change->newRecord, promotedKey_);
    root->SetChild(1, change->newPage);
    header_.SetPageCount(number + 1);
    header_.SetRootPage(number);
    return StorePage(*root);
}

// Adds the key below the page of this number. 0 is the place below a leaf: the key itself goes up
// into the leaf. The recursion is bounded by the change's path.
OvraSQLIndex::InsertResult OvraSQLIndex::InsertInto(Change* change, uint32_t number) {
    if (number == 0) {
        change->newPage = 0;
        change->newRecord = change->recordNumber;
        promotedKey_ = change->key.text;
        return InsertResult::kPassUp;
    }
    const IndexPageHolder page = LoadBranch(change, number);
    if (page == nullptr) {
        return InsertResult::kFailed;
    }
    const int32_t count = page->KeyCount();
    int32_t position = 0;
    int32_t order = 1;
    while (position < count &&
           (order = ovrasql::CompareKeys(change->key, page->Key(position))) > 0) {
        ++position;
    }
    if (order == 0 && (header_.Flags() & kIndexUnique) != 0) {
        const String message =
            String::Join({"' was created with the UNIQUE flag and the key '", change->key.text,
                          "' already exists in the index file"});
        Fail("Index '", message);
        return InsertResult::kFailed;
    }
    const InsertResult result = InsertInto(change, page->Child(position));
    if (result != InsertResult::kPassUp) {
        return result;
    }
    if (count >= header_.FullCount()) {
        return InsertSplitting(change, page.get(), position);
    }
    page->InsertEntry(position, page->Child(position), change->newRecord, promotedKey_);
    page->SetChild(position + 1, change->newPage);
    return StorePage(*page) ? InsertResult::kDone : InsertResult::kFailed;
}

// Makes room in a full page by moving its upper half to a page at the file's end.
OvraSQLIndex::InsertResult OvraSQLIndex::InsertSplitting(Change* change, OvraSQLIndexPage* page,
                                                         int32_t position) {
    const uint32_t number = header_.PageCount();
    if (change->IsOnPath(number)) {
        FailAsCorrupt();
        return InsertResult::kFailed;
    }
    header_.SetPageCount(number + 1);
    if (!WriteHeader()) {
        return InsertResult::kFailed;
    }
    const IndexPageHolder newPage = NewPage(number);
    SplitPage(change, position, page, newPage.get());
    return StorePage(*page) && StorePage(*newPage) ? InsertResult::kPassUp : InsertResult::kFailed;
}

// The lower entries stay, the middle one goes up, the upper ones go to the new page. With an even
// number of entries the new page gets the spare one.
void OvraSQLIndex::SplitPage(Change* change, int32_t position, OvraSQLIndexPage* page,
                             OvraSQLIndexPage* newPage) {
    const IndexPageHolder work =
        pool_.Take(page->Number(), header_.EntrySize(), header_.PageSize() + header_.EntrySize());
    work->TakeEntries(*page, 0, page->KeyCount());
    work->InsertEntry(position, work->Child(position), change->newRecord, promotedKey_);
    work->SetChild(position + 1, change->newPage);

    const int32_t count = work->KeyCount();
    const int32_t middle = count - 1 - count / 2;
    page->TakeEntries(*work, 0, middle);
    newPage->TakeEntries(*work, middle + 1, count - middle - 1);
    change->newPage = newPage->Number();
    change->newRecord = work->Record(middle);
    promotedKey_ = work->Key(middle);
}

// --- Pages of a change

// A page on the way down. Null on failure.
IndexPageHolder OvraSQLIndex::LoadBranch(Change* change, uint32_t number) {
    if (number == 0 || !change->Enter(number)) {
        FailAsCorrupt();
        return nullptr;
    }
    return LoadCounted(change, number);
}

// A page beside the path: in an undamaged tree it is not on the path. Null on failure.
IndexPageHolder OvraSQLIndex::LoadSibling(Change* change, uint32_t number) {
    if (number == 0 || change->IsOnPath(number)) {
        FailAsCorrupt();
        return nullptr;
    }
    return LoadCounted(change, number);
}

IndexPageHolder OvraSQLIndex::LoadCounted(Change* change, uint32_t number) {
    if (!change->CountLoad()) {
        FailAsCorrupt();
        return nullptr;
    }
    IndexPageHolder page = NewPage(number);
    if (!LoadPage(page.get())) {
        return nullptr;
    }
    change->highestPage = std::max(change->highestPage, number);
    return page;
}

}  // namespace ovrasql
