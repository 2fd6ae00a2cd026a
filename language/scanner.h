#pragma once

// Scanner: one statement text into tokens, one at a time.
//
// The text is borrowed and must outlive the scanner's use of it; token texts are views into it.
// There are no comments, no quoted names and no escape in a string, and numbers and strings are one
// kind of token. Nothing is reported here: a character that begins no token is a token
// kTokenUnknown, and an open quote runs to the end of the text.
//
// The last five tokens are kept in a ring, so that the parser can step back over what it has only
// looked at.

#include <cstdint>

#include "foundation/text_view.h"
#include "language/tokens.h"

namespace ovrasql {

class Scanner {
  public:
    // Begins a text. The current token is then kTokenEnd with an empty text.
    void Start(TextView text);

    // Advances and yields the new current token.
    int32_t NextToken();
    // Makes the token before the current one current again, at most as often as the ring has
    // tokens. The mark of the previous token (below) stays where it is.
    // Required: the last of these steps has no earlier token to go to. In a full ring it comes
    // round to the newest one, in a ring that is not full yet to a kTokenEnd with an empty text.
    void PushBackToken();
    // Joins a sign with the digits that touch it to one literal.
    // Required: digits only, so "-1.5" is the literal -1 followed by a point, and "- 1" stays two.
    // The ring keeps the bare sign.
    void FoldSign();
    // Reads the current token, of whatever kind, as digits with an optional "-" in front.
    // Required: values wrap at 32 bits without an error, and "-" alone is 0.
    [[nodiscard]] bool TokenInteger(int32_t* value) const;

    [[nodiscard]] int32_t Token() const { return current_.code; }
    [[nodiscard]] bool Is(int32_t code) const { return current_.code == code; }
    [[nodiscard]] int32_t TokenStart() const { return current_.start; }
    [[nodiscard]] TextView TokenText() const { return Text(current_.start, TokenEnd()); }
    // The token that was current before the last advance.
    [[nodiscard]] TextView PreviousText() const { return Text(previousStart_, PreviousEnd()); }
    [[nodiscard]] int32_t PreviousEnd() const { return previousStart_ + previousLength_; }
    // The source from one offset to another; empty when they cross.
    [[nodiscard]] TextView Text(int32_t start, int32_t end) const;

  private:
    struct Entry {
        int32_t code = token::kTokenEnd;
        int32_t start = 0;
        int32_t length = 0;
    };
    static constexpr int32_t kRingSize = 5;

    [[nodiscard]] int32_t TokenEnd() const { return current_.start + current_.length; }
    void Scan();
    void ScanWord();
    void ScanDigits(int32_t code);
    void ScanString();
    void ScanMark();

    TextView text_;
    int32_t position_ = 0;  // the next byte to read
    Entry current_;
    int32_t previousStart_ = 0;
    int32_t previousLength_ = 0;
    Entry ring_[kRingSize];
    int32_t ringHead_ = -1;   // the entry of the current token
    int32_t ringValid_ = 0;   // entries filled
    int32_t ringPushed_ = 0;  // tokens stepped back over and not read again
};

}  // namespace ovrasql
