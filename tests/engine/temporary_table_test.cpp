// Temporary tables: rows, walks and the sort. The sort is held against one written straight from
// its rule, which parses a cell at each comparison, over tables of mixed values.

#include "engine/sql_temporary_table.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "compile/tree/select_items.h"
#include "compile/tree/sql_column_reference.h"
#include "foundation/list.h"
#include "foundation/number_text.h"
#include "foundation/text_compare.h"
#include "language/tokens.h"
#include "storage/ovra_sql_field.h"
#include "tests/engine/program.h"

namespace ovrasql {
namespace {

class SortTerms {
  public:
    SQLOrderBy* Add(int32_t position, bool ascending = true) {
        auto term = std::make_unique<SQLOrderBy>();
        term->position = position;
        term->ascending = ascending ? 1 : 0;
        SQLOrderBy* const added = term.get();
        list.Insert(std::move(term), ListPlace::kTail);
        return added;
    }
    SQLOrderBy* AddColumn(int32_t position, int32_t fieldType, bool ascending = true) {
        SQLOrderBy* const term = Add(position, ascending);
        references.push_back(std::make_unique<SQLColumnReference>("a"));
        references.back()->fieldType = fieldType;
        term->column = references.back().get();
        return term;
    }

    List<SQLOrderBy> list{true};
    std::vector<std::unique_ptr<SQLColumnReference>> references;
};

class TemporaryTable : public EngineTest {
  protected:
    static void Append(SQLTemporaryTable* table, const std::vector<std::string>& texts) {
        table->AppendRow();
        for (size_t i = 0; i < texts.size(); ++i) {
            const TextView text(texts[i].data(), static_cast<int32_t>(texts[i].size()));
            table->Cell(static_cast<int32_t>(i))->SetString(text, true);
        }
    }
    static std::string Column(SQLTemporaryTable* table, int32_t column) {
        std::string texts;
        for (bool more = table->First(); more; more = table->Next()) {
            texts += ToText(table->Cell(column)->GetString()) + " ";
        }
        return texts;
    }
    // One column of texts, sorted by one term.
    static std::string Sorted(const std::vector<std::string>& texts, SortTerms* terms,
                              bool caseInsensitive = false) {
        SQLTemporaryTable table(1, caseInsensitive);
        for (const std::string& text : texts) {
            Append(&table, {text});
        }
        EXPECT_TRUE(table.Sort(terms->list));
        return Column(&table, 0);
    }
};

TEST_F(TemporaryTable, WalksItsRowsInOrder) {
    SQLTemporaryTable table(1, false);
    EXPECT_FALSE(table.First());
    EXPECT_EQ(table.Cell(0), nullptr);
    EXPECT_FALSE(table.Next());
    Append(&table, {"a"});
    EXPECT_NE(table.Cell(0), nullptr);
    Append(&table, {"b"});
    EXPECT_EQ(Column(&table, 0), "a b ");
    EXPECT_EQ(table.Cell(0), nullptr);
    EXPECT_FALSE(table.Next());
}

TEST_F(TemporaryTable, NewCellsAreEmpty) {
    SQLTemporaryTable table(3, false);
    table.AppendRow();
    for (int32_t column = 0; column < 3; ++column) {
        EXPECT_EQ(table.Cell(column)->Flags(), 0);
    }
}

TEST_F(TemporaryTable, HoldsManyRowsAndTexts) {
    SQLTemporaryTable table(2, false);
    for (int32_t i = 0; i < 5000; ++i) {
        table.AppendRow();
        table.Cell(0)->SetInteger(i);
        table.Cell(1)->SetString(std::string(static_cast<size_t>(i % 100), 'x').c_str(), true);
    }
    EXPECT_EQ(table.RowCount(), 5000);
    int32_t row = 0;
    for (bool more = table.First(); more; more = table.Next(), ++row) {
        ASSERT_EQ(table.Cell(0)->GetInteger(), row);
        ASSERT_EQ(table.Cell(1)->GetString().length, row % 100);
    }
    table.Restart(1);
    EXPECT_EQ(table.RowCount(), 0);
    EXPECT_FALSE(table.First());
}

// A text that is no longer than the one before it takes the same room.
TEST_F(TemporaryTable, ACellThatIsWrittenAgainHasTheNewTextAlone) {
    SQLTemporaryTable table(2, false);
    Append(&table, {"a long text", "next"});
    const char* const room = table.Cell(0)->GetString().data;
    for (const char* text : {"short", "", "a text", "a longer text than that"}) {
        table.Cell(0)->SetString(text, true);
        EXPECT_EQ(ToText(table.Cell(0)->GetString()), text);
        EXPECT_EQ(ToText(table.Cell(1)->GetString()), "next");
    }
    EXPECT_NE(table.Cell(0)->GetString().data, room);
}

TEST_F(TemporaryTable, SortsNoRowsAndOne) {
    SortTerms terms;
    terms.Add(0);
    EXPECT_EQ(Sorted({}, &terms), "");
    EXPECT_EQ(Sorted({"a"}, &terms), "a ");
}

TEST_F(TemporaryTable, SortsNumbersAsNumbers) {
    SortTerms terms;
    terms.Add(0);
    EXPECT_EQ(Sorted({"10", "9", "-1", "2.5"}, &terms), "-1 2.5 9 10 ");
    SortTerms descending;
    descending.Add(0, false);
    EXPECT_EQ(Sorted({"10", "9", "-1", "2.5"}, &descending), "10 9 2.5 -1 ");
}

TEST_F(TemporaryTable, SortsCharacterColumnsAsTexts) {
    for (const int32_t type : {kFieldCharacter, kFieldMemo}) {
        SortTerms terms;
        terms.AddColumn(0, type);
        EXPECT_EQ(Sorted({"9", "10", "1"}, &terms), "1 10 9 ");
    }
    SortTerms numeric;
    numeric.AddColumn(0, kFieldNumeric);
    EXPECT_EQ(Sorted({"9", "10", "1"}, &numeric), "1 9 10 ");
    // Texts that agree in their first eight bytes, and one that ends in a NUL byte.
    SortTerms longTexts;
    longTexts.AddColumn(0, kFieldCharacter);
    EXPECT_EQ(Sorted({"abcdefghz", "abcdefgh", "abcdefgha", "abcdefg"}, &longTexts),
              "abcdefg abcdefgh abcdefgha abcdefghz ");
    SortTerms withNul;
    withNul.AddColumn(0, kFieldCharacter, false);
    const std::string nul("a\0", 2);
    EXPECT_EQ(Sorted({"a", nul}, &withNul), nul + " a ");
}

TEST_F(TemporaryTable, SortsATextAmongNumbersByTheTextRule) {
    SortTerms terms;
    terms.Add(0);
    EXPECT_EQ(Sorted({"b", "10"}, &terms), "10 b ");
    EXPECT_EQ(Sorted({"5x", "10"}, &terms), "10 5x ");
}

TEST_F(TemporaryTable, NullSortsAsZeroAmongNumbersAndFirstAmongTexts) {
    SortTerms terms;
    terms.Add(0);
    EXPECT_EQ(Sorted({"1", "", "-1"}, &terms), "-1  1 ");
    EXPECT_EQ(Sorted({"b", "", "a"}, &terms), " a b ");
}

TEST_F(TemporaryTable, EqualRowsKeepTheirOrder) {
    for (const bool ascending : {true, false}) {
        SQLTemporaryTable table(2, false);
        for (const char* mark : {"1", "2", "3", "4", "5"}) {
            Append(&table, {"same", mark});
        }
        SortTerms terms;
        terms.Add(0, ascending);
        EXPECT_TRUE(table.Sort(terms.list));
        EXPECT_EQ(Column(&table, 1), "1 2 3 4 5 ");
    }
}

TEST_F(TemporaryTable, LaterTermsDecideTies) {
    SQLTemporaryTable table(2, false);
    Append(&table, {"b", "1"});
    Append(&table, {"a", "9"});
    Append(&table, {"b", "10"});
    Append(&table, {"a", "10"});
    SortTerms terms;
    terms.Add(0);
    terms.Add(1, false);
    EXPECT_TRUE(table.Sort(terms.list));
    EXPECT_EQ(Column(&table, 1), "10 9 10 1 ");
}

TEST_F(TemporaryTable, FoldsCaseUnlessTheTermIsWrapped) {
    SortTerms plain;
    plain.Add(0);
    EXPECT_EQ(Sorted({"b", "A", "C"}, &plain, false), "A C b ");
    EXPECT_EQ(Sorted({"b", "A", "C"}, &plain, true), "A b C ");
    EXPECT_EQ(Sorted({"B", "b", "A"}, &plain, true), "A B b ");
    for (const int32_t wrapper : {token::kUpper, token::kLower}) {
        SortTerms wrapped;
        wrapped.AddColumn(0, kFieldCharacter)->wrapper = wrapper;
        EXPECT_EQ(Sorted({"b", "A", "C"}, &wrapped, true), "A C b ");
    }
}

TEST_F(TemporaryTable, SortLeavesTheCurrentRow) {
    SQLTemporaryTable table(1, false);
    Append(&table, {"b"});
    Append(&table, {"a"});
    SortTerms terms;
    terms.Add(0);
    EXPECT_TRUE(table.Sort(terms.list));
    EXPECT_EQ(ToText(table.Cell(0)->GetString()), "a");  // the row appended last
}

TEST_F(TemporaryTable, ATermOutsideTheRowIsRefused) {
    SQLTemporaryTable table(1, false);
    for (const int32_t position : {-1, 1}) {
        SortTerms terms;
        terms.Add(position);
        EXPECT_FALSE(table.Sort(terms.list));
    }
    SortTerms none;
    EXPECT_TRUE(table.Sort(none.list));
}

// The rule itself, on plain values. A cell parses its text at each look, and has a text from the
// first time on that it is asked for one.
struct PlainCell {
    bool hasText;
    std::string text;
    double number;  // of a cell without a text; 0 is an empty one

