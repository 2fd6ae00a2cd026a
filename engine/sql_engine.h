#pragma once

// SQLEngine: one statement, compiled once and run as often as wanted. It owns the parser, the code
// generator with the statement tree and the program, and the loop that runs the program.
//
// Owner: a PreparedStatement, which the statement cache keeps. Order of use: Compile, then for each
// run SetView (for a statement that yields rows), SetParameters, Run for each row, Reset. Three-way
// results: 1, 0, and -1 with the message in ErrorMessage(). A failure is sticky until Reset; after
// a failed Compile the engine is of no more use. One thread at a time.

#include <cstdint>
#include <memory>

#include "engine/instruction.h"
#include "engine/run_loop.h"
#include "foundation/array.h"
#include "foundation/string.h"
#include "foundation/text_view.h"

namespace ovrasql {

class Schema;
class SQLCodeGenerator;
class SQLParser;

class SQLEngine {
  public:
    SQLEngine(Schema& schema, void* hostDatabase);
    virtual ~SQLEngine();
    SQLEngine(const SQLEngine&) = delete;
    SQLEngine& operator=(const SQLEngine&) = delete;

    // 1 with a program ready to run, or -1. The text is needed during the call only.
    [[nodiscard]] int32_t Compile(TextView text);

    // The host's view, or null for a run without rows. It stays until it is set again.
    void SetView(void* view) { loop_.SetView(view); }
    // The values of the host's variable list, as texts: 1, or -1 if `count` is not what the
    // statement asks for.
    [[nodiscard]] int32_t SetParameters(void* list, int32_t count) {
        return loop_.SetParameters(list, count);
    }
    // 1 with the row in Results(), 0 at the end, -1 on failure.
    //
    // A statement that yields rows is refused before its first instruction if there is no view.
    [[nodiscard]] int32_t Run();
    // Back to compiled: everything that a run has made is gone, the program stays.
    void Reset() { loop_.Reset(); }

    // Fails with the message; always -1.
    int32_t Error(TextView message) { return loop_.Error(message); }
    [[nodiscard]] const String& ErrorMessage() const { return loop_.ErrorMessage(); }

    // The row's columns by slot, and behind them the hidden "eof".
    [[nodiscard]] Array<SQLViewResult>& Results() { return loop_.Results(); }
    // Whether the program is one of a SELECT.
    [[nodiscard]] bool ProducesRows() const { return loop_.ProducesRows(); }
    // The database's case setting as it stood at compile time.
    [[nodiscard]] bool CaseInsensitive() const { return loop_.CaseInsensitive(); }
    [[nodiscard]] SQLCodeGenerator& Generator() { return *generator_; }
    [[nodiscard]] void* HostDatabase() const { return hostDatabase_; }

  private:
    Schema& schema_;
    void* hostDatabase_;
    // Destroyed from the last to the first: the loop borrows from the generator's program, and the
    // tree in the generator borrows from the parser's copy of the text.
    std::unique_ptr<SQLParser> parser_;
    std::unique_ptr<SQLCodeGenerator> generator_;
    RunLoop loop_;
};

}  // namespace ovrasql
