// OvraSQLTable: making and opening files, the header, the fields. The contract stands in
// ovra_sql_table.h, the bytes in data_format.h.

#include <cstring>
#include <ctime>
#include <utility>

#include "foundation/calendar.h"
#include "foundation/ignore_result.h"
#include "foundation/path_text.h"
#include "storage/little_endian.h"
#include "storage/ovra_sql_memo_field.h"
#include "storage/ovra_sql_table.h"

namespace ovrasql {

namespace {

constexpr char kFieldLetters[] = {'C', 'N', 'D', 'L', 'M'};

String MemoPathOf(TextView dataPath) { return String::Join({StripExtension(dataPath), ".dbt"}); }

// The type number of a letter, or -1.
int32_t TypeOfLetter(char letter) {
    const void* found = std::memchr(kFieldLetters, letter, sizeof kFieldLetters);
    return found == nullptr ? -1
                            : static_cast<int32_t>(static_cast<const char*>(found) - kFieldLetters);
}

char LetterOfType(int32_t type) {
    return kFieldLetters[type >= kFieldCharacter && type <= kFieldMemo ? type : kFieldCharacter];
}

uint32_t Byte(char byte) { return static_cast<unsigned char>(byte); }

char LowByte(int32_t number) { return static_cast<char>(number & 0xFF); }

// One field as the file describes it.
void BuildDescriptor(const OvraSQLField& field, char* descriptor) {
    // Ten letters and a NUL, unless the name was read from a descriptor that it fills.
    const int32_t room = field.NameFillsDescriptor() ? kFieldNameRoom : kFieldNameRoom - 1;
    const TextView name = field.Name().Part(0, room);
    std::memcpy(descriptor, name.data, static_cast<size_t>(name.length));
    descriptor[11] = LetterOfType(field.Type());
    descriptor[16] = LowByte(field.Length());
    descriptor[17] = LowByte(field.Decimals());
}

}  // namespace

OvraSQLTable::OvraSQLTable(void* database)
    : program_(ovDatabase_Program(database)), fields_(true) {}

OvraSQLTable::~OvraSQLTable() {
    recordLock_.Release();
    Close();
}

bool OvraSQLTable::CheckLayout(Collection<OvraSQLField>& fields, int32_t narrowest, String* error) {
    int64_t recordLength = 1;
    bool widthsFit = true;
    for (OvraSQLField* field = fields.First(); field != nullptr; field = fields.Next()) {
        if (field->Length() < narrowest || field->Length() > kMaximumFieldLength) {
            widthsFit = false;
        }
        recordLength += field->Length();
    }
    if (widthsFit && recordLength <= kMaximumRecordLength) {
        return true;
    }
    error->Assign("Error creating table datafile: record too long (maximum 65535)");
    return false;
}

bool OvraSQLTable::Create(TextView path, Collection<OvraSQLField>& fields) {
    const String dataPath(path);
    const String memoPath = MemoPathOf(path);
    // A layout that the file can't describe is refused while nothing is changed; too many fields
    // have their own message, behind the making of the file.
    if (fields.Count() <= kMaximumFieldCount && !CheckLayout(fields, /*narrowest=*/1, &error_)) {
        return false;
    }
    HostFile dataFile(OpenFile(dataPath, kOpenNew));
    if (!dataFile.IsOpen()) {
        return FailCreate(dataPath);
    }
    OvraSQLField* field = fields.First();
    while (field != nullptr && field->Type() != kFieldMemo) {
        field = fields.Next();
    }
    HostFile memoFile;
    if (field != nullptr) {
        memoFile.Take(OpenFile(memoPath, kOpenNew));
        if (!memoFile.IsOpen()) {
            // Required: the data file stays open after this failure, until Close or the destructor.
            IgnoreResult(FailCreate(memoPath));
            Close();
            dataFile_.Take(dataFile.Release());
            return false;
        }
    }
    if (!CreateFromHandles(dataFile.Handle(), dataPath, memoFile.Handle(), memoPath, fields)) {
        return false;
    }
    // Both are this table's own by now.
    static_cast<void>(dataFile.Release());
    static_cast<void>(memoFile.Release());
    return true;
}

namespace {

// Files in the table's hands that go back to the caller unless they are kept.
struct LentFiles {
    HostFile& dataFile;
    HostFile& memoFile;
    bool kept = false;

