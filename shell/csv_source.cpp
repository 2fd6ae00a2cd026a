#include <csv.h>

#include <algorithm>
#include <exception>
#include <utility>

#include "shell/database.h"
#include "shell/import_source.h"
#include "shell/text_file.h"

namespace ovrashell {

namespace {

// Every line end outside of quotes is told, so that the lines can be counted.
constexpr unsigned char kLenient = CSV_APPEND_NULL | CSV_REPALL_NL;
// A value whose quotes do not match would take the rows behind it in: text behind the closing quote
// and, at the end of the file, a quote that is still open are errors.
constexpr unsigned char kStrict = kLenient | CSV_STRICT | CSV_STRICT_FINI;

// One pass over a CSV file with libcsv, which calls back for each value and each row. What is
// thrown on the way is carried over the C code and thrown again behind it.
class CsvPass {
  public:
    using OnRow = std::function<bool(SourceRow&)>;  // false ends the pass

    CsvPass(TextFile* file, char separator, OnRow onRow) : file_(file), onRow_(std::move(onRow)) {
        if (csv_init(&parser_, kStrict) != 0) {
            throw Error("Cannot read CSV: out of memory");
        }
        csv_set_delim(&parser_, static_cast<unsigned char>(separator));
    }
    ~CsvPass() { csv_free(&parser_); }
    CsvPass(const CsvPass&) = delete;
    CsvPass& operator=(const CsvPass&) = delete;

    void Run() {
        file_->ForEachPiece([this](std::string_view bytes) {
            bytesRead_ += static_cast<double>(bytes.size());
            while (!stopped_ && !bytes.empty()) {
                bytes.remove_prefix(Parse(bytes));
                if (!stopped_ && !bytes.empty()) {
                    bytes.remove_prefix(ParseQuote(bytes.substr(0, 1)));
                }
            }
            return !stopped_;
        });
        if (!stopped_) {
            Finish();
        }
    }

    double BytesRead() const { return bytesRead_; }

    // Where the row at hand begins, from 1.
    uint64_t Line() const { return rowLine_; }

  private:
    // Gives how many bytes are behind it: all, or those in front of one that is refused.
    std::size_t Parse(std::string_view bytes) {
        const std::size_t parsed =
            csv_parse(&parser_, bytes.data(), bytes.size(), ValueEnded, RowEnded, this);
        Rethrow();
        return parsed;
    }

    // Takes the byte that was refused if it is a quote in a value without quotes, as in 5" pipe.
    std::size_t ParseQuote(std::string_view quote) {
        if (csv_error(&parser_) != CSV_EPARSE) {
            throw Error("'" + file_->Path() + "': " + csv_strerror(csv_error(&parser_)));
        }
        if (parser_.quoted != 0) {
            throw Error("'" + file_->Path() +
                        "': text follows the closing quote of the value that begins in line " +
                        std::to_string(line_));
        }
        csv_set_opts(&parser_, kLenient);
        const std::size_t parsed = Parse(quote);
        csv_set_opts(&parser_, kStrict);
        return parsed;
    }

    void Finish() {
        const bool closed = csv_fini(&parser_, ValueEnded, RowEnded, this) == 0;
        Rethrow();
        if (!closed) {
            throw Error("'" + file_->Path() + "': the quote that opens in line " +
                        std::to_string(line_) + " is not closed");
        }
    }

    static void ValueEnded(void* value, std::size_t length, void* self) {
        auto* pass = static_cast<CsvPass*>(self);
        pass->Guarded([&] { pass->TakeValue({static_cast<const char*>(value), length}); });
    }

    static void RowEnded(int lineEnd, void* self) {
        auto* pass = static_cast<CsvPass*>(self);
        pass->Guarded([&] { pass->TakeRow(lineEnd); });
    }

    template <typename Action>
    void Guarded(Action action) {
        if (stopped_) {
            return;
        }
        try {
            action();
        } catch (...) {
            thrown_ = std::current_exception();
            stopped_ = true;
        }
    }

    void TakeValue(std::string_view value) {
        const auto linesIn = [](std::string_view text) {
            return static_cast<uint64_t>(std::count(text.begin(), text.end(), '\n'));
        };
        const auto zero = value.find('\0');
        if (zero != std::string_view::npos) {
            throw Error("'" + file_->Path() + "' has a zero byte in line " +
                        std::to_string(line_ + linesIn(value.substr(0, zero))) +
                        ": it is no text file");
        }
        row_.emplace_back(value);
        line_ += linesIn(value);
    }

    void TakeRow(int lineEnd) {
        const bool hasValues = !row_.empty();
        if (hasValues) {
            stopped_ = !onRow_(row_);
            row_.clear();
        }
        // CR and LF in a row end one line.
        if (hasValues || lineEnd != CSV_LF || lastLineEnd_ != CSV_CR) {
            ++line_;
        }
        lastLineEnd_ = lineEnd;
        rowLine_ = line_;
    }

