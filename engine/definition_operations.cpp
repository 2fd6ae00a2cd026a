// The instructions that change the catalog. Each reports the schema's message.

#include "engine/run_loop.h"
#include "schema/schema.h"

namespace ovrasql {

namespace {

[[nodiscard]] TextView FirstText(const Instruction& in) {
    return TextView(in.text1, in.text1Length);
}

[[nodiscard]] TextView SecondText(const Instruction& in) {
    return TextView(in.text2, in.text2Length);
}

[[nodiscard]] const CollList<ColumnDefinition>& Columns(const Instruction& in) {
    return *static_cast<const CollList<ColumnDefinition>*>(in.pointer);
}

}  // namespace

bool RunLoop::CreateTable(const Instruction& in) {
    if (schema_ == nullptr || in.pointer == nullptr) {
        return Invalid();
    }
    return schema_->CreateTable(FirstText(in), Columns(in)) || FailWithSchema();
}

bool RunLoop::AlterTableAdd(const Instruction& in) {
    if (schema_ == nullptr || in.pointer == nullptr) {
        return Invalid();
    }
    return schema_->AlterTableAdd(FirstText(in), Columns(in)) || FailWithSchema();
}

bool RunLoop::AlterTableDrop(const Instruction& in) {
    if (schema_ == nullptr) {
        return Invalid();
    }
    return schema_->AlterTableDrop(FirstText(in), SecondText(in)) || FailWithSchema();
}

bool RunLoop::DropTable(const Instruction& in) {
    if (schema_ == nullptr) {
        return Invalid();
    }
    return schema_->DropTable(FirstText(in)) || FailWithSchema();
}

bool RunLoop::CreateIndex(const Instruction& in) {
    if (schema_ == nullptr || in.pointer == nullptr) {
        return Invalid();
    }
    const auto& columns = *static_cast<const List<SQLIndexColumn>*>(in.pointer);
    return schema_->CreateIndex(FirstText(in), SecondText(in), in.operand1 != 0, columns) ||
           FailWithSchema();
}

bool RunLoop::DropIndex(const Instruction& in) {
    if (schema_ == nullptr) {
        return Invalid();
    }
    return schema_->DropIndex(FirstText(in)) || FailWithSchema();
}

}  // namespace ovrasql
