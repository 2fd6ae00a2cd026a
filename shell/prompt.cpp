#include "shell/prompt.h"

#include <iostream>

#include "shell/database.h"
#include "shell/interrupt.h"
#include "shell/line_editor.h"
#include "shell/row_writer.h"
#include "shell/session.h"
#include "shell/statement_reader.h"

namespace ovrashell {

namespace {

// What the library says of a statement whose first word begins none.
constexpr std::string_view kNoStatement = "Syntax Error: Empty SQL Statement";

// Runs what is typed, and tells what goes wrong with it.
class PieceRunner {
  public:
    explicit PieceRunner(Session* session) : session_(session) {}

    // The pieces that have ended. Statements that are chained by ";" are meant together, so behind
    // one that fails the others are not run.
    void RunAll(StatementReader* reader) {
        while (!session_->IsQuitting()) {
            const auto piece = reader->Take();
            if (!piece.has_value()) {
                return;
            }
            if (!hasFailed_ || !piece->isChained) {
                hasFailed_ = !Run(AsCommand(*piece));
            }
        }
    }

  private:
    static Piece AsCommand(Piece piece) {
        const std::string_view command = CommandWithoutPoint(piece.text);
        if (!command.empty()) {
            piece.text = command;
            piece.isCommand = true;
        }
        return piece;
    }

    bool Run(const Piece& piece) {
        const InterruptWatch watch;
        bool succeeded = false;
        try {
            session_->RunPiece(piece);
            succeeded = !Interrupted();  // one that comes too late for this stops what is behind it
        } catch (const Error& error) {
            std::cout.flush();
            std::cerr << Lines(error.what()) << '\n';
            if (error.what() == kNoStatement) {
                std::cerr << "Statements begin with create, alter, drop, insert, update, delete or "
                             "select; .help shows the commands\n";
            }
        }
        std::cout.flush();
        return succeeded;
    }

    Session* session_;
    bool hasFailed_ = false;
};

// Where the lines of a paste end with two bytes, the terminal makes an empty line of the second.
bool IsBetweenPastedLines(const std::string& line, const StatementReader& reader) {
    return line.empty() && reader.IsPending() && !reader.IsQuoted() && LineEditor::IsInputWaiting();
}

// Who types by hand ends a statement with its line; of a pasted one the next line is there.
bool GoesOn(const StatementReader& reader) {
    return reader.IsContinuing() || (reader.IsPending() && LineEditor::IsInputWaiting());
}

}  // namespace

void RunPrompt(Session* session, const std::string& databasePath) {
    LineEditor editor(databasePath, DefaultHistoryPath());
    StatementReader reader;
    PieceRunner runner(session);
    while (!session->IsQuitting()) {
        const auto line = editor.Read(reader.IsPending() ? "    ...> " : "ovrasql> ");
        if (editor.WasCancelled()) {
            std::cout << "^C\n" << std::flush;
            reader = StatementReader();
            continue;
        }
        if (!line.has_value()) {
            reader.BreakOff();
            runner.RunAll(&reader);
            std::cout << '\n';
            return;
        }
        if (IsBetweenPastedLines(*line, reader)) {
            continue;
        }
        reader.Add(*line);
        if (!GoesOn(reader)) {
            reader.End();
        }
        runner.RunAll(&reader);
    }
}

}  // namespace ovrashell
