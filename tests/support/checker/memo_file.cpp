#include "tests/support/checker/memo_file.h"

#include <algorithm>

#include "tests/support/checker/bytes.h"

namespace ovrasql::checker {

namespace {

constexpr size_t kBlockSize = 512;
constexpr uint8_t kEndMark = 0x1A;
constexpr size_t kLeastBudget = size_t{1} << 20;
constexpr uint64_t kNoBlock = uint64_t{1} << 40;

}  // namespace

uint64_t BlockNumber(const std::string& cell) {
    uint64_t number = 0;
    for (const char digit : cell) {
        if (digit == ' ' && number == 0) {
            continue;
        }
        if (digit < '0' || digit > '9') {
            break;
        }
        number = std::min(number * 10 + static_cast<uint64_t>(digit - '0'), kNoBlock);
    }
    return number;
}

MemoFile::MemoFile(const std::string& path, const FileBytes& bytes, Report* report)
    : path_(path),
      bytes_(bytes),
      nextFree_(Number32(bytes, 0)),
      budget_(kLeastBudget + 4 * bytes.size()),
      owners_(bytes.size() / kBlockSize + 1) {
    CheckHeader(report);
}

void MemoFile::CheckHeader(Report* report) const {
    const auto add = [&](const std::string& text) { report->Add(FindingKind::kMemo, path_, text); };
    if (bytes_.size() < kBlockSize + 1) {
        add("shorter than a new memo file");
        return;
    }
    if (!AllZero(bytes_, 4, kBlockSize - 4)) {
        add("reserved bytes of the header are in use");
    }
    if (nextFree_ == 0) {
        add("the next text would go over the header");
        return;
    }
    // The file ends within the last text's last block, or is as it was made.
    const size_t blocks = (bytes_.size() + kBlockSize - 1) / kBlockSize;
    const size_t expected = std::max<size_t>(nextFree_, 2);
    if (blocks < expected) {
        add("ends in block " + std::to_string(blocks - 1) + ", and the next free one is " +
            std::to_string(nextFree_));
    } else if (blocks > expected || (nextFree_ == 1 && bytes_.size() != kBlockSize + 1)) {
        report->AddHarmless(FindingKind::kMemo, path_, 0,
                            "bytes behind the next free block " + std::to_string(nextFree_));
    } else if (nextFree_ == 1 && bytes_[kBlockSize] != kEndMark) {
        report->AddHarmless(FindingKind::kMemo, path_, 0, "a begun text in block 1");
    }
}

MemoFile::Extent MemoFile::Find(uint64_t block, size_t atMost) {
    Extent extent;
    if (block == 0 || block >= owners_.size()) {
        return extent;
    }
    extent.begin = static_cast<size_t>(block) * kBlockSize;
    const size_t last = extent.begin + std::min({bytes_.size() - extent.begin, budget_, atMost});
    extent.end = extent.begin;
    while (extent.end < last && bytes_[extent.end] != kEndMark) {
        ++extent.end;
    }
    budget_ -= extent.end - extent.begin;
    extent.isEnded = extent.end < last;
    return extent;
}

std::string MemoFile::Text(const std::string& cell, size_t atMost) {
    const Extent extent = Find(BlockNumber(cell), atMost);
    const auto start = bytes_.begin();
    const std::string text(start + static_cast<std::ptrdiff_t>(extent.begin),
                           start + static_cast<std::ptrdiff_t>(extent.end));
    return text.substr(0, text.find('\0'));
}

void MemoFile::Claim(const std::string& cell, uint32_t record, Report* report) {
    const uint64_t block = BlockNumber(cell);
    const auto add = [&](const std::string& text) {
        report->AddRecord(FindingKind::kMemo, path_, record,
                          "memo block " + std::to_string(block) + " " + text);
    };
    if (block == 0) {
        return;
    }
    if (block >= nextFree_ || block * kBlockSize >= bytes_.size()) {
        add("lies behind the last text");
        return;
    }
    const size_t first = static_cast<size_t>(block);
    if (owners_[first] != 0) {
        add("belongs to record " + std::to_string(owners_[first]) + ", too");
        return;
    }
    const Extent extent = Find(block, SIZE_MAX);
    if (!extent.isEnded) {
        add("begins a text without an end");
    }
    const auto begin = bytes_.begin() + static_cast<std::ptrdiff_t>(extent.begin);
    const auto end = bytes_.begin() + static_cast<std::ptrdiff_t>(extent.end);
    if (std::find(begin, end, 0) != end) {
        add("begins a text with a zero byte");
    }
    const size_t blocks = (extent.end - extent.begin + 2 + kBlockSize - 1) / kBlockSize;
    if (first + blocks > nextFree_) {
        add("begins a text that runs over the next free block");
    }
    for (size_t taken = first; taken < std::min(first + blocks, owners_.size()); ++taken) {
        if (owners_[taken] != 0) {
            add("runs into the text of record " + std::to_string(owners_[taken]));
            return;
        }
        owners_[taken] = record;
    }
}

}  // namespace ovrasql::checker
