#pragma once

// EngineFailure: whether a running program has failed, and with what message.
//
// One stands in each run loop; the stack and the operations report into it. A failure is sticky
// until it is cleared, and a later one replaces the message: an instruction always runs to its end,
// and the loop looks at `failed` behind it.

#include <cstdint>

#include "foundation/string.h"
#include "foundation/text_view.h"

namespace ovrasql {

struct EngineFailure {
    bool failed = false;
    String message;

    // The message keeps its room from here on, so that failing for want of memory takes none.
    EngineFailure() {
        message.Assign("Out of memory");
        message.Assign(TextView());
    }

    // Always -1, so that an operation can end with it.
    int32_t Fail(TextView text) {
        failed = true;
        message.Assign(text);
        return -1;
    }
};

}  // namespace ovrasql
