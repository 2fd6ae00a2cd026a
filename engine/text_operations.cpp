#include "engine/text_operations.h"

#include <cstring>

#include "foundation/text_compare.h"

namespace ovrasql {

bool TextIsTrue(TextView text) {
    bool sawPoint = false;
    for (const char c : text) {
        if (c == '.' && !sawPoint) {
            sawPoint = true;
        } else if (c != '0') {
            return true;
        }
    }
    return false;
}

namespace {

// A pattern with more "%" runs than this, each with text left behind it, matches nothing: the limit
// on the points that a search may go back to is part of the dialect.
constexpr int32_t kMaximumRetryPoints = 99;

// The matcher keeps one point to go back to, that of the last "%" run. It needs no others: between
// two runs stand bytes of a fixed number, so a run that is reached again is reached further right,
// where every place that it could try has failed already. The earlier points are therefore only
// counted, for the limit above.
class LikeMatcher {
  public:
    LikeMatcher(TextView text, TextView pattern, bool ignoreCase)
        : text_(text), pattern_(pattern), ignoreCase_(ignoreCase) {}

    bool Matches() {
        while (true) {
            if (textAt_ == text_.length) {
                if (OnlyRunsLeft()) {
                    return true;
                }
                if (!GoBack()) {
                    return false;
                }
            } else if (patternAt_ < pattern_.length && pattern_[patternAt_] == '%') {
                if (!EnterRun()) {
                    return matched_;
                }
            } else if (patternAt_ < pattern_.length && FitsHere()) {
                ++textAt_;
                ++patternAt_;
            } else if (!GoBack()) {
                return false;
            }
        }
    }

  private:
    [[nodiscard]] bool OnlyRunsLeft() const {
        int32_t at = patternAt_;
        while (at < pattern_.length && pattern_[at] == '%') {
            ++at;
        }
        return at == pattern_.length;
    }

    [[nodiscard]] bool SameByte(char first, char second) const {
        return first == second || (ignoreCase_ && ToUpper(first) == ToUpper(second));
    }

    [[nodiscard]] bool FitsHere() const {
        return pattern_[patternAt_] == '_' || SameByte(pattern_[patternAt_], text_[textAt_]);
    }

    // At a "%": false when the answer is known.
    [[nodiscard]] bool EnterRun() {
        while (patternAt_ < pattern_.length && pattern_[patternAt_] == '%') {
            ++patternAt_;
        }
        if (patternAt_ == pattern_.length) {
            matched_ = true;
            return false;
        }
        return TakeByteBehindRun(patternAt_, retryCount_);
    }

    // Takes the first byte from here on that the pattern byte at `behindRun` accepts, and notes the
    // place behind it. `retryCount` is the number of runs in front of this one.
    [[nodiscard]] bool TakeByteBehindRun(int32_t behindRun, int32_t retryCount) {
        patternAt_ = behindRun;
        while (textAt_ < text_.length && !FitsHere()) {
            ++textAt_;
        }
        if (textAt_ == text_.length) {
            return false;
        }
        ++textAt_;
        canGoBack_ = textAt_ < text_.length;
        if (canGoBack_) {
            if (retryCount == kMaximumRetryPoints) {
                return false;
            }
            retryCount_ = retryCount + 1;
            retryTextAt_ = textAt_;
            retryBehindRun_ = behindRun;
        }
        ++patternAt_;
        return true;
    }

    [[nodiscard]] bool GoBack() {
        if (!canGoBack_) {
            return false;
        }
        textAt_ = retryTextAt_;
        return TakeByteBehindRun(retryBehindRun_, retryCount_ - 1);
    }

    TextView text_;
    TextView pattern_;
    bool ignoreCase_;
    bool matched_ = false;
    bool canGoBack_ = false;
    int32_t textAt_ = 0;
    int32_t patternAt_ = 0;
    int32_t retryCount_ = 0;
    int32_t retryTextAt_ = 0;
    int32_t retryBehindRun_ = 0;
};

}  // namespace

bool TextIsLike(TextView text, TextView pattern, bool ignoreCase) {
    return LikeMatcher(text, pattern, ignoreCase).Matches();
}

TextView SubstringOf(TextView text, int32_t start, int32_t length) {
    const int64_t from = start < 2 ? 1 : start;
    const int64_t rest = int64_t{text.length} - from + 1;
    const int64_t count = length < rest ? length : rest;
    if (count < 1) {
        return TextView();
    }
    return TextView(text.data + from - 1, static_cast<int32_t>(count));
}

int32_t CompareBytes(TextView left, TextView right, bool ignoreCase) {
    const int32_t shorter = left.length < right.length ? left.length : right.length;
    const int32_t order = ignoreCase
                              ? CompareNoCaseUpper(left.data, right.data, shorter)
                              : std::memcmp(left.data, right.data, static_cast<size_t>(shorter));
    if (order != 0) {
        return order;
    }
    return left.length == right.length ? 0 : (left.length < right.length ? -1 : 1);
}

}  // namespace ovrasql