    bool IsNumber(double* value) const {
        int32_t error = 0;
        *value = hasText ? TextToDouble(text.c_str(), &error) : number;
        return error == 0;
    }
    const std::string& Text() {
        if (!hasText) {
            text = number == 0.0 ? "" : ToText(DoubleToText(number, -1).View());
            hasText = true;
        }
        return text;
    }
};

using PlainRow = std::vector<PlainCell>;

struct PlainSort {
    struct Term {
        bool ascending;
        bool isText;
    };
    bool folds;
    std::vector<Term> terms;

    int32_t CompareTexts(const std::string& left, const std::string& right) const {
        const int32_t shorter = static_cast<int32_t>(std::min(left.size(), right.size()));
        const int32_t order =
            folds ? CompareNoCaseUpper(left.data(), right.data(), shorter)
                  : std::memcmp(left.data(), right.data(), static_cast<size_t>(shorter));
        if (order != 0 || left.size() == right.size()) {
            return order;
        }
        return left.size() < right.size() ? -1 : 1;
    }

    int32_t Compare(PlainRow& left, PlainRow& right) const {
        for (size_t i = 0; i < terms.size(); ++i) {
            double leftNumber = 0.0;
            double rightNumber = 0.0;
            int32_t order = 0;
            if (terms[i].isText || !left[i].IsNumber(&leftNumber) ||
                !right[i].IsNumber(&rightNumber)) {
                order = CompareTexts(left[i].Text(), right[i].Text());
            } else if (leftNumber != rightNumber) {
                order = leftNumber < rightNumber ? -1 : 1;
            }
            if (order != 0) {
                return terms[i].ascending ? order : -order;
            }
        }
        return 0;
    }

