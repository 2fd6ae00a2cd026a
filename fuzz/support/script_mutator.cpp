#include "fuzz/support/script_mutator.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace ovrasql::fuzz {

namespace {

constexpr size_t kMaximumLines = 8;

// A field of one kind of file (storage/data_format.h, index_header.h, index_page.h): where it lies,
// how many bytes it has, and how far behind it the next one of its kind follows, 0 for none.
struct Field {
    uint32_t offset;
    uint32_t size;
    uint32_t step;
};

constexpr Field kDataFields[] = {
    {0, 1, 0},     // version
    {1, 3, 0},     // date
    {4, 4, 0},     // record count
    {8, 2, 0},     // header length
    {10, 2, 0},    // record length
    {32, 11, 32},  // name
    {43, 1, 32},   // letter
    {48, 1, 32},   // field length
    {49, 1, 32},   // decimals
    {225, 1, 50},  // deletion flags and cells
    {226, 8, 9},
};
constexpr Field kMemoFields[] = {
    {0, 4, 0},      // next free block
    {512, 4, 512},  // texts
    {520, 1, 7},
};
constexpr Field kIndexFields[] = {
    {0, 4, 0},        // magic
    {4, 1, 0},        // version
    {5, 4, 0},        // generation
    {9, 4, 0},        // next page
    {13, 4, 0},       // root
    {17, 2, 0},       // order
    {19, 2, 0},       // page size
    {21, 2, 0},       // entry size
    {23, 4, 0},       // flags
    {1024, 4, 1024},  // key counts
    {1028, 4, 108},   // children
    {1032, 4, 108},   // record numbers
    {1036, 6, 108},   // keys
};

template <size_t N>
Field PickField(const Field (&fields)[N], StatementWriter* writer) {
    return fields[writer->Below(N)];
}

std::vector<std::string> SplitLines(const std::string& script) {
    std::vector<std::string> lines;
    size_t start = 0;
    while (start < script.size()) {
        const size_t end = std::min(script.find('\n', start), script.size());
        lines.push_back(script.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

std::string JoinLines(const std::vector<std::string>& lines) {
    std::string script;
    for (size_t i = 0; i < std::min(lines.size(), kMaximumLines); ++i) {
        script += lines[i] + "\n";
    }
    return script;
}

// The places of a parenthesis with all that is in it, as [start, end).
using Span = std::pair<size_t, size_t>;
std::vector<Span> Parentheses(const std::string& line) {
    std::vector<Span> spans;
    std::vector<size_t> open;
    for (size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '(') {
            open.push_back(i);
        } else if (line[i] == ')' && !open.empty()) {
            spans.emplace_back(open.back(), i + 1);
            open.pop_back();
        }
    }
    return spans;
}

std::vector<Span> Words(const std::string& line) {
    std::vector<Span> words;
    size_t start = 0;
    while (start < line.size()) {
        const size_t end = std::min(line.find_first_of(" (),", start + 1), line.size());
        if (line[start] != ' ') {
            words.emplace_back(start, end);
        }
        start = end;
        while (start < line.size() && line[start] == ' ') {
            ++start;
        }
    }
    return words;
}

}  // namespace

std::string ScriptMutator::FieldValue(uint32_t size) {
    static const char* const kDigits = "0123456789abcdef";
    std::string hex;
    const uint32_t kind = writer_.Below(6);
    for (uint32_t i = 0; i < size; ++i) {
        // Little-endian: a small number, a power, all ones, all zeros, anything, one byte alone.
        const bool last = i + 1 == size;
        const uint32_t byte = kind == 0   ? (i == 0 ? writer_.Below(16) : 0)
                              : kind == 1 ? (last ? 128 : 0)
                              : kind == 2 ? 255
                              : kind == 3 ? 0
                                          : writer_.Below(256);
        hex += kDigits[byte >> 4U];
        hex += kDigits[byte & 15U];
        if (kind == 5) {
            break;
        }
    }
    return hex;
}

std::string ScriptMutator::FileEdit() {
    const std::string path =
        writer_.Pick({"t.dbf", "t.dbf", "t.dbt", "u.dbf", "u.dbt", "e.dbf", "ta.ovx", "ta.ovx",
                      "tdown.ovx", "ux.ovx", "uy.ovx", "main.dbf", "main.ovx", "maini.ovx"});
    if (writer_.Below(12) == 0) {
        return "!" + path + " cut " + std::to_string(writer_.Below(3000));
    }
    const Field field = path.ends_with(".ovx")   ? PickField(kIndexFields, &writer_)
                        : path.ends_with(".dbt") ? PickField(kMemoFields, &writer_)
                                                 : PickField(kDataFields, &writer_);
    const uint32_t offset = field.offset + field.step * writer_.Below(12);
    return "!" + path + " " + std::to_string(offset) + " " + FieldValue(field.size);
}

std::string ScriptMutator::NewLine() {
    switch (writer_.Below(8)) {
        case 0:
        case 1:
            return FileEdit();
        case 2:
            return writer_.Pick({".pack", ".reopen", ".next", ".close", ".fold", ".exact",
                                 ".cache 0", ".cache 1", ".folder _", ".with 3|anna", ".with 7"});
        case 3:
            return ".view " + writer_.Query(1);
        case 4:
            return ".query " + writer_.Statement();
        default:
            return writer_.Statement();
    }
}

void ScriptMutator::ChangeParenthesis(std::string* line) {
    const std::vector<Span> spans = Parentheses(*line);
    if (spans.empty()) {
        ChangeWord(line);
        return;
    }
    const Span span = spans[writer_.Below(static_cast<uint32_t>(spans.size()))];
    std::string inside;
    switch (writer_.Below(4)) {
        case 0:
            inside = writer_.Query(2);
            break;
        case 1:
            inside = writer_.Condition(2);
            break;
        case 2:
            inside = writer_.Value(2);
            break;
        default:
            line->erase(span.first, span.second - span.first);
            return;
    }
    line->replace(span.first, span.second - span.first, "(" + inside + ")");
}

void ScriptMutator::ChangeWord(std::string* line) {
    const std::vector<Span> words = Words(*line);
    if (words.empty()) {
        *line = writer_.Statement();
        return;
    }
    const Span word = words[writer_.Below(static_cast<uint32_t>(words.size()))];
    std::string other;
    switch (writer_.Below(6)) {
        case 0:
            other = writer_.Literal();
            break;
        case 1:
            other = writer_.Column();
            break;
        case 2:
            other = writer_.Value(2);
            break;
        case 3:
            other = writer_.Pick({"and", "or", "not", "=", "<", ">", "union", "where", "from",
                                  "order by", "group by", "distinct", "desc", ",", "(", ")", "*"});
            break;
        case 4: {
            const Span from = words[writer_.Below(static_cast<uint32_t>(words.size()))];
            other = line->substr(from.first, from.second - from.first);
            break;
        }
        default:
            break;
    }
    line->replace(word.first, word.second - word.first, other);
}

void ScriptMutator::ChangeLine(std::string* line) {
    if (!line->empty() && line->front() == '!') {
        *line = FileEdit();
    } else if (!line->empty() && line->front() == '.' && writer_.Below(3) == 0) {
        *line = NewLine();
    } else if (writer_.Below(3) == 0) {
        ChangeParenthesis(line);
    } else {
        ChangeWord(line);
    }
}

std::string ScriptMutator::Mutate(const std::string& script) {
    Lines lines = SplitLines(script);
    const auto count = static_cast<uint32_t>(lines.size());
    const uint32_t kind = writer_.Below(10);
    if (count == 0 || kind < 3) {
        lines.insert(lines.begin() + writer_.Below(count + 1), NewLine());
    } else if (kind < 7) {
        ChangeLine(&lines[writer_.Below(count)]);
    } else if (kind == 7) {
        lines.erase(lines.begin() + writer_.Below(count));
    } else if (kind == 8) {
        std::swap(lines[writer_.Below(count)], lines[writer_.Below(count)]);
    } else {
        const std::string copy = lines[writer_.Below(count)];
        lines.insert(lines.begin() + writer_.Below(count + 1), copy);
    }
    return JoinLines(lines);
}

std::string ScriptMutator::Cross(const std::string& first, const std::string& second) {
    Lines lines = SplitLines(first);
    const Lines others = SplitLines(second);
    if (lines.empty() || others.empty()) {
        return first + second;
    }
    std::string& line = lines[writer_.Below(static_cast<uint32_t>(lines.size()))];
    const std::string& other = others[writer_.Below(static_cast<uint32_t>(others.size()))];
    const std::vector<Span> here = Parentheses(line);
    const std::vector<Span> there = Parentheses(other);
    if (!here.empty() && !there.empty() && writer_.Below(2) == 0) {
        const Span place = here[writer_.Below(static_cast<uint32_t>(here.size()))];
        const Span piece = there[writer_.Below(static_cast<uint32_t>(there.size()))];
        line.replace(place.first, place.second - place.first,
                     other.substr(piece.first, piece.second - piece.first));
    } else {
        const size_t keep = writer_.Below(static_cast<uint32_t>(lines.size()) + 1);
        const size_t skip = writer_.Below(static_cast<uint32_t>(others.size()));
        lines.resize(keep);
        lines.insert(lines.end(), others.begin() + static_cast<std::ptrdiff_t>(skip), others.end());
    }
    return JoinLines(lines);
}

}  // namespace ovrasql::fuzz
