#include "shell/row_writer.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>

namespace ovrashell {

namespace {

struct ModeName {
    OutputMode mode;
    std::string_view name;
};

constexpr std::array<ModeName, 5> kModeNames = {{{OutputMode::kTable, "table"},
                                                 {OutputMode::kCsv, "csv"},
                                                 {OutputMode::kTsv, "tsv"},
                                                 {OutputMode::kJson, "json"},
                                                 {OutputMode::kLine, "line"}}};

bool IsNumber(std::string_view text) {
    if (!text.empty() && text.front() == '-') {
        text.remove_prefix(1);
    }
    return !text.empty() && text.find_first_not_of("0123456789.") == std::string_view::npos &&
           std::count(text.begin(), text.end(), '.') <= 1;
}

// The texts as a terminal may be given them.
Row Shown(const Row& texts) {
    Row shown;
    shown.reserve(texts.size());
    std::transform(texts.begin(), texts.end(), std::back_inserter(shown), OneLine);
    return shown;
}

// Aligned columns. The widths are those of the first rows, which are held back until there are
// enough of them, up to a bound; a wider value pushes its own line out and nothing else.
class TableWriter final : public RowWriter {
  public:
    TableWriter(bool headers, std::ostream* out) : headers_(headers), out_(out) {}

    void Begin(const Row& names) override { names_ = Shown(names); }

    void Write(const Row& values) override {
        Row shown = Shown(values);
        if (flushed_) {
            Print(shown);
            return;
        }
        held_.push_back(std::move(shown));
        if (held_.size() == kRowsHeldBack) {
            Flush();
        }
    }

    void End() override { Flush(); }

  private:
    static constexpr std::size_t kRowsHeldBack = 500;
    static constexpr std::size_t kWidestColumn = 100;

    void Flush() {
        if (std::exchange(flushed_, true)) {
            return;
        }
        Measure();
        if (headers_) {
            Print(names_);
            Row rules;
            for (const std::size_t width : widths_) {
                rules.emplace_back(width, '-');
            }
            Print(rules);
        }
        for (const Row& row : held_) {
            Print(row);
        }
        held_.clear();
    }

    void Measure() {
        widths_.assign(names_.size(), 1);
        rightAligned_.assign(names_.size(), !held_.empty());
        for (std::size_t i = 0; headers_ && i < names_.size(); ++i) {
            widths_[i] = std::max<std::size_t>(1, DisplayWidth(names_[i]));
        }
        for (const Row& row : held_) {
            for (std::size_t i = 0; i < row.size(); ++i) {
                const std::size_t width = std::min(DisplayWidth(row[i]), kWidestColumn);
                widths_[i] = std::max(widths_[i], width);
                rightAligned_[i] = rightAligned_[i] && (row[i].empty() || IsNumber(row[i]));
            }
        }
    }

    void Print(const Row& row) const {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::size_t width = DisplayWidth(row[i]);
            const std::string padding(width < widths_[i] ? widths_[i] - width : 0, ' ');
            line += i == 0 ? "" : "  ";
            line += rightAligned_[i] ? padding + row[i] : row[i] + padding;
        }
        line.erase(line.find_last_not_of(' ') + 1);
        *out_ << line << '\n';
    }

    bool headers_;
    std::ostream* out_;
    Row names_;
    std::vector<Row> held_;
    std::vector<std::size_t> widths_;
    std::vector<bool> rightAligned_;
    bool flushed_ = false;
};

// Values with a separator between them. CSV quotes a value that holds the separator, a quote or a
// line end; TSV writes tabs and line ends as \t and \n.
class SeparatedWriter final : public RowWriter {
  public:
    SeparatedWriter(char separator, bool headers, std::ostream* out)
        : separator_(separator), headers_(headers), out_(out) {}

    void Begin(const Row& names) override {
        if (headers_) {
            Write(names);
        }
    }

    void Write(const Row& values) override {
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (i > 0) {
                *out_ << separator_;
            }
            *out_ << (separator_ == ',' ? Quoted(values[i]) : OneLine(values[i]));
        }
        *out_ << '\n';
    }

    void End() override {}

  private:
    static std::string Quoted(const std::string& value) {
        if (value.find_first_of(",\"\r\n") == std::string::npos) {
            return value;
        }
        std::string quoted = "\"";
        for (const char byte : value) {
            quoted += byte == '"' ? "\"\"" : std::string(1, byte);
        }
        return quoted + '"';
    }

    char separator_;
    bool headers_;
    std::ostream* out_;
};

// One array of objects. All values are strings, since the library hands out text and nothing tells
// a number from digits in a text. Bytes that are no UTF-8 become U+FFFD, which JSON requires.
class JsonWriter final : public RowWriter {
  public:
    explicit JsonWriter(std::ostream* out) : out_(out) {}

    void Begin(const Row& names) override {
        std::set<std::string> taken;
        for (const std::string& name : names) {
            std::string unique = name;
            for (int number = 2; !taken.insert(unique).second; ++number) {
                unique = name + std::to_string(number);
            }
            names_.push_back(unique);
        }
        *out_ << '[';
    }

    void Write(const Row& values) override {
        nlohmann::ordered_json object = nlohmann::ordered_json::object();
        for (std::size_t i = 0; i < values.size(); ++i) {
            object[names_[i]] = values[i];
        }
        *out_ << (std::exchange(first_, false) ? "\n  " : ",\n  ")
              << object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    }

    void End() override { *out_ << (first_ ? "]\n" : "\n]\n"); }

  private:
    std::ostream* out_;
    Row names_;
    bool first_ = true;
};

// One "name = value" line for each column, and an empty line between rows.
class LineWriter final : public RowWriter {
  public:
    explicit LineWriter(std::ostream* out) : out_(out) {}

    void Begin(const Row& names) override {
        names_ = Shown(names);
        for (const std::string& name : names_) {
            width_ = std::max(width_, DisplayWidth(name));
        }
    }

    void Write(const Row& values) override {
        if (!std::exchange(first_, false)) {
            *out_ << '\n';
        }
        for (std::size_t i = 0; i < values.size(); ++i) {
            *out_ << std::string(width_ - DisplayWidth(names_[i]), ' ') << names_[i] << " = "
                  << OneLine(values[i]) << '\n';
        }
    }

    void End() override {}

  private:
    std::ostream* out_;
    Row names_;
    std::size_t width_ = 0;
    bool first_ = true;
};

}  // namespace

std::optional<OutputMode> OutputModeFromName(std::string_view name) {
    for (const ModeName& entry : kModeNames) {
        if (entry.name == name) {
            return entry.mode;
        }
    }
    return std::nullopt;
}

std::string_view OutputModeName(OutputMode mode) {
    for (const ModeName& entry : kModeNames) {
        if (entry.mode == mode) {
            return entry.name;
        }
    }
    return {};
}

std::unique_ptr<RowWriter> MakeRowWriter(OutputMode mode, bool headers, std::ostream* out) {
    switch (mode) {
        case OutputMode::kCsv:
            return std::make_unique<SeparatedWriter>(',', headers, out);
        case OutputMode::kTsv:
            return std::make_unique<SeparatedWriter>('\t', headers, out);
        case OutputMode::kJson:
            return std::make_unique<JsonWriter>(out);
        case OutputMode::kLine:
            return std::make_unique<LineWriter>(out);
        case OutputMode::kTable:
            break;
    }
    return std::make_unique<TableWriter>(headers, out);
}

}  // namespace ovrashell
