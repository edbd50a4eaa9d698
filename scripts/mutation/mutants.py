"""The changes that are made to a source, one at a time."""

import re
from dataclasses import dataclass

from sources import Source

RELATIONS = {
    "<": ("<=", ">="),
    "<=": ("<", ">"),
    ">": (">=", "<="),
    ">=": (">", "<"),
    "==": ("!=",),
    "!=": ("==",),
}
OPERATORS = {
    "&&": ("||",),
    "||": ("&&",),
    "+": ("-",),
    "-": ("+",),
    "*": ("/",),
    "/": ("*",),
    "+=": ("-=",),
    "-=": ("+=",),
}
STEPS = {"++": "--", "--": "++"}
NAMES = {
    "true": ("false",),
    "false": ("true",),
    "S_OK": ("S_FALSE", "E_FAIL"),
    "S_FALSE": ("S_OK",),
    "E_FAIL": ("E_INVALIDARG", "S_OK"),
    "E_INVALIDARG": ("E_FAIL",),
    "ZEP_E_HTTP_NOT_FOUND": ("ZEP_E_HTTP_STATUS",),
    "ZEP_E_HTTP_STATUS": ("ZEP_E_HTTP_NOT_FOUND",),
    "ZEPFailed": ("ZEPSucceeded",),
    "ZEPSucceeded": ("ZEPFailed",),
    "max": ("min",),
    "min": ("max",),
    "continue": ("break",),
}
# Enumerators, which are changed where they stand behind the name of their type.
ENUMERATORS = {
    "done": "ended",
    "ended": "done",
    "made": "refused",
    "refused": "made",
    "remembered": "final",
    "final": "remembered",
}
# Members and globals whose order is seen, because the end of such an object is.
OBJECT_WITH_EFFECT = re.compile(r"(std :: optional < )?ZEP\w+(_var|Buffer)\b [^&]*;$")
# What {} would be the same as.
EMPTY_RESULTS = ("", "{}", "0", "false", "S_OK", "nullptr", "std::nullopt", "Step::done", "Choice::made")
DECLARATION_WORDS = {"using", "const", "constexpr", "static", "auto", "struct"}


@dataclass(frozen=True)
class Edit:
    start: int
    end: int
    text: str


@dataclass
class Mutant:
    source: Source
    line: int
    kind: str
    what: str  # the change in words: old -> new
    edits: tuple
    number: int = 0
    occurrence: int = 1  # among changes that look alike in lines that look alike
    function: int | None = None  # of the source, where the change is inside one

    def key(self):
        """Names the mutant where line numbers have changed."""
        name = self.source.path.rsplit("/", 1)[-1]
        line = self.source.text.splitlines()[self.line - 1].strip()
        return f"{name} | {line} | {self.what} | {self.occurrence}"

    def changed_text(self):
        return changed(self.source.text, self.edits)


def changed(text, edits, offset=0):
    for edit in sorted(edits, key=lambda edit: edit.start, reverse=True):
        text = text[: edit.start - offset] + edit.text + text[edit.end - offset :]
    return text


def mutants_of(source):
    """All mutants of a source, each line's first one in front of the second ones."""
    found = []
    for make in (of_tokens, of_conditions, of_statements, of_returns):
        found += make(source)
    for mutant in found:
        mutant.function = common_function(source, mutant.edits)
    found.sort(key=lambda mutant: (mutant.line, mutant.edits[0].start, mutant.kind, mutant.what))
    number_occurrences(found)
    return found


def common_function(source, edits):
    functions = {source.function_at(edit.start) for edit in edits}
    return functions.pop() if len(functions) == 1 else None


def number_occurrences(mutants):
    seen = {}
    for mutant in mutants:
        key = mutant.key()
        seen[key] = seen.get(key, 0) + 1
        mutant.occurrence = seen[key]


def lines_first(mutants):
    """Ordered such that every line has had one mutant before any line has its second."""
    rank = {}
    keyed = []
    for mutant in mutants:
        place = (mutant.source.path, mutant.line)
        rank[place] = rank.get(place, 0) + 1
        keyed.append((rank[place], mutant))
    return [mutant for _, mutant in sorted(keyed, key=lambda pair: pair[0])]


# ---- tokens ----------------------------------------------------------------------------------------


def of_tokens(source):
    for index, token in enumerate(source.tokens):
        for kind, text in replacements(source, index):
            yield replaced(source, kind, token, text)


def replaced(source, kind, token, text):
    return Mutant(source, token.line, kind, f"{token.text} -> {text}", (Edit(token.start, token.end, text),))


def replacements(source, index):
    token = source.tokens[index]
    before = source.tokens[index - 1].text if index else ""
    if token.kind == "mark":
        yield from mark_replacements(source, index, before)
    elif token.kind == "number":
        yield from (("number", text) for text in number_replacements(token.text))
    elif token.kind == "name":
        yield from name_replacements(token.text, before)
    elif token.kind == "string" and before != "extern":
        yield "text", '"' + changed_literal(token.text[1:-1]) + '"'
    elif token.kind == "character":
        yield "text", "'" + changed_literal(token.text[1:-1]) + "'"


