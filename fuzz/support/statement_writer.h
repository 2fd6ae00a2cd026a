#pragma once

// StatementWriter: writes statements by the grammar of the dialect, over the tables of the template
// (template_files.h). Most of them compile; some do not, since what a rule forbids is met often at
// its border. Each piece can be asked for alone, for a place in a statement that is there already.
// The same seed writes the same texts.

#include <cstdint>
#include <initializer_list>
#include <random>
#include <string>

namespace ovrasql::fuzz {

class StatementWriter {
  public:
    explicit StatementWriter(uint32_t seed) : random_(seed) {}

    std::string Statement();
    std::string Query(int depth);
    std::string Condition(int depth);
    std::string Value(int depth);
    std::string Literal();
    std::string Column();
    std::string Table();

    uint32_t Below(uint32_t bound) { return static_cast<uint32_t>(random_() % bound); }
    std::string Pick(std::initializer_list<const char*> choices) {
        return *(choices.begin() + Below(static_cast<uint32_t>(choices.size())));
    }

  private:
    std::string Predicate(int depth);
    std::string Function(int depth);
    std::string From(int depth);
    std::string OrderBy();
    std::string Modification();
    std::string Definition();

    std::mt19937 random_;
};

}  // namespace ovrasql::fuzz
