#include "storage/index_page.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <utility>

namespace ovrasql {

// --- A page

OvraSQLIndexPage::OvraSQLIndexPage(uint32_t number, int32_t entrySize, int32_t pageSize)
    : number_(number),
      entrySize_(entrySize),
      pageSize_(pageSize),
      bytes_(std::make_unique<unsigned char[]>(static_cast<size_t>(pageSize))),
      room_(pageSize) {}

void OvraSQLIndexPage::Reuse(uint32_t number, int32_t entrySize, int32_t pageSize) {
    if (pageSize > room_) {
        bytes_ = std::make_unique<unsigned char[]>(static_cast<size_t>(pageSize));
        room_ = pageSize;
    } else {
        std::memset(bytes_.get(), 0, static_cast<size_t>(pageSize));
    }
    number_ = number;
    entrySize_ = entrySize;
    pageSize_ = pageSize;
    cursor_ = 0;
}

TextView OvraSQLIndexPage::Key(int32_t position) const {
    const char* key = reinterpret_cast<const char*>(Entry(position) + kIndexKeyOffset);
    const int32_t room = entrySize_ - kIndexKeyOffset;
    // A foreign page may hold a key without its NUL: the key ends with its room.
    const void* end = std::memchr(key, '\0', static_cast<size_t>(room));
    return TextView(
        key, end == nullptr ? room : static_cast<int32_t>(static_cast<const char*>(end) - key));
}

void OvraSQLIndexPage::SetKey(int32_t position, TextView key) {
    unsigned char* target = Entry(position) + kIndexKeyOffset;
    const int32_t length = std::min(key.length, entrySize_ - kIndexKeyOffset - 1);
    std::memmove(target, key.data, static_cast<size_t>(length));
    target[length] = '\0';
}

void OvraSQLIndexPage::InsertEntry(int32_t position, uint32_t leftChild, uint32_t record,
                                   TextView key) {
    const int32_t count = KeyCount();
    assert(position >= 0 && position <= count && count < Capacity());
    const int32_t moved = (count - position) * entrySize_ + kIndexChildBytes;
    std::memmove(Entry(position + 1), Entry(position), static_cast<size_t>(moved));
    SetChild(position, leftChild);
    SetRecord(position, record);
    SetKey(position, key);
    SetKeyCount(count + 1);
}

void OvraSQLIndexPage::RemoveEntry(int32_t position) {
    const int32_t count = KeyCount();
    assert(position >= 0 && position < count);
    const int32_t moved = (count - position - 1) * entrySize_ + kIndexChildBytes;
    std::memmove(Entry(position), Entry(position + 1), static_cast<size_t>(moved));
    SetKeyCount(count - 1);
}

void OvraSQLIndexPage::TakeEntries(const OvraSQLIndexPage& source, int32_t start, int32_t count) {
    assert(entrySize_ == source.entrySize_ && count <= Capacity());
    assert(start >= 0 && start + count <= source.KeyCount());
    const int32_t length = count * entrySize_ + kIndexChildBytes;
    std::memcpy(Entry(0), source.Entry(start), static_cast<size_t>(length));
    SetKeyCount(count);
}

// --- The pool

void IndexPageReturn::operator()(OvraSQLIndexPage* page) const noexcept {
    page->nextSpare_ = std::move(pool->spare_);
    pool->spare_.reset(page);
}

IndexPagePool::~IndexPagePool() {
    // One page at a time: the chain's own destructor would recurse along it.
    while (spare_ != nullptr) {
        spare_ = std::move(spare_->nextSpare_);
    }
}

IndexPageHolder IndexPagePool::Take(uint32_t number, int32_t entrySize, int32_t pageSize) {
    if (spare_ == nullptr) {
        return IndexPageHolder(new OvraSQLIndexPage(number, entrySize, pageSize),
                               IndexPageReturn{this});
    }
    spare_->Reuse(number, entrySize, pageSize);
    OvraSQLIndexPage* page = spare_.release();
    spare_ = std::move(page->nextSpare_);
    return IndexPageHolder(page, IndexPageReturn{this});
}

// --- The stack

void OvraSQLIndexPageStack::Push(IndexPageHolder page) {
    assert(!IsFull());
    pages_[count_] = std::move(page);
    walking_ = count_;
    ++count_;
}

OvraSQLIndexPage* OvraSQLIndexPageStack::Top() {
    walking_ = count_ - 1;
    return walking_ < 0 ? nullptr : pages_[walking_].get();
}

OvraSQLIndexPage* OvraSQLIndexPageStack::Below() {
    if (walking_ >= 0) {
        --walking_;
    }
    return walking_ < 0 ? nullptr : pages_[walking_].get();
}

IndexPageHolder OvraSQLIndexPageStack::Pop() {
    if (count_ == 0) {
        return nullptr;
    }
    while (count_ > 1 && count_ - 1 != walking_) {
        pages_[--count_].reset();
    }
    IndexPageHolder page = std::move(pages_[--count_]);
    walking_ = count_ - 1;
    return page;
}

void OvraSQLIndexPageStack::RemoveAll() {
    while (count_ > 0) {
        pages_[--count_].reset();
    }
    walking_ = -1;
}

}  // namespace ovrasql
