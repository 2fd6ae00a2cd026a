#include "shell/trace_capture.h"

#include "shell/database.h"
#include "shell/session.h"

namespace ovrashell {

TraceCapture::TraceCapture(Session* session) : session_(session), previous_(session->TracePath()) {
    session_->SetTrace(file_.Path());
    file_.RemoveName();
}

TraceCapture::~TraceCapture() {
    try {
        session_->SetTrace(previous_);
    } catch (const Error&) {
        // The earlier trace file cannot be opened any more; the trace is closed then.
    }
}

}  // namespace ovrashell
