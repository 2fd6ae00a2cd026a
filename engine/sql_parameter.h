#pragma once

// SQLParameter: the value of one parameter of a run, a text copied from the host's variable. Its
// slot is its place in the host's list, from 0. It lives until the next SetParameters or Reset;
// what borrows its text does not outlive it.

#include <cstdint>
#include <memory>

#include "engine/number_cache.h"
#include "foundation/text_view.h"

namespace ovrasql {

class SQLParameter {
  public:
    explicit SQLParameter(TextView value);
    virtual ~SQLParameter() = default;
    SQLParameter(const SQLParameter&) = delete;
    SQLParameter& operator=(const SQLParameter&) = delete;

    // May hold NUL bytes; the length decides.
    [[nodiscard]] TextView Text() const { return TextView(text_.get(), length_); }
    [[nodiscard]] NumberCache* Number() { return &number_; }

  private:
    std::unique_ptr<char[]> text_;
    int32_t length_;
    NumberCache number_;
};

}  // namespace ovrasql
