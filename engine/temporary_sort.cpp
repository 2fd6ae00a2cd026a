// The sort of a temporary table: a bottom-up merge over the rows, stable, in runs of 1, 2, 4 and so
// on.
//
// The order of a term is not transitive where numbers and other texts mix: two numbers compare as
// numbers, anything else as texts. So the runs and the comparisons made are part of the result, and
// no other way of sorting may take this one's place.
//
// What costs in a sort is the comparison. Before the first one each row's first term is turned into
// a key: the number itself, or eight bytes of the text as one integer. Cells keep the numbers that
// they have been read as, so that later terms are parsed once as well.
//
// Required: a cell that has been compared as a text has that text from then on and counts as the
// number it reads as, which may not be quite the one it was rendered from. So where such numbers
// stand among texts no number can be taken beforehand, and the cells themselves are compared.

#include <cstring>
#include <memory>
#include <utility>

#include "compile/tree/select_items.h"
#include "compile/tree/sql_column_reference.h"
#include "engine/sql_temporary_table.h"
#include "engine/text_operations.h"
#include "foundation/list.h"
#include "foundation/text_compare.h"
#include "language/tokens.h"
#include "storage/ovra_sql_field.h"

namespace ovrasql {

namespace {

struct SortTerm {
    int32_t position;
    bool ascending;
    bool isText;  // a character or memo column, whose values never sort as numbers
    bool folds;
};

// A row on its way, with the key of its first term: a number, or eight bytes of the text as one
// integer, taken from behind what all texts begin with.
struct SortRow {
    SQLResult* cells;
    union {
        double number;
        uint64_t prefix;
    };
    int32_t textLength;
    bool isNumber;
};

constexpr int32_t kPrefixLength = 8;

// So many bytes that comparing two such integers compares the texts up to there. A text that has
// ended counts as zero bytes.
[[nodiscard]] uint64_t PrefixOf(TextView text, int32_t from, bool folds) {
    uint64_t prefix = 0;
    const TextView rest = text.Part(from, kPrefixLength);
    for (int32_t i = 0; i < kPrefixLength; ++i) {
        const char c = i < rest.length ? rest[i] : '\0';
        prefix = (prefix << 8) | static_cast<uint8_t>(folds ? ToUpper(c) : c);
    }
    return prefix;
}

// How many bytes, no more than `most`, the two texts have in common at their head.
[[nodiscard]] int32_t CommonLength(TextView first, TextView second, int32_t most, bool folds) {
    int32_t length = 0;
    while (length < most && length < first.length && length < second.length &&
           (folds ? ToUpper(first[length]) == ToUpper(second[length])
                  : first[length] == second[length])) {
        ++length;
    }
    return length;
}

[[nodiscard]] int32_t Directed(bool isLess, bool ascending) { return isLess == ascending ? -1 : 1; }

class RowOrder {
  public:
    RowOrder(const SortTerm* terms, int32_t termCount) : terms_(terms), termCount_(termCount) {}

    // Gives every row its key.
    void MakeKeys(SortRow* rows, int32_t count) {
        const SortTerm& term = terms_[0];
        TextView firstText;
        bool sawText = false;
        bool sawUnrendered = false;
        for (int32_t i = 0; i < count; ++i) {
            SortRow& row = rows[i];
            SQLResult& cell = row.cells[term.position];
            const bool isUnrendered =
                (cell.Flags() & (SQLResult::kText | SQLResult::kDouble)) == SQLResult::kDouble;
            row.isNumber = !term.isText && cell.GetDoubleChecked(&row.number);
            if (row.isNumber) {
                sawUnrendered = sawUnrendered || isUnrendered;
                continue;
            }
            const TextView text = cell.GetString();
            if (!sawText) {
                firstText = text;
                commonLength_ = text.length;
                sawText = true;
            }
            commonLength_ = CommonLength(firstText, text, commonLength_, term.folds);
        }
        keysHold_ = !sawText || !sawUnrendered;
        for (int32_t i = 0; sawText && i < count; ++i) {
            if (!rows[i].isNumber) {
                const TextView text = rows[i].cells[term.position].GetString();
                rows[i].textLength = text.length;
                rows[i].prefix = PrefixOf(text, commonLength_, term.folds);
            }
        }
    }

    // 0 or less if the left row may stand first.
    [[nodiscard]] int32_t Compare(const SortRow& left, const SortRow& right) const {
        if (!keysHold_) {
            return CompareTerms(0, left, right);
        }
        const SortTerm& term = terms_[0];
        if (left.isNumber && right.isNumber) {
            if (left.number != right.number) {
                return Directed(left.number < right.number, term.ascending);
            }
        } else if (left.isNumber == right.isNumber && left.prefix != right.prefix) {
            return Directed(left.prefix < right.prefix, term.ascending);
        } else if (const int32_t order = CompareFirstTexts(term, left, right); order != 0) {
            return order;
        }
        return CompareTerms(1, left, right);
    }

