#pragma once

// One page of an index file in memory, the pool that pages come from, and the stack of pages that
// is a walk's position. All integers are little-endian.
//
//   offset                 size            content
//   0                      4               key count
//   4 + i * entry size     4               child page left of key i, 0 in a leaf
//   8 + i * entry size     4               record number of key i
//   12 + i * entry size    entry size - 8  key i, NUL-ended
//
// The rightmost child stands where the child of entry `key count` would. Bytes behind the live
// entries are whatever they held before. An inner page's keys are keys of the index like any other:
// each key lives in one page.
//
// Within a page entries move as whole blocks; a key that comes from elsewhere is written as its
// text and one NUL, and the bytes behind that stay.

#include <cstdint>
#include <memory>

#include "foundation/text_view.h"
#include "storage/index_header.h"
#include "storage/little_endian.h"

namespace ovrasql {

// Depth that no tree of this format reaches: beyond it the file is damaged.
inline constexpr int32_t kIndexMaximumDepth = 64;

// Positions are in 0..KeyCount(); KeyCount() names the rightmost child. The sizes hold a header's
// SizesHold(), and the key count is at most Capacity(): LoadPage refuses other pages.
class OvraSQLIndexPage {
  public:
    OvraSQLIndexPage(uint32_t number, int32_t entrySize, int32_t pageSize);

    // Makes it another page, empty, with its cursor at 0. The buffer is kept if it is large enough.
    void Reuse(uint32_t number, int32_t entrySize, int32_t pageSize);

    [[nodiscard]] uint32_t Number() const { return number_; }
    [[nodiscard]] int32_t PageSize() const { return pageSize_; }
    [[nodiscard]] unsigned char* Bytes() { return bytes_.get(); }
    [[nodiscard]] const unsigned char* Bytes() const { return bytes_.get(); }

    [[nodiscard]] int32_t Cursor() const { return cursor_; }
    void SetCursor(int32_t position) { cursor_ = position; }

    [[nodiscard]] int32_t Capacity() const {
        return (pageSize_ - kIndexCountBytes - kIndexChildBytes) / entrySize_;
    }

    // Whether pages made by this header look like this one.
    [[nodiscard]] bool HasSizesOf(const IndexHeader& header) const {
        return entrySize_ == header.EntrySize() && pageSize_ == header.PageSize();
    }

    // The count as stored, before it is known to be at most Capacity().
    [[nodiscard]] uint32_t StoredCount() const { return LoadLittle32(bytes_.get()); }
    [[nodiscard]] int32_t KeyCount() const { return static_cast<int32_t>(StoredCount()); }
    void SetKeyCount(int32_t count) { StoreLittle32(bytes_.get(), static_cast<uint32_t>(count)); }

    [[nodiscard]] uint32_t Child(int32_t position) const { return LoadLittle32(Entry(position)); }
    void SetChild(int32_t position, uint32_t child) { StoreLittle32(Entry(position), child); }
    [[nodiscard]] uint32_t RightmostChild() const { return Child(KeyCount()); }

    [[nodiscard]] uint32_t Record(int32_t position) const {
        return LoadLittle32(Entry(position) + kIndexChildBytes);
    }
    void SetRecord(int32_t position, uint32_t record) {
        StoreLittle32(Entry(position) + kIndexChildBytes, record);
    }

    // Borrowed from the page. Ends at the key's NUL, or with the key's room if it has none.
    [[nodiscard]] TextView Key(int32_t position) const;
    void SetKey(int32_t position, TextView key);  // cut to the key's room

    // Opens an entry at the position, with `leftChild` as its child. The page must not be at its
    // capacity. The key may be borrowed from another page, not from this one.
    void InsertEntry(int32_t position, uint32_t leftChild, uint32_t record, TextView key);

    // Takes the entry out together with the child left of it.
    void RemoveEntry(int32_t position);

    // Overwrites this page with `count` entries of another one, from `start` on, and the child
    // behind them. Both pages have the same entry size, and this one has room.
    void TakeEntries(const OvraSQLIndexPage& source, int32_t start, int32_t count);

  private:
    friend class IndexPagePool;
    friend struct IndexPageReturn;

    [[nodiscard]] unsigned char* Entry(int32_t position) {
        return bytes_.get() + kIndexCountBytes + position * entrySize_;
    }
    [[nodiscard]] const unsigned char* Entry(int32_t position) const {
        return bytes_.get() + kIndexCountBytes + position * entrySize_;
    }

    uint32_t number_;
    int32_t entrySize_;
    int32_t pageSize_;
    std::unique_ptr<unsigned char[]> bytes_;
    int32_t room_;  // bytes that the buffer has
    int32_t cursor_ = 0;
    std::unique_ptr<OvraSQLIndexPage> nextSpare_;  // the pool's chain of spare pages
};

class IndexPagePool;

// A page in use. Letting go of it gives the page back to the pool it came from.
struct IndexPageReturn {
    IndexPagePool* pool = nullptr;
    void operator()(OvraSQLIndexPage* page) const noexcept;
};
using IndexPageHolder = std::unique_ptr<OvraSQLIndexPage, IndexPageReturn>;

// Owns the pages that are not in use, so that a step of a walk allocates nothing once the pool has
// seen the tree's depth. It must outlive every holder that it handed out.
class IndexPagePool {
  public:
    IndexPagePool() = default;
    ~IndexPagePool();
    IndexPagePool(const IndexPagePool&) = delete;
    IndexPagePool& operator=(const IndexPagePool&) = delete;

    // A zero-filled page with its cursor at 0.
    [[nodiscard]] IndexPageHolder Take(uint32_t number, int32_t entrySize, int32_t pageSize);

  private:
    friend struct IndexPageReturn;

    std::unique_ptr<OvraSQLIndexPage> spare_;  // first of the chain
};

// The pages from the root (bottom) to the current entry (top), owned. A walking pointer goes down
// from the top; Pop cuts the stack back to where it stands. A stack over kIndexMaximumDepth pages
// cannot be built: the caller asks IsFull first.
class OvraSQLIndexPageStack {
  public:
    [[nodiscard]] int32_t Count() const { return count_; }
    [[nodiscard]] bool IsFull() const { return count_ == kIndexMaximumDepth; }

    void Push(IndexPageHolder page);  // the walking pointer moves to it

    // The walking pointer goes to the top, or one page deeper. Null when no page is there;
    // borrowed.
    OvraSQLIndexPage* Top();
    OvraSQLIndexPage* Below();

    // Drops the pages above the walking pointer and hands over the page it stands on (the last page
    // when it has run off the bottom). The walking pointer moves to the new top.
    IndexPageHolder Pop();

    void RemoveAll();

    // The page at a depth, 0 being the bottom; depth < Count(). Does not move the walking pointer.
    [[nodiscard]] const OvraSQLIndexPage& At(int32_t depth) const { return *pages_[depth]; }

  private:
    IndexPageHolder pages_[kIndexMaximumDepth];
    int32_t count_ = 0;
    int32_t walking_ = -1;  // depth of the walking pointer, -1 when it is off the bottom
};

}  // namespace ovrasql
