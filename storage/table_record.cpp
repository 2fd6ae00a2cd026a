// OvraSQLTable: reading and writing records, and the locks around that. The order of host calls in
// each operation is what other processes rely on (range_lock.h); none may be moved.

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "foundation/ignore_result.h"
#include "storage/ovra_sql_table.h"

namespace ovrasql {

bool OvraSQLTable::ReadRecord(uint32_t recordNumber) {
    if (recordNumber == 0) {
        return FailNumber();
    }
    if (recordNumber > recordCount_ && !ReloadHeaderForRead()) {
        return false;
    }
    if (recordNumber > recordCount_) {
        return FailNumber();
    }
    ReserveRecord();
    if (recordLength_ < 1 ||
        !dataFile_.ReadAt(RecordOffset(recordNumber), scratch_.get(), recordLength_)) {
        return FailRead(dataPath_, dataFile_);
    }
    // A record that is shorter than its fields reads as blanks behind its end.
    std::memset(scratch_.get() + recordLength_, ' ',
                static_cast<size_t>(recordRoom_ - recordLength_));
    std::swap(record_, scratch_);
    image_.bytes = record_.get();
    ++image_.sequence;
    isDeleted_ = record_[0] == kDeletedFlag;
    currentRecord_ = recordNumber;
    return true;
}

// Another process may have added the record: rule 1 of range_lock.h, for the length of one read.
bool OvraSQLTable::ReloadHeaderForRead() {
    RangeLock lock;
    if (!headerIsLocked_) {
        lock = LockHeaderRange();
        if (!lock.Held()) {
            return FailLock(LockMode::kExclusive, dataPath_, dataFile_);
        }
    }
    // Required: a header that can't be read leaves the count as it was, and the number is refused
    // by it.
    IgnoreResult(ReadHeader());
    return true;
}

bool OvraSQLTable::LockAndReadRecord() {
    if (currentRecord_ != 0 && currentRecord_ <= recordCount_ && currentRecord_ != lockedRecord_) {
        RangeLock lock = LockRecord();
        if (!lock.Held()) {
            return FailLock(LockMode::kExclusive, dataPath_, dataFile_);
        }
        // Required: one record is remembered. A lock on another one that was never updated stays
        // with the file until it is closed.
        recordLock_.Forget();
        recordLock_ = std::move(lock);
        lockedRecord_ = currentRecord_;
    }
    return ReadRecord(currentRecord_);
}

bool OvraSQLTable::AppendRecord() {
    RangeLock lock;
    return LockDataHeader(lock) && AppendLocked();
}

bool OvraSQLTable::AppendLocked() {
    if (!ReadHeader()) {
        return false;
    }
    // A count that can't rise would start at 0 again.
    if (recordCount_ == std::numeric_limits<uint32_t>::max()) {
        return RefuseWrite("File is full");
    }
    // A record without bytes can't be told apart from the next.
    if (recordLength_ < 1) {
        return RefuseWrite("File is corrupt");
    }
    if (!dataFile_.Seek(RecordOffset(recordCount_) + recordLength_)) {
        return FailWrite(dataPath_, dataFile_);
    }
    isDeleted_ = false;
    BuildRecord();
    scratch_[static_cast<size_t>(recordLength_)] = kEndMark;
    if (!dataFile_.Write(scratch_.get(), recordLength_ + 1)) {
        return FailWrite(dataPath_, dataFile_);
    }
    ++recordCount_;
    if (!WriteHeader()) {
        return false;
    }
    currentRecord_ = recordCount_;
    return true;
}

bool OvraSQLTable::UpdateRecord() {
    if (currentRecord_ == 0) {
        return FailNumber();
    }
    RangeLock lock;
    if (lockedRecord_ == currentRecord_) {
        lock = std::move(recordLock_);
        lockedRecord_ = 0;
    } else {
        lock = LockRecord();
        if (!lock.Held()) {
            return FailLock(LockMode::kExclusive, dataPath_, dataFile_);
        }
    }
    const bool written = OverwriteLocked();
    lock.Release();
    return written && RefreshHeader();
}

bool OvraSQLTable::OverwriteLocked() {
    if (recordLength_ < 1) {
        return RefuseWrite("File is corrupt");
    }
    if (!dataFile_.Seek(RecordOffset(currentRecord_))) {
        return FailWrite(dataPath_, dataFile_);
    }
    BuildRecord();
    if (!dataFile_.Write(scratch_.get(), recordLength_)) {
        return FailWrite(dataPath_, dataFile_);
    }
    SaveFieldValues();
    return true;
}

bool OvraSQLTable::MarkDeleted(bool isDeleted) {
    if (currentRecord_ == 0) {
        return FailNumber();
    }
    RangeLock lock = LockRecord();
    if (!lock.Held()) {
        return FailLock(LockMode::kExclusive, dataPath_, dataFile_);
    }
    if (recordLength_ < 1) {
        return RefuseWrite("File is corrupt");
    }
    if (!dataFile_.Seek(RecordOffset(currentRecord_))) {
        return FailWrite(dataPath_, dataFile_);
    }
    isDeleted_ = isDeleted;
    const char flag = isDeleted_ ? kDeletedFlag : kLiveFlag;
    if (!dataFile_.Write(&flag, 1)) {
        return FailWrite(dataPath_, dataFile_);
    }
    lock.Release();
    return RefreshHeader();
}

// A header that is rewritten carries the date of the change, even if nothing else in it has
// changed.
bool OvraSQLTable::RefreshHeader() {
    RangeLock lock;
    return LockDataHeader(lock) && ReadHeader() && WriteHeader();
}

// The whole record into the scratch buffer. The result of a memo that could not be stored is not
// looked at: the record goes out with blanks in that place.
void OvraSQLTable::BuildRecord() {
    ReserveRecord();
    std::memset(scratch_.get(), ' ', static_cast<size_t>(recordRoom_));
    scratch_[0] = isDeleted_ ? kDeletedFlag : kLiveFlag;
    for (OvraSQLField* field : fields_) {
        // Required: the record is stored although one of its texts was not.
        IgnoreResult(field->WriteToRecord(scratch_.get() + field->Offset()));
    }
}

// Makes both buffers hold a record, its end mark, and every field at its offset: the header's
// record length and the descriptors need not agree, and each reload of the header may change the
// first.
void OvraSQLTable::ReserveRecord() {
    const int32_t needed = std::max(recordLength_, fieldsLength_) + 1;
    if (needed <= recordRoom_) {
        return;
    }
    const size_t size = static_cast<size_t>(needed);
    std::unique_ptr<char[]> record(new char[size]);
    std::unique_ptr<char[]> scratch(new char[size]);
    std::memset(record.get(), ' ', size);
    if (recordRoom_ > 0) {
        std::memcpy(record.get(), record_.get(), static_cast<size_t>(recordRoom_));
    }
    record_ = std::move(record);
    scratch_ = std::move(scratch);
    recordRoom_ = needed;
    image_.bytes = record_.get();
}

int64_t OvraSQLTable::RecordOffset(uint32_t recordNumber) const {
    return (int64_t{recordNumber} - 1) * recordLength_ + headerLength_;
}

// Both ranges have bytes even if the header in the file says 0: on many hosts a range without any
// reaches to the file's end, and would shut everybody out.
RangeLock OvraSQLTable::LockRecord() {
    return {dataFile_.Handle(), LockMode::kExclusive, RecordOffset(currentRecord_),
            std::max(recordLength_, 1)};
}

RangeLock OvraSQLTable::LockHeaderRange() {
    return {dataFile_.Handle(), LockMode::kExclusive, 0, std::max(headerLength_, kFileHeaderSize)};
}

// LockHeader holds the first 32 bytes of the range. That keeps all others out who lock the header,
// and a lock over those bytes again would take the place of the one held, on some hosts, and end it
// when it is given back. So under LockHeader for write no lock is asked for; and what is held for
// reading keeps the table's own writes out, as it does those of others.
bool OvraSQLTable::LockDataHeader(RangeLock& lock) {
    if (headerIsLocked_ && headerLockMode_ == LockMode::kExclusive) {
        return true;
    }
    if (headerIsLocked_) {
        error_ = String::Join(
            {"Error locking '", dataPath_, "' for write: The header is locked for reading"});
        return false;
    }
    lock = LockHeaderRange();
    return lock.Held() || FailLock(LockMode::kExclusive, dataPath_, dataFile_);
}

bool OvraSQLTable::LockHeader(LockMode mode) {
    // Required: nothing but 0 is success here, where other locks take any result that isn't
    // negative.
    if (!dataFile_.IsOpen() ||
        ovFile_Lock(dataFile_.Handle(), static_cast<int32_t>(mode), 0, kFileHeaderSize) != 0) {
        return false;
    }
    headerIsLocked_ = true;
    headerLockMode_ = mode;
    return true;
}

bool OvraSQLTable::ReleaseHeader() {
    headerIsLocked_ = false;
    return dataFile_.IsOpen() && ovFile_Release(dataFile_.Handle(), 0, kFileHeaderSize) == 0;
}

void OvraSQLTable::SaveFieldValues() {
    for (OvraSQLField* field : fields_) {
        field->SaveValue();
    }
}

void OvraSQLTable::SwapFieldValues() {
    for (OvraSQLField* field : fields_) {
        IgnoreResult(field->SwapValues());
    }
}

}  // namespace ovrasql
