#pragma once

// PreparedStatement: a compiled statement with the engine that runs it and the text that it came
// from.
//
// Schema::Prepare makes or finds one, and the caller owns it until Schema::Release takes it back.
// While it waits in the cache it holds no cursor, no file and no row: only its program.

#include <cstdint>
#include <memory>

#include "foundation/string.h"
#include "foundation/text_view.h"

namespace ovrasql {

class Schema;
class SQLEngine;

class PreparedStatement {
  public:
    PreparedStatement(Schema* schema, void* database);
    virtual ~PreparedStatement();
    PreparedStatement(const PreparedStatement&) = delete;
    PreparedStatement& operator=(const PreparedStatement&) = delete;

    // Compiles the text and, when the engine accepts it, keeps a copy as the cache's key. On
    // failure the message is the engine's.
    [[nodiscard]] bool Compile(TextView text);

    // Writes the program to the trace.
    void Dump();

    // Makes the engine ready to run from the top, without cursors, rows or view.
    void Reset();

    [[nodiscard]] SQLEngine& Engine() { return *engine_; }
    [[nodiscard]] TextView Text() const { return text_.View(); }
    // The case setting that the program was compiled under.
    [[nodiscard]] bool CaseInsensitive() const;

  private:
    std::unique_ptr<SQLEngine> engine_;
    String text_;
};

}  // namespace ovrasql
