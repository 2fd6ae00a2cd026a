// Temporary tables: rows, walks and the sort. The sort is held against one written straight from
// its rule, which parses a cell at each comparison, over tables of mixed values.

#include "engine/sql_temporary_table.h"

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

// The rule itself, on plain vectors.
struct PlainSort {
    struct Term {
        bool ascending;
        bool isText;
    };
    bool folds;
    std::vector<Term> terms;

    int32_t Compare(const std::vector<std::string>& left, const std::vector<std::string>& right) {
        for (size_t i = 0; i < terms.size(); ++i) {
            int32_t leftError = 0;
            int32_t rightError = 0;
            const double leftNumber = TextToDouble(left[i].c_str(), &leftError);
            const double rightNumber = TextToDouble(right[i].c_str(), &rightError);
            int32_t order = 0;
            if (terms[i].isText || leftError != 0 || rightError != 0) {
                const int32_t shorter =
                    static_cast<int32_t>(std::min(left[i].size(), right[i].size()));
                order = folds ? CompareNoCaseUpper(left[i].data(), right[i].data(), shorter)
                              : std::memcmp(left[i].data(), right[i].data(),
                                            static_cast<size_t>(shorter));
                if (order == 0 && left[i].size() != right[i].size()) {
                    order = left[i].size() < right[i].size() ? -1 : 1;
                }
            } else if (leftNumber != rightNumber) {
                order = leftNumber < rightNumber ? -1 : 1;
            }
            if (order != 0) {
                return terms[i].ascending ? order : -order;
            }
        }
        return 0;
    }

    void Sort(std::vector<std::vector<std::string>>* rows) {
        std::vector<std::vector<std::string>> from = *rows;
        std::vector<std::vector<std::string>> to = from;
        for (size_t width = 1; width < from.size(); width *= 2) {
            for (size_t start = 0; start < from.size(); start += 2 * width) {
                size_t left = start;
                const size_t middle = std::min(start + width, from.size());
                size_t right = middle;
                const size_t end = std::min(start + 2 * width, from.size());
                for (size_t out = start; out < end; ++out) {
                    const bool takeLeft =
                        left < middle && (right == end || Compare(from[left], from[right]) <= 0);
                    to[out] = takeLeft ? from[left++] : from[right++];
                }
            }
            from.swap(to);
        }
        *rows = from;
    }
};

TEST_F(TemporaryTable, EqualsItsRuleOnMixedValues) {
    // Numbers and texts together have no consistent order, so the very comparisons count.
    const char* const values[] = {"",  "0",         "9",         "10", "10.0", "5x",  "x",
                                  "X", "abcdefgha", "abcdefghB", "-3", "1e1",  "nan", "2"};
    std::mt19937 random(7);
    for (int32_t round = 0; round < 300; ++round) {
        const bool caseInsensitive = round % 2 == 0;
        PlainSort plain{caseInsensitive, {}};
        SortTerms terms;
        for (int32_t term = 0; term < 2; ++term) {
            const bool ascending = random() % 2 == 0;
            const bool isText = random() % 2 == 0;
            plain.terms.push_back({ascending, isText});
            terms.AddColumn(term, isText ? kFieldCharacter : kFieldNumeric, ascending);
        }
        std::vector<std::vector<std::string>> rows;
        SQLTemporaryTable table(3, caseInsensitive);
        const size_t count = random() % 40;
        for (size_t i = 0; i < count; ++i) {
            rows.push_back({values[random() % 14], values[random() % 14], std::to_string(i)});
            Append(&table, rows.back());
        }
        plain.Sort(&rows);
        ASSERT_TRUE(table.Sort(terms.list));
        std::string expected;
        for (const std::vector<std::string>& row : rows) {
            expected += row[2] + " ";
        }
        ASSERT_EQ(Column(&table, 2), expected) << "round " << round;
    }
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
TEST_F(TemporaryProgram, AValueOfATableMadeAgainIsNull) {
    Program program;
    program.Do(SQL_Temporary_Table, 0, 1).Do(SQL_Temporary_Record, 0).Literal("a");
    program.Do(SQL_Pop_Temporary, 0, 0).Do(SQL_Push_Temporary, 0, 0).Do(SQL_Temporary_Table, 0, 1);
    program.Do(SQL_IsNull);
    EXPECT_EQ(Evaluate(program), "1");
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
