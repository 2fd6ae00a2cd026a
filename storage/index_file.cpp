// OvraSQLIndex: the file, its header, single pages, and the messages.

#include <algorithm>
#include <utility>

#include "library/host_services.h"
#include "storage/ovra_sql_index.h"

namespace ovrasql {

namespace {

constexpr uint32_t kFirstPage = 1;
constexpr int32_t kNewerVersion = 4;  // the first version that this code does not read

constexpr TextView kReadError = "Error reading from '";

int64_t PageOffset(uint32_t number, int32_t pageSize) {
    return static_cast<int64_t>(number) * pageSize;
}

}  // namespace

// --- Opening and closing

bool OvraSQLIndex::Create(TextView path, TextView keyExpression, int32_t flags) {
    failed_ = false;
    const String newPath(path);
    void* handle =
        ovFile_Open(Program(), kDatabaseLocation, newPath.CText(), newPath.Length(), kOpenNew);
    if (handle == nullptr) {
        failed_ = true;  // the index that is open, if any, keeps its path
        error_ =
            String::Join({"Error creating '", newPath, "': ", HostFileError(Program(), nullptr)});
        return false;
    }
    if (!CreateFromHandles(handle, newPath, keyExpression, flags)) {
        Close();
        return false;
    }
    return true;
}

bool OvraSQLIndex::CreateFromHandles(void* file, TextView path, TextView keyExpression,
                                     int32_t flags) {
    HostFile taken(file);
    failed_ = false;
    Close();
    path_ = path;
    if (!taken.IsOpen()) {
        return Fail("Internal error opening '", "'");
    }
    file_.Take(taken.Release());
    header_.MakeNew(keyExpression, flags);
    return WriteHeader() && StorePage(*NewPage(kFirstPage));
}

bool OvraSQLIndex::Open(TextView path, int32_t openFlags) {
    failed_ = false;
    Close();
    path_ = path;
    file_.Take(ovFile_Open(Program(), kDatabaseLocation, path_.CText(), path_.Length(), openFlags));
    if (!file_.IsOpen()) {
        return FailWithHostText("Error opening '");
    }
    IndexHeader image;
    if (!ReadHeaderBytes(&image)) {
        return false;
    }
    if (!image.HasMagic()) {
        return FailAsNoIndex();
    }
    if (image.Version() >= kNewerVersion) {
        return Fail("'", "' was created by a newer version of the software");
    }
    if (!image.SizesHold()) {
        return FailAsNoIndex();
    }
    header_ = image;
    return true;
}

void OvraSQLIndex::Close() {
    stack_.RemoveAll();
    file_.Close();
}

// --- The header

bool OvraSQLIndex::LockHeader(LockMode mode, RangeLock* lock) {
    *lock = RangeLock(file_.Handle(), mode, 0, kIndexHeaderLength);
    if (!lock->Held()) {
        return Fail("Error locking '", mode == LockMode::kShared ? "' for read" : "' for write");
    }
    return true;
}

bool OvraSQLIndex::ReadHeaderBytes(IndexHeader* image) {
    if (!SeekTo(0) || !file_.Read(image->Bytes(), kIndexHeaderLength)) {
        return FailWithHostText(kReadError);
    }
    return true;
}

// The image changes only to one whose sizes hold, so that pages can always be made by it.
bool OvraSQLIndex::ReadHeader() {
    IndexHeader image;
    if (!ReadHeaderBytes(&image)) {
        return false;
    }
    if (!image.SizesHold()) {
        return FailAsNoIndex();
    }
    header_ = image;
    return true;
}

bool OvraSQLIndex::WriteHeader() {
    if (!SeekTo(0) || !file_.Write(header_.Bytes(), kIndexHeaderLength)) {
        return FailToWrite();
    }
    return true;
}

bool OvraSQLIndex::RaiseGeneration() {
    header_.SetGeneration(header_.Generation() + 1);
    return WriteHeader();
}

// --- Pages

IndexPageHolder OvraSQLIndex::NewPage(uint32_t number) {
    return pool_.Take(number, header_.EntrySize(), header_.PageSize());
}

// A page number may equal the next page number: a file whose last page was just being added reads.
// Required: a page number beyond that reports as a plain read error, with no word of the number.
bool OvraSQLIndex::LoadPage(OvraSQLIndexPage* page) {
    if (SeekTo(PageOffset(page->Number(), page->PageSize())) &&
        page->Number() <= header_.PageCount() && ReadPageBytes(page)) {
        return true;
    }
    return FailWithHostText(kReadError);
}

// Loads a page of a walk's path and pushes it. Null on failure. Does not ask the header whether
// the page number can be: a step's pages may be older than the header.
OvraSQLIndexPage* OvraSQLIndex::LoadPagePushed(uint32_t number) {
    for (const OvraSQLIndexPage* page = stack_.Top(); page != nullptr; page = stack_.Below()) {
        if (page->Number() == number) {
            FailAsCorrupt();
            return nullptr;
        }
    }
    if (stack_.IsFull()) {
        FailAsCorrupt();
        return nullptr;
    }
    IndexPageHolder page = NewPage(number);
    if (!SeekTo(PageOffset(number, page->PageSize())) || !ReadPageBytes(page.get())) {
        FailWithHostText(kReadError);
        return nullptr;
    }
    walkHighestPage_ = std::max(walkHighestPage_, number);
    stack_.Push(std::move(page));
    return stack_.Top();
}

bool OvraSQLIndex::StorePage(const OvraSQLIndexPage& page) {
    if (!SeekTo(PageOffset(page.Number(), page.PageSize())) ||
        !file_.Write(page.Bytes(), page.PageSize())) {
        return FailToWrite();
    }
    return true;
}

bool OvraSQLIndex::SeekTo(int64_t offset) {
    return file_.IsOpen() && ovFile_Seek(file_.Handle(), offset) == offset;
}

// A count beyond the page's capacity is refused here; everything after trusts it.
bool OvraSQLIndex::ReadPageBytes(OvraSQLIndexPage* page) {
    return file_.Read(page->Bytes(), page->PageSize()) &&
           page->StoredCount() <= static_cast<uint32_t>(page->Capacity());
}

// --- Keys and messages

TextView OvraSQLIndex::CutKey(TextView key) const {
    const TextView text = KeyText(key);
    return text.length >= KeyRoom() ? text.Part(0, KeyRoom() - 1) : text;
}

int32_t OvraSQLIndex::CompareKeys(TextView first, TextView second, bool exact, int32_t flags) {
    return ovrasql::CompareKeys(SearchKey(first, exact, flags), KeyText(second));
}

void* OvraSQLIndex::Program() const { return ovDatabase_Program(database_); }

bool OvraSQLIndex::Fail(TextView before, TextView after) {
    failed_ = true;
    error_ = String::Join({before, path_, after});
    return false;
}

bool OvraSQLIndex::FailWithHostText(TextView before) {
    failed_ = true;
    error_ = String::Join({before, path_, "': ", HostFileError(Program(), file_.Handle())});
    return false;
}

bool OvraSQLIndex::FailWithoutPath(TextView message) {
    failed_ = true;
    error_ = message;
    return false;
}

bool OvraSQLIndex::FailToWrite() { return FailWithHostText("Error writing to '"); }

bool OvraSQLIndex::FailAsNoIndex() {
    return Fail("'", "' is either corrupt or is not a valid index file");
}

bool OvraSQLIndex::FailAsCorrupt() { return Fail(kReadError, "': File is corrupt"); }

}  // namespace ovrasql
