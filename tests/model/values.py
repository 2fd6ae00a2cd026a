"""Values of the dialect: conversions, the one comparison, text functions, what fields store.

A value on the stack is one of
    int, float     numbers; an int is 32 bits wide and wraps
    Text           text, with two marks: text_only (never compared as a number) and exact (never
                   compared without regard to case)
    FieldValue     a column of a cursor, read when it is used and not before
    Cell           a place that keeps a value: of a temporary table or an aggregate
There is no NULL: the empty text is.
"""

import math
import re
import struct

_UPPER = bytes(c - 32 if 97 <= c <= 122 else c for c in range(256)).decode("latin-1")
_LOWER = bytes(c + 32 if 65 <= c <= 90 else c for c in range(256)).decode("latin-1")
_TO_UPPER = {c: _UPPER[c] for c in range(256)}
_TO_LOWER = {c: _LOWER[c] for c in range(256)}

CHARACTER, NUMERIC, BOOLEAN, MEMO = 0, 1, 3, 4
BLANKS = " \t\n\v\f\r"


class Failure(Exception):
    """A statement fails with this message."""


def upper(text):
    return text.translate(_TO_UPPER)


def lower(text):
    return text.translate(_TO_LOWER)


def wrap32(number):
    return (number + 2**31) % 2**32 - 2**31


# ---- numbers and their texts ---------------------------------------------------------------------

_NUMBER = re.compile(r"[ \t\n\v\f\r]*[+-]?(\d+\.?\d*|\.\d+)([eE][+-]?\d+)?\Z")
_HEX = re.compile(r"[ \t\n\v\f\r]*[+-]?0[xX]([0-9a-fA-F]+\.?[0-9a-fA-F]*|\.[0-9a-fA-F]+)"
                  r"([pP][+-]?\d+)?\Z")
_WORD = re.compile(r"[ \t\n\v\f\r]*([+-]?)(nan(?:\(\w*\))?|inf|infinity)\Z", re.IGNORECASE)


def text_to_double(text):
    """(value, whether the text is a number). The empty text is the number 0."""
    if text == "":
        return 0.0, True
    if _NUMBER.match(text):
        value = float(text)
        return value, not math.isinf(value)
    if _HEX.match(text):
        value = float.fromhex(text.strip(BLANKS))
        return value, True
    word = _WORD.match(text)
    if word:
        value = math.nan if word.group(2)[0] in "nN" else math.inf
        return (-value if word.group(1) == "-" else value), True
    return 0.0, False


def text_to_integer(text):
    """Digits with a minus in front, in 32 bits; anything else is 0."""
    if not re.match(r"(-\d*|\d+)\Z", text):
        return 0
    digits = text.lstrip("-")
    return wrap32(int(text)) if digits else 0


def double_to_text(value, decimals=-1):
    """Shortest digits that give the value again, at most `decimals` behind the point (20 for -1),
    filled up with zeros unless it is -1."""
    if math.isnan(value):
        raise Unsettled("the sign of a NaN")
    if math.isinf(value):
        return "-Infinity" if value < 0 else "Infinity"
    sign = "-" if math.copysign(1, value) < 0 else ""
    limit = 20 if decimals < 0 else decimals
    shortest = repr(abs(value))
    mantissa, exponent = (shortest if "e" in shortest else shortest + "e0").split("e")
    whole, _, fraction = mantissa.partition(".")
    digits, point = (whole + fraction), len(whole) + int(exponent)
    if point <= 0:
        digits, point = "0" * (1 - point) + digits, 1
    whole, fraction = digits[:point].ljust(point, "0"), digits[point:].rstrip("0")
    whole = whole.lstrip("0") or "0"
    if len(fraction) > limit:
        whole, _, fraction = ("%.*f" % (limit, abs(value))).partition(".")
        fraction = fraction.rstrip("0")
        if decimals < 0 and whole == "0" and fraction == "":
            return sign + "0"
    if decimals >= 0:
        fraction = fraction.ljust(decimals, "0")
    return sign + whole + ("." + fraction if fraction else "")


# ---- kinds of values -----------------------------------------------------------------------------