    ~LentFiles() {
        if (!kept) {
            static_cast<void>(dataFile.Release());
            static_cast<void>(memoFile.Release());
        }
    }
};

}  // namespace

bool OvraSQLTable::CreateFromHandles(void* dataFile, TextView path, void* memoFile,
                                     TextView memoPath, Collection<OvraSQLField>& fields) {
    if (fields.Count() > kMaximumFieldCount) {
        error_ = "Error creating table datafile: too many fields (maximum 2046)";
        return false;
    }
    if (!CheckLayout(fields, /*narrowest=*/0, &error_)) {
        return false;
    }
    String newDataPath(path);
    String newMemoPath(memoPath);
    Close();
    dataPath_ = std::move(newDataPath);
    memoPath_ = std::move(newMemoPath);
    MakeFields(fields);
    // The caller opened the files and closes them, unless all goes well: also when memory runs out.
    LentFiles lent{dataFile_, memoFile_};
    dataFile_.Take(dataFile);
    lent.kept = WriteNewFiles(memoFile);
    return lent.kept;
}

void OvraSQLTable::MakeFields(Collection<OvraSQLField>& fields) {
    DropFields();
    version_ = kVersionPlain;
    nextFreeMemoBlock_ = 1;
    recordCount_ = 0;
    headerLength_ = kDescriptorSize * fields.Count() + kFileHeaderSize + 1;
    for (OvraSQLField* field = fields.First(); field != nullptr; field = fields.Next()) {
        OvraSQLField* made =
            AddField(field->Name(), field->Type(), field->Length(), field->Decimals());
        made->SetNameFillsDescriptor(field->NameFillsDescriptor());
    }
    recordLength_ = fieldsLength_;
    ReserveRecord();
}

bool OvraSQLTable::WriteNewFiles(void* memoFile) {
    if (!dataFile_.IsOpen()) {
        return FailInternal(dataPath_);
    }
    if (!WriteHeader() || !WriteFieldDescriptors()) {
        return false;
    }
    if (!dataFile_.Write(&kEndMark, 1)) {
        return FailWrite(dataPath_, dataFile_);
    }
    if (version_ != kVersionWithMemo) {
        return true;
    }
    memoFile_.Take(memoFile);
    if (!memoFile_.IsOpen()) {
        return FailInternal(memoPath_);
    }
    if (!WriteMemoHeader()) {
        return false;
    }
    return memoFile_.Write(&kEndMark, 1) || FailWrite(memoPath_, memoFile_);
}

bool OvraSQLTable::Open(TextView path, int32_t openFlags) {
    String newPath(path);
    Close();
    dataPath_ = std::move(newPath);
    memoPath_ = MemoPathOf(dataPath_);
    dataFile_.Take(OpenFile(dataPath_, openFlags));
    if (!dataFile_.IsOpen()) {
        return FailOpen(dataPath_);
    }
    if (!ReadHeader() || !ReadFieldDescriptors()) {
        return false;
    }
    return version_ != kVersionWithMemo || OpenMemoFile(openFlags);
}

bool OvraSQLTable::OpenMemoFile(int32_t openFlags) {
    memoFile_.Take(OpenFile(memoPath_, openFlags));
    if (!memoFile_.IsOpen()) {
        return FailOpen(memoPath_);
    }
    const RangeLock lock(memoFile_.Handle(), LockMode::kShared, 0, kMemoBlockSize);
    if (!lock.Held()) {
        return FailLock(LockMode::kShared, memoPath_, memoFile_);
    }
    return ReadMemoHeader();
}

void OvraSQLTable::Close() {
    // The host drops the locks of a file that it closes.
    recordLock_.Forget();
    lockedRecord_ = 0;
    headerIsLocked_ = false;
    dataFile_.Close();
    memoFile_.Close();
    // Not by assigning an empty text, which takes memory: this runs in the destructor.
    dataPath_.Clear();
    memoPath_.Clear();
}

bool OvraSQLTable::ReadHeader() {
    char header[kFileHeaderSize];
    if (!dataFile_.ReadAt(0, header, kFileHeaderSize)) {
        return FailRead(dataPath_, dataFile_);
    }
    version_ = static_cast<int32_t>(Byte(header[0]));
    year_ = static_cast<int32_t>(Byte(header[1]));
    month_ = static_cast<int32_t>(Byte(header[2]));
    day_ = static_cast<int32_t>(Byte(header[3]));
    recordCount_ = LoadLittle32(header + 4);
    headerLength_ = LoadLittle16(header + 8);
    recordLength_ = LoadLittle16(header + 10);
    if ((version_ & kVersionMask) == kVersionPlain) {
        return true;
    }
    constexpr char kHexDigits[] = "0123456789ABCDEF";
    const char hex[] = {kHexDigits[Byte(header[0]) >> 4U], kHexDigits[Byte(header[0]) & 0xFU]};
    error_ = String::Join(
        {"'", dataPath_, "': Unsupported xBase file version (0x", TextView(hex, 2), ")"});
    return false;
}

bool OvraSQLTable::WriteHeader() {
    std::tm now;
    IgnoreResult(GmTime(std::time(nullptr), &now));  // a clock that fails gives 00 01 00
    year_ = now.tm_year;
    month_ = now.tm_mon + 1;
    day_ = now.tm_mday;
    char header[kFileHeaderSize] = {};
    header[0] = LowByte(version_);
    header[1] = LowByte(year_);
    header[2] = LowByte(month_);
    header[3] = LowByte(day_);
    StoreLittle32(header + 4, recordCount_);
    StoreLittle16(header + 8, static_cast<uint16_t>(headerLength_));
    StoreLittle16(header + 10, static_cast<uint16_t>(recordLength_));
    return dataFile_.WriteAt(0, header, kFileHeaderSize) || FailWrite(dataPath_, dataFile_);
}

bool OvraSQLTable::ReadFieldDescriptors() {
    const int32_t size = headerLength_ - kFileHeaderSize;
    if (size <= 0) {
        return FailRead(dataPath_, dataFile_);
    }
    DropFields();
    auto bytes = std::make_unique<char[]>(static_cast<size_t>(size));
    if (!dataFile_.ReadAt(kFileHeaderSize, bytes.get(), size)) {
        return FailRead(dataPath_, dataFile_);
    }
    // Required: integer division. Writers that put more than one byte behind the last descriptor
    // are read right, and a header without room for the terminator loses its last field.
    const int32_t fieldCount = (size - 1) / kDescriptorSize;
    bool succeeded = true;
    for (int32_t index = 0; succeeded && index < fieldCount; ++index) {
        succeeded = AddDescribedField(bytes.get() + index * kDescriptorSize);
    }
    ReserveRecord();
    return succeeded;
}

bool OvraSQLTable::AddDescribedField(const char* descriptor) {
    const void* end = std::memchr(descriptor, '\0', kFieldNameRoom);
    const TextView name(descriptor,
                        end == nullptr
                            ? kFieldNameRoom
                            : static_cast<int32_t>(static_cast<const char*>(end) - descriptor));
    const int32_t type = TypeOfLetter(descriptor[11]);
    if (type < 0) {
        error_ = String::Join({"'", dataPath_, "' contains an unsupported field (", name,
                               ") of type '", TextView(descriptor + 11, 1), "'"});
        return false;
    }
    OvraSQLField* field = AddField(name, type, static_cast<int32_t>(Byte(descriptor[16])),
                                   static_cast<int32_t>(Byte(descriptor[17])));
    field->SetNameFillsDescriptor(end == nullptr);
    return true;
}

bool OvraSQLTable::WriteFieldDescriptors() {
    const int32_t size = headerLength_ - kFileHeaderSize;
    if (size <= 0) {
        return FailWrite(dataPath_, dataFile_);
    }
    auto bytes = std::make_unique<char[]>(static_cast<size_t>(size));
    int32_t offset = 0;
    for (const OvraSQLField* field : fields_) {
        if (offset + kDescriptorSize >= size) {
            break;  // the header has become shorter; what has no room in it isn't described
        }
        BuildDescriptor(*field, bytes.get() + offset);
        offset += kDescriptorSize;
    }
    bytes[static_cast<size_t>(size) - 1] = kHeaderTerminator;
    return dataFile_.WriteAt(kFileHeaderSize, bytes.get(), size) || FailWrite(dataPath_, dataFile_);
}

void OvraSQLTable::DropFields() {
    fields_.RemoveAll();
    fieldsLength_ = 1;
}

// A memo field raises the version in memory.
OvraSQLField* OvraSQLTable::AddField(TextView name, int32_t type, int32_t length,
                                     int32_t decimals) {
    std::unique_ptr<OvraSQLField> field;
    if (type == kFieldMemo) {
        version_ = kVersionWithMemo;
        field = std::make_unique<OvraSQLMemoField>(this, name, length, decimals);
    } else {
        field = std::make_unique<OvraSQLField>(this, name, type, length, decimals);
    }
    field->Attach(&image_, fieldsLength_);
    fieldsLength_ += length;
    OvraSQLField* added = field.get();
    IgnoreResult(fields_.Add(std::move(field)));  // its slot, which nobody asks for
    return added;
}

void* OvraSQLTable::OpenFile(TextView path, int32_t openFlags) const {
    return ovFile_Open(program_, kDatabaseLocation, path.data, path.length, openFlags);
}

// Each failure takes the host's text at once, before another call of the host replaces it.

bool OvraSQLTable::FailCreate(const String& path) {
    error_ = String::Join({"Error creating '", path, "': ", HostFileError(program_, nullptr)});
    return false;
}

bool OvraSQLTable::FailInternal(const String& path) {
    error_ = String::Join({"Internal error opening '", path, "'"});
    return false;
}

bool OvraSQLTable::FailOpen(const String& path) {
    error_ = String::Join({"Error opening '", path, "': ", HostFileError(program_, nullptr)});
    return false;
}

bool OvraSQLTable::FailRead(const String& path, const HostFile& file) {
    error_ =
        String::Join({"Error reading from '", path, "': ", HostFileError(program_, file.Handle())});
    return false;
}

bool OvraSQLTable::FailWrite(const String& path, const HostFile& file) {
    error_ =
        String::Join({"Error writing to '", path, "': ", HostFileError(program_, file.Handle())});
    return false;
}

// The reason is this library's own, since the host was not asked.
bool OvraSQLTable::RefuseWrite(TextView reason) {
    error_ = String::Join({"Error writing to '", dataPath_, "': ", reason});
    return false;
}

bool OvraSQLTable::FailLock(LockMode mode, const String& path, const HostFile& file) {
    error_ = String::Join({"Error locking '", path,
                           mode == LockMode::kShared ? "' for read: " : "' for write: ",
                           HostFileError(program_, file.Handle())});
    return false;
}

bool OvraSQLTable::FailNumber() {
    error_ = "Invalid record number";
    return false;
}

}  // namespace ovrasql
