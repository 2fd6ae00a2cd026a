#pragma once

// Programs built by hand, and a machine that runs them. A program keeps the texts that its
// instructions borrow.

#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <vector>

#include "engine/run_loop.h"
#include "library/host_services.h"
#include "tests/support/memory_host.h"

namespace ovrasql {

inline std::string ToText(TextView text) {
    return std::string(text.data, static_cast<size_t>(text.length));
}

class Program {
  public:
    int32_t Emit(int32_t opcode, int32_t operand1 = 0, int32_t operand2 = 0, int32_t operand3 = 0,
                 const std::string& text1 = "", const std::string& text2 = "",
                 const void* pointer = nullptr) {
        Instruction instruction;
        instruction.opcode = opcode;
        instruction.operand1 = operand1;
        instruction.operand2 = operand2;
        instruction.operand3 = operand3;
        const std::string& kept1 = texts_.emplace_back(text1);
        const std::string& kept2 = texts_.emplace_back(text2);
        instruction.text1 = kept1.data();
        instruction.text1Length = static_cast<int32_t>(kept1.size());
        instruction.text2 = kept2.data();
        instruction.text2Length = static_cast<int32_t>(kept2.size());
        instruction.pointer = pointer;
        code_.push_back(instruction);
        return static_cast<int32_t>(code_.size()) - 1;
    }
    Program& Literal(const std::string& text) {
        Emit(SQL_Push_Literal, 0, 0, 0, text);
        return *this;
    }
    Program& Integer(int32_t value) {
        Emit(SQL_Push_Integer, value);
        return *this;
    }
    Program& Null() {
        Emit(SQL_Push_Null);
        return *this;
    }
    // A double, as all arithmetic gives one.
    Program& Double(const std::string& number) {
        Literal(number).Integer(0);
        Emit(SQL_Add);
        return *this;
    }
    Program& Do(int32_t opcode, int32_t operand1 = 0, int32_t operand2 = 0, int32_t operand3 = 0) {
        Emit(opcode, operand1, operand2, operand3);
        return *this;
    }
    Instruction& operator[](int32_t index) { return code_[static_cast<size_t>(index)]; }
    const Instruction* Code() const { return code_.data(); }
    int32_t Count() const { return static_cast<int32_t>(code_.size()); }

  private:
    std::vector<Instruction> code_;
    std::deque<std::string> texts_;
};

// A machine with a view of the host's. TheHost().Reset() comes before it.
class Machine {
  public:
    explicit Machine(Schema* schema = nullptr) : loop(schema) {
        database = TheHost().MakeDatabase();
        view = ovDatabase_AddView(database, "v", 1, nullptr);
        loop.SetView(view);
    }
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    Machine& Load(const Program& program, bool caseInsensitive = false, int32_t parameters = 0) {
        loop.Load(program.Code(), program.Count(), parameters, caseInsensitive);
        return *this;
    }
    int32_t Run(const Program& program, bool caseInsensitive = false) {
        return Load(program, caseInsensitive).loop.Run();
    }
    std::string Error() { return ToText(loop.ErrorMessage().View()); }
    std::string Result(int32_t slot) {
        SQLViewResult* const result = loop.Results().Get(slot);
        return result == nullptr ? "(none)" : ToText(result->GetString());
    }
    HostDatabaseVariable* Variable(const char* name) {
        return MemoryHost::View(view)->Variable(name);
    }

    void* database = nullptr;
    void* view = nullptr;
    RunLoop loop;
};

// Runs the program and gives the values left on the stack, bottom first, joined by "|"; or the
// message behind "error: ".
inline std::string Evaluate(const Program& program, bool caseInsensitive = false) {
    Machine machine;
    const int32_t result = machine.Run(program, caseInsensitive);
    if (result != 0) {
        return "error: " + machine.Error();
    }
    std::string values;
    for (bool isFirst = true; machine.loop.Stack()->Count() > 0; isFirst = false) {
        values = ToText(machine.loop.Stack()->PopText()) + (isFirst ? "" : "|") + values;
    }
    return values;
}

class EngineTest : public testing::Test {
  protected:
    void SetUp() override { TheHost().Reset(); }
    void TearDown() override { EXPECT_TRUE(TheHost().Misuses().empty()); }
};

}  // namespace ovrasql
