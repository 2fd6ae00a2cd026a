"""Finds the places in a C++ source where a mutant can be put.

A place is a condition as a reader sees it: what stands in an `if`, `while` or `for`, in front of a `?`,
or after `return`, taken apart at its `&&` and `||`; or a one that is added or subtracted. No compiler
looks at the source: the house style keeps it regular enough, and the build tells what went wrong.
"""

import dataclasses
import re

MUTANTS_OF_CONDITION = ("negated", "left out")
NEIGHBOURS = {"<": "<=", "<=": "<", ">": ">=", ">=": ">"}
OPENING, CLOSING = "([{", ")]}"


@dataclasses.dataclass
class Mutant:
    file: str
    line: int
    start: int  # the text that is replaced, as offsets into the file
    end: int
    kind: str
    before: str  # what a reader is shown
    after: str  # with MUTANT where the call that asks for the mutant's number stands


def blank(text):
    """The source without comments, texts, preprocessor lines and assertions: same length, same lines."""

    def spaces(match):
        return re.sub(r"[^\n]", " ", match.group())

    def hollow(match):
        text = match.group()
        return text[0] + "_" * (len(text) - 2) + text[-1]

    pattern = r"//[^\n]*|/\*.*?\*/"
    literals = r'"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\''
    text = re.sub(
        f"{pattern}|{literals}",
        lambda match: spaces(match) if match.group()[0] == "/" else hollow(match),
        text,
        flags=re.S,
    )
    text = re.sub(r"^[ \t]*#(?:[^\n]*\\\n)*[^\n]*", spaces, text, flags=re.M)
    for match in reversed(list(re.finditer(r"\b(?:static_)?assert\(", text))):
        end = closing(text, match.end() - 1)
        text = text[: match.start()] + re.sub(r"[^\n]", " ", text[match.start() : end]) + text[end:]
    return text


def closing(text, opening):
    """The offset of the bracket that closes the one at `opening`."""
    depth = 0
    for offset in range(opening, len(text)):
        if text[offset] in OPENING:
            depth += 1
        elif text[offset] in CLOSING:
            depth -= 1
            if depth == 0:
                return offset
    raise ValueError("a bracket is open at the end")


def split(text, start, end, separators):
    """The spans between the separators that stand in no brackets."""
    depth, begin, offset, spans = 0, start, start, []
    while offset < end:
        if text[offset] in OPENING:
            depth += 1
        elif text[offset] in CLOSING:
            depth -= 1
        hit = next((s for s in separators if depth == 0 and text.startswith(s, offset)), None)
        if hit is None:
            offset += 1
            continue
        spans.append((begin, offset))
        offset += len(hit)
        begin = offset
    return [*spans, (begin, end)]


def trim(text, span):
    start, end = span
    while start < end and text[start].isspace():
        start += 1
    while end > start and text[end - 1].isspace():
        end -= 1
    return start, end


def conditions(text):
    """The spans of whole conditions in the blanked text."""
    for match in re.finditer(r"\b(if|while|for) \(", text):
        inner = (match.end(), closing(text, match.end() - 1))
        parts = split(text, *inner, (";",))
        if match.group(1) == "for":
            if len(parts) == 3:
                yield trim(text, parts[1])
        else:
            yield trim(text, parts[-1])
    for match in re.finditer(r"\breturn\b|(?<![=!<>+*/|&-]) = |[(,] *(?=[^();,?]* \? )", text):
        parts = split(text, match.end(), statement_end(text, match.end()), (" ? ", "\n? "))
        ternary = len(parts) > 1
        span = trim(text, parts[0])
        if ternary or (match.group() == "return" and is_boolean(text[slice(*span)])):
            yield span


def statement_end(text, offset):
    """Where the expression that starts at `offset` ends: at its semicolon, comma or bracket."""
    depth = 0
    while offset < len(text):
        if text[offset] in OPENING:
            depth += 1
        elif text[offset] in CLOSING:
            depth -= 1
        if depth < 0 or (depth == 0 and text[offset] in ";,"):
            return offset
        offset += 1
    return offset


def outside_brackets(text):
    depth, kept = 0, []
    for letter in text:
        depth -= letter in CLOSING
        kept.append(letter if depth == 0 else " ")
        depth += letter in OPENING
    return "".join(kept)


def is_boolean(text):
    return re.search(r" (&&|\|\||==|!=|<|<=|>|>=) ", outside_brackets(text).replace("\n", " ")) is not None


def is_condition(text):
    outside = outside_brackets(text)
    return bool(text) and "{" not in text and not re.search(r" = | \? |<<|>>", outside)


def operands(text, span):
    """What && and || join, through parentheses, each with the operator that joins it."""
    flat = outside_brackets(text[slice(*span)])
    parts = split(text, *span, ("&&", "||"))
    if len(parts) == 1:
        start, end = trim(text, span)
        inner = start + 1, end - 1
        if text[start] == "(" and closing(text, start) == end - 1 and is_boolean(text[slice(*inner)]):
            yield from operands(text, inner)
        else:
            yield (start, end), None
        return
    joint = "||" if "||" in flat else "&&"
    for part in parts:
        for found, inner_joint in operands(text, trim(text, part)):
            yield found, inner_joint or joint


def mutants_of_operand(source, text, span, joint):
    start, end = span
    whole = source[start:end]
    yield "negated", f"(MUTANT != static_cast<bool>({whole}))"
    if joint is not None:
        kept = "MUTANT ||" if joint == "&&" else "!MUTANT &&"
        yield "left out", f"({kept} static_cast<bool>({whole}))"
    flat = outside_brackets(text[start:end]).replace("\n", " ")
    comparisons = list(re.finditer(r" (<|<=|>|>=) ", flat))
    if len(comparisons) == 1 and not re.search(r"<=>|==|!=", flat):
        comparison = comparisons[0]
        left, right = whole[: comparison.start()], whole[comparison.end() :]
        other = NEIGHBOURS[comparison.group(1)]
        yield f"{comparison.group(1)} as {other}", f"(MUTANT ? ({left} {other} {right}) : ({whole}))"


def find(file, source):
    """All mutants of a file, as a list of places, each with the mutants that it may have."""
    text = blank(source)
    places = {}

    def add(start, end, kind, after, shown=None):
        line = source.count("\n", 0, start) + 1
        mutant = Mutant(file, line, start, end, kind, shown or source[start:end], after)
        places.setdefault((start, end), []).append(mutant)

    for whole in conditions(text):
        if not is_condition(text[slice(*whole)]):
            continue
        for span, joint in operands(text, whole):
            if span in places or not is_condition(text[slice(*span)]):
                continue
            for kind, after in mutants_of_operand(source, text, span, joint):
                add(*span, kind, after)
    for match in re.finditer(r"(?<= [+-] )1(?=[;),\]])", text):
        begin, end = source.rfind("\n", 0, match.start()) + 1, source.find("\n", match.end())
        add(*match.span(), "1 as 0", "(MUTANT ? 0 : 1)", shown=source[begin:end].strip())
    return [places[span] for span in sorted(places)]
