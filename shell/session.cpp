#include "shell/session.h"

#include <cerrno>
#include <chrono>
#include <exception>
#include <iomanip>
#include <iostream>
#include <istream>
#include <new>
#include <set>
#include <sstream>
#include <system_error>
#include <utility>

#include "shell/byte_order_mark.h"
#include "shell/catalog.h"
#include "shell/dot_commands.h"
#include "shell/interrupt.h"
#include "shell/white_space.h"

namespace ovrashell {

namespace {

constexpr std::string_view kSelect = "select";

// How deep files may run files.
constexpr int kFilesLimit = 100;

bool IsSelect(std::string_view statement) {
    return EqualNoCase(statement.substr(0, kSelect.size()), kSelect);
}

// A dot command needs none at its end, but who has typed statements ends it like one.
std::string_view WithoutSemicolon(std::string_view command) {
    const auto last = command.find_last_not_of(kWhiteSpace);
    return last != std::string_view::npos && command[last] == ';' ? command.substr(0, last)
                                                                  : command;
}

// Whether the statement takes parameters at all; one that takes none must be given none.
bool TakesParameters(std::string_view statement) {
    bool quoted = false;
    for (const char byte : statement) {
        quoted = byte == '\'' ? !quoted : quoted;
        if (!quoted && (byte == '?' || byte == ':')) {
            return true;
        }
    }
    return false;
}

// For a file that is not named the line stands alone.
std::string Place(const std::string& name, std::size_t line) {
    return (name.empty() ? "line " : name + ":") + std::to_string(line) + ": ";
}

// An Error behind the places of the statement and of those that ran its file, the outermost first.
// Where files run each other in a circle, each place is named once.
class PlacedError : public Error {
  public:
    PlacedError(const std::string& place, const Error& error)
        : Error(place + error.what()), places_{place} {}
    PlacedError(const std::string& place, const PlacedError& error)
        : Error((error.places_.count(place) == 0 ? place : "") + error.what()),
          places_(error.places_) {
        places_.insert(place);
    }

  private:
    std::set<std::string> places_;
};

std::string CannotRead(const std::string& input, int error) {
    return "Cannot read " + input + ": " + std::generic_category().message(error);
}

void StopIfUnwritten(const std::ostream& out) {
    if (!out) {
        throw Error("The output cannot be written");
    }
}

// Counts one more while it lives.
class Counted {
  public:
    explicit Counted(int* count) : count_(count) { ++*count_; }
    ~Counted() { --*count_; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

  private:
    int* count_;
};

}  // namespace

Session::Session(Database database, std::ostream* out)
    : database_(std::move(database)), out_(out) {}

std::ostream* Session::Out() { return file_ == nullptr ? out_ : file_.get(); }

void Session::SetTrace(const std::string& path) {
    if (path.empty()) {
        throw Error("Cannot write ''");  // the library has a name of its own for that
    }
    try {
        database_.SetOption("log", path);
    } catch (const Error& error) {
        throw Error(std::string(error.what()) + " '" + path + "'");
    }
    tracePath_ = path;
}

void Session::SendOutputTo(const std::string& path) {
    // What still waits in the buffer may find the disk full.
    const bool written = file_ == nullptr || file_->flush().good();
    if (!written || path.empty()) {
        file_.reset();
    }
    if (!written) {
        throw Error("The output cannot be written");
    }
    if (path.empty()) {
        return;
    }
    auto file = std::make_unique<std::ofstream>(path, std::ios::binary);
    if (!*file) {
        throw Error("Cannot write '" + path + "'");
    }
    file_ = std::move(file);
}

void Session::RunPiece(const Piece& piece) {
    if (!piece.brokenOff.empty()) {
        throw Error("The statement ends " + std::string(piece.brokenOff) +
                    "; nothing of it was run");
    }
    try {
        RunPieceUnguarded(piece);
    } catch (const Error&) {
        throw;
    } catch (const std::bad_alloc&) {
        throw Error("Out of memory");
    } catch (const std::exception& error) {
        throw Error(error.what());
    }
}

void Session::RunPieceUnguarded(const Piece& piece) {
    StopIfInterrupted();
    const std::string& text = piece.text;
    if (echo_) {
        *Out() << (IsRemark(text) || text.empty() ? "" : "ovrasql> ") << text << '\n';
    }
    if (piece.isCommand) {
        RunDotCommand(this, std::string(WithoutSemicolon(text.substr(text.find('.')))));
        return;
    }
    for (const std::string& statement : SplitStatements(text)) {  // one, or none
        RunStatement(statement);
    }
}

void Session::RunPieces(StatementReader* reader, const PlaceOf& placeOf) {
    while (!quitting_) {
        const auto piece = reader->Take();
        if (!piece.has_value()) {
            return;
        }
        try {
            RunPiece(*piece);
        } catch (const PlacedError& error) {
            throw PlacedError(placeOf(piece->line), error);
        } catch (const Error& error) {
            throw PlacedError(placeOf(piece->line), error);
        }
    }
}

void Session::RunLines(std::istream* input, const std::string& name, const PlaceOf& placeOf) {
    StatementReader reader;
    std::string line;
    bool isFirst = true;
    while (!quitting_ && std::getline(*input, line)) {
        reader.Add(std::exchange(isFirst, false) ? WithoutByteOrderMark(line) : line);
        RunPieces(&reader, placeOf);
    }
    if (input->bad()) {
        throw Error(CannotRead(name.empty() ? "the input" : "'" + name + "'", errno));
    }
    reader.End();
    RunPieces(&reader, placeOf);
    Out()->flush();
}

void Session::RunStream(std::istream* input, const std::string& name) {
    RunLines(input, name, [&name](std::size_t line) { return Place(name, line); });
}

void Session::RunText(const std::string& text) {
    const bool isOneLine = text.find('\n') == std::string::npos;
    std::istringstream input(text);
    RunLines(&input, std::string(), [isOneLine](std::size_t line) {
        return isOneLine ? std::string() : Place(std::string(), line);
    });
}

void Session::RunFile(const std::string& path) {
    if (filesRunning_ == kFilesLimit) {
        throw Error("Files run files more than " + std::to_string(kFilesLimit) +
                    " deep: does one run itself?");
    }
    const Counted running(&filesRunning_);
    std::ifstream file(path);
    if (!file) {
        throw Error(CannotRead("'" + path + "'", errno));
    }
    RunStream(&file, path);
}

void Session::RunStatement(std::string_view statement) {
    const auto start = std::chrono::steady_clock::now();
    const ParameterList given = TakesParameters(statement) ? parameters_ : ParameterList();
    if (IsSelect(statement)) {
        View view = database_.Select(statement, given);
        ShowRows(&view);
    } else {
        database_.Query(statement, given);
    }
    if (timer_) {
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
        Out()->flush();
        std::cerr << "Time: " << std::fixed << std::setprecision(6) << elapsed.count() << " s\n";
    }
}

void Session::ShowRows(View* view) {
    const auto writer = MakeRowWriter(mode_, headers_, Out());
    writer->Begin(view->Names());
    try {
        // Nobody sees the rows behind a failure, and the last of them may never come.
        while (view->Next()) {
            StopIfInterrupted();
            writer->Write(view->Values());
            StopIfUnwritten(*Out());
        }
    } catch (const Error&) {
        writer->BreakOff();
        throw;
    }
    writer->End();
    StopIfUnwritten(*Out());
}

}  // namespace ovrashell
