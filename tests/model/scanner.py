"""Tokens of the dialect, and the characters that are none."""

import os
import re

END, IDENTIFIER, LITERAL, DYNAMIC, UNKNOWN = "end", "identifier", "literal", "dynamic", "unknown"
DIGITS = "0123456789"
_MARKS = ",()<>.:=*+-?/"


def _reserved_words():
    """The words of the language's own list, which programs may read, too."""
    path = os.path.join(os.path.dirname(os.path.abspath(__file__)),
                        "../../include/ovrasql/keywords.def")
    with open(path, encoding="ascii") as words:
        found = re.findall(r'"([a-z][a-z_]*)"|\(([a-z][a-z_]*)\)', words.read())
    return {a or b for a, b in found}


RESERVED = _reserved_words()


class Token:
    __slots__ = ("kind", "text", "start", "end")

    def __init__(self, kind, text, start, end):
        self.kind, self.text, self.start, self.end = kind, text, start, end


class Scanner:
    """Hands out tokens one by one; `kind` is a keyword, a mark or one of the kinds above."""

    def __init__(self, text):
        self.source = text
        self.position = 0
        self.current = self.previous = Token(END, "", 0, 0)

    def advance(self):
        self.previous = self.current
        self.current = self.scan()
        return self.current.kind

    def remember(self):
        return self.position, self.current, self.previous

    def go_back(self, place):
        self.position, self.current, self.previous = place

    def take(self, pattern):
        match = re.compile(pattern).match(self.source, self.position)
        self.position = match.end()
        return match.group()

    def scan(self):
        self.take(r"[ \t\n\v\f\r]*")
        start, source = self.position, self.source
        if start >= len(source):
            return Token(END, "", start, start)
        c = source[start]
        if c == ":":
            self.position += 1
            text = self.take(r"[0-9.]*")
            return Token(DYNAMIC, text, start + 1, self.position)
        if c == "'":
            self.position += 1
            text = self.take(r"[^']*")
            end = self.position
            self.position += 1
            return Token(LITERAL, text, start + 1, end)
        if c in DIGITS:
            text = self.take(r"[0-9.]+")
            return Token(LITERAL, text, start, self.position)
        if re.match(r"[A-Za-z_]", c):
            text = self.take(r"[A-Za-z0-9_]+")
            word = text.lower()
            return Token(word if word in RESERVED else IDENTIFIER, text, start, self.position)
        for mark in ("<>", "<=", ">="):
            if source.startswith(mark, start):
                self.position += 2
                return Token(mark, mark, start, self.position)
        self.position += 1
        return Token(c if c in _MARKS else UNKNOWN, c, start, self.position)

    def fold_sign(self):
        """A sign with digits touching it becomes their part; a point does not."""
        token = self.current
        if token.kind in ("+", "-") and self.source[self.position:self.position + 1] in set(DIGITS):
            digits = self.take(r"[0-9]+")
            self.current = Token(LITERAL, token.text + digits, token.start, self.position)


def pieces_of(text):
    """The tokens as they were typed, quotes and colons with them."""
    scanner, pieces = Scanner(text), []
    while scanner.advance() != END:
        start = scanner.current.start
        if scanner.current.kind == DYNAMIC or (scanner.current.kind == LITERAL and
                                               text[start - 1:start] == "'"):
            start -= 1
        pieces.append(text[start:scanner.position])
    return pieces
