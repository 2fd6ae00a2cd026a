#pragma once

// RunLoop: the stack machine. It runs one program of instructions over cursors, temporary tables,
// buckets and results, and stops with a row each time it reaches SQL_Output. Nothing is saved for
// that: the next Run goes on behind it, so the running program is the cursor of a view.
//
// The program is borrowed and only read. All that a run makes stands in slots here, made by the
// instructions as they run, and goes with Reset. An operand that names no such slot fails with
// "Invalid instruction", as does a program counter below 0; one at or behind the end is the end.
//
// A failure is sticky until Reset. Records written before it stay written.

#include <cstdint>
#include <memory>

#include "engine/engine_failure.h"
#include "engine/instruction.h"
#include "engine/number_cache.h"
#include "engine/sql_bucket.h"
#include "engine/sql_cursor.h"
#include "engine/sql_parameter.h"
#include "engine/sql_result.h"
#include "engine/sql_stack.h"
#include "engine/sql_temporary_table.h"
#include "foundation/array.h"
#include "foundation/string.h"
#include "foundation/text_view.h"

namespace ovrasql {

class Schema;

class RunLoop {
  public:
    // The schema is borrowed; a program that opens no table and defines nothing needs none.
    explicit RunLoop(Schema* schema);
    ~RunLoop();
    RunLoop(const RunLoop&) = delete;
    RunLoop& operator=(const RunLoop&) = delete;

    // Takes the program, with a new stack, ready to run from its first instruction.
    // `parameterCount` is how many parameters SetParameters must be given.
    void Load(const Instruction* instructions, int32_t count, int32_t parameterCount,
              bool caseInsensitive);
    // Drops the program and all that its run has made.
    void Unload();

    // The host's view handle, or null for a program without rows.
    void SetView(void* view) { view_ = view; }
    [[nodiscard]] void* View() const { return view_; }
    // Copies the values of the host's variables: 1, or -1 if `count` is not the program's.
    [[nodiscard]] int32_t SetParameters(void* list, int32_t count);

    // 1 with a row ready, 0 when the program has ended, -1 when it has failed.
    [[nodiscard]] int32_t Run();
    // Ready to run again from the top, with nothing left of the last run but its message, its view
    // and room for short texts.
    void Reset();

    // Fails with the message; always -1.
    int32_t Error(TextView message) { return failure_.Fail(message); }
    void ClearFailure() { failure_.failed = false; }
    [[nodiscard]] const String& ErrorMessage() const { return failure_.message; }
    [[nodiscard]] bool Failed() const { return failure_.failed; }

    [[nodiscard]] bool AtStart() const { return programCounter_ == 0; }
    [[nodiscard]] int32_t ProgramCounter() const { return programCounter_; }
    [[nodiscard]] int32_t RecordNumber() const { return recordNumber_; }
    [[nodiscard]] bool ProducesRows() const { return producesRows_; }
    [[nodiscard]] bool CaseInsensitive() const { return caseInsensitive_; }
    [[nodiscard]] Array<SQLViewResult>& Results() { return results_; }
    [[nodiscard]] SQL_Stack* Stack() { return stack_.get(); }
    [[nodiscard]] SQLCursor* Cursor(int32_t slot) const { return cursors_.Get(slot); }

  private:
    // An operation gives false when the run ends at once, with the failure stored. `next` is the
    // instruction to go on with.
    [[nodiscard]] bool Invalid();
    [[nodiscard]] bool Fail(TextView message);
    [[nodiscard]] bool FailWithSchema();
    [[nodiscard]] bool SlotIsSane(int32_t slot) const;
    void KeepResultTexts();
    [[nodiscard]] static int32_t AddWrapping(int32_t value, int32_t by);

    // view_operations.cpp
    [[nodiscard]] bool CheckView(TextView message);
    [[nodiscard]] bool MakeResult(const Instruction& in);
    [[nodiscard]] bool PopResult(const Instruction& in);
    [[nodiscard]] bool PushDynamic(const Instruction& in);
    [[nodiscard]] bool CompareTop(const Instruction& in, int32_t* order);
    [[nodiscard]] bool Substring(const Instruction& in);

