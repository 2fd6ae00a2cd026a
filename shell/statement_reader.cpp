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
std::string FirstWord(std::string_view line) {
    const std::string_view text = Trimmed(line);
    const auto* const end = std::find_if_not(text.begin(), text.end(), IsWordByte);
    return Lowered(text.substr(0, static_cast<std::size_t>(end - text.begin())));
}

}  // namespace

bool IsRemark(std::string_view line) { return Trimmed(line).substr(0, kRemark.size()) == kRemark; }

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

void StatementOutline::See(std::string_view line) {
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (isEmpty_ && line.substr(i, kRemark.size()) == kRemark) {
            return;
        }
        SeeByte(line[i]);
    }
    EndWord();
}

void StatementOutline::SeeByte(char byte) {
    if (isQuoted_) {
        isQuoted_ = byte != '\'';
    } else if (byte == ';') {
        *this = StatementOutline();
    } else if (IsWordByte(byte)) {
        isEmpty_ = false;
        word_ += byte;
    } else {
        EndWord();
        if (kWhiteSpace.find(byte) == std::string_view::npos) {
            isEmpty_ = false;
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
    return word == "drop" && firstWord_ == "alter" && wordCount_ == 3;  // behind ALTER TABLE NAME
}

bool StatementReader::GoesOnWith(std::string_view line) const {
    if (isContinuing_ || outline_.IsQuoted()) {
        return true;
    }
    const std::string word = FirstWord(line);
    const bool begins =
        std::find(kFirstWords.begin(), kFirstWords.end(), word) != kFirstWords.end();
    return !Trimmed(line).empty() && !IsCommand(line) && (!begins || outline_.Takes(word));
}

void StatementReader::AddRemark(std::string_view line) {
    Piece remark{std::string(line), line_};
    if (pending_.has_value()) {
        remarks_.push_back(std::move(remark));
    } else {
        ended_.push_back(std::move(remark));
    }
}

void StatementReader::Add(std::string_view line) {
    ++line_;
    while (!line.empty() && line.back() == '\r') {
        line.remove_suffix(1);
    }
    if (IsRemark(line) && !outline_.IsQuoted()) {
        AddRemark(line);
        return;
    }
    if (pending_.has_value() && !GoesOnWith(line)) {
        End();
    }
    remarks_.clear();
    if (pending_.has_value()) {
        pending_->text += '\n';
    } else {
        pending_ = Piece{std::string(), line_};
        isCommand_ = IsCommand(line);
    }
    isContinuing_ = !line.empty() && line.back() == '\\';
    line.remove_suffix(isContinuing_ ? 1 : 0);
    pending_->text += line;
    if (!isCommand_) {
        outline_.See(line);
    }
    const bool isAtEnd = isCommand_ || outline_.IsEmpty() || Trimmed(line).empty();
    if (isAtEnd && !isContinuing_ && !outline_.IsQuoted()) {
        End();
    }
}

void StatementReader::End() {
    if (pending_.has_value()) {
        pending_->brokenOff = isContinuing_         ? "behind a backslash"
                              : outline_.IsQuoted() ? "inside a text in quotes"
                                                    : "";
        ended_.push_back(*std::exchange(pending_, std::nullopt));
    }
    std::move(remarks_.begin(), remarks_.end(), std::back_inserter(ended_));
    remarks_.clear();
    outline_ = StatementOutline();
    isContinuing_ = false;
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
