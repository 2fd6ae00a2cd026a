#pragma once

// LineEditor: lines typed at a terminal, with editing, history and completion (libedit). Completion
// offers what completion.h tells. A Tab that is pasted is a blank.
//
// Ctrl-C is a key that gives the line up. The signal that it is at other times is ignored while the
// editor lives, since the prompt is shown a moment before the keys are taken over.

#include <optional>
#include <string>

namespace ovrashell {

class LineEditor {
  public:
    // Reads the history file, or makes it. A file that is none is neither read nor written.
    // `databasePath` is where completion finds the names.
    LineEditor(std::string databasePath, std::string historyPath);
    ~LineEditor();
    LineEditor(const LineEditor&) = delete;
    LineEditor& operator=(const LineEditor&) = delete;

    // Nothing at the end of the input (Ctrl-D), or when the line was given up (Ctrl-C). A line goes
    // to the history file before anything else is done with it, as the program may not live long.
    std::optional<std::string> Read(const char* prompt);

    // Whether more has been typed or pasted behind the last line, if only a part of the next one or
    // Ctrl-C. Waits a moment for it.
    static bool IsInputWaiting();

    // Whether the last line was given up.
    bool WasCancelled() const { return cancelled_; }

  private:
    void Remember(const std::string& line) const;

    std::string historyPath_;
    bool cancelled_ = false;
    void (*interruptAction_)(int);  // before the editor
};

// Where the history is kept: .ovrasql_history in the home folder; empty when there is no home.
std::string DefaultHistoryPath();

}  // namespace ovrashell
