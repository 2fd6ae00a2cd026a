#pragma once

// Session: one use of the prompt program. It holds the database and the settings, and runs what is
// typed: SQL statements and dot commands.

#include <fstream>
#include <functional>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "shell/database.h"
#include "shell/row_writer.h"
#include "shell/statement_reader.h"

namespace ovrashell {

class Session {
  public:
    // Results go to `out` unless .output sends them elsewhere. Times and the reports of imports go
    // to standard error, so that they never stand among the rows.
    Session(Database database, std::ostream* out);

    // Runs a piece of input as a StatementReader gives it. Throws an Error, and nothing else, when
    // it fails, and for a piece that is broken off, of which nothing is run.
    void RunPiece(const Piece& piece);

    // Runs the lines of a stream to its end. An Error tells the number of the line where the
    // statement began, behind `name`, the file's, unless that is empty.
    void RunStream(std::istream* input, const std::string& name = std::string());
    // The same for a file. Files may run files; one that runs itself is stopped with an Error.
    void RunFile(const std::string& path);
    // The same for a text. An Error tells no number where there is one line only.
    void RunText(const std::string& text);

    // True once .quit was typed.
    bool IsQuitting() const { return quitting_; }

    Database& Connection() { return database_; }
    void SetMode(OutputMode mode) { mode_ = mode; }
    void SetHeaders(bool headers) { headers_ = headers; }
    void SetTimer(bool timer) { timer_ = timer; }
    // Shows each piece before it is run, so that a script reads like a session.
    void SetEcho(bool echo) { echo_ = echo; }
    void SetParameters(ParameterList parameters) { parameters_ = std::move(parameters); }
    void SetQuitting() { quitting_ = true; }

    OutputMode Mode() const { return mode_; }
    bool Headers() const { return headers_; }
    bool Timer() const { return timer_; }
    const ParameterList& Parameters() const { return parameters_; }

    // Writes programs and errors to a file. "/dev/null" is how the trace is turned off: the library
    // closes a trace only by opening another.
    void SetTrace(const std::string& path);
    const std::string& TracePath() const { return tracePath_; }

    // Where rows go: the file of .output, or standard output.
    std::ostream* Out();
    // An empty path goes back to standard output.
    void SendOutputTo(const std::string& path);

  private:
    // How an Error begins that arose in the given line.
    using PlaceOf = std::function<std::string(std::size_t line)>;

    void RunLines(std::istream* input, const std::string& name, const PlaceOf& placeOf);
    void RunPieces(StatementReader* reader, const PlaceOf& placeOf);
    void RunPieceUnguarded(const Piece& piece);
    void RunStatement(std::string_view statement);
    void ShowRows(View* view);

    Database database_;
    std::ostream* out_;
    std::unique_ptr<std::ofstream> file_;
    OutputMode mode_ = OutputMode::kTable;
    bool headers_ = true;
    bool timer_ = false;
    bool echo_ = false;
    std::string tracePath_ = "/dev/null";
    bool quitting_ = false;
    int filesRunning_ = 0;
    ParameterList parameters_;
};

}  // namespace ovrashell
