#pragma once

// ValueNotes: how many values of one column of a file come out of a table otherwise than they stand
// in the file, and why the column has another type. Gathered while an import measures the values,
// told in its report.

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

#include "shell/catalog.h"

namespace ovrashell {

struct ValueNotes {
    uint64_t empty = 0;        // a number or boolean column has 0 or false for them
    uint64_t spaceBehind = 0;  // white space, which the library takes off a character column
    uint64_t endMarks = 0;     // a memo text ends at its first byte 1A
    uint64_t rewritten = 0;    // numbers that the column writes with other digits

    // Why the column is text where its file defines numbers or booleans; empty when it is not.
    std::string whyText;

    // Counts what a value has in itself; the others depend on the column and are left alone.
    void See(std::string_view value);
};

// A line for each note that matters for a column of that type. The name is one of the table's.
void TellNotes(const Column& column, const ValueNotes& notes, std::ostream* report);

}  // namespace ovrashell
