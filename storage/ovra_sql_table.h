#pragma once

// OvraSQLTable: one table on disk, an xBase data file (.dbf) and, if the table has memo fields, a
// memo file (.dbt) of the same name. It owns both handles, a copy of the file header, the fields
// and the record position. Its fields hold one record at a time. One thread at a time uses an
// object.
//
// The bytes of both files stand in data_format.h.
//
// Operations give true on success; a failure leaves its text in Error(). Nothing is tried again and
// nothing undone. Locks follow the rules in range_lock.h.

#include <cstdint>
#include <memory>

#include "foundation/coll_hash_table.h"
#include "foundation/string.h"
#include "foundation/text_view.h"
#include "storage/data_format.h"
#include "storage/host_file.h"
#include "storage/ovra_sql_field.h"
#include "storage/range_lock.h"

namespace ovrasql {

class MemoText;

class OvraSQLTable {
  public:
    // The host's database handle, borrowed. No file is open.
    explicit OvraSQLTable(void* database);

    // Gives back a held record lock, then closes.
    virtual ~OvraSQLTable();

    OvraSQLTable(const OvraSQLTable&) = delete;
    OvraSQLTable& operator=(const OvraSQLTable&) = delete;

    // Makes the data file, emptied if it exists, and the memo file if a field has type 4. The table
    // makes its own fields from name, type, length and decimals of those given.
    [[nodiscard]] bool Create(TextView path, Collection<OvraSQLField>& fields);

    // The same on two open files. On success the table owns them; the memo file is taken only if a
    // field has type 4. On failure closing both is the caller's.
    [[nodiscard]] bool CreateFromHandles(void* dataFile, TextView path, void* memoFile,
                                         TextView memoPath, Collection<OvraSQLField>& fields);

    // Whether a table can be made of such fields: no width outside `narrowest` to 255, no record
    // beyond 65535 bytes. Writes the text into `error` if not. Callers that make other files first
    // ask this first. A file from elsewhere can have fields without bytes, and so can its copy,
    // from CreateFromHandles; Create refuses them.
    [[nodiscard]] static bool CheckLayout(Collection<OvraSQLField>& fields, int32_t narrowest,
                                          String* error);

    // Opens existing files. After a failure the data file may be open; Close or the destructor ends
    // that.
    [[nodiscard]] bool Open(TextView path, int32_t openFlags);

    // Closes what is open and empties both paths. The fields and their values stay.
    void Close();

    [[nodiscard]] bool ReadHeader();
    [[nodiscard]] bool WriteHeader();  // with today's date (UTC)
    [[nodiscard]] bool ReadFieldDescriptors();
    [[nodiscard]] bool WriteFieldDescriptors();

    // Makes the record current. A number above the count in memory reloads the header first, so
    // rows that others have added are found. A failed read leaves position and values as they were.
    // A deleted record is read like any other.
    [[nodiscard]] bool ReadRecord(uint32_t recordNumber);

    // Takes the record lock of the current record, then reads it. The lock stays until UpdateRecord
    // of that record or the destructor, also if the read fails.
    [[nodiscard]] bool LockAndReadRecord();

    [[nodiscard]] bool AppendRecord();  // a new record from the values; becomes current
    [[nodiscard]] bool UpdateRecord();  // the values over the current record
    [[nodiscard]] bool MarkDeleted(bool isDeleted);  // the flag byte alone

    // The short header range, held until ReleaseHeader. True only for a host result of exactly 0.
    // Held for reading it refuses the header to this table's own appends and updates, too.
    [[nodiscard]] bool LockHeader(LockMode mode);
    bool ReleaseHeader();

    void SaveFieldValues();
    void SwapFieldValues();

    // Reads a text into `text`. On a failure `text` holds what had been read by then.
    [[nodiscard]] bool ReadMemo(int32_t blockNumber, MemoText& text);
    // Stores a text at the next free place. Gives its block number, or -1.
    [[nodiscard]] int32_t WriteMemo(TextView text);
    [[nodiscard]] bool ReadMemoHeader();
    [[nodiscard]] bool WriteMemoHeader();

    [[nodiscard]] const String& Error() const { return error_; }
    [[nodiscard]] const String& DataPath() const { return dataPath_; }
    [[nodiscard]] const String& MemoPath() const { return memoPath_; }
    [[nodiscard]] bool IsOpen() const { return dataFile_.IsOpen(); }
    [[nodiscard]] bool HasMemoFile() const { return memoFile_.IsOpen(); }

