#include "shell/line_editor.h"

#include <editline/readline.h>
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "shell/completion.h"
#include "shell/terminal_settings.h"

namespace ovrashell {

namespace {

constexpr int kHistoryLines = 1000;
constexpr int kPasteGap = 50;  // milliseconds between two parts of a paste, at most
constexpr int kCancelKey = 'C' & 0x1F;

// libedit's callbacks carry no context, so what they need stands here. One editor at a time.
struct CompletionContext {
    std::string databasePath;
    int cursor = 0;         // the characters before it
    bool isPasted = false;  // what the Tab is part of
    std::vector<std::string> matches;
    std::size_t next = 0;
};
CompletionContext completion;

// The bytes of so many characters of UTF-8.
std::size_t ByteCount(std::string_view text, int characters) {
    std::size_t count = 0;
    while (count < text.size() && ((text[count] & 0xC0) == 0x80 || characters-- > 0)) {
        ++count;
    }
    return count;
}

// A Tab that is pasted is a blank.
std::vector<std::string> MatchesFor(const std::string& text) {
    if (completion.isPasted) {
        return {text + ' '};
    }
    const std::string_view line(rl_line_buffer);
    return Completions(completion.databasePath, line.substr(0, ByteCount(line, completion.cursor)),
                       text);
}

// libedit is written in C: no exception may pass through it, here and below. Without memory nothing
// is offered.
void FindMatches(const char* text) {
    completion.matches.clear();
    completion.next = 0;
    try {
        completion.matches = MatchesFor(text);
    } catch (...) {
        completion.matches.clear();
    }
}

char* NextMatch(const char* text, int state) {
    if (state == 0) {
        FindMatches(text);
    }
    return completion.next < completion.matches.size()
               ? ::strdup(completion.matches[completion.next++].c_str())
               : nullptr;
}

// A line as it stands in the history file, where a backslash and three octal digits stand for a
// byte.
std::string HistoryLine(const std::string& line) {
    std::string text;
    for (const char byte : line) {
        const auto code = static_cast<unsigned char>(byte);
        if (code > ' ' && code < 0x7F && byte != '\\') {
            text += byte;
        } else {
            text += {'\\', static_cast<char>('0' + (code >> 6)),
                     static_cast<char>('0' + (code >> 3 & 7)), static_cast<char>('0' + (code & 7))};
        }
    }
    return text + '\n';
}

bool IsMissingOrEmpty(const std::string& path) {
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    return error ? error == std::errc::no_such_file_or_directory : size == 0;
}

bool cancelTyped = false;

// While a line is edited, Ctrl-C is a key and no signal: that would end the program. The setting is
// for all keys that are signals, so Ctrl-Z and Ctrl-\ do nothing here, either. libedit forgets it
// at the start of every line.
int TakeInterruptsAsKeys() { return rl_parse_and_bind("setty -d -isig"); }

// Ends the line without a result.
int Cancel(int /*count*/, int /*key*/) {
    cancelTyped = true;
    rl_done = 1;
    return 0;
}

bool HasInput(int milliseconds) {
    pollfd wait{STDIN_FILENO, POLLIN, 0};
    return ::poll(&wait, 1, milliseconds) > 0;
}

// While it lives the terminal gives its keys one by one and shows none of them, as it does while a
// line is edited. Otherwise nothing is waiting before a line has ended.
class SingleKeys {
  public:
    SingleKeys() : isTerminal_(::tcgetattr(STDIN_FILENO, &before_) == 0) {
        if (isTerminal_) {
            struct termios settings = before_;
            settings.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ISIG);
            settings.c_cc[VMIN] = 1;
            settings.c_cc[VTIME] = 0;
            ::tcsetattr(STDIN_FILENO, TCSANOW, &settings);
        }
    }
    ~SingleKeys() {
        if (isTerminal_) {
            ::tcsetattr(STDIN_FILENO, TCSANOW, &before_);
        }
    }
    SingleKeys(const SingleKeys&) = delete;
    SingleKeys& operator=(const SingleKeys&) = delete;

