#pragma once

// Queries put together by chance, for which an index changes how rows are found and never which;
// and the rows, indexes and changes that go with them. They run without indexes and with some over
// the same rows: the rows must be the same, and ORDER BY must show its values in the same sequence.
//
// Left out is where the dialect answers otherwise through an index:
//  - NOT over a comparison that an index serves, which seeks what it rejects;
//  - a range with its column on the right (5 < a), which bounds the wrong way;
//  - a column against another of its own row (t.a = t.b), sought by the row before;
//  - negative numbers, which keys pad behind their sign, and characters below the ":" that joins
//    the parts of a key;
//  - a range in ON of an outer join, whose stop bound shows the row beyond it;
//  - texts where rows are told apart without regard to case: which spelling stays depends on which
//    row came first;
//  - bounds for upper(column) in small letters, which are folded along an index only.
//
// The tables are t (id, a, b, d, s, m, ok, n) and u (x, y, z); n and z have no index but u's (x,
// z).

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace ovrasql {

// The letters a to z as capitals.
std::string Folded(std::string text);

// Where the choices come from: a seed here, anything in a class below.
class Chance {
  public:
    explicit Chance(uint32_t seed) : random_(seed) {}
    virtual ~Chance() = default;
    Chance(const Chance&) = delete;
    Chance& operator=(const Chance&) = delete;

    uint32_t Below(uint32_t bound) { return Draw() % bound; }
    bool OneIn(uint32_t bound) { return Below(bound) == 0; }
    std::string Pick(const std::vector<std::string>& choices) {
        return choices[Below(static_cast<uint32_t>(choices.size()))];
    }
    std::string Number(uint32_t bound) { return std::to_string(Below(bound)); }

  protected:
    virtual uint32_t Draw() { return static_cast<uint32_t>(random_()); }

  private:
    std::mt19937 random_;
};

struct Query {
    std::string sql;
    std::vector<std::string> parameters;
    int ordered = 0;  // how many of the leading columns the rows are ordered by
};

class QueryWriter {
  public:
    explicit QueryWriter(Chance& chance) : chance_(chance) {}

    Query Write();

  private:
    std::string Value(const std::string& text);
    std::string TextValue();
    std::string Word();
    std::string UpperWord();
    std::string Comparison();
    std::string NumberTerm(const std::string& column, uint32_t bound);
    std::string TextTerm(const std::string& column);
    std::string TermOnT();
    std::string TermOnU();

    std::string Condition(int depth, std::string (QueryWriter::*term)());
    std::string Part(int depth, std::string (QueryWriter::*term)());
    std::string ConditionOnT(int depth);
    std::string ConditionOnU(int depth);
    std::string WhereOfT();

    std::string Grouped();
    std::string Link();
    std::string LinkedTerm();
    std::string Joined();
    std::string OuterJoined();
    std::string WithSubquery();
    std::string Ordered();

    Chance& chance_;
    Query query_;
};

// Writes the statements around the queries.
class TableWriter {
  public:
    explicit TableWriter(Chance& chance) : chance_(chance) {}

    std::vector<std::string> Tables(int rowsOfT = 30, int rowsOfU = 12);
    std::vector<std::string> Indexes();  // "create index tN on ...", a name of two letters each
    std::vector<std::string> Changes(int count);

    // The name of the index that a statement of Indexes() makes.
    static std::string NameOf(const std::string& createIndex);

  private:
    std::string Word();
    std::string InsertIntoT(int id);

    Chance& chance_;
};

}  // namespace ovrasql
