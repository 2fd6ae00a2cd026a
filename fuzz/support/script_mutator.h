#pragma once

// ScriptMutator: changes a script (script_run.h) where it has its joints. It puts statements of its
// own in, takes lines out and moves them, exchanges a parenthesis, a word or a value of a statement
// for another one, and overwrites fields of the template's files by name: counts, lengths, page
// numbers, with the values at their borders. Two scripts are crossed by lines or by parentheses.

#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/support/statement_writer.h"

namespace ovrasql::fuzz {

class ScriptMutator {
  public:
    explicit ScriptMutator(uint32_t seed) : writer_(seed) {}

    std::string Mutate(const std::string& script);
    std::string Cross(const std::string& first, const std::string& second);

    // A line that overwrites one field of one file of the template.
    std::string FileEdit();

  private:
    using Lines = std::vector<std::string>;

    std::string NewLine();
    void ChangeLine(std::string* line);
    void ChangeWord(std::string* line);
    void ChangeParenthesis(std::string* line);
    std::string FieldValue(uint32_t size);

    StatementWriter writer_;
};

}  // namespace ovrasql::fuzz