def mark_replacements(source, index, before):
    token = source.tokens[index]
    text = token.text
    if before == "operator":
        return
    if text in STEPS:
        yield "arithmetic", STEPS[text]
    elif text == "!":
        yield "negation", ""
    elif text == "?":
        yield "condition", "&& false ?"
        yield "condition", "|| true ?"
    elif is_binary(source.text, token):
        yield from (("relation", new) for new in RELATIONS.get(text, ()))
        yield from (("operator", new) for new in OPERATORS.get(text, ()))


def is_binary(text, token):
    """Blanks on both sides tell an operator from a reference, a template's bracket or a sign."""
    return text[token.start - 1].isspace() and text[token.end].isspace()


def number_replacements(text):
    value = int(text.replace("'", ""), 0)
    yield str(value + 1)
    if value > 0:
        yield str(value - 1)


def name_replacements(text, before):
    yield from (("name", new) for new in NAMES.get(text, ()))
    if before == "::" and text in ENUMERATORS:
        yield "name", ENUMERATORS[text]


def changed_literal(text):
    """Another character in the middle, outside of escapes."""
    units = re.findall(r"\\.|.", text)
    if not units:
        return "?"
    middle = len(units) // 2
    old = units[middle]
    if old.startswith("\\"):
        units[middle] = "?"
    elif old.isalpha():
        units[middle] = chr(ord(old) - 1) if old in "zZ" else chr(ord(old) + 1)
    elif old.isdigit():
        units[middle] = "8" if old == "9" else str(int(old) + 1)
    else:
        units[middle] = "~" if old != "~" else "-"
    return "".join(units)


# ---- conditions ------------------------------------------------------------------------------------


def of_conditions(source):
    for condition in source.conditions:
        first, last = source.tokens[condition.first], source.tokens[condition.last]
        declared = declared_name(source, condition)
        if declared:
            edits = (Edit(last.end, last.end, f"; !{declared}"),)
        else:
            edits = (Edit(first.start, first.start, "!("), Edit(last.end, last.end, ")"))
        yield Mutant(source, first.line, "condition", "condition -> its negation", edits)


def declared_name(source, condition):
    words = source.words(condition.first, condition.last)
    if "=" in words and words.index("=") >= 2:
        return words[words.index("=") - 1]
    return None


# ---- statements ------------------------------------------------------------------------------------


def of_statements(source):
    for block in source.blocks:
        for statement in block:
            if is_removable(source, statement):
                yield removal(source, statement)
        for one, other in zip(block, block[1:]):
            if one.last + 1 == other.first and is_swappable(source, one) and is_swappable(source, other):
                yield swap(source, one, other)


def is_removable(source, statement):
    words = source.words(statement.first, statement.last)
    if not statement.in_function or is_declaration(words):
        return False
    # Without its last return a function would end anyhow, and give anything.
    return words[0] != "return" or words[1] == ";" or not ends_function(source, statement)


def ends_function(source, statement):
    index = statement.last + 1
    while source.tokens[index].text == "}" and index not in source.function_ends:
        index += 1
    return source.tokens[index].text in ("}", "else")


def is_declaration(words):
    if words[0] in DECLARATION_WORDS:
        return True
    if words[0] in ("return", "delete"):
        return False
    text = " ".join(words).replace(" :: ", "::")
    return re.match(r"[\w:]+( <.*>)?( [&*])* [A-Za-z_]\w* [=;({\[]", text) is not None


def is_swappable(source, statement):
    """The order of what calls nothing is not worth a look."""
    words = source.words(statement.first, statement.last)
    if statement.in_function:
        return words[0] not in ("return", "break", "continue", "using") and "(" in words and not is_lambda(words)
    return OBJECT_WITH_EFFECT.match(" ".join(words)) is not None


def is_lambda(words):
    return any(pair == ("=", "[") for pair in zip(words, words[1:]))


def removal(source, statement):
    text = source.slice(statement.first, statement.last)
    edit = Edit(source.tokens[statement.first].start, source.tokens[statement.last].end, ";" + "\n" * text.count("\n"))
    return Mutant(
        source, source.tokens[statement.first].line, "removal", f"without {one_line(text)}", (edit,)
    )


def swap(source, one, other):
    first, second = source.slice(one.first, one.last), source.slice(other.first, other.last)
    edits = (
        Edit(source.tokens[one.first].start, source.tokens[one.last].end, second),
        Edit(source.tokens[other.first].start, source.tokens[other.last].end, first),
    )
    return Mutant(
        source, source.tokens[one.first].line, "order", f"{one_line(first)} <-> {one_line(second)}", edits
    )


def one_line(text):
    return re.sub(r"\s+", " ", text)


def of_returns(source):
    for block in source.blocks:
        for statement in block:
            words = source.words(statement.first, statement.last)
            if statement.in_function and words[0] == "return" and "".join(words[1:-1]) not in EMPTY_RESULTS:
                first, last = source.tokens[statement.first + 1], source.tokens[statement.last - 1]
                text = source.slice(statement.first + 1, statement.last - 1)
                edit = Edit(first.start, last.end, "{}" + "\n" * text.count("\n"))
                yield Mutant(source, first.line, "result", f"{one_line(text)} -> {{}}", (edit,))
