#include "shell/trace_capture.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "shell/database.h"
#include "shell/session.h"

namespace ovrashell {

TraceCapture::TraceCapture(Session* session) : session_(session), previous_(session->TracePath()) {
    path_ = (std::filesystem::temp_directory_path() / "ovrasql-trace-XXXXXX").string();
    const int file = ::mkstemp(path_.data());
    if (file < 0) {
        throw Error("Cannot make a temporary file '" + path_ + "'");
    }
    ::close(file);
    session_->SetTrace(path_);
}

TraceCapture::~TraceCapture() {
    try {
        session_->SetTrace(previous_);
    } catch (const Error&) {
        // The earlier trace file cannot be opened any more; the trace is closed then.
    }
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
}

std::string TraceCapture::Text() const {
    std::ifstream file(path_, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace ovrashell
