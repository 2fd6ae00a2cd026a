#pragma once

// SQLCodeGenerator: the hub of the compiler. It owns the statement tree, the scopes of names, the
// texts copied for the program, and the growing array of instructions that the engine runs. It
// numbers the run-time slots and keeps the error text of a compilation.
//
// Owner: one SQLEngine, which runs the program while the generator lives: instructions borrow their
// texts and pointers from the tree and from the texts kept here. A program holds nothing of the
// catalog's open tables, which other statements may destroy between two rows.
//
// Road: Reset, the parser fills the tree through the creators, Compile fills the array. A pass that
// fails leaves its message in Error() and yields false; the tree then waits for its destruction.
// One thread at a time. Jump targets are indices into the array and are patched by index, since the
// array moves when it grows.

#include <cstdint>
#include <initializer_list>
#include <memory>

#include "engine/instruction.h"
#include "foundation/arena.h"
#include "foundation/list.h"
#include "foundation/stack.h"
#include "foundation/string.h"
#include "foundation/text_view.h"

namespace ovrasql {

class Schema;
class SQLAlterTableAddStatement;
class SQLAlterTableDropStatement;
class SQLCreateIndexStatement;
class SQLCreateTableStatement;
class SQLDeleteStatement;
class SQLDropIndexStatement;
class SQLDropTableStatement;
class SQLInsertStatement;
class SQLQuery;
class SQLReferenceManager;
class SQLSelectStatement;
class SQLStatement;
class SQLTableReference;
class SQLUpdateStatement;
struct SQLColumnReference;
class SQLExpressionNode;

class SQLCodeGenerator {
  public:
    // The capacity that the array reports grows by this many records.
    static constexpr int32_t kInstructionStep = 52;
    // A program with no level doubled stays far below the second for each byte of its text; the
    // first is for wide tables.
    static constexpr int64_t kMostInstructions = 1'500'000;
    static constexpr int64_t kMoreForEachByte = 64;
    static constexpr int64_t kMostOfAnyText = 67'108'864;
    // A column that a star stands for takes up to a kilobyte in the tree, as these do in a program.
    static constexpr int64_t kInstructionsOfAStarColumn = 16;

    explicit SQLCodeGenerator(Schema* schema);
    virtual ~SQLCodeGenerator();
    SQLCodeGenerator(const SQLCodeGenerator&) = delete;
    SQLCodeGenerator& operator=(const SQLCodeGenerator&) = delete;

    // Makes ready for a new statement: drops the tree, the scopes, the kept texts and the program,
    // and restarts the cursor and parameter numbers. The temporary table and bucket numbers go on.
    // `text` is the statement text that the tree will borrow from; the parser keeps it alive.
    void Reset(TextView text);

    // One creator for each kind of statement; the new one replaces the statement in hand.
    SQLCreateTableStatement* NewCreateTableStatement();
    SQLAlterTableAddStatement* NewAlterTableAddStatement();
    SQLAlterTableDropStatement* NewAlterTableDropStatement();
    SQLDropTableStatement* NewDropTableStatement();
    SQLCreateIndexStatement* NewCreateIndexStatement();
    SQLDropIndexStatement* NewDropIndexStatement();
    SQLSelectStatement* NewSelectStatement();
    SQLInsertStatement* NewInsertStatement();
    SQLUpdateStatement* NewUpdateStatement();
    SQLDeleteStatement* NewDeleteStatement();

    // A new scope on the list of scopes, which owns it. `parent` is null for an outermost block.
    SQLReferenceManager* NewReferenceManager(SQLReferenceManager* parent);
    // A sub-query with a scope of its own below `references`. It is listed here in order of
    // creation and belongs to the caller, who must keep it for as long as the statement.
    [[nodiscard]] std::unique_ptr<SQLQuery> NewSubquery(SQLReferenceManager* references,
                                                        int32_t kind, SQLQuery* query,
                                                        SQLTableReference* updateTarget);
    // Copies `text` for the life of the statement. NUL-ended.
    [[nodiscard]] TextView KeepText(TextView text) { return keptTexts_.Copy(text); }

    // The passes, from the parsed tree to the finished program.
    [[nodiscard]] bool Compile();

    // Stores the message; always false, so that a pass can end with it.
    bool SetError(TextView text);
    // The same with a message joined from pieces.
    bool Fail(std::initializer_list<TextView> pieces);

