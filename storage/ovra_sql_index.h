#pragma once

// OvraSQLIndex: one open index file (.ovx), a B-tree of text keys, each paired with a record number
// of a data file. Keys live in inner pages as well as in leaves. The header's layout stands in
// index_header.h, a page's in index_page.h; docs/formats-ovx.md shows both with their bytes.
//
// The object owns the file handle, the image of the header, the walk's stack of pages and its error
// text. It borrows the host's database handle. It is used by one thread at a time. A walk belongs
// to its object: two walks need two objects.
//
// Index rules, cited by number:
//   1. The shared header lock covers a whole search or step, the exclusive one a whole change
//      (range_lock.h). The header is read anew at the start of every operation.
//   2. A change reads its pages from disk and writes each changed page back. It does not touch the
//      walk's stack; a walk finds its place again when the header's generation has moved.
//   3. The next page number is written before the pages of a split, the root number and the
//      generation after everything else. Pages are only ever added at the end. Nothing is undone.
//   4. A page number seen twice on one path, a tree deeper than kIndexMaximumDepth, or more steps
//      and loads than the pages allow that the header counts and the file has, mean a damaged file.
//
// Results are true for success. A walk reports a failed lock or header read as success with record
// number 0, as the end of the index is reported (Seek's lock alone is a failure): Failed() tells
// the two apart, and holds until the next operation. Error() is then the message.

#include <cstdint>

#include "foundation/string.h"
#include "foundation/text_view.h"
#include "storage/host_file.h"
#include "storage/index_header.h"
#include "storage/index_page.h"
#include "storage/key_compare.h"
#include "storage/range_lock.h"

namespace ovrasql {

class OvraSQLIndex {
  public:
    explicit OvraSQLIndex(void* database) : database_(database) {}
    OvraSQLIndex(const OvraSQLIndex&) = delete;
    OvraSQLIndex& operator=(const OvraSQLIndex&) = delete;

    // A new, empty index. Create makes the file, and only then closes the one open before;
    // CreateFromHandles takes over an open, empty one, and keeps it in its own hands also when it
    // fails. The key expression is stored and handed back, cut to 400 bytes; it has no part in
    // comparison.
    [[nodiscard]] bool Create(TextView path, TextView keyExpression, int32_t flags);
    [[nodiscard]] bool CreateFromHandles(void* file, TextView path, TextView keyExpression,
                                         int32_t flags);

    // The file stays open when its header is refused, until Close or the destructor.
    [[nodiscard]] bool Open(TextView path, int32_t openFlags);
    void Close();  // also ends the walk

    // Searches. Without `exact` a key that begins with the given one counts as equal. When nothing
    // is found, the record number is that of a neighbour: the first entry above the key in the leaf
    // that the search reached, or else that leaf's last entry; 0 only in an empty index. The walk
    // stands there.
    [[nodiscard]] bool Seek(TextView key, bool exact, uint32_t* recordNumber, bool* found,
                            bool lock);

    // Positions on the entry with this key and this record number. False also when there is none:
    // the walk then stands beside the key's place, or has run to the index's end.
    [[nodiscard]] bool SeekRecord(TextView key, uint32_t recordNumber, bool lock);

    // Steps. Record number 0 is the end, or a failure (see Failed). `key`, which may be null,
    // receives the entry's key, borrowed from the walk's page: valid until the next operation.
    [[nodiscard]] bool First(uint32_t* recordNumber, bool lock);
    [[nodiscard]] bool Last(uint32_t* recordNumber, bool lock);
    [[nodiscard]] bool Next(uint32_t* recordNumber, TextView* key, bool lock);
    [[nodiscard]] bool Previous(uint32_t* recordNumber, bool lock);

    // Changes. Keys are cut to the key room less 1. Equal keys run newest first.
    [[nodiscard]] bool InsertKey(uint32_t recordNumber, TextView key);
    [[nodiscard]] bool DeleteKey(uint32_t recordNumber, TextView key);

    // Removes the entry that the walk stands on, which must be of this record; ends the walk.
    // Required: it leaves the generation alone, so other walks are not told.
    [[nodiscard]] bool DeleteCurrentKey(uint32_t recordNumber);

    // One comparison on its own; operations read their search key once instead.
    [[nodiscard]] static int32_t CompareKeys(TextView first, TextView second, bool exact,
                                             int32_t flags);

    // Whether the last operation failed, whatever its result was.
    [[nodiscard]] bool Failed() const { return failed_; }
    [[nodiscard]] const String& Error() const { return error_; }
    [[nodiscard]] const String& Path() const { return path_; }
    [[nodiscard]] bool IsOpen() const { return file_.IsOpen(); }

    // The header as last read or written.
    [[nodiscard]] int32_t Flags() const { return header_.Flags(); }
    [[nodiscard]] bool IsUnique() const { return (Flags() & kIndexUnique) != 0; }
    [[nodiscard]] uint32_t Generation() const { return header_.Generation(); }
    [[nodiscard]] uint32_t RootPage() const { return header_.RootPage(); }
    [[nodiscard]] uint32_t PageCount() const { return header_.PageCount(); }
    [[nodiscard]] TextView KeyExpression() const { return header_.KeyExpression(); }
    // Bytes for a key with its terminator; 0 before a header has been read.
    [[nodiscard]] int32_t KeyRoom() const {
        return header_.EntrySize() > kIndexKeyOffset ? header_.KeyRoom() : 0;
    }