class Text:
    __slots__ = ("text", "text_only", "exact")

    def __init__(self, text, text_only=False, exact=False):
        self.text, self.text_only, self.exact = text, text_only, exact


NULL = Text("")


class FieldValue:
    """A column of the record that a cursor stands on."""

    __slots__ = ("cursor", "index", "field", "text_only")
    exact = False

    def __init__(self, cursor, index, field):
        self.cursor, self.index, self.field = cursor, index, field
        self.text_only = field.type in (CHARACTER, MEMO)

    @property
    def text(self):
        return self.cursor.values[self.index]


class Cell:
    """Keeps the representations that are known to be right; a conversion adds one."""

    __slots__ = ("text", "integer", "double")
    text_only = exact = False

    def __init__(self):
        self.text = self.integer = self.double = None

    def set(self, value):
        self.text = self.integer = self.double = None
        if isinstance(value, int):
            self.integer = value
        elif isinstance(value, float):
            self.double = value
        elif isinstance(value, Cell):
            self.text, self.integer, self.double = value.text, value.integer, value.double
        else:
            self.text = value.text

    def get_text(self):
        if self.text is None:
            if self.double is not None:
                self.text = double_to_text(self.double)
            else:
                self.text = "" if self.integer is None else str(self.integer)
        return self.text

    def get_integer(self):
        if self.integer is None:
            if self.text is not None:
                self.integer = text_to_integer(self.text)
            else:
                self.integer = 0 if self.double is None else truncate(self.double)
        return self.integer

    def get_double(self):
        if self.double is None:
            if self.text is not None:
                self.double = text_to_double(self.text)[0]
            else:
                self.double = float(self.integer or 0)
        return self.double

    def get_number(self):
        """(double, whether it is a number): what comparing and sorting ask."""
        if self.text is not None:
            value, good = text_to_double(self.text)
            if good:
                self.double = value
            return value, good
        if self.double is None and self.integer is not None:
            self.double = float(self.integer)
        return (0.0 if self.double is None else self.double), True

    def is_null(self):
        if self.text is not None:
            return self.text == ""
        return self.integer is None and self.double is None

    def is_true(self):
        if self.text is not None:
            return text_is_true(self.text)
        return bool(self.integer) or (self.double is not None and self.double != 0)


# ---- conversions of any value --------------------------------------------------------------------


def text_is_true(text):
    """Only zeros, with at most one point among them, and the empty text are false."""
    return not (text == "" or re.match(r"0*\.?0*\Z", text))


def truncate(value):
    """Towards zero. What 32 bits can't hold has no meaning of its own."""
    if math.isnan(value) or not -2147483649 < value < 2147483648:
        raise Unsettled("a number beyond 32 bits, as an integer")
    return int(value)


class Unsettled(Exception):
    """The dialect leaves this open, so that there is nothing to compare with."""


def to_bool(value):
    if isinstance(value, (int, float)):
        return value != 0
    return value.is_true() if isinstance(value, Cell) else text_is_true(value.text)


def to_integer(value):
    if isinstance(value, int):
        return value
    if isinstance(value, float):
        return truncate(value)
    return value.get_integer() if isinstance(value, Cell) else text_to_integer(value.text)


def to_double(value):
    if isinstance(value, (int, float)):
        return float(value)
    return value.get_double() if isinstance(value, Cell) else text_to_double(value.text)[0]


def to_text(value):
    if isinstance(value, int):
        return str(value)
    if isinstance(value, float):
        return double_to_text(value)
    return value.get_text() if isinstance(value, Cell) else value.text


def is_null(value):
    if isinstance(value, (int, float)):
        return False
    return value.is_null() if isinstance(value, Cell) else value.text == ""


def _number(value):
    if isinstance(value, (int, float)):
        return float(value), True
    return value.get_number() if isinstance(value, Cell) else text_to_double(value.text)


def _mark(value, name):
    return not isinstance(value, (int, float)) and getattr(value, name)


def compare_texts(left, right, fold):
    if fold:
        left, right = upper(left), upper(right)
    return (left > right) - (left < right)


