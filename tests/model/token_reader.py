"""What every part of the parser does with tokens."""

from scanner import END, Scanner
from tree import Scope
from values import Failure, text_to_integer


class TokenReader:
    """The current token, and the words of refusal."""

    def __init__(self, text):
        self.scanner = Scanner(text)
        self.scopes = []       # in the order in which they were made
        self.subqueries = []   # the same
        self.parameters = 0    # those without a number
        self.numbered = False

    # ---- small things ----

    @property
    def kind(self):
        return self.scanner.current.kind

    @property
    def text(self):
        return self.scanner.current.text

    def advance(self):
        return self.scanner.advance()

    def expected(self, what):
        if self.kind == END:
            return Failure("Syntax Error: Expected %s at end of query" % what)
        return Failure("Syntax Error: Expected %s, found '%s'" % (what, self.text))

    def expect(self, kind, what):
        if self.kind != kind:
            raise self.expected(what)

    def take(self, kind, what):
        """Expects the token, gives its text and goes on to the next."""
        self.expect(kind, what)
        text = self.text
        self.advance()
        return text

    def next_is(self, kind, what):
        self.advance()
        self.expect(kind, what)

    def close(self):
        if self.kind != ")":
            raise Failure("Syntax Error: Mismatched parentheses")
        self.advance()

    def integer(self):
        text = self.text
        if text == "" or not (text[0] == "-" or text[0].isdigit()) or \
                not all(c.isdigit() for c in text[1:]):
            raise self.expected("integer")
        self.advance()
        return text_to_integer(text)

    def skip(self, kind):
        if self.kind != kind:
            return False
        self.advance()
        return True

    def new_scope(self, parent=None, listed=True):
        scope = Scope(parent)
        if listed:
            self.scopes.append(scope)
        return scope
