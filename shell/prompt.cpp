#include "shell/prompt.h"

#include <iostream>

#include "shell/catalog.h"
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

// The commands that are typed without their point out of habit.
std::string WithPoint(const std::string& line) {
    const auto words = SplitStatements(line);
    if (words.size() == 1) {
        const std::string word = Lowered(words.front());
        if (word == "exit" || word == "quit") {
            return ".quit";
        }
        if (word == "help") {
            return ".help";
        }
    }
    return line;
}

void RunTypedPiece(Session* session, const Piece& piece) {
    const InterruptWatch watch;
    try {
        session->RunPiece(piece);
    } catch (const Error& error) {
        std::cout.flush();
        std::cerr << Lines(error.what()) << '\n';
        if (error.what() == kNoStatement) {
            std::cerr << "Statements begin with create, alter, drop, insert, update, delete or "
                         "select; .help shows the commands\n";
        }
    }
    std::cout.flush();
}

void RunTypedPieces(Session* session, StatementReader* reader) {
    while (!session->IsQuitting()) {
        const auto piece = reader->Take();
        if (!piece.has_value()) {
            return;
        }
        RunTypedPiece(session, *piece);
    }
}

}  // namespace

void RunPrompt(Session* session, const std::string& databasePath) {
    LineEditor editor(databasePath, DefaultHistoryPath());
    StatementReader reader;
    while (!session->IsQuitting()) {
        const auto line = editor.Read(reader.IsPending() ? "    ...> " : "ovrasql> ");
        if (editor.WasCancelled()) {
            std::cout << "^C\n" << std::flush;
            reader = StatementReader();
            continue;
        }
        if (line.has_value()) {
            reader.Add(reader.IsContinuing() ? *line : WithPoint(*line));
        }
        // Who types by hand ends a statement with its line; of a pasted one the next is there.
        const bool goesOn = line.has_value() && (reader.IsContinuing() ||
                                                 (reader.IsPending() && editor.IsInputWaiting()));
        if (!goesOn) {
            reader.End();
        }
        RunTypedPieces(session, &reader);
        if (!line.has_value()) {
            std::cout << '\n';
            return;
        }
    }
}

}  // namespace ovrashell
