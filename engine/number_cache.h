#pragma once

// NumberCache: the number that a text reads as, parsed on the first demand and kept.
//
// It stands beside a text that does not change as long as the cache is valid: a literal of the
// program or a parameter of the run.

#include <cstdint>

#include "foundation/number_text.h"
#include "foundation/text_view.h"

namespace ovrasql {

struct NumberCache {
    enum class State : uint8_t { kUnknown, kNumber, kNoNumber };

    double value = 0.0;
    State state = State::kUnknown;

    // Whether the whole text is a number in range. `value` holds it; else what the text counts as,
    // which is 0, or an infinity for a number too large.
    bool Parse(TextView text) {
        if (state == State::kUnknown) {
            int32_t error = 0;
            value = TextToDouble(text, &error);
            state = error == 0 ? State::kNumber : State::kNoNumber;
        }
        return state == State::kNumber;
    }
};

}  // namespace ovrasql
