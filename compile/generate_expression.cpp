#include "compile/sql_code_generator.h"
#include "compile/tree/complex_elements.h"
#include "compile/tree/select_items.h"
#include "compile/tree/sql_column_reference.h"
#include "compile/tree/sql_expression.h"
#include "compile/tree/sql_query.h"
#include "compile/work_stack.h"
#include "foundation/ignore_result.h"
#include "language/tokens.h"
#include "storage/ovra_sql_field.h"

// Expression trees to stack code. Any expression leaves one value; there is no typing pass, since
// each instruction converts what it pops. NULL is a value and a condition is true or false.
//
// Required: OR jumps over its right side and yields that side's value as it stands; AND runs both
// sides, always. Which sub-queries run depends on it.
//
// Recursion: an element generates its own expressions, so the depth is that of the parser's
// nesting, which the parser bounds. Plain operators, however deep, are walked with a stack of their
// own.

namespace ovrasql {

bool SQLCodeGenerator::GenerateColumn(const SQLColumnReference* reference) {
    switch (reference->state) {
        case ColumnState::kTableColumn:
            Emit(reference->fieldType == kFieldLogical ? SQL_Push_BoolColumn : SQL_Push_Column,
                 reference->cursor, reference->column);
            return true;
        case ColumnState::kTemporaryColumn:
            Emit(SQL_Push_Temporary, reference->cursor, reference->column);
            return true;
        case ColumnState::kUnresolved:
            break;
    }
    return Fail({"Unresolved column '", reference->name, "'"});
}

namespace {

// The instruction of an operator that is nothing but that; -1 for every other.
constexpr int32_t kNoInstruction = -1;

int32_t OperatorInstruction(int32_t operatorCode) {
    switch (operatorCode) {
        case token::kAnd:
            return SQL_And;
        case token::kNot:
            return SQL_Not;
        case token::kNull:
            return SQL_IsNull;
        case token::kLike:
            return SQL_Like;
        case token::kUpper:
            return SQL_Upper;
        case token::kLower:
            return SQL_Lower;
        case token::kIfnull:
            return SQL_IfNull;
        case token::kSubstring:
            return SQL_Substring;
        case token::kLengthFunction:
            return SQL_Length;
        case token::kEqual:
            return SQL_Equal;
        case token::kNotEqual:
            return SQL_NotEqual;
        case token::kLess:
            return SQL_LessThan;
        case token::kGreater:
            return SQL_GreaterThan;
        case token::kLessEqual:
            return SQL_LessThanEqual;
        case token::kGreaterEqual:
            return SQL_GreaterThanEqual;
        case token::kPlus:
            return SQL_Add;
        case token::kMinus:
            return SQL_Subtract;
        case token::kStar:
            return SQL_Multiply;
        case token::kSlash:
            return SQL_Divide;
        default:
            return kNoInstruction;
    }
}

// The node itself, its children being generated already.
bool GenerateOperator(SQLCodeGenerator& generator, const SQLExpressionNode& node) {
    if (node.operatorCode == 0) {
        return node.element->Generate();
    }
    const int32_t instruction = OperatorInstruction(node.operatorCode);
    if (instruction == kNoInstruction) {
        return generator.SetError("Unknown operator");
    }
    generator.Emit(static_cast<Opcode>(instruction));
    return true;
}

bool GenerateNode(SQLCodeGenerator& generator, const SQLExpressionNode& node) {
    switch (node.kind) {
        case NodeKind::kGroup:
            // An empty node pushes nothing: the operator above is then one value short, and the run
            // fails with the stack's underflow.
            return true;
        case NodeKind::kLiteral:
            generator.Emit(SQL_Push_Literal, 0, 0, 0, node.text);
            return true;
        case NodeKind::kColumn:
            return generator.GenerateColumn(node.column);
        case NodeKind::kOperator:
            return GenerateOperator(generator, node);
        case NodeKind::kElement:
            return node.element->Generate();
        case NodeKind::kDynamic:
            generator.Emit(SQL_Push_Dynamic, node.dynamicIndex);
            return true;
    }
    return true;
}

bool IsOr(const SQLExpressionNode& node) {
    return node.IsOperator() && node.operatorCode == token::kOr;
}

// Between the sides of an OR: a true left side leaves 1 and jumps to the end. Yields that jump.
int32_t GenerateOrMiddle(SQLCodeGenerator& generator) {
    const int32_t leftIsFalse = generator.Emit(SQL_Jump_EQ, 0, -1);
    generator.Emit(SQL_Push_Integer, 1);
    const int32_t done = generator.Emit(SQL_Jump, -1);
    generator.PatchToHere(leftIsFalse, 2);
    return done;
}

// A node on the way down and up again: its children are generated one after the other, then it.
struct GenerateStep {
    enum class Stage { kLeft, kRight, kSelf };

