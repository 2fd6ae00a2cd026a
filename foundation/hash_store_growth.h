#pragma once

// HashStore: how its memory grows, how holes are closed, and how equals keep their order. Included
// by hash_store.h, which tells what holds before and after.

#include "foundation/hash_store.h"

namespace ovrasql {

// A table whose items come and go must not grow without end.
template <class Item, class Memory>
void HashStore<Item, Memory>::MakeRoom() {
    if (holeCount_ >= kHashTableStep && holeCount_ >= usedSlots_ / 2) {
        CloseHoles();
    } else {
        Enlarge();
    }
}

// Moves the items together in the order they have, and the links after them.
template <class Item, class Memory>
void HashStore<Item, Memory>::CloseHoles() {
    auto moved = Memory::template MakeVector<int32_t>(static_cast<size_t>(usedSlots_));
    int32_t kept = 0;
    for (int32_t slot = 0; slot < usedSlots_; ++slot) {
        moved[slot] = kNoSlot;
        if (slots_[slot].item != nullptr) {
            moved[slot] = kept;
            slots_[kept++] = slots_[slot];
        }
    }
    usedSlots_ = kept;
    holeCount_ = 0;
    for (int32_t slot = 0; slot < kept; ++slot) {
        slots_[slot].next = slots_[slot].next == kNoSlot ? kNoSlot : moved[slots_[slot].next];
    }
    for (int32_t head = 0; head < roomCount_; ++head) {
        heads_[head] = heads_[head] == kNoSlot ? kNoSlot : moved[heads_[head]];
    }
}

// After the oldest of equals has gone: `link` leads to the others, of which the last is the oldest.
template <class Item, class Memory>
template <class IsEqual>
void HashStore<Item, Memory>::PutOldestFirst(int32_t* link, IsEqual isEqual) {
    if (*link == kNoSlot || !isEqual(*link)) {
        return;
    }
    int32_t* last = link;
    for (int32_t next = slots_[*last].next; next != kNoSlot && isEqual(next);
         next = slots_[*last].next) {
        last = &slots_[*last].next;
    }
    const int32_t oldest = *last;
    *last = slots_[oldest].next;
    slots_[oldest].next = *link;
    *link = oldest;
}

template <class Item, class Memory>
void HashStore<Item, Memory>::Enlarge() {
    if (roomCount_ > std::numeric_limits<int32_t>::max() / 2) {
        throw std::bad_alloc();
    }
    const int32_t room = roomCount_ == 0 ? kLeastRoom : roomCount_ * 2;
    auto heads = Memory::template MakeVector<int32_t>(static_cast<size_t>(room));
    auto slots = Memory::template MakeVector<Slot>(static_cast<size_t>(room));
    for (int32_t slot = 0; slot < usedSlots_; ++slot) {
        slots[slot] = slots_[slot];
    }
    for (int32_t head = 0; head < room; ++head) {
        heads[head] = kNoSlot;
    }
    for (int32_t head = 0; head < roomCount_; ++head) {
        SplitChain(heads_[head], &heads[head], &heads[head + roomCount_], slots.get());
    }
    heads_ = std::move(heads);
    slots_ = std::move(slots);
    roomCount_ = room;
}

// Deals the members out to the two buckets that one becomes, each in the order they had.
template <class Item, class Memory>
void HashStore<Item, Memory>::SplitChain(int32_t slot, int32_t* low, int32_t* high,
                                         Slot* slots) const {
    while (slot != kNoSlot) {
        const int32_t next = slots[slot].next;
        const bool goesHigh = (slots[slot].hash & static_cast<uint32_t>(roomCount_)) != 0;
        int32_t*& link = goesHigh ? high : low;
        *link = slot;
        link = &slots[slot].next;
        *link = kNoSlot;
        slot = next;
    }
}

}  // namespace ovrasql
