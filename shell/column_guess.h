#pragma once

// ColumnGuess: what type a column of a new table gets. It sees every value once and then gives a
// type that keeps each of them.
//
// Where the file defines no types, a column is a number when a number column writes each value with
// the same digits: texts of digits with a zero or a plus in front, exponents, and more digits than
// a double has stay texts. It has room for kUsualPlaces digits before the point, and for more where
// a value has more. A column is boolean when each value is `true` or `false`, in any case; other
// words and letters that may mean it stay texts. A text column is as wide as its longest value.
//
// Where the file defines the type (.dbf), its word holds, and its widths as far as a column can
// have them. Numbers may then be written in other ways (".5", "009"), and zeros at their end are no
// digits; what the column writes otherwise is counted as rewritten. Only a value that is none of
// the type makes the column a text, and the notes tell which one it was.

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "shell/catalog.h"
#include "shell/value_notes.h"

namespace ovrashell {

// The longest text of a character column; longer texts go to the memo file.
constexpr int32_t kLongestCharacterColumn = 254;

// The library cuts a number that is too wide for its column without a word, so what is calculated
// from the numbers of a file should have room in its columns, too.
constexpr int32_t kUsualPlaces = 10;

class ColumnGuess {
  public:
    // For a column that its file defines. An undefined column has a width of 0.
    explicit ColumnGuess(const Column& defined = {}) : defined_(defined) {}

    // `place` tells where the value stands; it is asked for the value that makes the column a text.
    void See(std::string_view value, const std::function<std::string()>& place);

    // The column for CREATE TABLE under that name.
    Column Result(const std::string& name) const;

    // For the column that Result gives.
    ValueNotes Notes() const;

  private:
    bool IsDefined() const { return defined_.width > 0; }
    bool SeeNumber(std::string_view value);
    int32_t Digits() const { return integerDigits_ + fractionPlaces_; }
    bool FitsNumber() const;
    bool IsOfDefinedType() const;
    std::string WhyText(const std::string& shownValue) const;
    int32_t Decimals() const;
    Column NumberColumn(const std::string& name) const;

    Column defined_;
    ValueNotes notes_;
    uint64_t values_ = 0;
    int32_t longest_ = 0;
    int32_t integerDigits_ = 1;  // before the point
    int32_t integerPlaces_ = 1;  // the same with the sign
    int32_t fractionPlaces_ = 0;
    std::map<int32_t, uint64_t> fractions_;  // how many are written with that many digits
    bool allNumbers_ = true;
    bool allBooleans_ = true;
};

// A boolean as the text of a column that is known to hold them: 1 true ("true", "t", "yes", "y" in
// any case), 0 false, -1 neither.
int32_t ParseBoolean(std::string_view text);

// Whether the text stands for no value in a column that its file defines so: it is empty, or the
// question mark of a logical column that nothing was put into.
bool IsNoValue(const Column& defined, std::string_view text);

}  // namespace ovrashell