    void Sort(std::vector<PlainRow*>* rows) const {
        std::vector<PlainRow*> from = *rows;
        std::vector<PlainRow*> to = from;
        for (size_t width = 1; width < from.size(); width *= 2) {
            for (size_t start = 0; start < from.size(); start += 2 * width) {
                size_t left = start;
                const size_t middle = std::min(start + width, from.size());
                size_t right = middle;
                const size_t end = std::min(start + 2 * width, from.size());
                for (size_t out = start; out < end; ++out) {
                    const bool takeLeft =
                        left < middle && (right == end || Compare(*from[left], *from[right]) <= 0);
                    to[out] = takeLeft ? from[left++] : from[right++];
                }
            }
            from.swap(to);
        }
        *rows = from;
    }
};

void Store(const PlainCell& value, SQLResult* cell) {
    if (value.hasText) {
        const TextView text(value.text.data(), static_cast<int32_t>(value.text.size()));
        cell->SetString(text, true);
    } else if (value.number == 7.0) {
        cell->SetInteger(7);
    } else if (value.number != 0.0) {
        cell->SetDouble(value.number);
    }
}

TEST_F(TemporaryTable, EqualsItsRuleOnMixedValues) {
    // Numbers and texts together have no consistent order, so the very comparisons count.
    std::vector<PlainCell> values;
    for (const char* text : {"", "0", "9", "10", "10.0", "5x", "x", "X", "abcdefgha", "abcdefghB",
                             "-3", "1e1", "2", "\xE9", "abcdefgh"}) {
        values.push_back({true, text, 0.0});
    }
    for (const double number : {0.0, 7.0, 9.5, 2e-25, 1e-25, -4e-21, 1e300, 1.0 / 3000.0}) {
        values.push_back({false, "", number});
    }
    std::mt19937 random(7);
    for (int32_t round = 0; round < 1000; ++round) {
        PlainSort plain{round % 2 == 0, {}};
        SortTerms terms;
        for (int32_t term = 0; term < 2; ++term) {
            const bool ascending = random() % 2 == 0;
            const bool isText = random() % 4 == 0;
            plain.terms.push_back({ascending, isText});
            terms.AddColumn(term, isText ? kFieldCharacter : kFieldNumeric, ascending);
        }
        // Now all values, now texts only, now numbers for the most part.
        const size_t from = round % 3 == 2 ? 12 : 0;
        const size_t count = round % 3 == 1 ? 15 : values.size() - from;
        std::vector<PlainRow> rows(random() % 40);
        std::vector<PlainRow*> sorted;
        SQLTemporaryTable table(3, plain.folds);
        for (size_t i = 0; i < rows.size(); ++i) {
            rows[i] = {values[from + random() % count],
                       values[from + random() % count],
                       {true, std::to_string(i), 0.0}};
            sorted.push_back(&rows[i]);
            table.AppendRow();
            for (int32_t column = 0; column < 3; ++column) {
                Store(rows[i][static_cast<size_t>(column)], table.Cell(column));
            }
        }
        plain.Sort(&sorted);
        ASSERT_TRUE(table.Sort(terms.list));
        std::string expected;
        for (PlainRow* const row : sorted) {
            expected += (*row)[2].text + " ";
        }
        ASSERT_EQ(Column(&table, 2), expected) << "round " << round;
    }
}

// Required: a cell that has been compared as a text counts by that text from then on. Twenty digits
// behind the point leave nothing of so small a number.
TEST_F(TemporaryTable, ANumberComparedAsATextCountsByItsText) {
    SQLTemporaryTable table(2, false);
    for (const char* mark : {"1", "2", "3", "4"}) {
        Append(&table, {"", mark});
        switch (*mark) {
            case '1':
                table.Cell(0)->SetDouble(2e-25);
                break;
            case '3':
                table.Cell(0)->SetDouble(1e-25);
                break;
            default:
                table.Cell(0)->SetString(*mark == '2' ? "x" : "y", true);
        }
    }
    SortTerms terms;
    terms.Add(0);
    // The words meet the numbers first, and then the numbers are equal as the zeros they read as.
    EXPECT_TRUE(table.Sort(terms.list));
    EXPECT_EQ(Column(&table, 1), "1 3 2 4 ");
    // Among themselves they stay what they are.
    SQLTemporaryTable numbers(2, false);
    for (const char* mark : {"1", "2"}) {
        Append(&numbers, {"", mark});
        numbers.Cell(0)->SetDouble(*mark == '1' ? 2e-25 : 1e-25);
    }
    EXPECT_TRUE(numbers.Sort(terms.list));
    EXPECT_EQ(Column(&numbers, 1), "2 1 ");
}

// Texts that begin alike, with bytes beyond the letters: the order of the bytes counts, and with
// folding that of the capital letters.
TEST_F(TemporaryTable, SortsTextsThatBeginAlike) {
    const std::vector<std::string> texts = {
        "begin-a\xE9", "begin-a",          "BEGIN-A_",        "begin-az",
        "begin-aZ",    "begin-a12345678z", "begin-a12345678", "begin-a123456789"};
    SortTerms terms;
    terms.AddColumn(0, kFieldCharacter);
    EXPECT_EQ(Sorted(texts, &terms),
              "BEGIN-A_ begin-a begin-a12345678 begin-a123456789 begin-a12345678z begin-aZ "
              "begin-az begin-a\xE9 ");
    EXPECT_EQ(Sorted(texts, &terms, true),
              "begin-a begin-a12345678 begin-a123456789 begin-a12345678z begin-az begin-aZ "
              "BEGIN-A_ begin-a\xE9 ");
}

class TemporaryProgram : public EngineTest {};

TEST_F(TemporaryProgram, StoresSortsAndWalks) {
    SortTerms terms;
    terms.Add(0);
    Program program;
    program.Do(SQL_Temporary_Table, 0, 1);
    for (const char* text : {"3", "1", "2"}) {
        program.Do(SQL_Temporary_Record, 0).Literal(text).Do(SQL_Pop_Temporary, 0, 0);
    }
    program.Emit(SQL_Temporary_Sort, 0, 0, 0, "", "", &terms.list);
    const int32_t first = program.Count();
    program.Do(SQL_Temporary_First, 0, first + 3);
    program.Do(SQL_Push_Temporary, 0, 0).Do(SQL_Temporary_Next, 0, first + 1);
    EXPECT_EQ(Evaluate(program), "1|2|3");
}

TEST_F(TemporaryProgram, FirstJumpsOnAnEmptyTable) {
    Program program;
    program.Do(SQL_Temporary_Table, 0, 1).Do(SQL_Temporary_First, 0, 3).Integer(1).Integer(2);
    EXPECT_EQ(Evaluate(program), "2");
}

TEST_F(TemporaryProgram, WithoutARowCellsAreNullAndStoresAreDropped) {
    Program program;
    program.Do(SQL_Temporary_Table, 0, 1).Literal("lost").Do(SQL_Pop_Temporary, 0, 0);
    program.Do(SQL_Push_Temporary, 0, 0).Do(SQL_IsNull);
    EXPECT_EQ(Evaluate(program), "1");
    Program empty;
    empty.Do(SQL_Temporary_Table, 0, 1).Do(SQL_Pop_Temporary, 0, 0);
    EXPECT_EQ(Evaluate(empty), "error: Stack underflow");
}

TEST_F(TemporaryProgram, ColumnsOutsideAreRefused) {
    for (const int32_t column : {-1, 1, 99}) {
        for (const int32_t opcode : {SQL_Push_Temporary, SQL_Pop_Temporary, SQL_Temporary_Result}) {
            Program program;
            program.Emit(SQL_Result, 0, 1, 0, "r");
            program.Do(SQL_Temporary_Table, 0, 1).Do(SQL_Temporary_Record, 0).Literal("a");
            program.Do(opcode, 0, column);
            EXPECT_EQ(Evaluate(program), "error: Invalid instruction");
        }
    }
    SortTerms terms;
    terms.Add(1);
    Program program;
    program.Do(SQL_Temporary_Table, 0, 1);
    program.Emit(SQL_Temporary_Sort, 0, 0, 0, "", "", &terms.list);
    EXPECT_EQ(Evaluate(program), "error: Invalid instruction");
}

// An inner query that runs again must not pull the rows from under a value still on the stack.
TEST_F(TemporaryProgram, AValueOfATableMadeAgainStays) {
    Program program;
    program.Do(SQL_Temporary_Table, 0, 1).Do(SQL_Temporary_Record, 0).Literal("a");
    program.Do(SQL_Pop_Temporary, 0, 0).Do(SQL_Push_Temporary, 0, 0).Do(SQL_Temporary_Table, 0, 1);
    program.Do(SQL_Temporary_Record, 0).Literal("b").Do(SQL_Pop_Temporary, 0, 0);
    EXPECT_EQ(Evaluate(program), "a");
}

// Results may have holes in their numbers.
TEST_F(TemporaryProgram, IsMadeAgainBesideResultsThatAreMissing) {
    Program program;
    program.Emit(SQL_Result, 2, 1, 0, "r");
    program.Do(SQL_Temporary_Table, 0, 1).Do(SQL_Temporary_Table, 0, 1).Integer(1);
    program.Do(SQL_Pop_Result, 2).Do(SQL_Output);
    Machine machine;
    EXPECT_EQ(machine.Run(program), 1);
    EXPECT_EQ(machine.Result(2), "1");
    EXPECT_EQ(machine.loop.SetParameters(nullptr, 0), 1);
    Program missing;
    missing.Do(SQL_Temporary_Table, 0, 1).Do(SQL_Temporary_Record, 0);
    missing.Do(SQL_Temporary_Result, 0, 0, 0);
    EXPECT_EQ(Evaluate(missing), "error: Invalid instruction");
}

TEST_F(TemporaryProgram, PointsAVariableAtACell) {
    Program program;
    program.Emit(SQL_Result, 0, 1, 0, "r");
    program.Literal("own").Do(SQL_Pop_Result, 0);
    program.Do(SQL_Temporary_Table, 0, 1).Do(SQL_Temporary_Record, 0).Literal("cell");
    program.Do(SQL_Pop_Temporary, 0, 0).Do(SQL_Temporary_Result, 0, 0, 0).Do(SQL_Output);
    program.Do(SQL_Temporary_Table, 0, 1).Do(SQL_Temporary_Result, 0, 0, 0);
    Machine machine;
    EXPECT_EQ(machine.Run(program), 1);
    const HostDatabaseVariable* const variable = machine.Variable("r");
    EXPECT_EQ(ToText(static_cast<SQLResult*>(variable->data)->GetString()), "cell");
    EXPECT_EQ(variable->dirtyCount, 2);
    // The table goes: the variable is back at its own cell.
    EXPECT_EQ(machine.loop.Run(), 0);
    EXPECT_EQ(ToText(static_cast<SQLResult*>(variable->data)->GetString()), "own");
}

}  // namespace
}  // namespace ovrasql
