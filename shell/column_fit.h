#pragma once

// ColumnFit: whether the values of an import fit into a column that is there. It sees every value
// once, before a row is stored: the library itself cuts what is too wide without a message.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "shell/catalog.h"
#include "shell/value_notes.h"

namespace ovrashell {

class ColumnFit {
  public:
    // `defined` is the column as the file defines it; its width is 0 where the file defines none.
    ColumnFit(Column column, Column defined);

    // `place` tells where the value stands; it is asked for values that do not fit.
    void See(std::string_view value, const std::function<std::string()>& place);

    // What does not fit, for an Error. Empty when everything does.
    std::string Misfit() const;

    const ValueNotes& Notes() const { return notes_; }

  private:
    bool Takes(std::string_view value);
    bool TakesNumber(std::string_view value);

    Column column_;
    Column defined_;
    ValueNotes notes_;
    uint64_t misfits_ = 0;
    std::string widest_;  // of those that do not fit
    std::string widestPlace_;
};

}  // namespace ovrashell
