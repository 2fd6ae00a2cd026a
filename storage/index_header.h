#pragma once

// The header of an index file, kept as the image of its bytes. All integers are little-endian.
//
//   offset  size  content                                    at creation
//        0     4  magic                                      "OVXI"
//        4     1  format version                             3
//        5     4  generation, raised by every change         0
//        9     4  next page number = pages in use            2
//       13     4  root page number                           1
//       17     2  keys per page, the order                   8
//       19     2  page size in bytes                         1024
//       21     2  entry size in bytes                        108
//       23     4  index flags (key_compare.h)                the caller's
//       27   400  key expression, zero-filled                the caller's
//
// The rest of page 0 is never written. The image is a plain copy: it says what the file said when
// it was last read or written.

#include <cstdint>

#include "foundation/text_view.h"
#include "storage/little_endian.h"

namespace ovrasql {

inline constexpr int32_t kIndexHeaderLength = 427;
inline constexpr int32_t kIndexExpressionRoom = 400;
inline constexpr int32_t kIndexFormatVersion = 3;

// A page's key count stands before its entries; an entry is a child, a record number and a key.
inline constexpr int32_t kIndexCountBytes = 4;
inline constexpr int32_t kIndexChildBytes = 4;
inline constexpr int32_t kIndexKeyOffset = 8;

class IndexHeader {
  public:
    // The image of a new file: one empty root page, page 1. A longer expression is cut at its room,
    // and one that fills it has no NUL behind it.
    void MakeNew(TextView keyExpression, int32_t flags);

    [[nodiscard]] unsigned char* Bytes() { return bytes_; }

    [[nodiscard]] bool HasMagic() const;
    [[nodiscard]] int32_t Version() const { return bytes_[4]; }
    [[nodiscard]] uint32_t Generation() const { return LoadLittle32(bytes_ + 5); }
    [[nodiscard]] uint32_t PageCount() const { return LoadLittle32(bytes_ + 9); }
    [[nodiscard]] uint32_t RootPage() const { return LoadLittle32(bytes_ + 13); }
    [[nodiscard]] int32_t Order() const { return LoadLittle16(bytes_ + 17); }
    [[nodiscard]] int32_t PageSize() const { return LoadLittle16(bytes_ + 19); }
    [[nodiscard]] int32_t EntrySize() const { return LoadLittle16(bytes_ + 21); }
    [[nodiscard]] int32_t Flags() const { return static_cast<int32_t>(LoadLittle32(bytes_ + 23)); }
    [[nodiscard]] TextView KeyExpression() const;  // borrowed from the image

    void SetGeneration(uint32_t value) { StoreLittle32(bytes_ + 5, value); }
    void SetPageCount(uint32_t value) { StoreLittle32(bytes_ + 9, value); }
    void SetRootPage(uint32_t value) { StoreLittle32(bytes_ + 13, value); }

    // True when a page holds at least one entry of at least one key byte and its terminator,
    // besides the rightmost child. Nothing below may be asked of an image that fails this.
    [[nodiscard]] bool SizesHold() const;

    // Bytes for a key with its terminator.
    [[nodiscard]] int32_t KeyRoom() const { return EntrySize() - kIndexKeyOffset; }

    // Entries that a page has room for, beside the rightmost child.
    [[nodiscard]] int32_t Capacity() const {
        return (PageSize() - kIndexCountBytes - kIndexChildBytes) / EntrySize();
    }

    // Keys at which a page counts as full: the order, but at least 1 and at most what fits.
    [[nodiscard]] int32_t FullCount() const;

    // Keys below which a page other than the root is underfull. At least 1, also where half the
    // order less one is not: an empty leaf has no successor for the inner key left of it, which
    // could then never be deleted.
    [[nodiscard]] int32_t LeastCount() const;

    // No undamaged tree has more keys than this.
    [[nodiscard]] uint64_t MostKeys() const {
        return static_cast<uint64_t>(PageCount()) * static_cast<uint64_t>(Capacity());
    }

  private:
    unsigned char bytes_[kIndexHeaderLength] = {};
};

}  // namespace ovrasql
