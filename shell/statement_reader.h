#pragma once

// How lines become what is run at once: statements, dot commands and remarks.
//
// A statement ends at a ";" outside quotes, which is taken away, since the language has none; at an
// empty line; and where the next line begins a statement or a dot command. Any other line goes on
// with the statement before it, so that one that is written over several lines never runs without
// its last ones. So does the line behind a backslash, whatever it is. A dot command is one line.
// A "'" opens and closes a quoted text, in which all of this is text.
//
// A line that begins with "--" is a remark, also between the lines of a statement.

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ovrashell {

bool IsRemark(std::string_view line);

// The statements of a piece, without the ";" between them, the remarks behind a ";" and the white
// space around them. Empty ones are left out.
std::vector<std::string> SplitStatements(std::string_view text);

// One or more statements, a dot command, a remark or an empty line.
struct Piece {
    std::string text;
    std::size_t line = 0;  // where it begins; the first line is 1
    // Where the lines ended, if that was inside the statement: "behind ...".
    std::string_view brokenOff = {};
};

// What the statement at hand holds so far, as far as it decides whether a line goes on with it.
class StatementOutline {
  public:
    // Takes the next line.
    void See(std::string_view line);

    bool IsQuoted() const { return isQuoted_; }
    // Whether nothing stands behind the last ";".
    bool IsEmpty() const { return isEmpty_; }
    // Whether a word that begins statements can stand inside this one, at its end.
    bool Takes(std::string_view word) const;

  private:
    void SeeByte(char byte);
    void EndWord();

    bool isEmpty_ = true;
    bool isQuoted_ = false;
    int openParentheses_ = 0;
    bool hasRows_ = false;  // the word VALUES or SELECT
    std::size_t wordCount_ = 0;
    std::string firstWord_;
    std::string lastWord_;
    std::string word_;  // that is being read
};

// Gathers lines to pieces.
class StatementReader {
  public:
    // Takes the next line, without its line end.
    void Add(std::string_view line);

    // No line follows: what is pending ends.
    void End();

    // The pieces that have ended, one after the other; then nothing.
    std::optional<Piece> Take();

    // Whether a statement has begun that the next line may go on with.
    bool IsPending() const { return pending_.has_value(); }
    // Whether it must, since a backslash asks for it.
    bool IsContinuing() const { return isContinuing_; }

  private:
    bool GoesOnWith(std::string_view line) const;
    void AddRemark(std::string_view line);

    std::deque<Piece> ended_;
    std::optional<Piece> pending_;
    std::vector<Piece> remarks_;  // behind the pending lines: inside the statement, or after it
    StatementOutline outline_;    // of the pending statement
    bool isCommand_ = false;
    bool isContinuing_ = false;
    std::size_t line_ = 0;
};

}  // namespace ovrashell