  private:
    // The texts of the first term, with the same prefix if both are such: short ones then differ in
    // their length at most.
    [[nodiscard]] int32_t CompareFirstTexts(const SortTerm& term, const SortRow& left,
                                            const SortRow& right) const {
        const int64_t known = int64_t{commonLength_} + kPrefixLength;
        if (left.isNumber || right.isNumber || left.textLength > known ||
            right.textLength > known) {
            return CompareTexts(term, left, right);
        }
        return left.textLength == right.textLength
                   ? 0
                   : Directed(left.textLength < right.textLength, term.ascending);
    }

    [[nodiscard]] static int32_t CompareTexts(const SortTerm& term, const SortRow& left,
                                              const SortRow& right) {
        const TextView leftText = left.cells[term.position].GetString();
        const int32_t order =
            CompareBytes(leftText, right.cells[term.position].GetString(), term.folds);
        return order == 0 ? 0 : Directed(order < 0, term.ascending);
    }

    [[nodiscard]] int32_t CompareTerms(int32_t firstTerm, const SortRow& left,
                                       const SortRow& right) const {
        for (int32_t i = firstTerm; i < termCount_; ++i) {
            if (const int32_t order = CompareCells(terms_[i], left, right); order != 0) {
                return order;
            }
        }
        return 0;
    }

    [[nodiscard]] static int32_t CompareCells(const SortTerm& term, const SortRow& left,
                                              const SortRow& right) {
        double leftNumber = 0.0;
        double rightNumber = 0.0;
        if (term.isText || !left.cells[term.position].GetDoubleChecked(&leftNumber) ||
            !right.cells[term.position].GetDoubleChecked(&rightNumber)) {
            return CompareTexts(term, left, right);
        }
        return leftNumber == rightNumber ? 0 : Directed(leftNumber < rightNumber, term.ascending);
    }

    const SortTerm* terms_;
    int32_t termCount_;
    int32_t commonLength_ = 0;  // of the texts of the first term
    bool keysHold_ = true;      // and not the cells have to be compared
};

// Merges the runs [start, middle) and [middle, end) of `from` into `to`.
void MergeRuns(const RowOrder& order, const SortRow* from, SortRow* to, int32_t start,
               int32_t middle, int32_t end) {
    const SortRow* left = from + start;
    const SortRow* const leftEnd = from + middle;
    const SortRow* right = leftEnd;
    const SortRow* const rightEnd = from + end;
    SortRow* out = to + start;
    while (left != leftEnd && right != rightEnd) {
        *out++ = order.Compare(*left, *right) <= 0 ? *left++ : *right++;
    }
    while (left != leftEnd) {
        *out++ = *left++;
    }
    while (right != rightEnd) {
        *out++ = *right++;
    }
}

[[nodiscard]] int32_t Clip(int64_t position, int32_t count) {
    return position < count ? static_cast<int32_t>(position) : count;
}

// Fills `terms`, and says whether the rows have all their columns.
[[nodiscard]] bool ReadTerms(const List<SQLOrderBy>& list, int32_t columnCount,
                             bool caseInsensitive, SortTerm* terms) {
    for (const SQLOrderBy* const term : list) {
        if (term->position < 0 || term->position >= columnCount) {
            return false;
        }
        const int32_t fieldType = term->column == nullptr ? -1 : term->column->fieldType;
        const bool isFolded = term->wrapper == token::kLower || term->wrapper == token::kUpper;
        *terms++ = SortTerm{term->position, term->ascending != 0,
                            fieldType == kFieldCharacter || fieldType == kFieldMemo,
                            caseInsensitive && !isFolded};
    }
    return true;
}

}  // namespace

bool SQLTemporaryTable::Sort(const List<SQLOrderBy>& list) {
    const int32_t termCount = list.Count();
    if (termCount < 1) {
        return true;
    }
    const auto terms = std::make_unique_for_overwrite<SortTerm[]>(static_cast<size_t>(termCount));
    if (!ReadTerms(list, columnCount_, caseInsensitive_, terms.get())) {
        return false;
    }
    if (rowCount_ < 2) {
        return true;
    }
    RowOrder order(terms.get(), termCount);
    auto from = std::make_unique_for_overwrite<SortRow[]>(static_cast<size_t>(rowCount_));
    auto to = std::make_unique_for_overwrite<SortRow[]>(static_cast<size_t>(rowCount_));
    for (int32_t i = 0; i < rowCount_; ++i) {
        from[static_cast<size_t>(i)].cells = rows_[static_cast<size_t>(i)];
    }
    order.MakeKeys(from.get(), rowCount_);
    for (int64_t width = 1; width < rowCount_; width *= 2) {
        for (int64_t start = 0; start < rowCount_; start += 2 * width) {
            MergeRuns(order, from.get(), to.get(), static_cast<int32_t>(start),
                      Clip(start + width, rowCount_), Clip(start + 2 * width, rowCount_));
        }
        from.swap(to);
    }
    for (int32_t i = 0; i < rowCount_; ++i) {
        rows_[static_cast<size_t>(i)] = from[static_cast<size_t>(i)].cells;
    }
    return true;
}

}  // namespace ovrasql
