#pragma once

// RowWriter: how the rows of a query are shown. A writer is given the column names once, then row
// after row, then the end, or the news that there is none; it writes to a stream that outlives it.

#include <cstddef>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace ovrashell {

using Row = std::vector<std::string>;

enum class OutputMode { kTable, kCsv, kTsv, kJson, kLine };

// The mode's name as typed ("table", "csv", ...), and back.
std::optional<OutputMode> OutputModeFromName(std::string_view name);
std::string_view OutputModeName(OutputMode mode);

class RowWriter {
  public:
    virtual ~RowWriter() = default;
    virtual void Begin(const Row& names) = 0;
    virtual void Write(const Row& values) = 0;
    virtual void End() = 0;
    // Instead of the end, when no more rows can be had: shows those that are held back and ends the
    // line that was begun, so that what is said then stands on its own.
    virtual void BreakOff() {}
};

// `headers` asks for the column names where the mode has a place for them.
std::unique_ptr<RowWriter> MakeRowWriter(OutputMode mode, bool headers, std::ostream* out);

// The columns of a terminal that a UTF-8 text takes. Bytes that are no UTF-8 count as one each.
std::size_t DisplayWidth(std::string_view text);

// The text with line ends and other control characters made visible, so that a row stays one line
// and nothing in it drives the terminal.
std::string OneLine(std::string_view text);

// The same for a text of several lines, which keeps its line ends.
std::string Lines(std::string_view text);

}  // namespace ovrashell
