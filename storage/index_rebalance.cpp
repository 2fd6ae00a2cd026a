// OvraSQLIndex: mending a page that a deletion has left with too few entries. Entries come over
// from a sibling that can spare them, through the parent's entry between the two; otherwise two
// siblings and that entry become one page.
//
// Both ways write the left page, the right page and then the parent, each after the other. A page
// emptied by a merge is written with no keys and stays in the file, out of reach.

#include "storage/index_change.h"
#include "storage/ovra_sql_index.h"

namespace ovrasql {

namespace {

// Where the child stands among the parent's children; the rightmost when it is nowhere else.
int32_t PositionOf(uint32_t child, const OvraSQLIndexPage& parent) {
    int32_t position = 0;
    while (position < parent.KeyCount() && parent.Child(position) != child) {
        ++position;
    }
    return position;
}

// Takes the page's first entry off and puts it behind the target's last one. The child left of the
// entry goes with it; the rightmost children stay.
void MoveFirstToEnd(OvraSQLIndexPage* page, OvraSQLIndexPage* target) {
    target->InsertEntry(target->KeyCount(), page->Child(0), page->Record(0), page->Key(0));
    page->RemoveEntry(0);
}

// The page's last entry in front of the target's first one, in the same way.
void MoveLastToFront(OvraSQLIndexPage* page, OvraSQLIndexPage* target) {
    const int32_t last = page->KeyCount() - 1;
    target->InsertEntry(0, page->Child(last), page->Record(last), page->Key(last));
    page->RemoveEntry(last);
}

// The parent's entry becomes a copy of the other page's, its child stays.
void ReplaceEntry(OvraSQLIndexPage* parent, int32_t entry, const OvraSQLIndexPage& source,
                  int32_t sourceEntry) {
    parent->SetRecord(entry, source.Record(sourceEntry));
    parent->SetKey(entry, source.Key(sourceEntry));
}

// The parent's entry comes down behind the left page's last one, and `spare` entries and the one
// that replaces it in the parent leave the right page.
void MoveLeft(OvraSQLIndexPage* left, OvraSQLIndexPage* parent, int32_t entry,
              OvraSQLIndexPage* right, int32_t spare) {
    const int32_t count = left->KeyCount();
    left->InsertEntry(count, left->RightmostChild(), parent->Record(entry), parent->Key(entry));
    left->SetChild(count + 1, right->Child(spare));
    ReplaceEntry(parent, entry, *right, spare);
    right->RemoveEntry(spare);
    for (int32_t moved = 0; moved < spare; ++moved) {
        MoveFirstToEnd(right, left);
    }
}

void MoveRight(OvraSQLIndexPage* left, OvraSQLIndexPage* parent, int32_t entry,
               OvraSQLIndexPage* right, int32_t spare) {
    const int32_t count = left->KeyCount();
    const int32_t middle = count - spare - 1;
    right->InsertEntry(0, left->RightmostChild(), parent->Record(entry), parent->Key(entry));
    ReplaceEntry(parent, entry, *left, middle);
    left->SetChild(count, left->Child(middle));
    left->RemoveEntry(middle);
    for (int32_t moved = 0; moved < spare; ++moved) {
        MoveLastToFront(left, right);
    }
}

}  // namespace

// Mends `page`, a child of `parent`; neither is written yet. kUnderfull hands the parent, not
// written either, to its own parent.
OvraSQLIndex::DeleteResult OvraSQLIndex::Rebalance(Change* change, OvraSQLIndexPage* parent,
                                                   OvraSQLIndexPage* page) {
    const int32_t least = header_.LeastCount();
    const int32_t position = parent->Child(parent->Cursor()) == page->Number()
                                 ? parent->Cursor()
                                 : PositionOf(page->Number(), *parent);
    IndexPageHolder left;
    IndexPageHolder right;
    if (position > 0 && (left = LoadSibling(change, parent->Child(position - 1))) == nullptr) {
        return DeleteResult::kFailed;
    }
    if (position < parent->KeyCount() &&
        (right = LoadSibling(change, parent->Child(position + 1))) == nullptr) {
        return DeleteResult::kFailed;
    }
    if (left != nullptr && left->KeyCount() > least) {
        return RedistributeKeys(left.get(), parent, page) ? DeleteResult::kDone
                                                          : DeleteResult::kFailed;
    }
    if (right != nullptr && right->KeyCount() > least) {
        return RedistributeKeys(page, parent, right.get()) ? DeleteResult::kDone
                                                           : DeleteResult::kFailed;
    }
    if (left == nullptr && right == nullptr) {
        FailAsCorrupt();  // an inner page without keys
        return DeleteResult::kFailed;
    }
    const bool merged = left != nullptr ? MergePages(left.get(), parent, page)
                                        : MergePages(page, parent, right.get());
    if (!merged) {
        return DeleteResult::kFailed;
    }
    const bool isRoot = parent->Number() == header_.RootPage();
    if (parent->KeyCount() < least && !isRoot) {
        return DeleteResult::kUnderfull;
    }
    if (!StorePage(*parent)) {
        return DeleteResult::kFailed;
    }
    if (parent->KeyCount() == 0) {
        header_.SetRootPage(left != nullptr ? left->Number() : page->Number());
    }
    return DeleteResult::kDone;
}

// Both pages and the entry between them into the left page. Fails where that does not fit, which a
// file of a tiny order or a damaged one can bring about.
bool OvraSQLIndex::MergePages(OvraSQLIndexPage* left, OvraSQLIndexPage* parent,
                              OvraSQLIndexPage* right) {
    const int32_t entry = PositionOf(left->Number(), *parent);
    if (entry == parent->KeyCount() ||
        left->KeyCount() + 1 + right->KeyCount() > left->Capacity()) {
        return FailAsCorrupt();
    }
    left->InsertEntry(left->KeyCount(), left->RightmostChild(), parent->Record(entry),
                      parent->Key(entry));
    parent->RemoveEntry(entry);
    parent->SetChild(entry, left->Number());
    while (right->KeyCount() > 0) {
        MoveFirstToEnd(right, left);
    }
    left->SetChild(left->KeyCount(), right->Child(0));
    return StorePage(*left) && StorePage(*right);
}

bool OvraSQLIndex::RedistributeKeys(OvraSQLIndexPage* left, OvraSQLIndexPage* parent,
                                    OvraSQLIndexPage* right) {
    const int32_t leftCount = left->KeyCount();
    const int32_t rightCount = right->KeyCount();
    const int32_t entry = PositionOf(left->Number(), *parent);
    const int32_t most = leftCount > rightCount ? leftCount : rightCount;
    // Entries that move besides the one that passes through the parent.
    const int32_t spare = most - 1 - (leftCount + rightCount) / 2;
    if (entry == parent->KeyCount() || spare < 0) {
        return FailAsCorrupt();
    }
    if (leftCount <= rightCount) {
        MoveLeft(left, parent, entry, right, spare);
    } else {
        // Required: the right page is stored as it is first. Nothing depends on it.
        if (!StorePage(*right)) {
            return false;
        }
        MoveRight(left, parent, entry, right, spare);
    }
    return StorePage(*left) && StorePage(*right) && StorePage(*parent);
}

}  // namespace ovrasql
