#pragma once

// ImportSource: rows from a file that is not part of the database. An import reads it twice: once
// to measure the columns, once to insert the rows.

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "shell/catalog.h"

namespace ovrashell {

using SourceRow = std::vector<std::string>;

// How often an import reads its file.
constexpr int kPasses = 2;

class ImportSource {
  public:
    virtual ~ImportSource() = default;

    // The column names as the file has them.
    virtual const std::vector<std::string>& Names() const = 0;

    // Whether they are the file's own. A CSV file without a header has c1, c2 and so on.
    virtual bool HasNames() const { return true; }

    // The columns as the file defines them; empty where it defines none (CSV).
    virtual const std::vector<Column>& Columns() const = 0;

    // What is odd in a file whose rows can be read all the same, a line each.
    virtual std::vector<std::string> Remarks() const { return {}; }

    // Where the row at hand stands, as "line 7 of 'x.csv'". For use inside ForEachRow.
    virtual std::string Place() const = 0;

    // Throws an Error when the next pass would not find what the last one has found.
    virtual void EnsureUnchanged() {}

    // No more than kPasses times: calls back for each row, with as many values as there are names,
    // and with how much of the file is behind it, 0 to 1.
    virtual void ForEachRow(const std::function<void(const SourceRow&, double)>& onRow) = 0;
};

// A CSV file. Its first row has the names; where it has none (`hasHeader` false), the columns are
// called c1, c2 and so on. Values may be quoted and then hold separators, quotes (twice) and line
// ends. A `separator` of 0 is a comma, or the tab or semicolon of a header that has no comma
// outside of quotes. A row with more values than there are names is an Error; missing ones are
// empty. A zero byte, UTF-16, a quote that is never closed and text behind a closing one are
// Errors, too.
std::unique_ptr<ImportSource> OpenCsvSource(const std::string& path, bool hasHeader,
                                            char separator = '\0');

// A .dbf file, with the .dbt file of the same name beside it when it has memo columns. Deleted
// records are left out. Logical columns give what stands in the record (T, F, Y, N, ?), without
// blanks. Columns of type F are told as those of type N, since both are numbers.
std::unique_ptr<ImportSource> OpenDbfSource(const std::string& path);

}  // namespace ovrashell
