#include "shell/statement_reader.h"

#include <utility>

#include "shell/white_space.h"

namespace ovrashell {

namespace {

std::string_view Trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(kWhiteSpace);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kWhiteSpace) - first + 1);
}

}  // namespace

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
        }
    }
    keep(text.substr(start));
    return statements;
}

bool StatementReader::Add(std::string_view line) {
    while (!line.empty() && line.back() == '\r') {
        line.remove_suffix(1);
    }
    continuing_ = !line.empty() && line.back() == '\\';
    if (continuing_) {
        line.remove_suffix(1);
    }
    gathered_ += line;
    if (continuing_) {
        gathered_ += '\n';
    }
    return !continuing_;
}

std::string StatementReader::Take() {
    continuing_ = false;
    return std::exchange(gathered_, std::string());
}

}  // namespace ovrashell
