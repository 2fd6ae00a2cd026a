#include "shell/row_writer.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <set>
#include <utility>

#include "shell/byte_order_mark.h"

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

    void BreakOff() override {
        if (!held_.empty()) {
            Flush();
        }
    }

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

// Comma separated values. Quotes keep what a reader would take for the end of a value or drop:
// blanks around it, the mark of an encoding in front of it, and an empty line where a row has one
// empty value.
class CsvWriter final : public RowWriter {
  public:
    CsvWriter(bool headers, std::ostream* out) : headers_(headers), out_(out) {}

    void Begin(const Row& names) override {
        if (headers_) {
            Write(names);
        }
    }

    void Write(const Row& values) override {
        const bool isAlone = values.size() == 1;
        for (std::size_t i = 0; i < values.size(); ++i) {
            const bool needsQuotes = NeedsQuotes(values[i]) || (isAlone && values[i].empty());
            *out_ << (i == 0 ? "" : ",") << (needsQuotes ? Quoted(values[i]) : values[i]);
        }
        *out_ << '\n';
    }

    void End() override {}

  private:
    static bool NeedsQuotes(std::string_view value) {
        const auto isBlank = [](char byte) { return byte == ' ' || byte == '\t'; };
        return !value.empty() && (isBlank(value.front()) || isBlank(value.back()) ||
                                  value.find_first_of(",\"\r\n") != std::string_view::npos ||
                                  BeginsWithEncodingMark(value));
    }

    static std::string Quoted(const std::string& value) {
        std::string quoted = "\"";
        for (const char byte : value) {
            quoted += byte == '"' ? "\"\"" : std::string(1, byte);
        }
        return quoted + '"';
    }

    bool headers_;
    std::ostream* out_;
};

// Values with tabs between them. What would end a value or a row is written as \t, \n and \r, and a
// backslash as two, so that each text can be told from every other.
class TsvWriter final : public RowWriter {
  public:
    TsvWriter(bool headers, std::ostream* out) : headers_(headers), out_(out) {}

    void Begin(const Row& names) override {
        if (headers_) {
            Write(names);
        }
    }

    void Write(const Row& values) override {
        for (std::size_t i = 0; i < values.size(); ++i) {
            *out_ << (i == 0 ? "" : "\t") << Escaped(values[i]);
        }
        *out_ << '\n';
    }

    void End() override {}

  private:
    static std::string Escaped(std::string_view value) {
        static constexpr std::string_view kSpecial = "\\\t\n\r";
        static constexpr std::string_view kLetters = "\\tnr";
        std::string escaped;
        escaped.reserve(value.size());
        for (const char byte : value) {
            const auto special = kSpecial.find(byte);
            if (special == std::string_view::npos) {
                escaped += byte;
            } else {
                escaped += {'\\', kLetters[special]};
            }
        }
        return escaped;
    }

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

    void BreakOff() override { *out_ << '\n'; }

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
            return std::make_unique<CsvWriter>(headers, out);
        case OutputMode::kTsv:
            return std::make_unique<TsvWriter>(headers, out);
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
