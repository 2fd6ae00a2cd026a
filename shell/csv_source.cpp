#include <csv.h>

#include <array>
#include <exception>
#include <fstream>
#include <utility>

#include "shell/byte_order_mark.h"
#include "shell/database.h"
#include "shell/import_source.h"

namespace ovrashell {

namespace {

constexpr std::size_t kChunkSize = 65536;

// One pass over a CSV file with libcsv, which calls back for each value and each row. What the
// row's receiver throws is carried over the C code and thrown again behind it.
class CsvPass {
  public:
    using OnRow = std::function<bool(SourceRow&)>;  // false ends the pass

    CsvPass(const std::string& path, OnRow onRow) : path_(path), onRow_(std::move(onRow)) {
        if (csv_init(&parser_, CSV_APPEND_NULL) != 0) {
            throw Error("Cannot read CSV: out of memory");
        }
    }
    ~CsvPass() { csv_free(&parser_); }
    CsvPass(const CsvPass&) = delete;
    CsvPass& operator=(const CsvPass&) = delete;

    void Run() {
        std::ifstream file(path_, std::ios::binary);
        if (!file) {
            throw Error("Cannot read '" + path_ + "'");
        }
        std::array<char, kChunkSize> chunk{};
        bool atStart = true;
        while (!stopped_ && (file.read(chunk.data(), chunk.size()), file.gcount() > 0)) {
            std::string_view bytes(chunk.data(), static_cast<std::size_t>(file.gcount()));
            if (std::exchange(atStart, false)) {
                bytes = WithoutByteOrderMark(bytes);
            }
            bytesRead_ += static_cast<double>(bytes.size());
            if (csv_parse(&parser_, bytes.data(), bytes.size(), ValueEnded, RowEnded, this) !=
                bytes.size()) {
                throw Error("'" + path_ + "': " + csv_strerror(csv_error(&parser_)));
            }
            Rethrow();
        }
        if (!stopped_) {
            csv_fini(&parser_, ValueEnded, RowEnded, this);
            Rethrow();
        }
    }

    double BytesRead() const { return bytesRead_; }

  private:
    static void ValueEnded(void* value, std::size_t length, void* self) {
        auto* pass = static_cast<CsvPass*>(self);
        pass->row_.emplace_back(static_cast<const char*>(value), length);
    }

    static void RowEnded(int /*character*/, void* self) {
        auto* pass = static_cast<CsvPass*>(self);
        if (!pass->stopped_) {
            try {
                pass->stopped_ = !pass->onRow_(pass->row_);
            } catch (...) {
                pass->thrown_ = std::current_exception();
                pass->stopped_ = true;
            }
        }
        pass->row_.clear();
    }

    void Rethrow() {
        if (thrown_) {
            std::rethrow_exception(thrown_);
        }
    }

    std::string path_;
    OnRow onRow_;
    csv_parser parser_{};
    SourceRow row_;
    double bytesRead_ = 0;
    bool stopped_ = false;
    std::exception_ptr thrown_;
};

class CsvSource final : public ImportSource {
  public:
    CsvSource(std::string path, bool hasHeader) : path_(std::move(path)), hasHeader_(hasHeader) {
        CsvPass pass(path_, [this](SourceRow& row) {
            names_ = row;
            return false;
        });
        pass.Run();
        if (names_.empty()) {
            throw Error("'" + path_ + "' is empty");
        }
        for (std::size_t i = 0; !hasHeader_ && i < names_.size(); ++i) {
            names_[i] = "c" + std::to_string(i + 1);
        }
        std::ifstream file(path_, std::ios::binary | std::ios::ate);
        size_ = static_cast<double>(file.tellg());
    }

    const std::vector<std::string>& Names() const override { return names_; }
    const std::vector<Column>& Columns() const override { return columns_; }

    void ForEachRow(const std::function<void(const SourceRow&, double)>& onRow) override {
        std::size_t number = 0;
        const CsvPass* running = nullptr;
        CsvPass pass(path_, [&](SourceRow& row) {
            if ((number++ == 0 && hasHeader_) || row.empty()) {
                return true;
            }
            if (row.size() > names_.size()) {
                throw Error("'" + path_ + "': row " + std::to_string(number) + " has " +
                            std::to_string(row.size()) + " values for " +
                            std::to_string(names_.size()) + " columns");
            }
            row.resize(names_.size());
            onRow(row, size_ > 0 ? running->BytesRead() / size_ : 1);
            return true;
        });
        running = &pass;
        pass.Run();
    }

  private:
    std::string path_;
    bool hasHeader_;
    std::vector<std::string> names_;
    std::vector<Column> columns_;
    double size_ = 0;
};

}  // namespace

std::unique_ptr<ImportSource> OpenCsvSource(const std::string& path, bool hasHeader) {
    return std::make_unique<CsvSource>(path, hasHeader);
}

}  // namespace ovrashell