  private:
    const TerminalSettings kept_;  // for the signals that end the process
    struct termios before_ {};
    bool isTerminal_;
};

bool IsFileWantedNow() {
    try {
        return IsFileWanted(rl_line_buffer);
    } catch (...) {
        return false;
    }
}

// Called before each completion: the bytes between words, which libedit wants in two places. Its
// line in bytes is made anew when somebody asks for a part of it.
char* ChooseWordBreaks() {
    static char betweenFiles[] = " \t\"'";
    static char betweenWords[] = " \t\n,.;:?()=<>+-*/|'\"";
    std::free(rl_copy_text(0, 0));
    char* breaks = IsFileWantedNow() ? betweenFiles : betweenWords;
    rl_basic_word_break_characters = breaks;
    return breaks;
}

// Libedit shall not offer files where this offers nothing.
char** Complete(const char* text, int /*start*/, int end) {
    rl_attempted_completion_over = 1;
    completion.isPasted = HasInput(0);
    completion.cursor = end;
    // A folder's name goes on with what is in it, so no blank follows.
    const bool isBlankWanted = !completion.isPasted && !IsFileWantedNow();
    rl_completion_append_character = isBlankWanted ? static_cast<unsigned char>(' ') : 0;
    return rl_completion_matches(text, NextMatch);
}

}  // namespace

LineEditor::LineEditor(std::string databasePath, std::string historyPath)
    : historyPath_(std::move(historyPath)), interruptAction_(std::signal(SIGINT, SIG_IGN)) {
    completion.databasePath = std::move(databasePath);
    rl_readline_name = "ovrasql";
    rl_attempted_completion_function = Complete;
    rl_completion_word_break_hook = ChooseWordBreaks;
    // Libedit would send every signal on to the whole process group. Without its handlers it sees a
    // new width of the terminal with the next line.
    rl_catch_signals = 0;
    rl_initialize();
    rl_pre_input_hook = TakeInterruptsAsKeys;
    rl_add_defun("cancel-line", Cancel, kCancelKey);
    using_history();
    stifle_history(kHistoryLines);
    if (historyPath_.empty()) {
        return;
    }
    const bool wasRead = read_history(historyPath_.c_str()) == 0;
    // What is written anew has its head line, and no more lines than are kept.
    if (wasRead ? history_length >= kHistoryLines : IsMissingOrEmpty(historyPath_)) {
        write_history(historyPath_.c_str());
    } else if (!wasRead) {
        // Somebody else's lines, or not to be opened: they stay as they are.
        historyPath_.clear();
    }
}

LineEditor::~LineEditor() { std::signal(SIGINT, interruptAction_); }

// Not with libedit's append_history, which writes the line before once more.
void LineEditor::Remember(const std::string& line) const {
    add_history(line.c_str());
    const int file = ::open(historyPath_.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    if (file < 0) {
        return;  // without a home, or with a file that is not to be written, there is no history
    }
    const std::string text = HistoryLine(line);
    [[maybe_unused]] const auto written = ::write(file, text.data(), text.size());
    ::close(file);
}

std::optional<std::string> LineEditor::Read(const char* prompt) {
    cancelTyped = false;
    char* typed = nullptr;
    {
        const TerminalSettings settings;
        typed = readline(prompt);
    }
    cancelled_ = std::exchange(cancelTyped, false);
    if (typed == nullptr) {
        return std::nullopt;
    }
    std::string line(typed);
    std::free(typed);
    if (!line.empty()) {
        Remember(line);
    }
    return line;
}

bool LineEditor::IsInputWaiting() {
    const SingleKeys keys;
    return HasInput(kPasteGap);
}

std::string DefaultHistoryPath() {
    const char* home = std::getenv("HOME");
    return home == nullptr || *home == '\0' ? std::string()
                                            : std::string(home) + "/.ovrasql_history";
}

}  // namespace ovrashell
