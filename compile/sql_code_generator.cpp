#include "compile/sql_code_generator.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

#include "compile/tree/sql_query.h"
#include "compile/tree/sql_reference_manager.h"
#include "compile/tree/sql_statements.h"

namespace ovrasql {

SQLCodeGenerator::SQLCodeGenerator(Schema* schema)
    : schema_(schema), subqueries_(false), referenceManagers_(true) {}

SQLCodeGenerator::~SQLCodeGenerator() = default;

void SQLCodeGenerator::Reset(TextView text) {
    cursorCount_ = 0;
    dynamicCount_ = 0;
    ClearInstructions();
    subqueries_.RemoveAll();
    statement_.reset();
    referenceManagers_.RemoveAll();
    keptTexts_.Clear();
    statementText_ = text;
}

template <typename StatementType>
StatementType* SQLCodeGenerator::NewStatement() {
    auto made = std::make_unique<StatementType>(this);
    StatementType* const statement = made.get();
    statement_ = std::move(made);
    return statement;
}

SQLCreateTableStatement* SQLCodeGenerator::NewCreateTableStatement() {
    return NewStatement<SQLCreateTableStatement>();
}
SQLAlterTableAddStatement* SQLCodeGenerator::NewAlterTableAddStatement() {
    return NewStatement<SQLAlterTableAddStatement>();
}
SQLAlterTableDropStatement* SQLCodeGenerator::NewAlterTableDropStatement() {
    return NewStatement<SQLAlterTableDropStatement>();
}
SQLDropTableStatement* SQLCodeGenerator::NewDropTableStatement() {
    return NewStatement<SQLDropTableStatement>();
}
SQLCreateIndexStatement* SQLCodeGenerator::NewCreateIndexStatement() {
    return NewStatement<SQLCreateIndexStatement>();
}
SQLDropIndexStatement* SQLCodeGenerator::NewDropIndexStatement() {
    return NewStatement<SQLDropIndexStatement>();
}
SQLSelectStatement* SQLCodeGenerator::NewSelectStatement() {
    return NewStatement<SQLSelectStatement>();
}
SQLInsertStatement* SQLCodeGenerator::NewInsertStatement() {
    return NewStatement<SQLInsertStatement>();
}
SQLUpdateStatement* SQLCodeGenerator::NewUpdateStatement() {
    return NewStatement<SQLUpdateStatement>();
}
SQLDeleteStatement* SQLCodeGenerator::NewDeleteStatement() {
    return NewStatement<SQLDeleteStatement>();
}

SQLReferenceManager* SQLCodeGenerator::NewReferenceManager(SQLReferenceManager* parent) {
    auto made = std::make_unique<SQLReferenceManager>(this, parent);
    SQLReferenceManager* const manager = made.get();
    referenceManagers_.Insert(std::move(made), ListPlace::kTail);
    return manager;
}

std::unique_ptr<SQLQuery> SQLCodeGenerator::NewSubquery(SQLReferenceManager* references,
                                                        int32_t kind, SQLQuery* query,
                                                        SQLTableReference* updateTarget) {
    auto made = std::make_unique<SQLQuery>(this, NewReferenceManager(references), kind, query,
                                           updateTarget);
    subqueries_.Insert(made.get(), ListPlace::kTail);
    return made;
}

bool SQLCodeGenerator::SetError(TextView text) {
    error_.Assign(text);
    return false;
}

bool SQLCodeGenerator::Fail(std::initializer_list<TextView> pieces) {
    error_ = String::Join(pieces);
    return false;
}

// --- the array of instructions -----------------------------------------------------------------

void SQLCodeGenerator::ClearInstructions() {
    instructions_.reset();
    instructionCount_ = 0;
    instructionRoom_ = 0;
    hasFailedPart_ = false;
    starColumnCount_ = 0;
}

int64_t SQLCodeGenerator::MostInstructions() const {
    return std::min(kMostInstructions + kMoreForEachByte * statementText_.length, kMostOfAnyText);
}

bool SQLCodeGenerator::HasRoomForBlock() {
    return instructionCount_ <= MostInstructions() || Fail({"Statement is too complex"});
}

bool SQLCodeGenerator::HasRoomForColumns(int32_t count) {
    starColumnCount_ += count;
    return starColumnCount_ * kInstructionsOfAStarColumn <= MostInstructions() ||
           Fail({"Statement is too complex"});
}

int32_t SQLCodeGenerator::InstructionCapacity() const {
    const int32_t steps = (instructionCount_ + kInstructionStep - 1) / kInstructionStep;
    return (steps < 1 ? 1 : steps) * kInstructionStep;
}

int32_t SQLCodeGenerator::Emit(Opcode opcode, int32_t operand1, int32_t operand2, int32_t operand3,
                               TextView text1, TextView text2, const void* pointer) {
    if (instructionCount_ == instructionRoom_) {
        if (instructionRoom_ > std::numeric_limits<int32_t>::max() / 2) {
            throw std::bad_alloc();
        }
        // Doubling keeps the whole copying linear in the length of the program.
        const int32_t room = instructionRoom_ == 0 ? kInstructionStep : instructionRoom_ * 2;
        auto grown = std::make_unique<Instruction[]>(static_cast<size_t>(room));
        if (instructionCount_ > 0) {
            std::memcpy(grown.get(), instructions_.get(),
                        static_cast<size_t>(instructionCount_) * sizeof(Instruction));
        }
        instructions_ = std::move(grown);
        instructionRoom_ = room;
    }
    Instruction& made = instructions_[static_cast<size_t>(instructionCount_)];
    made.opcode = opcode;
    made.operand1 = operand1;
    made.operand2 = operand2;
    made.operand3 = operand3;
    made.text1 = text1.data;
    made.text1Length = text1.length;
    made.text2 = text2.data;
    made.text2Length = text2.length;
    made.pointer = pointer;
    return instructionCount_++;
}

void SQLCodeGenerator::PatchToHere(int32_t index, int32_t which) {
    const int32_t here = Emit(SQL_NOOP);
    Patch(index, which, here);
}

void SQLCodeGenerator::Patch(int32_t index, int32_t which, int32_t target) {
    if (index < 0 || index >= instructionCount_) {
        return;
    }
    Instruction& patched = instructions_[static_cast<size_t>(index)];
    if (which == 1) {
        patched.operand1 = target;
    } else if (which == 2) {
        patched.operand2 = target;
    } else if (which == 3) {
        patched.operand3 = target;
    }
}

// --- the passes --------------------------------------------------------------------------------

// The order is fixed. Select lists are expanded and ORDER BY is checked by name before columns
// resolve, since uses that this drops must not claim a column slot; tables are bound before that,
// since a star needs their fields. All cursors of all blocks open at the head of the program, once.
bool SQLCodeGenerator::Compile() {
    ClearInstructions();
    return statement_ != nullptr && BindAll() && PrepareSubqueries() && statement_->Prepare() &&
           ResolveAll() && statement_->Optimize() && OptimizeSubqueries() &&
           GenerateOpenCursors() && statement_->Generate() && !hasFailedPart_;
}

bool SQLCodeGenerator::BindAll() {
    for (SQLReferenceManager* manager : referenceManagers_) {
        if (!manager->BindTables()) {
            return false;
        }
    }
    return true;
}

bool SQLCodeGenerator::PrepareSubqueries() {
    for (SQLQuery* query : subqueries_) {
        if (!query->PrepareQuery()) {
            return false;
        }
    }
    return true;
}

bool SQLCodeGenerator::ResolveAll() {
    for (SQLReferenceManager* manager : referenceManagers_) {
        if (!manager->ResolveColumns()) {
            return false;
        }
    }
    return true;
}

bool SQLCodeGenerator::OptimizeSubqueries() {
    for (SQLQuery* query : subqueries_) {
        if (!query->OptimizeQuery()) {
            return false;
        }
    }
    return true;
}

bool SQLCodeGenerator::GenerateOpenCursors() {
    for (SQLReferenceManager* manager : referenceManagers_) {
        if (!manager->GenerateOpen()) {
            return false;
        }
    }
    return true;
}

}  // namespace ovrasql
