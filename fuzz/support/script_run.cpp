#include "fuzz/support/script_run.h"

#include <algorithm>
#include <charconv>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "fuzz/support/finding.h"
#include "fuzz/support/input_bytes.h"
#include "fuzz/support/template_files.h"
#include "tests/support/test_database.h"

namespace ovrasql::fuzz {

namespace {

constexpr int kMaximumSteps = 16;
constexpr int kMaximumRows = 30;
constexpr size_t kMaximumViews = 4;
constexpr size_t kMaximumText = 1023;
constexpr int64_t kServiceCalls = 4000;
constexpr int64_t kMaximumEditOffset = 1 << 16;

int64_t Number(std::string_view text) {
    int64_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return std::clamp<int64_t>(number, 0, kMaximumEditOffset);
}

// The word in front of the first blank; `text` is left with what is behind it.
std::string_view FirstWord(std::string_view* text) {
    const size_t length = std::min(text->find(' '), text->size());
    const std::string_view word = text->substr(0, length);
    text->remove_prefix(std::min(length + 1, text->size()));
    return word;
}

int Digit(char c) {
    return c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

Bytes FromHex(std::string_view text) {
    Bytes bytes;
    for (size_t i = 0; i + 1 < text.size() && Digit(text[i]) >= 0 && Digit(text[i + 1]) >= 0;
         i += 2) {
        bytes.push_back(static_cast<uint8_t>(Digit(text[i]) * 16 + Digit(text[i + 1])));
    }
    return bytes;
}

Texts SplitAtBars(std::string_view text) {
    Texts parts;
    while (!text.empty()) {
        const size_t length = std::min(text.find('|'), text.size());
        parts.emplace_back(text.substr(0, length));
        text.remove_prefix(std::min(length + 1, text.size()));
    }
    return parts;
}

class Script {
  public:
    explicit Script(const ScriptOptions& options) : options_(options) {
        StartHost(TemplateFiles(), kServiceCalls);
        Open(false);
    }
    ~Script() { Close(); }
    Script(const Script&) = delete;
    Script& operator=(const Script&) = delete;

    void Step(std::string_view line) {
        if (options_.fileEdits && !line.empty() && line.front() == '!') {
            EditFile(line.substr(1));
        } else if (!line.empty() && line.front() == '.') {
            Command(line);
        } else {
            Statement(line);
        }
    }

    void Close() {
        views_.clear();
        database_.reset();
    }

    [[nodiscard]] ScriptResult Result() const {
        return {transcript_, failed_, TheHost().FailureHappened(), path_};
    }

  private:
    void Open(bool create) {
        Close();
        database_ = std::make_unique<TestDatabase>();
        edited_ = false;
        if (options_.trace) {
            // Set before the database exists: refused, which must be harmless.
            (void)database_->Option("log", "trace.log");
        }
        isOpen_ = create ? database_->Create(path_) : database_->Open(path_);
        Tell(isOpen_);
        if (options_.trace) {
            (void)database_->Option("log", "trace.log");
        }
        if (options_.cacheless) {
            (void)database_->Option("statement_cache_size", "0");
        }
    }

    // Opens the database anew with the options that it had. Views would not outlive it.
    void Forget() {
        if (!views_.empty() || !isOpen_) {
            return;
        }
        Open(false);
        for (const auto& [key, value] : settings_) {
            Tell(database_->Option(key, value));
        }
    }

    void Command(std::string_view line) {
        std::string_view rest = line;
        const std::string_view word = FirstWord(&rest);
        if (word == ".with") {
            parameters_ = SplitAtBars(rest);
        } else if (word == ".query") {
            Tell(database_->Query(rest, parameters_));
        } else if (word == ".view") {
            OpenView(rest);
        } else if (word == ".next") {
            MoveViews();
        } else if (word == ".close" && !views_.empty()) {
            views_.erase(views_.begin());
        } else if (word == ".pack") {
            views_.clear();
            Tell(database_->Pack());
        } else if (word == ".reopen") {
            settings_.clear();
            Open(false);
        } else if (word == ".new") {
            settings_.clear();
            path_ = "other.dbf";
            Open(true);
        } else {
            SetOption(word, rest);
        }
    }

    void SetOption(std::string_view word, std::string_view value) {
        if (word == ".fold") {
            Set("caseinsensitive", "");
        } else if (word == ".exact") {
            Set("CaseSensitive", "");
        } else if (word == ".cache") {
            Set("statement_cache_size", value);
        } else if (word == ".folder") {
            Set("subdir_char", value);
        }
    }

    void Set(const char* key, std::string_view value) {
        const bool taken = database_->Option(key, value);
        Tell(taken);
        if (taken) {
            settings_.emplace_back(key, value);
        }
    }

    void EditFile(std::string_view line) {
        const std::string path(FirstWord(&line));
        const std::string_view place = FirstWord(&line);
        if (!TheHost().HasFile(path)) {
            return;
        }
        Bytes bytes = TheHost().FileBytes(path);
        if (place == "cut") {
            bytes.resize(static_cast<size_t>(Number(line)));
        } else {
            size_t offset = static_cast<size_t>(Number(place));
            for (const uint8_t byte : FromHex(line)) {
                if (offset < bytes.size()) {
                    bytes[offset++] = byte;
                }
            }
        }
        TheHost().SetFile(path, bytes);
        edited_ = true;
        catalogEdited_ = catalogEdited_ || path.starts_with("main");
    }

    void OpenView(std::string_view sql) {
        if (views_.size() == kMaximumViews) {
            views_.erase(views_.begin());
        }
        views_.push_back(std::make_unique<TestView>(*database_, sql, parameters_));
        Tell(views_.back()->Ok());
        if (views_.back()->Ok()) {
            TellRow(*views_.back());
        } else {
            views_.pop_back();
        }
    }

    void MoveViews() {
        for (const auto& view : views_) {
            Tell(view->Skip());
            TellRow(*view);
        }
    }

    void Statement(std::string_view sql) {
        if (options_.forgetful) {
            Forget();
        }
        const size_t start = transcript_.size();
        if (!RunOnce(sql)) {
            return;
        }
        const std::string first = transcript_.substr(start);
        transcript_.resize(start);
        RunOnce(sql);
        // A table that is open knows of a change in its files only after its next look at them.
        if (!edited_ && !TheHost().FailureHappened() &&
            transcript_.compare(start, std::string::npos, first)) {
            Finding("a SELECT gave other rows the second time: " + std::string(sql) + "\n" + first +
                    "--- then\n" + transcript_.substr(start));
        }
    }

    // True if it was a SELECT that could be run, with success or not.
    bool RunOnce(std::string_view sql) {
        TestView view(*database_, sql, parameters_);
        Tell(view.Ok());
        const bool isSelect = view.Variable("eof") != nullptr;
        if (!view.Ok() || !isSelect) {
            return isSelect;
        }
        for (const std::string& name : view.Columns()) {
            transcript_ += name + ",";
        }
        bool more = true;
        for (int rows = 0; more && rows < kMaximumRows && !view.AtEnd(); ++rows) {
            TellRow(view);
            more = view.Skip();
            Tell(more);
        }
        return true;
    }

    void TellRow(const TestView& view) {
        for (const std::string& value : view.Values()) {
            transcript_ += value + "|";
        }
        transcript_ += '\n';
        for (const auto& variable : MemoryHost::View(view.Handle())->variables) {
            int32_t integer = 0;
            double number = 0;
            (void)Library().variable_value_integer(variable.get(), &integer);
            (void)Library().variable_value_double(variable.get(), &number);
        }
    }

    void Tell(bool ok) {
        if (ok) {
            return;
        }
        failed_ = true;
        const std::string error = database_->Error();
        // A compiled statement whose index is no longer in the catalog fails without a text.
        Require(!error.empty() || catalogEdited_, "a failure without a text");
        Require(error.size() <= kMaximumText, "a text that is too long");
        transcript_ += "error: " + error + "\n";
    }

    ScriptOptions options_;
    std::string path_ = kTemplatePath;
    std::unique_ptr<TestDatabase> database_;
    std::vector<std::unique_ptr<TestView>> views_;
    std::vector<std::pair<std::string, std::string>> settings_;  // since the database was opened
    Texts parameters_;
    std::string transcript_;
    bool isOpen_ = false;
    bool failed_ = false;
    bool edited_ = false;  // since the database was opened
    bool catalogEdited_ = false;
};

}  // namespace

ScriptResult RunScript(const uint8_t* bytes, size_t size, const ScriptOptions& options) {
    InputBytes input(bytes, size);
    Script script(options);
    for (int step = 0; step < kMaximumSteps && !input.IsEmpty(); ++step) {
        script.Step(input.Line());
    }
    script.Close();
    RequireNothingLeft();
    return script.Result();
}

}  // namespace ovrasql::fuzz
