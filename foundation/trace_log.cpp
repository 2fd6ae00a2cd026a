#include "foundation/trace_log.h"

#include <cstdarg>
#include <cstdio>

#include "foundation/ignore_result.h"
#include "library/host_services.h"

namespace ovrasql {

bool TraceLog::Open(void* program, TextView path) {
    Close();
    const TextView name = path.IsEmpty() ? TextView(kDefaultTracePath) : path;
    file_ = ovFile_Open(program, kDatabaseLocation, name.data, name.length, kOpenTrace);
    return file_ != nullptr;
}

void TraceLog::Close() {
    if (file_ != nullptr) {
        ovFile_Close(file_);
        file_ = nullptr;
    }
}

void TraceLog::Print(const char* format, ...) {
    if (file_ == nullptr) {
        return;
    }
    char text[kTracePrintRoom];
    std::va_list arguments;
    va_start(arguments, format);
    const int wanted = std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    if (wanted < 0) {
        return;
    }
    WriteToFile(TextView(text, wanted < kTracePrintRoom ? wanted : kTracePrintRoom - 1));
}

void TraceLog::WriteToFile(TextView text) {
    // A line that can't be written is lost: the statement that is being traced must go on.
    IgnoreResult(ovFile_Write(file_, text.data, text.length));
}

}  // namespace ovrasql
