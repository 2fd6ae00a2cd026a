#pragma once

// ColumnGuess: what type a column of an import gets. It sees every value once and then gives the
// narrowest type that keeps each of them as it is. Numbers keep their digits, so texts of digits
// with a leading zero, exponents or more digits than a double can hold stay texts.

#include <cstdint>
#include <string>
#include <string_view>

#include "shell/catalog.h"

namespace ovrashell {

// The longest text of a character column; longer texts go to the memo file.
constexpr int32_t kLongestCharacterColumn = 254;

class ColumnGuess {
  public:
    // For a column that its file defines. An undefined column has a width of 0.
    explicit ColumnGuess(const Column& defined = {}) : defined_(defined) {}

    void See(std::string_view value);

    // The column for CREATE TABLE under that name.
    Column Result(const std::string& name) const;

    // Empty values seen: a number or boolean column has no way to keep them apart from 0 and false.
    uint64_t EmptyValues() const { return emptyValues_; }

  private:
    bool SeeNumber(std::string_view value);
    bool FitsNumber() const;

    Column defined_;
    uint64_t values_ = 0;
    uint64_t emptyValues_ = 0;
    int32_t longest_ = 0;
    int32_t integerPlaces_ = 1;  // digits before the point, with the sign
    int32_t fractionPlaces_ = 0;
    bool allNumbers_ = true;
    bool allBooleans_ = true;
};

// A boolean as text: 1 true ("true", "t", "yes", "y" in any case), 0 false, -1 neither.
int32_t ParseBoolean(std::string_view text);

}  // namespace ovrashell
