#pragma once

// HostTemporaryFile: a new file of the host under a unique name, with its handle. The object closes
// and deletes the file when it goes, unless the file has been kept. Private to the schema.

#include "foundation/string.h"
#include "foundation/text_view.h"
#include "storage/host_file.h"

namespace ovrasql {

class HostTemporaryFile {
  public:
    explicit HostTemporaryFile(void* program) : program_(program) {}  // no file yet
    ~HostTemporaryFile() { Discard(); }
    HostTemporaryFile(const HostTemporaryFile&) = delete;
    HostTemporaryFile& operator=(const HostTemporaryFile&) = delete;

    // Makes a file beside the path, once in an object's life. On failure the host's error text is
    // the reason.
    [[nodiscard]] bool Make(TextView besidePath);

    [[nodiscard]] void* Handle() const { return file_.Handle(); }  // borrowed
    [[nodiscard]] TextView Path() const { return path_; }

    // Hands the handle over to its new owner. The file itself is still deleted if it is not kept.
    void* ReleaseHandle() { return file_.Release(); }
    // Leaves the file on disk, closed unless the handle has a new owner.
    void Keep();

  private:
    void Discard();

    void* program_;
    HostFile file_;
    String path_;  // empty: there is nothing to delete
};

}  // namespace ovrasql
