// The instructions that meet the host's view and the run's parameters, and the few that check an
// operand of a stack operation.

#include "engine/run_loop.h"

namespace ovrasql {

bool RunLoop::CheckView(TextView message) { return view_ != nullptr || Fail(message); }

// The variable is made last, when the cell stands in its slot: the host may call back from there.
bool RunLoop::MakeResult(const Instruction& in) {
    if (!CheckView("Queries that return results are not valid in this context")) {
        return false;
    }
    if (!SlotIsSane(in.operand1)) {
        return Invalid();
    }
    auto made =
        std::make_unique<SQLViewResult>(TextView(in.text1, in.text1Length), in.operand2 != 0);
    SQLViewResult* const result = made.get();
    results_.Set(in.operand1, std::move(made));
    result->Register(view_);
    return true;
}

bool RunLoop::PopResult(const Instruction& in) {
    SQLViewResult* const result = results_.Get(in.operand1);
    if (result == nullptr) {
        return Invalid();
    }
    stack_->PopResult(result, false);
    return true;
}

bool RunLoop::PushDynamic(const Instruction& in) {
    SQLParameter* const parameter = parameters_.Get(in.operand1);
    if (parameter == nullptr) {
        return Fail("Invalid parameter");
    }
    stack_->PushString(parameter->Text(), parameter->Number());
    return true;
}

bool RunLoop::CompareTop(const Instruction& in, int32_t* order) {
    if (in.operand1 < 0 || in.operand1 > 2) {
        return Invalid();
    }
    *order = stack_->Compare(in.operand1, false);
    return true;
}

bool RunLoop::Substring(const Instruction& in) {
    if (in.operand1 != 0 && in.operand1 != 1) {
        return Fail("Invalid SUBSTRING opcode parameter");
    }
    stack_->Substring(in.operand1 == 1);
    return true;
}

}  // namespace ovrasql
