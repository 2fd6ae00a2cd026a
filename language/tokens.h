#pragma once

// Token codes: what the scanner yields and what operator nodes of the tree store. They travel as
// plain 32-bit numbers. Negative codes are kinds of token, positive ones rows of keywords.def.

#include <cstdint>

namespace ovrasql::token {

enum : int32_t {
    kTokenEnd = -1,         // no more text
    kTokenIdentifier = -2,  // a word that is not reserved
    kTokenLiteral = -3,     // a number or a quoted string: one kind
    kTokenDynamic = -4,     // a parameter: a colon and what follows of digits and points
    kTokenUnknown = -5,     // a character that begins nothing
#define KEYWORD(code, name, text) name = (code),
#include "ovrasql/keywords.def"
#undef KEYWORD
    // LENGTH is no reserved word, so its operator has a code beside the table.
    kLengthFunction = -100,
};

}  // namespace ovrasql::token
