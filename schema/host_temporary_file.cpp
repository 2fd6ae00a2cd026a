#include "schema/host_temporary_file.h"

#include "foundation/ignore_result.h"
#include "library/host_services.h"

namespace ovrasql {

namespace {

// A name that the host allocated, given back to it at the end.
struct HostName {
    explicit HostName(void* ofProgram) : program(ofProgram) {}
    ~HostName() {
        if (text != nullptr) {
            ovProgram_Free(program, text);
        }
    }
    HostName(const HostName&) = delete;
    HostName& operator=(const HostName&) = delete;

    void* program;
    char* text = nullptr;
    int32_t length = 0;
};

}  // namespace

bool HostTemporaryFile::Make(TextView besidePath) {
    HostName name(program_);
    file_.Take(ovFile_MakeTemporary(program_, kDatabaseLocation, besidePath.data, besidePath.length,
                                    kOpenTemporary, &name.text, &name.length));
    // A file without a name could be neither renamed nor deleted.
    if (!file_.IsOpen() || name.text == nullptr || name.length <= 0) {
        file_.Close();
        return false;
    }
    path_ = TextView(name.text, name.length);
    return true;
}

void HostTemporaryFile::Keep() {
    file_.Close();
    path_.Clear();
}

void HostTemporaryFile::Discard() {
    file_.Close();
    if (!path_.IsEmpty()) {
        // The failure that led here has its message; one more file left is no second.
        IgnoreResult(ovFile_Delete(program_, kDatabaseLocation, path_.CText(), path_.Length()));
    }
}

}  // namespace ovrasql
