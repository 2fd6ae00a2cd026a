#include "language/scanner.h"

#include "foundation/text_compare.h"
#include "language/keyword_lookup.h"

namespace ovrasql {

void Scanner::Start(TextView text) {
    *this = Scanner();
    text_ = text;
}

int32_t Scanner::NextToken() {
    previousStart_ = current_.start;
    previousLength_ = current_.length;
    ringHead_ = ringHead_ + 1 == kRingSize ? 0 : ringHead_ + 1;
    if (ringPushed_ > 0) {
        --ringPushed_;
        current_ = ring_[ringHead_];
        return current_.code;
    }
    Scan();
    ring_[ringHead_] = current_;
    if (ringValid_ < kRingSize) {
        ++ringValid_;
    }
    return current_.code;
}

void Scanner::PushBackToken() {
    if (ringPushed_ >= ringValid_) {
        return;
    }
    ringHead_ = ringHead_ == 0 ? kRingSize - 1 : ringHead_ - 1;
    current_ = ring_[ringHead_];
    ++ringPushed_;
}

void Scanner::FoldSign() {
    const bool isSign = Is(token::kPlus) || Is(token::kMinus);
    if (!isSign || current_.length != 1 || position_ >= text_.length ||
        !IsDigit(text_[position_])) {
        return;
    }
    while (position_ < text_.length && IsDigit(text_[position_])) {
        ++position_;
        ++current_.length;
    }
    current_.code = token::kTokenLiteral;
}

bool Scanner::TokenInteger(int32_t* value) const {
    const TextView digits = TokenText();
    if (digits.IsEmpty()) {
        return false;
    }
    const bool negative = digits[0] == '-';
    uint32_t sum = 0;
    uint32_t power = 1;
    for (int32_t index = digits.length - 1; index >= (negative ? 1 : 0); --index) {
        if (!IsDigit(digits[index])) {
            return false;
        }
        sum += static_cast<uint32_t>(digits[index] - '0') * power;
        power *= 10;
    }
    *value = static_cast<int32_t>(negative ? 0U - sum : sum);
    return true;
}

TextView Scanner::Text(int32_t start, int32_t end) const {
    return TextView(text_.data + start, end > start ? end - start : 0);
}

// The order of the tests is the order of the rules: space, parameter, string, number, word, mark.
void Scanner::Scan() {
    while (position_ < text_.length && IsSpace(text_[position_])) {
        ++position_;
    }
    current_.code = token::kTokenEnd;
    current_.start = position_;
    current_.length = 0;
    if (position_ >= text_.length) {
        return;
    }
    const char first = text_[position_];
    if (first == ':') {
        current_.start = ++position_;
        ScanDigits(token::kTokenDynamic);
    } else if (first == '\'') {
        ScanString();
    } else if (IsDigit(first)) {
        ScanDigits(token::kTokenLiteral);
    } else if (IsAlpha(first) || first == '_') {
        ScanWord();
    } else {
        ScanMark();
    }
}

void Scanner::ScanWord() {
    while (position_ < text_.length && (IsAlnum(text_[position_]) || text_[position_] == '_')) {
        ++position_;
    }
    current_.length = position_ - current_.start;
    const SQLKeyword* const keyword = SQLKeywordLookup::Lookup(TokenText());
    current_.code = keyword != nullptr ? keyword->code : token::kTokenIdentifier;
}

// Required: any mix of digits and points is one token, so 1.2.3 is one literal.
void Scanner::ScanDigits(int32_t code) {
    while (position_ < text_.length && (IsDigit(text_[position_]) || text_[position_] == '.')) {
        ++position_;
    }
    current_.length = position_ - current_.start;
    current_.code = code;
}

// Required: the next quote always ends the string, and a missing one is no error.
void Scanner::ScanString() {
    current_.start = ++position_;
    while (position_ < text_.length && text_[position_] != '\'') {
        ++position_;
    }
    current_.length = position_ - current_.start;
    current_.code = token::kTokenLiteral;
    if (position_ < text_.length) {
        ++position_;
    }
}

void Scanner::ScanMark() {
    const char first = text_[position_];
    const char second = position_ + 1 < text_.length ? text_[position_ + 1] : '\0';
    if (first == '<' && second == '>') {
        current_.code = token::kNotEqual;
    } else if (first == '<' && second == '=') {
        current_.code = token::kLessEqual;
    } else if (first == '>' && second == '=') {
        current_.code = token::kGreaterEqual;
    }
    if (current_.code != token::kTokenEnd) {
        current_.length = 2;
    } else {
        current_.length = 1;
        const SQLKeyword* const mark = SQLKeywordLookup::Lookup(TokenText());
        current_.code = mark != nullptr ? mark->code : token::kTokenUnknown;
    }
    position_ += current_.length;
}

}  // namespace ovrasql
