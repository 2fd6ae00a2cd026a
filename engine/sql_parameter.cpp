#include "engine/sql_parameter.h"

#include <cstring>

namespace ovrasql {

SQLParameter::SQLParameter(TextView value)
    : text_(std::make_unique_for_overwrite<char[]>(static_cast<size_t>(value.length) + 1)),
      length_(value.length) {
    std::memcpy(text_.get(), value.data, static_cast<size_t>(length_));
    text_[static_cast<size_t>(length_)] = '\0';
}

}  // namespace ovrasql
