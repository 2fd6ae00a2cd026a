#pragma once

// ColumnGuess: what type a column of an import gets. It sees every value once and then gives the
// narrowest type that keeps each of them as it is. Numbers keep their digits, so texts of digits
// with a leading zero, exponents or more digits than a double can hold stay texts.

#include <cstdint>
#include <string>
#include <string_view>

#include "shell/catalog.h"
#include "shell/value_notes.h"

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

    const ValueNotes& Notes() const { return notes_; }

  private:
    bool SeeNumber(std::string_view value);
    bool FitsNumber() const;

    Column defined_;
    ValueNotes notes_;
    uint64_t values_ = 0;
    int32_t longest_ = 0;
    int32_t integerPlaces_ = 1;  // digits before the point, with the sign
    int32_t fractionPlaces_ = 0;
    bool allNumbers_ = true;
    bool allBooleans_ = true;
};

// A boolean as text: 1 true ("true", "t", "yes", "y" in any case), 0 false, -1 neither.
int32_t ParseBoolean(std::string_view text);

// Whether the text stands for no value in a column that its file defines so: it is empty, or the
// question mark of a logical column that nothing was put into.
bool IsNoValue(const Column& defined, std::string_view text);

}  // namespace ovrashell