    // cursor_operations.cpp
    [[nodiscard]] bool OpenCursor(const Instruction& in);
    [[nodiscard]] bool BindColumn(const Instruction& in);
    [[nodiscard]] bool SelectIndex(const Instruction& in);
    [[nodiscard]] bool CursorFirst(const Instruction& in, int32_t* next);
    [[nodiscard]] bool CursorNext(const Instruction& in, int32_t* next);
    [[nodiscard]] bool InsertRecord(const Instruction& in);
    [[nodiscard]] bool UpdateRecord(const Instruction& in);
    [[nodiscard]] bool UpdateIndexes(const Instruction& in);
    [[nodiscard]] bool DeleteRecord(const Instruction& in);
    [[nodiscard]] bool DeleteIndexes(const Instruction& in);
    [[nodiscard]] bool LockForUpdate(const Instruction& in);
    [[nodiscard]] bool PushColumn(const Instruction& in);
    [[nodiscard]] bool PushBoolColumn(const Instruction& in);
    [[nodiscard]] bool PopColumn(const Instruction& in);
    [[nodiscard]] bool CompareInCursor(const Instruction& in, int32_t* order);

    // row_operations.cpp
    [[nodiscard]] bool MakeTemporaryTable(const Instruction& in);
    [[nodiscard]] bool AppendRow(const Instruction& in);
    [[nodiscard]] bool SortRows(const Instruction& in);
    [[nodiscard]] bool PointResult(const Instruction& in);
    [[nodiscard]] bool TemporaryFirst(const Instruction& in, int32_t* next);
    [[nodiscard]] bool TemporaryNext(const Instruction& in, int32_t* next);
    [[nodiscard]] bool PushTemporary(const Instruction& in);
    [[nodiscard]] bool PopTemporary(const Instruction& in);

    // bucket_operations.cpp
    [[nodiscard]] bool MakeBucket(const Instruction& in);
    [[nodiscard]] bool MakeDefaultGroup(const Instruction& in);
    [[nodiscard]] bool FindGroup(const Instruction& in, int32_t* next);
    [[nodiscard]] bool BucketFirst(const Instruction& in, int32_t* next);
    [[nodiscard]] bool BucketNext(const Instruction& in, int32_t* next);
    [[nodiscard]] bool CountRow(const Instruction& in);
    [[nodiscard]] bool CountDistinct(const Instruction& in);
    [[nodiscard]] bool Average(const Instruction& in);
    [[nodiscard]] bool Sum(const Instruction& in);
    [[nodiscard]] bool KeepExtreme(const Instruction& in, int32_t wanted);
    [[nodiscard]] bool PushBucket(const Instruction& in);
    [[nodiscard]] bool PopBucket(const Instruction& in);
    [[nodiscard]] SQLBucket* BucketAt(int32_t slot);
    [[nodiscard]] bool FindEntry(const Instruction& in, SQLBucketEntry** entry);

    // definition_operations.cpp
    [[nodiscard]] bool CreateTable(const Instruction& in);
    [[nodiscard]] bool AlterTableAdd(const Instruction& in);
    [[nodiscard]] bool AlterTableDrop(const Instruction& in);
    [[nodiscard]] bool DropTable(const Instruction& in);
    [[nodiscard]] bool CreateIndex(const Instruction& in);
    [[nodiscard]] bool DropIndex(const Instruction& in);

    Schema* schema_;
    EngineFailure failure_;
    const Instruction* instructions_ = nullptr;
    int32_t instructionCount_ = 0;
    int32_t programCounter_ = 0;
    int32_t recordNumber_ = 1;
    int32_t parameterCount_ = 0;
    bool caseInsensitive_ = false;
    bool producesRows_ = false;
    void* view_ = nullptr;
    // Beside each instruction, the number that its literal reads as.
    std::unique_ptr<NumberCache[]> literalNumbers_;
    String groupKey_;
    // The stack goes first, since its entries refer to what is below; hence it stands last.
    Array<SQLParameter> parameters_;
    Array<SQLViewResult> results_;
    Array<SQLCursor> cursors_;
    Array<SQLTemporaryTable> temporaryTables_;
    Array<SQLBucket> buckets_;
    std::unique_ptr<SQL_Stack> stack_;
};

}  // namespace ovrasql
