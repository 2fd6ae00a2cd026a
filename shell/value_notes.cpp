#include "shell/value_notes.h"

#include "shell/white_space.h"

namespace ovrashell {

namespace {

constexpr char kMemoEnd = '\x1A';

// "1 <one>" or "n <many>", and the column between this and what becomes of the values.
void Tell(uint64_t count, const Column& column, const char* values, const char* one,
          const char* many, std::ostream* report) {
    if (count > 0) {
        *report << count << ' ' << values << (count == 1 ? "" : "s") << " of " << column.name << ' '
                << (count == 1 ? one : many) << '\n';
    }
}

}  // namespace

void ValueNotes::See(std::string_view value) {
    if (value.empty()) {
        ++empty;
        return;
    }
    spaceBehind += kWhiteSpace.find(value.back()) == std::string_view::npos ? 0 : 1;
    endMarks += value.find(kMemoEnd) == std::string_view::npos ? 0 : 1;
}

void TellNotes(const Column& column, const ValueNotes& notes, std::ostream* report) {
    if (!notes.whyText.empty()) {
        *report << "column " << column.name << " is text: " << notes.whyText << '\n';
    }
    switch (column.letter) {
        case 'N':
            Tell(notes.empty, column, "empty value", "is stored as 0", "are stored as 0", report);
            Tell(notes.rewritten, column, "value", "is written with other digits",
                 "are written with other digits", report);
            break;
        case 'L':
            Tell(notes.empty, column, "empty value", "is stored as false", "are stored as false",
                 report);
            break;
        case 'M':
            Tell(notes.endMarks, column, "value", "is cut at a byte 1A", "are cut at a byte 1A",
                 report);
            break;
        default:
            Tell(notes.spaceBehind, column, "value", "loses the blanks behind it",
                 "lose the blanks behind them", report);
            break;
    }
}

}  // namespace ovrashell
