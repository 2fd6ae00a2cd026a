#include "shell/statement_reader.h"

#include <algorithm>
#include <array>
#include <utility>

#include "shell/catalog.h"
#include "shell/white_space.h"

namespace ovrashell {

namespace {

constexpr std::string_view kRemark = "--";
constexpr std::array<std::string_view, 7> kFirstWords = {"select", "insert", "update", "delete",
                                                         "create", "drop",   "alter"};

std::string_view Trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(kWhiteSpace);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kWhiteSpace) - first + 1);
}

bool IsCommand(std::string_view line) { return Trimmed(line).substr(0, 1) == "."; }

bool IsWordByte(char byte) {
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
           (byte >= '0' && byte <= '9') || byte == '_';
}

// In small letters; empty when something else comes first.
std::string LeadingWord(std::string_view line) {
    const std::string_view text = Trimmed(line);
    const auto* const end = std::find_if_not(text.begin(), text.end(), IsWordByte);
    return Lowered(text.substr(0, static_cast<std::size_t>(end - text.begin())));
}

}  // namespace

bool IsRemark(std::string_view line) { return Trimmed(line).substr(0, kRemark.size()) == kRemark; }

std::string_view CommandWithoutPoint(std::string_view line) {
    const auto words = SplitStatements(line);
    const std::string word = words.size() == 1 ? Lowered(words.front()) : std::string();
    if (word == "exit" || word == "quit") {
        return ".quit";
    }
    return word == "help" ? ".help" : "";
}

std::vector<std::string> SplitStatements(std::string_view text) {
    std::vector<std::string> statements;
    const auto keep = [&statements](std::string_view piece) {
        const std::string_view statement = Trimmed(piece);
        if (!statement.empty()) {
            statements.emplace_back(statement);
        }
    };
    std::size_t start = 0;
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\'') {
            quoted = !quoted;
        } else if (text[i] == ';' && !quoted) {
            keep(text.substr(start, i - start));
            start = i + 1;
        } else if (text[i] == '-' && !quoted && IsRemark(text.substr(start, i + 2 - start))) {
            i = std::min(text.find('\n', i), text.size());
            start = i;
        }
    }
    keep(text.substr(start));
    return statements;
}

std::size_t StatementOutline::See(std::string_view line) {
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] == ';' && !isQuoted_) {
            return i + 1;
        }
        SeeByte(line[i]);
    }
    EndWord();
    return std::string_view::npos;
}

void StatementOutline::SeeByte(char byte) {
    if (isQuoted_) {
        isQuoted_ = byte != '\'';
    } else if (IsWordByte(byte)) {
        word_ += byte;
    } else {
        EndWord();
        if (kWhiteSpace.find(byte) == std::string_view::npos) {
            isQuoted_ = byte == '\'';
            openParentheses_ += byte == '(' ? 1 : byte == ')' ? -1 : 0;
            lastWord_.clear();
        }
    }
}

void StatementOutline::EndWord() {
    if (word_.empty()) {
        return;
    }
    lastWord_ = Lowered(std::exchange(word_, std::string()));
    if (wordCount_++ == 0) {
        firstWord_ = lastWord_;
    }
    hasRows_ = hasRows_ || lastWord_ == "values" || lastWord_ == "select";
}

bool StatementOutline::Takes(std::string_view word) const {
    if (word == "select") {
        return openParentheses_ > 0 || lastWord_ == "union" || lastWord_ == "all" ||
               (firstWord_ == "insert" && !hasRows_);
    }
    if (word == "drop") {
        return firstWord_ == "alter" && wordCount_ == 3;  // behind ALTER TABLE NAME
    }
    return openParentheses_ > 0 && !CommandWithoutPoint(word).empty();  // the name of a column
}

bool StatementReader::BeginsAnother(std::string_view line) const {
    const std::string word = LeadingWord(line);
    const bool isFirstWord =
        std::find(kFirstWords.begin(), kFirstWords.end(), word) != kFirstWords.end();
    return IsCommand(line) ||
           ((isFirstWord || !CommandWithoutPoint(line).empty()) && !outline_.Takes(word));
}

// What a line is depends on what it meets, and nothing behind this asks again.
StatementReader::LineKind StatementReader::KindOf(std::string_view line) const {
    if (isContinuing_ || outline_.IsQuoted()) {
        return LineKind::kNext;
    }
    if (IsRemark(line)) {
        return LineKind::kRemark;
    }
    if (Trimmed(line).empty()) {
        return LineKind::kEmpty;
    }
    return pending_.has_value() && !BeginsAnother(line) ? LineKind::kNext : LineKind::kFirst;
}

void StatementReader::Add(std::string_view line) {
    ++line_;
    while (!line.empty() && line.back() == '\r') {
        line.remove_suffix(1);
    }
    switch (KindOf(line)) {
        case LineKind::kRemark:
            AddRemark(line);
            break;
        case LineKind::kEmpty:
            End();
            ended_.push_back(Piece{std::string(line), line_});
            break;
        case LineKind::kFirst:
            End();
            Begin(line);
            AddText(line);
            break;
        case LineKind::kNext:
            GoOn();
            AddText(line);
            break;
    }
}

void StatementReader::Begin(std::string_view line) {
    pending_ = Piece{std::string(), line_};
    pending_->isCommand = IsCommand(line);
    isOneLine_ = pending_->isCommand || !CommandWithoutPoint(line).empty();
}

void StatementReader::GoOn() {
    remarks_.clear();
    isContinuing_ = false;
    if (Trimmed(pending_->text).empty()) {
        pending_->line = line_;  // before, there was a backslash only
    }
    pending_->text += '\n';
}

void StatementReader::AddRemark(std::string_view line) {
    Piece remark{std::string(line), line_};
    if (pending_.has_value()) {
        remarks_.push_back(std::move(remark));
    } else {
        ended_.push_back(std::move(remark));
    }
}

void StatementReader::AddText(std::string_view line) {
    while (!pending_->isCommand) {
        const std::size_t end = outline_.See(line);
        if (end == std::string_view::npos) {
            break;
        }
        pending_->text += line.substr(0, end);
        End();
        line = WithoutLeadingBlanks(line.substr(end));
        if (line.empty()) {
            return;
        }
        if (IsRemark(line)) {
            AddRemark(line);
            return;
        }
        pending_ = Piece{std::string(), line_};
        pending_->isChained = true;
        isOneLine_ = false;
    }
    AddLastPart(line);
}

void StatementReader::AddLastPart(std::string_view part) {
    isContinuing_ = !part.empty() && part.back() == '\\' && !outline_.IsQuoted();
    part.remove_suffix(isContinuing_ ? 1 : 0);
    pending_->text += part;
    if (isOneLine_ && !isContinuing_) {
        End();
    }
}

void StatementReader::End() {
    if (pending_.has_value()) {
        if (isContinuing_) {
            pending_->brokenOff = "behind a backslash";
        } else if (outline_.IsQuoted()) {
            pending_->brokenOff = "inside a text in quotes";
        }
        ended_.push_back(*std::exchange(pending_, std::nullopt));
    }
    std::move(remarks_.begin(), remarks_.end(), std::back_inserter(ended_));
    remarks_.clear();
    outline_ = StatementOutline();
    isContinuing_ = false;
}

void StatementReader::BreakOff() {
    if (pending_.has_value()) {
        pending_->brokenOff = "with the input";
    }
    End();
}

std::optional<Piece> StatementReader::Take() {
    if (ended_.empty()) {
        return std::nullopt;
    }
    Piece piece = std::move(ended_.front());
    ended_.pop_front();
    return piece;
}

}  // namespace ovrashell
