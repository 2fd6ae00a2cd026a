#pragma once

// How lines become what is run at once: statements, dot commands and remarks.
//
// A statement ends at a ";" outside quotes; at an empty line; and where the next line begins a
// statement or a dot command, or is a word of habit (see CommandWithoutPoint). Any other line goes
// on with the statement before it, so that one that is written over several lines never runs
// without its last ones. So does the line behind a backslash, whatever it is. A dot command is one
// line, and so is a word of habit. A "'" opens and closes a quoted text, in which all of this is
// text.
//
// A line that begins with "--" is a remark, also between the lines of a statement. So is what
// begins with it behind a ";". No remark goes on with a backslash.

#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ovrashell {

bool IsRemark(std::string_view line);

// The dot command that is meant by "exit", "quit" or "help", which are typed without their point
// out of habit; empty when the line holds anything else.
std::string_view CommandWithoutPoint(std::string_view line);

// The statements of a text, without the ";" between them, since the language has none, the remarks
// behind a ";" and the white space around them. Empty ones are left out.
std::vector<std::string> SplitStatements(std::string_view text);

// A statement with its ";", a dot command, a remark or an empty line.
struct Piece {
    std::string text;
    std::size_t line = 0;  // where it begins; the first line is 1
    bool isCommand = false;
    bool isChained = false;  // behind the ";" of a statement, in the same line
    // Where the lines ended, if that was inside the statement: "behind ...".
    std::string_view brokenOff = {};
};

// What the statement at hand holds so far, as far as it decides whether a line goes on with it.
class StatementOutline {
  public:
    // Takes the next line up to the ";" that ends the statement. Gives the number of bytes up to
    // there, with it, or npos when there is none.
    std::size_t See(std::string_view line);

    bool IsQuoted() const { return isQuoted_; }
    // Whether a word that begins something new elsewhere can stand inside this one, at its end.
    bool Takes(std::string_view word) const;

  private:
    void SeeByte(char byte);
    void EndWord();

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
    // No line follows, though nothing has ended what is pending: it is broken off.
    void BreakOff();

    // The pieces that have ended, one after the other; then nothing.
    std::optional<Piece> Take();

    // Whether a statement has begun that the next line may go on with.
    bool IsPending() const { return pending_.has_value(); }
    // Whether it must, since a backslash asks for it.
    bool IsContinuing() const { return isContinuing_; }
    // Whether it must, since it is part of a quoted text.
    bool IsQuoted() const { return outline_.IsQuoted(); }

  private:
    enum class LineKind { kNext, kRemark, kEmpty, kFirst };

    LineKind KindOf(std::string_view line) const;
    bool BeginsAnother(std::string_view line) const;
    void Begin(std::string_view line);
    void GoOn();
    void AddRemark(std::string_view line);
    void AddText(std::string_view line);
    void AddLastPart(std::string_view part);

    std::deque<Piece> ended_;
    std::optional<Piece> pending_;
    std::vector<Piece> remarks_;  // behind the pending lines: inside the statement, or after it
    StatementOutline outline_;    // of the pending statement
    bool isOneLine_ = false;      // the pending piece
    bool isContinuing_ = false;
    std::size_t line_ = 0;
};

}  // namespace ovrashell
