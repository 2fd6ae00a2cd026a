#include "shell/session.h"

#include <chrono>
#include <iomanip>
#include <istream>
#include <utility>

#include "shell/byte_order_mark.h"
#include "shell/catalog.h"
#include "shell/dot_commands.h"
#include "shell/statement_reader.h"

namespace ovrashell {

namespace {

constexpr std::string_view kSelect = "select";

bool IsSelect(std::string_view statement) {
    return EqualNoCase(statement.substr(0, kSelect.size()), kSelect);
}

bool IsRemark(std::string_view line) { return line.substr(0, 2) == "--"; }

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

}  // namespace

Session::Session(Database database, std::ostream* out)
    : database_(std::move(database)), out_(out) {}

std::ostream* Session::Out() { return file_ == nullptr ? out_ : file_.get(); }

void Session::SetTrace(const std::string& path) {
    database_.SetOption("log", path);
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

void Session::RunLine(std::string_view line) {
    if (echo_) {
        *Out() << (IsRemark(line) || line.empty() ? "" : "ovrasql> ") << line << '\n';
    }
    if (IsRemark(line)) {
        return;
    }
    const auto start = line.find_first_not_of(" \t");
    if (start != std::string_view::npos && line[start] == '.') {
        RunDotCommand(this, std::string(line.substr(start)));
        return;
    }
    for (const std::string& statement : SplitStatements(line)) {
        RunStatement(statement);
    }
}

void Session::RunStream(std::istream* input, const std::string& name) {
    StatementReader reader;
    std::string line;
    std::size_t number = 0;
    std::size_t first = 1;  // the line where the statement at hand began
    const auto run = [&] {
        try {
            RunLine(reader.Take());
        } catch (const Error& error) {
            throw Error((name.empty() ? "line " : name + ":") + std::to_string(first) + ": " +
                        error.what());
        }
        first = number + 1;
    };
    bool pending = false;
    while (!quitting_ && std::getline(*input, line)) {
        std::string_view text = line;
        if (++number == 1) {
            text = WithoutByteOrderMark(text);
        }
        pending = !reader.Add(text);
        if (!pending) {
            run();
        }
    }
    if (pending && !quitting_) {
        run();
    }
    Out()->flush();
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
        *out_ << "Time: " << std::fixed << std::setprecision(6) << elapsed.count() << " s\n";
    }
}

void Session::ShowRows(View* view) {
    const auto writer = MakeRowWriter(mode_, headers_, Out());
    writer->Begin(view->Names());
    while (view->Next()) {
        writer->Write(view->Values());
    }
    writer->End();
    if (!*Out()) {
        throw Error("The output cannot be written");
    }
}

}  // namespace ovrashell
