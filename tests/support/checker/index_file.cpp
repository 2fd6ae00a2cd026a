#include "tests/support/checker/index_file.h"

#include <locale.h>
#include <stdlib.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "tests/support/checker/bytes.h"

namespace ovrasql::checker {

namespace {

constexpr size_t kHeaderSize = 427;
constexpr size_t kPageSize = 1024;
constexpr size_t kEntrySize = 108;
constexpr uint32_t kOrder = 8;
constexpr uint32_t kLeastCount = 3;
constexpr uint32_t kDeepest = 64;
constexpr size_t kExpressionOffset = 27;
constexpr size_t kExpressionRoom = 400;

// The number that a whole text reads as, with a point whatever locale the program runs in.
bool WholeNumber(const std::string& text, double* value) {
    static const locale_t plain = ::newlocale(LC_ALL_MASK, "C", nullptr);
    char* end = nullptr;
    errno = 0;
    *value = ::strtod_l(text.c_str(), &end, plain);
    return end == text.c_str() + text.size();
}

}  // namespace

int CompareKeys(const std::string& first, const std::string& second, uint32_t flags) {
    const int sign = (flags & kDescendingFlag) != 0 ? -1 : 1;
    double one = 0;
    double two = 0;
    if ((flags & kTextFlag) == 0 && WholeNumber(first, &one) &&
        !(std::fabs(one) == HUGE_VAL && errno == ERANGE) && WholeNumber(second, &two)) {
        if (one == two) {
            return 0;
        }
        return one > two ? sign : -sign;
    }
    const int order = first.compare(second);  // as unsigned bytes
    return order == 0 ? 0 : (order > 0 ? sign : -sign);
}

IndexFile::IndexFile(const std::string& path, const FileBytes& bytes, Report* report)
    : path_(path), bytes_(bytes) {
    if (!CheckHeader(report)) {
        return;
    }
    CheckSize(report);
    reached_.resize(bytes_.size() / kPageSize + 1);
    if (Reach(root_, 1, report)) {
        WalkPage(root_, 1, report);
    }
    CheckUnreached(report);
    CheckOrder(report);
}

void IndexFile::Add(const std::string& text, Report* report) const {
    report->Add(FindingKind::kIndexStructure, path_, text);
}

// False when the pages can't be told apart.
bool IndexFile::CheckHeader(Report* report) {
    if (bytes_.size() < 2 * kPageSize) {
        Add("shorter than a new index file", report);
        return false;
    }
    pageCount_ = Number32(bytes_, 9);
    root_ = Number32(bytes_, 13);
    flags_ = Number32(bytes_, 23);
    expression_ = TextIn(bytes_, kExpressionOffset, kExpressionRoom);
    if (std::memcmp(bytes_.data(), "OVXI", 4) != 0) {
        Add("does not begin with OVXI", report);
    }
    if (ByteAt(bytes_, 4) != 3) {
        Add("version " + std::to_string(ByteAt(bytes_, 4)), report);
    }
    if (flags_ > 7) {
        Add("flags " + std::to_string(flags_), report);
    }
    const bool isZeroFilled = AllZero(bytes_, kExpressionOffset + expression_.size(),
                                      kExpressionRoom - expression_.size());
    if (expression_.rfind("toupper( ", 0) != 0 || !isZeroFilled) {
        Add("no key expression", report);
    }
    if (!AllZero(bytes_, kHeaderSize, kPageSize - kHeaderSize)) {
        Add("something stands behind the header", report);
    }
    if (Number16(bytes_, 17) != kOrder || Number16(bytes_, 19) != kPageSize ||
        Number16(bytes_, 21) != kEntrySize) {
        Add("keys in a page, page size or entry size are not those of this library", report);
        return false;
    }
    return true;
}

// A process that died in the middle of a split leaves a page number that was given away without its
// page, or a new root that the header does not know.
void IndexFile::CheckSize(Report* report) const {
    if (pageCount_ < 2) {
        Add("the next page would be " + std::to_string(pageCount_), report);
        return;
    }
    const uint64_t expected = uint64_t{pageCount_} * kPageSize;
    const uint64_t size = bytes_.size();
    if (size == expected) {
        return;
    }
    const std::string text =
        std::to_string(size) + " bytes, and the next page is " + std::to_string(pageCount_);
    if (std::max(size, expected) - std::min(size, expected) <= 2 * kPageSize) {
        report->AddHarmless(FindingKind::kIndexStructure, path_, 0, text);
    } else {
        Add(text, report);
    }
}

// Whether a page can be walked: it is there, and it is the first time.
bool IndexFile::Reach(uint32_t page, uint32_t depth, Report* report) {
    const std::string name = "page " + std::to_string(page);
    if (page == 0 || page >= pageCount_ || (uint64_t{page} + 1) * kPageSize > bytes_.size()) {
        Add(name + " is none", report);
        return false;
    }
    if (reached_[page]) {
        Add(name + " is reached twice", report);
        return false;
    }
    if (depth > kDeepest) {
        Add(name + " lies too deep", report);
        return false;
    }
    reached_[page] = true;
    return true;
}

size_t IndexFile::EntryOffset(uint32_t page, uint32_t entry) const {
    return size_t{page} * kPageSize + 4 + size_t{entry} * kEntrySize;
}

// Recursion is bounded by kDeepest, the pages by their number.
void IndexFile::WalkPage(uint32_t page, uint32_t depth, Report* report) {
    uint32_t count = Number32(bytes_, size_t{page} * kPageSize);
    const std::string name = "page " + std::to_string(page);
    if (count > kOrder) {
        Add(name + " counts " + std::to_string(count) + " keys", report);
        count = kOrder;
    }
    if (page != root_ && count < kLeastCount) {
        Add(name + " has only " + std::to_string(count) + " keys", report);
    }
    CheckChildren(page, count, depth, report);
    for (uint32_t entry = 0; entry <= count; ++entry) {
        const uint32_t child = Number32(bytes_, EntryOffset(page, entry));
        if (child != 0 && Reach(child, depth + 1, report)) {
            WalkPage(child, depth + 1, report);
        }
        if (entry < count) {
            TakeEntry(page, entry, report);
        }
    }
}

// A page has children everywhere or nowhere, and all leaves lie on one level.
void IndexFile::CheckChildren(uint32_t page, uint32_t count, uint32_t depth, Report* report) {
    uint32_t children = 0;
    for (uint32_t entry = 0; entry <= count; ++entry) {
        children += Number32(bytes_, EntryOffset(page, entry)) != 0 ? 1 : 0;
    }
    const std::string name = "page " + std::to_string(page);
    if (children == 0) {
        leafDepth_ = leafDepth_ == 0 ? depth : leafDepth_;
        if (leafDepth_ != depth) {
            Add(name + " is a leaf on a level of its own", report);
        }
    } else if (children != count + 1) {
        Add(name + " has keys without a child", report);
    }
    if (count == 0 && children != 0) {
        Add(name + " has a child and no key", report);
    }
}

void IndexFile::TakeEntry(uint32_t page, uint32_t entry, Report* report) {
    const size_t at = EntryOffset(page, entry);
    IndexEntry taken;
    taken.record = Number32(bytes_, at + 4);
    taken.key = TextIn(bytes_, at + 8, kEntrySize - 8);
    taken.page = page;
    if (taken.key.size() > kLongestKey) {
        Add("page " + std::to_string(page) + " has a key without an end", report);
        taken.key.resize(kLongestKey);
    }
    entries_.push_back(std::move(taken));
}

// What a merge has emptied stays out of reach with no keys. A page out of reach that has some was
// left in the middle of a split or a merge; the keys that it took with it are told one by one.
void IndexFile::CheckUnreached(Report* report) const {
    const size_t pages = std::min<size_t>(pageCount_, bytes_.size() / kPageSize);
    for (size_t page = 1; page < pages; ++page) {
        if (!reached_[page] && Number32(bytes_, page * kPageSize) != 0) {
            report->AddHarmless(FindingKind::kIndexStructure, path_, 0,
                                "page " + std::to_string(page) + " has keys and is out of reach");
        }
    }
}

// Neighbours alone are compared: beside a NaN, which stands before everything from both sides, no
// more can be said.
void IndexFile::CheckOrder(Report* report) const {
    for (size_t index = 1; index < entries_.size(); ++index) {
        const IndexEntry& left = entries_[index - 1];
        const IndexEntry& right = entries_[index];
        const int order = CompareKeys(left.key, right.key, flags_);
        if (order > 0 && CompareKeys(right.key, left.key, flags_) < 0) {
            Add("page " + std::to_string(right.page) + ": key " + Shown(right.key) +
                    " stands behind " + Shown(left.key),
                report);
        }
        if (order == 0 && (flags_ & kUniqueFlag) != 0) {
            report->AddRecord(FindingKind::kIndexStructure, path_, right.record,
                              "page " + std::to_string(right.page) + ": a second key " +
                                  Shown(right.key) + " in a UNIQUE index");
        }
    }
}

}  // namespace ovrasql::checker
