#include "engine/run_loop.h"

#include "foundation/number_text.h"
#include "library/host_services.h"
#include "schema/schema.h"

namespace ovrasql {

RunLoop::RunLoop(Schema* schema)
    : schema_(schema),
      parameters_(true),
      results_(true),
      cursors_(true),
      temporaryTables_(true),
      buckets_(true) {}

RunLoop::~RunLoop() = default;

bool RunLoop::Invalid() { return Fail("Invalid instruction"); }

bool RunLoop::Fail(TextView message) {
    Error(message);
    return false;
}

bool RunLoop::FailWithSchema() { return Fail(schema_->Error()); }

// The compiler numbers slots from 0, and each is made by an instruction of its own. So a slot far
// beyond the length of the program is a damaged operand, and no array is made that long for it.
bool RunLoop::SlotIsSane(int32_t slot) const {
    constexpr int64_t kSpareSlots = 65536;
    return slot >= 0 && slot < instructionCount_ + kSpareSlots;
}

void RunLoop::Load(const Instruction* instructions, int32_t count, int32_t parameterCount,
                   bool caseInsensitive) {
    Unload();
    bool hasLiteral = false;
    for (int32_t i = 0; i < count; ++i) {
        const int32_t opcode = instructions[i].opcode;
        hasLiteral = hasLiteral || opcode == SQL_Push_Literal;
        producesRows_ = producesRows_ || opcode == SQL_Result;
    }
    if (hasLiteral) {
        literalNumbers_ = std::make_unique<NumberCache[]>(static_cast<size_t>(count));
    }
    stack_ = std::make_unique<SQL_Stack>(&failure_, caseInsensitive);
    instructions_ = instructions;
    instructionCount_ = count;
    parameterCount_ = parameterCount;
    caseInsensitive_ = caseInsensitive;
}

void RunLoop::Unload() {
    Reset();
    stack_.reset();
    literalNumbers_.reset();
    instructions_ = nullptr;
    instructionCount_ = 0;
    producesRows_ = false;
}

// The stack first: its entries refer to what goes after it.
void RunLoop::Reset() {
    if (stack_ != nullptr) {
        stack_->Clear();
    }
    parameters_.RemoveAll();
    results_.RemoveAll();
    cursors_.RemoveAll();
    temporaryTables_.RemoveAll();
    buckets_.RemoveAll();
    if (groupKey_.Capacity() > kIdleTextRoom) {
        groupKey_.Clear();
    }
    recordNumber_ = 1;
    failure_.failed = false;
    programCounter_ = 0;
}

int32_t RunLoop::SetParameters(void* list, int32_t count) {
    if (count != parameterCount_) {
        return Error(String::Join({"Input parameter count mismatch: Found ", IntegerToText(count),
                                   " expected ", IntegerToText(parameterCount_)}));
    }
    if (stack_ != nullptr) {
        stack_->Clear();
    }
    KeepResultTexts();
    parameters_.RemoveAll();
    for (void* variable = ovVariableList_First(list); variable != nullptr;
         variable = ovVariableList_Next(list)) {
        int32_t length = 0;
        const char* const text = ovVariable_Value(variable, &length);
        parameters_.Append(std::make_unique<SQLParameter>(TextView(text, length < 0 ? 0 : length)));
    }
    return 1;
}

void RunLoop::KeepResultTexts() {
    for (SQLViewResult* const result : results_) {
        if (result != nullptr) {
            result->KeepText();
        }
    }
}

int32_t RunLoop::AddWrapping(int32_t value, int32_t by) {
    return static_cast<int32_t>(static_cast<uint32_t>(value) + static_cast<uint32_t>(by));
}

// One dispatch an instruction. A case that yields false has failed at once, with the program
// counter still on it; a failure within the stack is noticed behind the instruction.
int32_t RunLoop::Run() {
    SQL_Stack* const stack = stack_.get();
    int32_t order = 0;
    while (!failure_.failed) {
        if (programCounter_ >= instructionCount_) {
            return 0;
        }
        if (programCounter_ < 0) {
            return Error("Invalid instruction");
        }
        const Instruction& in = instructions_[programCounter_];
        int32_t next = programCounter_ + 1;
        bool goesOn = true;
        switch (in.opcode) {
            case SQL_Add_View:
                goesOn = CheckView("SELECT is not valid in this context");
                break;
            case SQL_Result:
                goesOn = MakeResult(in);
                break;
            case SQL_Cursor_Open:
                goesOn = OpenCursor(in);
                break;
            case SQL_Cursor_Column:
                goesOn = BindColumn(in);
                break;
            case SQL_Cursor_Index:
                goesOn = SelectIndex(in);
                break;
            case SQL_Cursor_First:
                goesOn = CursorFirst(in, &next);
                break;
            case SQL_Cursor_Next:
                goesOn = CursorNext(in, &next);
                break;
            case SQL_Cursor_Insert:
                goesOn = InsertRecord(in);
                break;
            case SQL_Cursor_Update:
                goesOn = UpdateRecord(in);
                break;
            case SQL_Cursor_Update_Indexes:
                goesOn = UpdateIndexes(in);
                break;
            case SQL_Cursor_Delete:
                goesOn = DeleteRecord(in);
                break;
            case SQL_Cursor_Delete_Indexes:
                goesOn = DeleteIndexes(in);
                break;
            case SQL_Cursor_LockForUpdate:
                goesOn = LockForUpdate(in);
                break;
            case SQL_Cursor_LessThan:
                goesOn = CompareInCursor(in, &order);
                stack->PushInteger(order < 0 ? 1 : 0);
                break;
            case SQL_Cursor_GreaterThan:
                goesOn = CompareInCursor(in, &order);
                stack->PushInteger(order > 0 ? 1 : 0);
                break;
            case SQL_Cursor_LessThanEqual:
                goesOn = CompareInCursor(in, &order);
                stack->PushInteger(order <= 0 ? 1 : 0);
                break;
            case SQL_Cursor_GreaterThanEqual:
                goesOn = CompareInCursor(in, &order);
                stack->PushInteger(order >= 0 ? 1 : 0);
                break;
            case SQL_Temporary_Table:
                goesOn = MakeTemporaryTable(in);
                break;
            case SQL_Temporary_Record:
                goesOn = AppendRow(in);
                break;
            case SQL_Temporary_Sort:
                goesOn = SortRows(in);
                break;
            case SQL_Temporary_Result:
                goesOn = PointResult(in);
                break;
            case SQL_Temporary_First:
                goesOn = TemporaryFirst(in, &next);
                break;
            case SQL_Temporary_Next:
                goesOn = TemporaryNext(in, &next);
                break;
            case SQL_Bucket:
                goesOn = MakeBucket(in);
                break;
            case SQL_Bucket_Default:
                goesOn = MakeDefaultGroup(in);
                break;
            case SQL_Bucket_Record:
                goesOn = FindGroup(in, &next);
                break;
            case SQL_Bucket_First:
                goesOn = BucketFirst(in, &next);
                break;
            case SQL_Bucket_Next:
                goesOn = BucketNext(in, &next);
                break;
            case SQL_Bucket_Count:
                goesOn = CountRow(in);
                break;
            case SQL_Bucket_Count_Distinct:
                goesOn = CountDistinct(in);
                break;
            case SQL_Bucket_Average:
                goesOn = Average(in);
                break;
            case SQL_Bucket_Sum:
                goesOn = Sum(in);
                break;
            case SQL_Bucket_Min:
                goesOn = KeepExtreme(in, -1);
                break;
            case SQL_Bucket_Max:
                goesOn = KeepExtreme(in, 1);
                break;
            case SQL_Push_BoolColumn:
                goesOn = PushBoolColumn(in);
                break;
            case SQL_Push_Column:
                goesOn = PushColumn(in);
                break;
            case SQL_Push_Literal:
                stack->PushString(TextView(in.text1, in.text1Length),
                                  &literalNumbers_[static_cast<size_t>(programCounter_)]);
                break;
            case SQL_Push_Integer:
                stack->PushInteger(in.operand1);
                break;
            case SQL_Push_Dynamic:
                goesOn = PushDynamic(in);
                break;
            case SQL_Push_Null:
                stack->PushNull();
                break;
            case SQL_Push_Temporary:
                goesOn = PushTemporary(in);
                break;
            case SQL_Push_Bucket:
                goesOn = PushBucket(in);
                break;
            case SQL_Push_RecordNumber:
                stack->PushInteger(recordNumber_);
                break;
            case SQL_Pop:
                stack->PopDiscard();
                break;
            case SQL_Pop_Column:
                goesOn = PopColumn(in);
                break;
            case SQL_Pop_Result:
                goesOn = PopResult(in);
                break;
            case SQL_Pop_Temporary:
                goesOn = PopTemporary(in);
                break;
            case SQL_Pop_Bucket:
                goesOn = PopBucket(in);
                break;
            case SQL_Copy:
                stack->CopyTop();
                break;
            case SQL_Add:
                stack->Add();
                break;
            case SQL_Subtract:
                stack->Subtract();
                break;
            case SQL_Multiply:
                stack->Multiply();
                break;
            case SQL_Divide:
                stack->Divide();
                break;
            case SQL_And:
                stack->And();
                break;
            case SQL_Or:
                stack->Or();
                break;
            case SQL_Like:
                stack->Like();
                break;
            case SQL_Not:
                stack->Not();
                break;
            case SQL_Equal:
                goesOn = CompareTop(in, &order);
                stack->PushInteger(order == 0 ? 1 : 0);
                break;
            case SQL_NotEqual:
                goesOn = CompareTop(in, &order);
                stack->PushInteger(order != 0 ? 1 : 0);
                break;
            case SQL_LessThan:
                goesOn = CompareTop(in, &order);
                stack->PushInteger(order < 0 ? 1 : 0);
                break;
            case SQL_GreaterThan:
                goesOn = CompareTop(in, &order);
                stack->PushInteger(order > 0 ? 1 : 0);
                break;
            case SQL_LessThanEqual:
                goesOn = CompareTop(in, &order);
                stack->PushInteger(order <= 0 ? 1 : 0);
                break;
            case SQL_GreaterThanEqual:
                goesOn = CompareTop(in, &order);
                stack->PushInteger(order >= 0 ? 1 : 0);
                break;
            case SQL_IsNull:
                stack->PushInteger(stack->PopIsNull() ? 1 : 0);
                break;
            case SQL_Inc:
                stack->PushInteger(AddWrapping(stack->PopInteger(), in.operand1));
                break;
            case SQL_Upper:
                stack->Upper();
                break;
            case SQL_Lower:
                stack->Lower();
                break;
            case SQL_Length:
                stack->Length();
                break;
            case SQL_IfNull:
                stack->IfNull();
                break;
            case SQL_Substring:
                goesOn = Substring(in);
                break;
            case SQL_Jump_EQ:
                next = stack->PopInteger() == in.operand1 ? in.operand2 : next;
                break;
            case SQL_Jump_NE:
                next = stack->PopInteger() != in.operand1 ? in.operand2 : next;
                break;
            case SQL_Jump:
                next = in.operand1;
                break;
            case SQL_Output:
                programCounter_ = next;
                recordNumber_ = AddWrapping(recordNumber_, 1);
                return 1;
            case SQL_Create_Table:
                goesOn = CreateTable(in);
                break;
            case SQL_Alter_Table_Add:
                goesOn = AlterTableAdd(in);
                break;
            case SQL_Alter_Table_Drop:
                goesOn = AlterTableDrop(in);
                break;
            case SQL_Drop_Table:
                goesOn = DropTable(in);
                break;
            case SQL_Create_Index:
                goesOn = CreateIndex(in);
                break;
            case SQL_Drop_Index:
                goesOn = DropIndex(in);
                break;
            case SQL_NOOP:
                break;
            case SQL_Error:
                goesOn = Fail(TextView(in.text1, in.text1Length > 0 ? in.text1Length : -1));
                break;
            default:
                goesOn = Invalid();
                break;
        }
        if (!goesOn) {
            return -1;
        }
        programCounter_ = next;
    }
    return -1;
}

}  // namespace ovrasql