  private:
    struct Change;       // an insertion or a deletion on its way (index_change.h)
    struct SearchPlace;  // where a search stands (index_walk.cpp)
    enum class InsertResult : int32_t { kPassUp = 0, kFailed = 1, kDone = 2 };
    enum class DeleteResult : int32_t { kDone = 0, kUnderfull = 1, kNotFound = 2, kFailed = 3 };

    // File, header, pages, messages (index_file.cpp).
    [[nodiscard]] void* Program() const;
    [[nodiscard]] bool LockHeader(LockMode mode, RangeLock* lock);
    [[nodiscard]] bool ReadHeaderBytes(IndexHeader* image);
    [[nodiscard]] bool ReadHeader();
    [[nodiscard]] bool WriteHeader();
    [[nodiscard]] bool RaiseGeneration();
    [[nodiscard]] IndexPageHolder NewPage(uint32_t number);
    [[nodiscard]] bool LoadPage(OvraSQLIndexPage* page);
    [[nodiscard]] OvraSQLIndexPage* LoadPagePushed(uint32_t number);
    [[nodiscard]] bool StorePage(const OvraSQLIndexPage& page);
    [[nodiscard]] bool SeekTo(int64_t offset);
    [[nodiscard]] bool ReadPageBytes(OvraSQLIndexPage* page);
    [[nodiscard]] TextView CutKey(TextView key) const;
    // Each gives false. The message is before + path + after, or + the host's text.
    bool Fail(TextView before, TextView after);
    bool FailWithHostText(TextView before);
    bool FailWithoutPath(TextView message);
    bool FailToWrite();
    bool FailAsNoIndex();
    bool FailAsCorrupt();

    // Search and walk (index_walk.cpp).
    [[nodiscard]] bool SearchTree(const SearchKey& key, SearchPlace* place);
    [[nodiscard]] bool SearchHeldTree(TextView key, bool exact, uint32_t* recordNumber,
                                      bool* found);
    [[nodiscard]] bool BeginWalk(bool lock, RangeLock* held);
    [[nodiscard]] bool BeginStep(bool lock, RangeLock* held);
    [[nodiscard]] bool FindPlaceAgain();
    [[nodiscard]] bool StandsBehindLastEntry();
    void StartCounting();
    [[nodiscard]] bool CountStep(int64_t direction);
    [[nodiscard]] bool DescendLeft(uint32_t child);
    [[nodiscard]] bool DescendRight(uint32_t child);
    void ReportForward(uint32_t* recordNumber, TextView* key);
    void ReportBackward(uint32_t* recordNumber);
    bool AbandonWalk();  // gives false

    // Changes: what both kinds share, insertion (index_insert.cpp).
    [[nodiscard]] IndexPageHolder LoadBranch(Change* change, uint32_t number);
    [[nodiscard]] IndexPageHolder LoadSibling(Change* change, uint32_t number);
    [[nodiscard]] IndexPageHolder LoadCounted(Change* change, uint32_t number);
    [[nodiscard]] InsertResult InsertInto(Change* change, uint32_t number);
    [[nodiscard]] InsertResult InsertSplitting(Change* change, OvraSQLIndexPage* page,
                                               int32_t position);
    void SplitPage(Change* change, int32_t position, OvraSQLIndexPage* page,
                   OvraSQLIndexPage* newPage);
    [[nodiscard]] bool GrowRoot(Change* change);

    // Deletion (index_delete.cpp) and what it does to underfull pages (index_rebalance.cpp).
    [[nodiscard]] DeleteResult DeleteFrom(Change* change, OvraSQLIndexPage* page);
    [[nodiscard]] DeleteResult DeleteAtCursor(Change* change, OvraSQLIndexPage* page);
    [[nodiscard]] DeleteResult DeleteFirst(Change* change, OvraSQLIndexPage* slot,
                                           OvraSQLIndexPage* page);
    [[nodiscard]] DeleteResult StoreUnlessUnderfull(const OvraSQLIndexPage& page);
    [[nodiscard]] DeleteResult DeleteFromWalk(Change* change);
    [[nodiscard]] DeleteResult Rebalance(Change* change, OvraSQLIndexPage* parent,
                                         OvraSQLIndexPage* page);
    [[nodiscard]] bool MergePages(OvraSQLIndexPage* left, OvraSQLIndexPage* parent,
                                  OvraSQLIndexPage* right);
    [[nodiscard]] bool RedistributeKeys(OvraSQLIndexPage* left, OvraSQLIndexPage* parent,
                                        OvraSQLIndexPage* right);

    void* database_;
    HostFile file_;
    IndexHeader header_;
    IndexPagePool pool_;  // before whatever holds its pages
    OvraSQLIndexPageStack stack_;
    uint32_t walkGeneration_ = 0;   // the generation that the stack's pages belong to
    int64_t walkSteps_ = 0;         // steps since the walk last found its place, forward less back
    uint32_t walkHighestPage_ = 0;  // among the pages read since then
    int32_t reseekDepth_ = 0;       // searches for the place nested in one step
    bool failed_ = false;
    String path_;
    String error_;
    String searchKey_;    // the key searched for: the caller's may lie in a page that goes
    String promotedKey_;  // the key on its way up out of a split
};

}  // namespace ovrasql