    // The version held in memory: a memo field raises it to 0x83 when the descriptors are read, and
    // the next ReadHeader puts the file's own byte back. Who decides by it takes it right after
    // Open.
    [[nodiscard]] int32_t Version() const { return version_; }
    [[nodiscard]] int32_t Year() const { return year_; }
    [[nodiscard]] int32_t Month() const { return month_; }
    [[nodiscard]] int32_t Day() const { return day_; }
    [[nodiscard]] uint32_t RecordCount() const { return recordCount_; }
    [[nodiscard]] int32_t HeaderLength() const { return headerLength_; }
    [[nodiscard]] int32_t RecordLength() const { return recordLength_; }
    [[nodiscard]] uint32_t NextFreeMemoBlock() const { return nextFreeMemoBlock_; }

    [[nodiscard]] uint32_t CurrentRecord() const { return currentRecord_; }  // 0 before any read
    [[nodiscard]] uint32_t LockedRecord() const { return lockedRecord_; }    // 0 for none
    [[nodiscard]] bool IsDeleted() const { return isDeleted_; }
    void SetDeleted(bool isDeleted) { isDeleted_ = isDeleted; }

    // In record order; looked up without regard to case. Owned by the table.
    [[nodiscard]] CollHashTable<OvraSQLField>& Fields() { return fields_; }
    [[nodiscard]] OvraSQLField* FindField(TextView name) { return fields_.Find(name); }

  private:
    [[nodiscard]] void* OpenFile(TextView path, int32_t openFlags) const;
    [[nodiscard]] bool FailCreate(const String& path);
    [[nodiscard]] bool FailInternal(const String& path);
    [[nodiscard]] bool FailOpen(const String& path);
    [[nodiscard]] bool FailRead(const String& path, const HostFile& file);
    [[nodiscard]] bool FailWrite(const String& path, const HostFile& file);
    [[nodiscard]] bool RefuseWrite(TextView reason);
    [[nodiscard]] bool FailLock(LockMode mode, const String& path, const HostFile& file);
    [[nodiscard]] bool FailNumber();

    [[nodiscard]] bool OpenMemoFile(int32_t openFlags);
    [[nodiscard]] bool WriteNewFiles(void* memoFile);
    void MakeFields(Collection<OvraSQLField>& fields);
    void DropFields();
    OvraSQLField* AddField(TextView name, int32_t type, int32_t length, int32_t decimals);
    [[nodiscard]] bool AddDescribedField(const char* descriptor);

    [[nodiscard]] int64_t RecordOffset(uint32_t recordNumber) const;
    [[nodiscard]] bool LockDataHeader(RangeLock& lock);
    [[nodiscard]] bool ReloadHeaderForRead();
    [[nodiscard]] bool RefreshHeader();
    [[nodiscard]] bool AppendLocked();
    [[nodiscard]] bool OverwriteLocked();
    [[nodiscard]] RangeLock LockRecord();
    [[nodiscard]] RangeLock LockHeaderRange();
    void BuildRecord();
    void ReserveRecord();

    void* program_;  // the host's, borrowed
    HostFile dataFile_;
    HostFile memoFile_;
    String dataPath_;
    String memoPath_;
    String error_;

    int32_t version_ = 0;
    int32_t year_ = 0;
    int32_t month_ = 0;
    int32_t day_ = 0;
    uint32_t recordCount_ = 0;
    int32_t headerLength_ = 0;
    int32_t recordLength_ = 0;
    uint32_t nextFreeMemoBlock_ = 0;

    RangeLock recordLock_;
    uint32_t lockedRecord_ = 0;
    LockMode headerLockMode_ = LockMode::kShared;
    bool headerIsLocked_ = false;
    uint32_t currentRecord_ = 0;
    bool isDeleted_ = false;

    CollHashTable<OvraSQLField> fields_;
    int32_t fieldsLength_ = 1;  // 1 + the sum of the field lengths, whatever the header says

    // Two buffers of one size: the record in hand, which the fields decode from, and the one that
    // is being read or built. A read that succeeds exchanges them.
    std::unique_ptr<char[]> record_;
    std::unique_ptr<char[]> scratch_;
    int32_t recordRoom_ = 0;
    RecordImage image_;
};

}  // namespace ovrasql
