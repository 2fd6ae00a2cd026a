// The memo half of OvraSQLTable: long texts in 512-byte blocks. The layout stands in data_format.h.

#include <cstring>
#include <limits>
#include <memory>

#include "storage/little_endian.h"
#include "storage/memo_text.h"
#include "storage/ovra_sql_table.h"

namespace ovrasql {

namespace {

int64_t BlockOffset(int64_t blockNumber) { return blockNumber * kMemoBlockSize; }

// The blocks that a text takes together with the two bytes that end it.
int64_t BlocksOf(int32_t textLength) {
    return (int64_t{textLength} + 2 + kMemoBlockSize - 1) / kMemoBlockSize;
}

}  // namespace

bool OvraSQLTable::ReadMemoHeader() {
    char header[kMemoBlockSize];
    if (!memoFile_.ReadAt(0, header, kMemoBlockSize)) {
        return FailRead(memoPath_, memoFile_);
    }
    nextFreeMemoBlock_ = LoadLittle32(header);
    return true;
}

bool OvraSQLTable::WriteMemoHeader() {
    char header[kMemoBlockSize] = {};
    StoreLittle32(header, nextFreeMemoBlock_);
    return memoFile_.WriteAt(0, header, kMemoBlockSize) || FailWrite(memoPath_, memoFile_);
}

// Without a lock: a stored text never changes, and a number past the file's end reads as empty.
bool OvraSQLTable::ReadMemo(int32_t blockNumber, MemoText& text) {
    text.Unload();
    if (blockNumber < 0 || !memoFile_.Seek(BlockOffset(blockNumber))) {
        return FailRead(memoPath_, memoFile_);
    }
    text.Assign(TextView());
    char block[kMemoBlockSize];
    for (;;) {
        const int32_t count = memoFile_.ReadSome(block, kMemoBlockSize);
        if (count < 0) {
            return FailRead(memoPath_, memoFile_);
        }
        if (count == 0) {
            return true;
        }
        const void* end = std::memchr(block, kEndMark, static_cast<size_t>(count));
        const int32_t textCount =
            end == nullptr ? count : static_cast<int32_t>(static_cast<const char*>(end) - block);
        if (!text.Append(block, textCount)) {
            return FailRead(memoPath_, memoFile_);
        }
        if (end != nullptr) {
            return true;
        }
    }
}

int32_t OvraSQLTable::WriteMemo(TextView text) {
    // What is stored ends at the first NUL, like every text that is read back.
    const void* nul = std::memchr(text.data, '\0', static_cast<size_t>(text.length));
    const int32_t length = nul == nullptr
                               ? text.length
                               : static_cast<int32_t>(static_cast<const char*>(nul) - text.data);
    if (length > std::numeric_limits<int32_t>::max() - 2) {
        return -1;
    }
    std::unique_ptr<char[]> bytes(new char[static_cast<size_t>(length) + 2]);
    std::memcpy(bytes.get(), text.data, static_cast<size_t>(length));
    bytes[static_cast<size_t>(length)] = kEndMark;
    bytes[static_cast<size_t>(length) + 1] = kEndMark;

    const RangeLock lock(memoFile_.Handle(), LockMode::kExclusive, 0, kMemoBlockSize);
    if (!lock.Held()) {
        return -1;
    }
    // Required: when the header can't be read the text still goes to the place known from before,
    // but the result is a failure, so that no record points to it.
    bool succeeded = ReadMemoHeader();
    // Block 0 is the header, whatever a damaged file says.
    const int64_t block = nextFreeMemoBlock_ == 0 ? 1 : int64_t{nextFreeMemoBlock_};
    const int64_t nextBlock = block + BlocksOf(length);
    if (nextBlock > std::numeric_limits<int32_t>::max()) {
        return -1;
    }
    succeeded = memoFile_.WriteAt(BlockOffset(block), bytes.get(), length + 2) && succeeded;
    nextFreeMemoBlock_ = static_cast<uint32_t>(nextBlock);
    succeeded = WriteMemoHeader() && succeeded;
    return succeeded ? static_cast<int32_t>(block) : -1;
}

}  // namespace ovrasql
