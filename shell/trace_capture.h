#pragma once

// What the library traces during one piece of work, taken from a file of its own. The trace of the
// session goes on in its own file afterwards.

#include <string>

#include "shell/temporary_file.h"

namespace ovrashell {

class Session;

class TraceCapture {
  public:
    explicit TraceCapture(Session* session);
    ~TraceCapture();
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;

    // All that has been traced so far. May be called from another thread than the session's.
    std::string Text() const { return file_.Text(); }

  private:
    Session* session_;
    std::string previous_;
    TemporaryFile file_;
};

}  // namespace ovrashell