    void Rethrow() {
        if (thrown_) {
            std::rethrow_exception(thrown_);
        }
    }

    TextFile* file_;
    OnRow onRow_;
    csv_parser parser_{};
    SourceRow row_;
    uint64_t line_ = 1;     // where the next value begins
    uint64_t rowLine_ = 1;  // where the row began
    int lastLineEnd_ = 0;
    double bytesRead_ = 0;
    bool stopped_ = false;
    std::exception_ptr thrown_;
};

// The separators of a text that stand outside of quotes, up to the end of its first line that is
// not empty. It is given the text piece by piece.
class FirstLine {
  public:
    // False when the line is over.
    bool Take(std::string_view bytes) {
        for (const char byte : bytes) {
            if (byte == '"') {
                // Of two quotes inside of quotes, the second one opens again what the first closed.
                quoted_ = !quoted_ && (before_ == '"' || IsSeparator(before_));
            } else if (!quoted_ && (byte == '\n' || byte == '\r')) {
                if (before_ != kNothing || !separators_.empty()) {
                    return false;
                }
            } else if (!quoted_ && IsSeparator(byte)) {
                separators_ += byte;
            }
            before_ = byte == ' ' || byte == '\n' || byte == '\r' ? before_ : byte;
        }
        return true;
    }

    bool Has(char separator) const { return separators_.find(separator) != std::string::npos; }

  private:
    static constexpr char kNothing = ',';  // a value may begin in front of the first byte

    static bool IsSeparator(char byte) { return byte == ',' || byte == ';' || byte == '\t'; }

    std::string separators_;
    char before_ = kNothing;  // the last byte that is no blank
    bool quoted_ = false;
};

class CsvSource final : public ImportSource {
  public:
    CsvSource(const std::string& path, bool hasHeader, char separator)
        : file_(path), hasHeader_(hasHeader), separator_(separator) {
        if (separator == '\0') {
            separator_ = hasHeader ? GuessSeparator() : ',';
            isGuessed_ = separator_ != ',';
        }
        CsvPass pass(&file_, separator_, [this](SourceRow& row) {
            names_ = row;
            return false;
        });
        pass.Run();
        if (names_.empty()) {
            throw Error("'" + path + "' is empty");
        }
        for (std::size_t i = 0; !hasHeader_ && i < names_.size(); ++i) {
            names_[i] = "c" + std::to_string(i + 1);
        }
    }

    const std::vector<std::string>& Names() const override { return names_; }
    const std::vector<Column>& Columns() const override { return columns_; }
    bool HasNames() const override { return hasHeader_; }
    std::string Place() const override {
        return "line " + std::to_string(line_) + " of '" + file_.Path() + "'";
    }

    std::vector<std::string> Remarks() const override {
        std::vector<std::string> remarks;
        if (isGuessed_) {
            remarks.push_back("'" + file_.Path() + "' is read as separated by " +
                              (separator_ == '\t' ? "tabs" : "semicolons"));
        }
        if (file_.HasGrown()) {
            remarks.push_back("'" + file_.Path() + "' has grown since: its first " +
                              std::to_string(file_.Size()) + " bytes are in");
        }
        return remarks;
    }

    void EnsureUnchanged() override { file_.EnsureUnchanged(); }

    void ForEachRow(const std::function<void(const SourceRow&, double)>& onRow) override {
        bool isHeader = hasHeader_;
        const CsvPass* running = nullptr;
        const double size = std::max(1.0, static_cast<double>(file_.Size()));
        CsvPass pass(&file_, separator_, [&](SourceRow& row) {
            if (std::exchange(isHeader, false)) {
                return true;
            }
            line_ = running->Line();
            if (row.size() > names_.size()) {
                throw Error(Place() + " has " + std::to_string(row.size()) + " values for " +
                            std::to_string(names_.size()) + " columns");
            }
            row.resize(names_.size());
            onRow(row, running->BytesRead() / size);
            return true;
        });
        running = &pass;
        pass.Run();
    }

  private:
    // A comma, unless the header has none and another one.
    char GuessSeparator() {
        FirstLine line;
        file_.ForEachPiece([&line](std::string_view bytes) { return line.Take(bytes); });
        return line.Has(',') ? ',' : line.Has('\t') ? '\t' : line.Has(';') ? ';' : ',';
    }

    TextFile file_;
    bool hasHeader_;
    char separator_;
    bool isGuessed_ = false;
    std::vector<std::string> names_;
    std::vector<Column> columns_;
    uint64_t line_ = 0;
};

}  // namespace

std::unique_ptr<ImportSource> OpenCsvSource(const std::string& path, bool hasHeader,
                                            char separator) {
    return std::make_unique<CsvSource>(path, hasHeader, separator);
}

}  // namespace ovrashell