    // Appends an instruction and yields its index. A target not known yet is written as -1. The
    // texts and the pointer are borrowed.
    int32_t Emit(Opcode opcode, int32_t operand1 = 0, int32_t operand2 = 0, int32_t operand3 = 0,
                 TextView text1 = TextView(), TextView text2 = TextView(),
                 const void* pointer = nullptr);
    // Emits a NOOP, the landing place, and stores its index in operand 1, 2 or 3 of `index`. Any
    // other `which` patches nothing.
    void PatchToHere(int32_t index, int32_t which);
    // Stores a target that is known already. An index that was never emitted patches nothing.
    void Patch(int32_t index, int32_t which, int32_t target);

    // Code that leaves the value of the sub-tree on the stack.
    [[nodiscard]] bool GenerateExpression(SQLExpressionNode* node);
    // The push of one resolved column.
    [[nodiscard]] bool GenerateColumn(const SQLColumnReference* reference);

    // Moves what can be tested once `table` is open from below `root` to the table's search
    // condition. `tables` are the tables open at that point, `table` on top. True if it moved.
    bool ExtractCondition(SQLTableReference* table, Stack<SQLTableReference>& tables,
                          SQLExpressionNode* root, SQLQuery* parentQuery,
                          SQLTableReference* updateTarget);
    // Picks an index for `table` by its moved condition: 1 chosen, 0 none, -1 failed. `preferred`
    // is the direction of ORDER BY: 0 none, 1 ascending, 2 descending.
    [[nodiscard]] int32_t ChooseIndex(SQLTableReference* table, SQLExpressionNode* condition,
                                      int32_t preferred);
    // Whether the code of one more block may follow. The condition of an outer join stands in a
    // program twice, and so do the select list of DISTINCT and UNION and the key that an index is
    // searched by: levels of sub-queries inside double the program each. ORDER BY stands in it once
    // a block of a UNION.
    [[nodiscard]] bool HasRoomForBlock();
    // Whether a star may stand for so many columns more. Stars over derived tables double the
    // columns with each level, and a wide table has thousands for each letter of the text.
    [[nodiscard]] bool HasRoomForColumns(int32_t count);
    // For a caller that goes on with its next part, whatever became of this one.
    void FailInTheEndUnless(bool succeeded) { hasFailedPart_ = hasFailedPart_ || !succeeded; }
    // Opens the cursors of every scope in hand.
    [[nodiscard]] bool GenerateOpenCursors();

    // Writes the program to the trace log, if one is open.
    void Dump() const;

    // Slot numbers, each handed out once.
    int32_t TakeCursor() { return cursorCount_++; }
    int32_t TakeTemporary() { return temporaryCount_++; }
    int32_t TakeBucket() { return bucketCount_++; }
    int32_t TakeDynamic() { return dynamicCount_++; }

    [[nodiscard]] Schema* GetSchema() const { return schema_; }
    [[nodiscard]] SQLStatement* Statement() const { return statement_.get(); }
    [[nodiscard]] const String& Error() const { return error_; }
    // How many parameters a run must be given.
    [[nodiscard]] int32_t DynamicCount() const { return dynamicCount_; }
    [[nodiscard]] const Instruction* Instructions() const { return instructions_.get(); }
    [[nodiscard]] int32_t InstructionCount() const { return instructionCount_; }
    [[nodiscard]] int32_t InstructionCapacity() const;

  private:
    template <typename StatementType>
    StatementType* NewStatement();
    void ClearInstructions();
    [[nodiscard]] int64_t MostInstructions() const;
    [[nodiscard]] bool BindAll();
    [[nodiscard]] bool PrepareSubqueries();
    [[nodiscard]] bool ResolveAll();
    [[nodiscard]] bool OptimizeSubqueries();

    Schema* schema_;
    TextView statementText_;
    int32_t cursorCount_ = 0;
    int32_t temporaryCount_ = 0;
    int32_t bucketCount_ = 0;
    int32_t dynamicCount_ = 0;
    String error_;
    std::unique_ptr<Instruction[]> instructions_;
    int32_t instructionCount_ = 0;
    int32_t instructionRoom_ = 0;
    bool hasFailedPart_ = false;
    int64_t starColumnCount_ = 0;
    Arena keptTexts_;
    List<SQLQuery> subqueries_;
    List<SQLReferenceManager> referenceManagers_;
    // Last of the owners, so that it goes first: its queries are listed above.
    std::unique_ptr<SQLStatement> statement_;
};

}  // namespace ovrasql