    const SQLExpressionNode* node;
    Stage stage;
    int32_t orJump;
};

}  // namespace

bool SQLCodeGenerator::GenerateExpression(SQLExpressionNode* node) {
    using Stage = GenerateStep::Stage;
    WorkStack<GenerateStep> steps;
    if (node != nullptr) {
        steps.Push({node, Stage::kLeft, -1});
    }
    while (!steps.IsEmpty()) {
        GenerateStep& step = steps.Top();
        const SQLExpressionNode& at = *step.node;
        const SQLExpressionNode* child = nullptr;
        if (step.stage == Stage::kLeft) {
            step.stage = Stage::kRight;
            child = at.left;
        } else if (step.stage == Stage::kRight) {
            step.stage = Stage::kSelf;
            step.orJump = IsOr(at) ? GenerateOrMiddle(*this) : -1;
            child = at.right;
        } else {
            const int32_t orJump = steps.Pop().orJump;
            if (IsOr(at)) {
                PatchToHere(orJump, 1);
            } else if (!GenerateNode(*this, at)) {
                return false;
            }
        }
        if (child != nullptr) {
            steps.Push({child, Stage::kLeft, -1});
        }
    }
    return true;
}

// --- elements ----------------------------------------------------------------------------------

namespace {

// The head of BETWEEN and of an IN list: a jump over a jump. The second one is the trampoline that
// every deciding comparison aims at, so that only one place is patched when the end is known.
int32_t GenerateTrampoline(SQLCodeGenerator& generator) {
    const int32_t over = generator.Emit(SQL_Jump, -1);
    const int32_t trampoline = generator.Emit(SQL_Jump, -1);
    generator.PatchToHere(over, 1);
    return trampoline;
}

// One way out: the tested value is dropped for the answer.
int32_t GenerateAnswer(SQLCodeGenerator& generator, int32_t answer) {
    const int32_t start = generator.Emit(SQL_Pop);
    generator.Emit(SQL_Push_Integer, answer);
    return start;
}

// Both ways out: falling through gives `otherwise`, coming from the trampoline gives `decided`.
void GenerateAnswers(SQLCodeGenerator& generator, int32_t trampoline, int32_t otherwise,
                     int32_t decided) {
    GenerateAnswer(generator, otherwise);
    const int32_t done = generator.Emit(SQL_Jump, -1);
    const int32_t start = GenerateAnswer(generator, decided);
    generator.PatchToHere(done, 1);
    generator.Patch(trampoline, 1, start);
}

// The tested value stays below the result, for the next comparison.
void GenerateBound(SQLCodeGenerator& generator, SQLExpression* bound, Opcode comparison,
                   int32_t trampoline) {
    if (bound == nullptr) {
        return;
    }
    // Required: a failure inside keeps its message, and the code of the rest is generated.
    generator.FailInTheEndUnless(generator.GenerateExpression(bound->root));
    generator.Emit(comparison, 1);
    generator.Emit(SQL_Jump_EQ, 1, trampoline);
}

void GenerateInList(SQLCodeGenerator& generator, const List<SQLExpressionNode>& values) {
    const int32_t trampoline = GenerateTrampoline(generator);
    for (SQLExpressionNode* value : values) {
        IgnoreResult(generator.GenerateExpression(value));  // a literal or a parameter can't fail
        generator.Emit(SQL_Equal, 1);
        generator.Emit(SQL_Jump_EQ, 1, trampoline);
    }
    GenerateAnswers(generator, trampoline, 0, 1);
}

// A match leaves the sub-query's loops where they stand; the next evaluation starts them afresh.
bool GenerateInSubquery(SQLCodeGenerator& generator, SQLQuery* subquery) {
    if (!subquery->GenerateBody()) {
        return false;
    }
    generator.Emit(SQL_Equal, 1);
    const int32_t match = generator.Emit(SQL_Jump_EQ, 1, -1);
    if (!subquery->GenerateClose()) {
        return false;
    }
    GenerateAnswer(generator, 0);
    const int32_t done = generator.Emit(SQL_Jump, -1);
    generator.Patch(match, 2, GenerateAnswer(generator, 1));
    generator.PatchToHere(done, 1);
    return true;
}

}  // namespace

// The tested value is on the stack, and is computed once.
bool SQLBetween::Generate() {
    const int32_t trampoline = GenerateTrampoline(*generator);
    GenerateBound(*generator, low.get(), SQL_LessThan, trampoline);
    GenerateBound(*generator, high.get(), SQL_GreaterThan, trampoline);
    GenerateAnswers(*generator, trampoline, 1, 0);
    return true;
}

bool SQLIn::Generate() {
    if (subquery != nullptr) {
        return GenerateInSubquery(*generator, subquery.get());
    }
    GenerateInList(*generator, values);
    return true;
}

// The node's left child is empty: the parser puts the element over a node not yet filled.
bool SQLSubstring::Generate() {
    // Required: as for the bounds of BETWEEN.
    generator->FailInTheEndUnless(generator->GenerateExpression(string->root));
    generator->FailInTheEndUnless(generator->GenerateExpression(start->root));
    if (length != nullptr) {
        generator->FailInTheEndUnless(generator->GenerateExpression(length->root));
    }
    generator->Emit(SQL_Substring, length != nullptr ? 1 : 0);
    return true;
}

bool SQLOrderBySelectListReference::Generate() {
    generator->Emit(SQL_Push_Temporary, query->temporaryTable, selectedColumn->position);
    return true;
}

}  // namespace ovrasql