def compare(left, right, ignore_case):
    """-1, 0 or 1: as numbers when both are and neither is text for good, else as texts."""
    if not _mark(left, "text_only") and not _mark(right, "text_only"):
        a, good = _number(left)
        if good:
            b, good = _number(right)
            if good:
                return 0 if a == b else -1 if b > a else 1
    fold = ignore_case and not _mark(left, "exact") and not _mark(right, "exact")
    return compare_texts(to_text(left), to_text(right), fold)


# ---- functions -----------------------------------------------------------------------------------


def fold_case(value, change):
    """upper and lower: numbers stay what they are, columns that hold no text as well."""
    if isinstance(value, (int, float)):
        return value
    if isinstance(value, FieldValue) and not value.text_only:
        return value
    return Text(change(to_text(value)), value.text_only, True)


def substring(text, start, length=None):
    if length is None:
        length = len(text)
    start = max(start, 1)
    if length < 1:
        length = 0
    elif start - 1 + length > len(text):
        length = len(text) - start + 1
    if start > len(text) or length < 1:
        return Text("")
    return Text(text[start - 1:start - 1 + length], True)


def divide(left, right):
    if right != 0:
        return left / right
    if left == 0 or math.isnan(left):
        return math.nan
    return math.copysign(math.inf, left) * math.copysign(1, right)


def like(text, pattern, ignore_case):
    """% and _, with at most 99 places to try again from."""
    if ignore_case:
        text, pattern = upper(text), upper(pattern)
    again = []
    t = p = 0
    while True:
        retry = False
        if t == len(text) and p == len(pattern):
            return True
        if t == len(text):
            while p < len(pattern) and pattern[p] == "%":
                p += 1
            if p == len(pattern):
                return True
            retry = True
        elif p == len(pattern):
            retry = True
        elif pattern[p] == "_":
            t, p = t + 1, p + 1
        elif pattern[p] != "%":
            if pattern[p] == text[t]:
                t, p = t + 1, p + 1
            else:
                retry = True
        else:
            while p < len(pattern) and pattern[p] == "%":
                p += 1
            if p == len(pattern):
                return True
            run = p - 1
            while t < len(text) and pattern[p] != "_" and text[t] != pattern[p]:
                t += 1
            if t == len(text):
                return False
            t += 1
            if t < len(text):
                if len(again) == 99:
                    return False
                again.append((t, run))
            p += 1
        if retry:
            if not again:
                return False
            t, p = again.pop()


# ---- what a field stores -------------------------------------------------------------------------


class Field:
    __slots__ = ("name", "spelling", "type", "width", "scale")
    careful = False  # refuse numbers that an index would put in another place

    def __init__(self, name, kind, width, scale=0):
        self.spelling = name
        self.name, self.type, self.width, self.scale = upper(name), kind, width, scale

    def blank(self):
        """How a record that was written before the field existed reads."""
        return " " * self.width if self.type == BOOLEAN else ""

    def store(self, value):
        """The field's value after `value` went into it; Failure when it can't."""
        if isinstance(value, int):
            if self.type == BOOLEAN:
                return "T" if value else "F"
            value = double_to_text(float(value), self.scale)
        elif isinstance(value, float):
            if self.type == BOOLEAN:  # the test for an integer, on half of the number's bits
                return "T" if struct.pack("<d", value)[:4] != bytes(4) else "F"
            value = double_to_text(value, self.scale if self.type == NUMERIC else -1)
        else:
            value = self.convert(to_text(value))
        if Field.careful and self.type == NUMERIC and (len(value) > self.width or value[0] == "-"):
            raise Unsettled("a number that an index finds elsewhere")
        return value if self.type == MEMO else self.written(value[:self.width])

    def convert(self, text):
        if self.type == BOOLEAN:
            return "T" if text_is_true(text) else "F"
        if self.type == NUMERIC:
            number, good = text_to_double(text)
            if not good:
                raise Failure("Data type mismatch")
            return double_to_text(number, self.scale)
        return text if self.type == MEMO else text.rstrip(BLANKS)

    def written(self, text):
        """How a value reads after it went through the record: without the blanks at its end, which
        are then not there for the index either."""
        return text.rstrip(" ") if self.type == CHARACTER else text
