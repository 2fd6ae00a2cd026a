// The instructions on cursors, their columns and their records.

#include <utility>

#include "engine/run_loop.h"
#include "foundation/ignore_result.h"
#include "schema/index.h"
#include "schema/schema.h"
#include "schema/table.h"

namespace ovrasql {

// A cursor in the slot goes with its table. What still refers to that table's fields is settled
// first: stack entries become NULLs, results keep a copy of their text.
bool RunLoop::OpenCursor(const Instruction& in) {
    if (!SlotIsSane(in.operand1) || schema_ == nullptr) {
        return Invalid();
    }
    const TextView name(in.text1, in.text1Length);
    std::unique_ptr<Table> table = schema_->OpenTable(name);
    if (table == nullptr) {
        return Fail(
            String::Join({"Unable to create cursor for table '", name, "': ", schema_->Error()}));
    }
    if (in.operand2 != 0 && !schema_->OpenIndexes(*table)) {
        return FailWithSchema();
    }
    if (cursors_.Get(in.operand1) != nullptr) {
        stack_->ForgetHolder(StackHolder::kCursor, in.operand1);
        KeepResultTexts();
    }
    cursors_.Set(in.operand1, std::make_unique<SQLCursor>(std::move(table)));
    return true;
}

bool RunLoop::BindColumn(const Instruction& in) {
    SQLCursor* const cursor = cursors_.Get(in.operand1);
    if (cursor == nullptr || !SlotIsSane(in.operand2)) {
        return Invalid();
    }
    const TextView name(in.text1, in.text1Length);
    return cursor->BindColumn(in.operand2, name) ||
           Fail(String::Join({"Invalid column reference '", name, "'"}));
}

bool RunLoop::SelectIndex(const Instruction& in) {
    SQLCursor* const cursor = cursors_.Get(in.operand1);
    if (cursor == nullptr || in.operand2 < 0 || !SlotIsSane(in.operand2)) {
        return Invalid();
    }
    Index* index = cursor->IndexSelectedAs(in.text1);
    if (index == nullptr) {
        index = schema_->OpenIndex(*cursor->GetTable(), TextView(in.text1, in.text1Length));
        if (index == nullptr) {
            return FailWithSchema();
        }
        cursor->RememberIndexName(in.text1);
    }
    return cursor->SelectIndex(index, in.operand2, in.operand3 != 0, stack_.get()) || Invalid();
}

bool RunLoop::CursorFirst(const Instruction& in, int32_t* next) {
    SQLCursor* const cursor = cursors_.Get(in.operand1);
    if (cursor == nullptr) {
        return Invalid();
    }
    if (!cursor->First()) {
        *next = in.operand2;
    }
    return true;
}

bool RunLoop::CursorNext(const Instruction& in, int32_t* next) {
    SQLCursor* const cursor = cursors_.Get(in.operand1);
    if (cursor == nullptr) {
        return Invalid();
    }
    if (cursor->Next()) {
        *next = in.operand2;
    }
    return true;
}

bool RunLoop::InsertRecord(const Instruction& in) {
    SQLCursor* const cursor = cursors_.Get(in.operand1);
    if (cursor == nullptr) {
        return Invalid();
    }
    if (!cursor->GetTable()->InsertRecord()) {
        return Fail(cursor->GetTable()->Error());
    }
    recordNumber_ = AddWrapping(recordNumber_, 1);
    return true;
}

// Required: the index changes queued so far are applied also when the record could not be written.
// The message is that of the write, whatever becomes of the indexes.
bool RunLoop::UpdateRecord(const Instruction& in) {
    SQLCursor* const cursor = cursors_.Get(in.operand1);
    if (cursor == nullptr) {
        return Invalid();
    }
    Table* const table = cursor->GetTable();
    if (table->UpdateRecord()) {
        return true;
    }
    Error(table->Error());
    IgnoreResult(table->ApplyIndexUpdates());  // the first message stands
    return false;
}

bool RunLoop::UpdateIndexes(const Instruction& in) {
    SQLCursor* const cursor = cursors_.Get(in.operand1);
    if (cursor == nullptr) {
        return Invalid();
    }
    return cursor->GetTable()->ApplyIndexUpdates() || Fail(cursor->GetTable()->Error());
}

// At its end a cursor stands on no record, as on the right side of an outer join without a match:
// there is nothing to delete then. Required: as in UpdateRecord.
bool RunLoop::DeleteRecord(const Instruction& in) {
    SQLCursor* const cursor = cursors_.Get(in.operand1);
    if (cursor == nullptr) {
        return Invalid();
    }
    if (cursor->AtEnd()) {
        return true;
    }
    Table* const table = cursor->GetTable();
    if (table->DeleteRecord()) {
        return true;
    }
    Error(table->Error());
    IgnoreResult(table->ApplyIndexDeletes());  // the first message stands
    return false;
}

bool RunLoop::DeleteIndexes(const Instruction& in) {
    SQLCursor* const cursor = cursors_.Get(in.operand1);
    if (cursor == nullptr) {
        return Invalid();
    }
    return cursor->GetTable()->ApplyIndexDeletes() || Fail(cursor->GetTable()->Error());
}

bool RunLoop::LockForUpdate(const Instruction& in) {
    SQLCursor* const cursor = cursors_.Get(in.operand1);
    if (cursor == nullptr) {
        return Invalid();
    }
    return cursor->GetTable()->LockAndReadRecord() || Fail(cursor->GetTable()->Error());
}

bool RunLoop::PushColumn(const Instruction& in) {
    SQLCursor* const cursor = cursors_.Get(in.operand1);
    OvraSQLField* const field = cursor == nullptr ? nullptr : cursor->Column(in.operand2);
    if (field == nullptr) {
        return Invalid();
    }
    if (cursor->AtEnd()) {
        stack_->PushNull();
    } else {
        stack_->PushColumn(field, in.operand1);
    }
    return true;
}

bool RunLoop::PushBoolColumn(const Instruction& in) {
    SQLCursor* const cursor = cursors_.Get(in.operand1);
    OvraSQLField* const field = cursor == nullptr ? nullptr : cursor->Column(in.operand2);
    if (field == nullptr) {
        return Invalid();
    }
    if (cursor->AtEnd()) {
        stack_->PushNull();
    } else {
        const TextView text = field->ValueText();
        stack_->PushInteger(!text.IsEmpty() && text[0] == 'T' ? 1 : 0);
    }
    return true;
}

bool RunLoop::PopColumn(const Instruction& in) {
    SQLCursor* const cursor = cursors_.Get(in.operand1);
    OvraSQLField* const field = cursor == nullptr ? nullptr : cursor->Column(in.operand2);
    if (field == nullptr) {
        return Invalid();
    }
    stack_->PopField(field);
    return true;
}

bool RunLoop::CompareInCursor(const Instruction& in, int32_t* order) {
    SQLCursor* const cursor = cursors_.Get(in.operand1);
    if (cursor == nullptr || in.operand2 < 0 || in.operand2 > 2) {
        return Invalid();
    }
    *order = stack_->Compare(in.operand2, cursor->SelectedIndex() != nullptr);
    return true;
}

}  // namespace ovrasql
