// OvraSQLIndex: removing a key. An entry of a leaf is taken out; an entry of an inner page is
// replaced by its successor, which is the first entry of the subtree right of it. A page left with
// too few entries is mended from its parent, on the way up (index_rebalance.cpp), and is not
// written before that.

#include <utility>

#include "storage/index_change.h"
#include "storage/ovra_sql_index.h"

namespace ovrasql {

namespace {

// Moves the page's cursor over the entries below the key. True when it stands on the entry sought.
bool StopsAtTarget(const SearchKey& key, uint32_t recordNumber, OvraSQLIndexPage* page) {
    for (; page->Cursor() < page->KeyCount(); page->SetCursor(page->Cursor() + 1)) {
        const int32_t order = CompareKeys(key, page->Key(page->Cursor()));
        if (order < 0) {
            return false;
        }
        if (order == 0) {
            return page->Record(page->Cursor()) == recordNumber;
        }
    }
    return false;
}

}  // namespace

bool OvraSQLIndex::DeleteKey(uint32_t recordNumber, TextView key) {
    failed_ = false;
    RangeLock held;
    if (!LockHeader(LockMode::kExclusive, &held) || !ReadHeader()) {
        return false;
    }
    Change change(header_, CutKey(key), recordNumber);
    const IndexPageHolder root = LoadBranch(&change, header_.RootPage());
    if (root == nullptr) {
        return false;
    }
    switch (DeleteFrom(&change, root.get())) {
        case DeleteResult::kNotFound:
            return FailWithoutPath("Record is not in index");
        case DeleteResult::kFailed:
            return false;
        case DeleteResult::kDone:
        case DeleteResult::kUnderfull:
            break;
    }
    return RaiseGeneration();  // and with it the root number
}

// Searches the page and the subtrees from where the key would stand to the right end: keys equal to
// it may stand in each of them, and a greater entry does not end the search. Bounded by the
// change's path.
OvraSQLIndex::DeleteResult OvraSQLIndex::DeleteFrom(Change* change, OvraSQLIndexPage* page) {
    page->SetCursor(0);
    for (; page->Cursor() <= page->KeyCount(); page->SetCursor(page->Cursor() + 1)) {
        if (StopsAtTarget(change->key, change->recordNumber, page)) {
            return DeleteAtCursor(change, page);
        }
        const uint32_t number = page->Child(page->Cursor());
        if (number == 0) {
            continue;
        }
        const IndexPageHolder child = LoadBranch(change, number);
        if (child == nullptr) {
            return DeleteResult::kFailed;
        }
        const DeleteResult result = DeleteFrom(change, child.get());
        if (result == DeleteResult::kUnderfull) {
            return Rebalance(change, page, child.get());
        }
        if (result != DeleteResult::kNotFound) {
            return result;
        }
        change->Leave();
    }
    return DeleteResult::kNotFound;
}

// Removes the entry at the page's cursor.
OvraSQLIndex::DeleteResult OvraSQLIndex::DeleteAtCursor(Change* change, OvraSQLIndexPage* page) {
    const int32_t position = page->Cursor();
    if (page->Child(position) == 0) {
        page->RemoveEntry(position);
        return StoreUnlessUnderfull(*page);
    }
    const IndexPageHolder child = LoadBranch(change, page->Child(position + 1));
    if (child == nullptr) {
        return DeleteResult::kFailed;
    }
    const DeleteResult result = DeleteFirst(change, page, child.get());
    return result == DeleteResult::kUnderfull ? Rebalance(change, page, child.get()) : result;
}

// Moves the first entry of the page's subtree into the slot at the other page's cursor. Bounded by
// the change's path.
OvraSQLIndex::DeleteResult OvraSQLIndex::DeleteFirst(Change* change, OvraSQLIndexPage* slot,
                                                     OvraSQLIndexPage* page) {
    page->SetCursor(0);
    if (page->Child(0) != 0) {
        const IndexPageHolder child = LoadBranch(change, page->Child(0));
        if (child == nullptr) {
            return DeleteResult::kFailed;
        }
        const DeleteResult result = DeleteFirst(change, slot, child.get());
        return result == DeleteResult::kUnderfull ? Rebalance(change, page, child.get()) : result;
    }
    if (page->KeyCount() == 0) {
        FailAsCorrupt();
        return DeleteResult::kFailed;
    }
    slot->SetRecord(slot->Cursor(), page->Record(0));
    slot->SetKey(slot->Cursor(), page->Key(0));
    if (!StorePage(*slot)) {
        return DeleteResult::kFailed;
    }
    page->RemoveEntry(0);
    return StoreUnlessUnderfull(*page);
}

// An underfull page is left to its parent, which changes it again before it is written.
OvraSQLIndex::DeleteResult OvraSQLIndex::StoreUnlessUnderfull(const OvraSQLIndexPage& page) {
    if (page.Number() != header_.RootPage() && page.KeyCount() < header_.LeastCount()) {
        return DeleteResult::kUnderfull;
    }
    return StorePage(page) ? DeleteResult::kDone : DeleteResult::kFailed;
}

// --- The entry under the walk

bool OvraSQLIndex::DeleteCurrentKey(uint32_t recordNumber) {
    failed_ = false;
    RangeLock held;
    if (!LockHeader(LockMode::kExclusive, &held) || !ReadHeader()) {
        return false;
    }
    // Behind an entry there is nothing to delete; a search for the place would stop on the entry.
    if (!StandsBehindLastEntry() && header_.Generation() != walkGeneration_ && !FindPlaceAgain() &&
        failed_) {
        return false;
    }
    const OvraSQLIndexPage* top = stack_.Top();
    if (top == nullptr || StandsBehindLastEntry() || top->Record(top->Cursor()) != recordNumber) {
        return FailWithoutPath("Record is not in index");
    }
    const uint32_t oldRoot = header_.RootPage();
    Change change(header_, TextView(), recordNumber);
    const DeleteResult result = DeleteFromWalk(&change);
    stack_.RemoveAll();
    if (result == DeleteResult::kFailed) {
        return false;
    }
    // A root that has gone must not be found again by the next operation.
    return header_.RootPage() == oldRoot || WriteHeader();
}

// The walk's stack is the path: its pages are the file's, for the generation has not moved.
OvraSQLIndex::DeleteResult OvraSQLIndex::DeleteFromWalk(Change* change) {
    for (int32_t depth = 0; depth < stack_.Count(); ++depth) {
        if (!stack_.At(depth).HasSizesOf(header_) || !change->Enter(stack_.At(depth).Number())) {
            FailAsCorrupt();
            return DeleteResult::kFailed;
        }
    }
    stack_.Top();
    IndexPageHolder page = stack_.Pop();
    DeleteResult result = DeleteAtCursor(change, page.get());
    while (result == DeleteResult::kUnderfull && stack_.Count() > 0) {
        IndexPageHolder parent = stack_.Pop();
        result = Rebalance(change, parent.get(), page.get());
        page = std::move(parent);
    }
    return result;
}

}  // namespace ovrasql
