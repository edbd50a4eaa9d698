"""What a C++ source consists of, as far as changing it needs that: tokens, function bodies, statements."""

import re
from dataclasses import dataclass, field

TOKEN = re.compile(
    r"""
    (?P<space>\s+)
  | (?P<comment>//[^\n]*|/\*.*?\*/)
  | (?P<directive>(?<=\n)[ \t]*\#(?:[^\n\\]|\\.)*|\A\#(?:[^\n\\]|\\.)*)
  | (?P<string>"(?:[^"\\\n]|\\.)*")
  | (?P<character>'(?:[^'\\\n]|\\.)*')
  | (?P<number>\.?\d[\w.']*)
  | (?P<name>[A-Za-z_]\w*)
  | (?P<mark><<=|>>=|<=>|\.\.\.|->\*|::|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|[][{}();,.<>:?~!+*/%&|^=-])
    """,
    re.VERBOSE | re.DOTALL,
)

CLOSING = {"(": ")", "[": "]", "{": "}"}


@dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int
    end: int
    line: int


@dataclass
class Function:
    """Positions are token indices: those of the braces."""

    opening: int
    closing: int


@dataclass
class Statement:
    """first and last are token indices; the last is the semicolon."""

    first: int
    last: int
    in_function: bool


@dataclass
class Condition:
    """Tokens between opening and closing, without these."""

    first: int
    last: int


@dataclass
class Source:
    path: str  # relative to the project's root
    text: str
    tokens: list = field(default_factory=list)
    functions: list = field(default_factory=list)
    blocks: list = field(default_factory=list)  # lists of statements that follow each other
    conditions: list = field(default_factory=list)

    def __post_init__(self):
        self.tokens = significant_tokens(self.text)
        self.closing = matching_brackets(self.tokens)
        _Scopes(self).read()
        self.function_ends = {function.closing for function in self.functions}

    def words(self, first, last):
        return [token.text for token in self.tokens[first : last + 1]]

    def slice(self, first, last):
        return self.text[self.tokens[first].start : self.tokens[last].end]

    def function_at(self, offset):
        for number, function in enumerate(self.functions):
            if self.tokens[function.opening].start < offset < self.tokens[function.closing].start:
                return number
        return None


def significant_tokens(text):
    tokens, position, line = [], 0, 1
    while position < len(text):
        match = TOKEN.match(text, position)
        if match is None:
            raise ValueError(f"line {line}: no token at {text[position:position + 20]!r}")
        if match.lastgroup not in ("space", "comment", "directive"):
            tokens.append(Token(match.lastgroup, match.group(), position, match.end(), line))
        line += match.group().count("\n")
        position = match.end()
    return tokens


def matching_brackets(tokens):
    """The index of the closing bracket for that of each opening one."""
    closing, stack = {}, []
    for index, token in enumerate(tokens):
        if token.kind != "mark":
            continue
        if token.text in CLOSING:
            stack.append(index)
        elif token.text in CLOSING.values():
            opening = stack.pop()
            if CLOSING[tokens[opening].text] != token.text:
                raise ValueError(f"line {token.line}: {token.text} closes {tokens[opening].text}")
            closing[opening] = index
    return closing


class _Scopes:
    """Finds the functions of a source, and the statements and conditions in them and beside them."""

    def __init__(self, source):
        self.source = source
        self.tokens = source.tokens

    def text(self, index):
        return self.tokens[index].text

    def read(self):
        self.scope(0, len(self.tokens))

    def scope(self, index, end):
        """Declarations of a namespace or class."""
        block, start = [], index
        while index < end:
            text = self.text(index)
            if text == ";":
                block.append(Statement(start, index, False))
                index = start = index + 1
            elif text == ":" and self.text(index - 1) in ("public", "protected", "private"):
                index = start = index + 1
            elif text == "{":
                closing = self.source.closing[index]
                kind = self.kind_of_braces(start, index)
                if kind == "function":
                    self.function(index, closing)
                elif kind == "scope":
                    self.scope(index + 1, closing)
                index = closing + 1
                if kind == "function" or (kind == "scope" and self.words_hold(start, closing, "namespace")):
                    start = index
                    block = self.close(block)
            elif text in CLOSING:
                index = self.source.closing[index] + 1
            else:
                index += 1
        self.close(block)

    def close(self, block):
        if block:
            self.source.blocks.append(block)
        return []

    def words_hold(self, start, end, word):
        return word in (token.text for token in self.tokens[start:end])

    def kind_of_braces(self, start, brace):
        head = self.outside_of_brackets(start, brace)
        if "enum" in head or "=" in head:
            return "values"
        if "(" in head:
            return "function"
        if any(word in head for word in ("namespace", "class", "struct", "extern")):
            return "scope"
        return "values"

    def outside_of_brackets(self, start, end):
        """The words, without those of an operator's name."""
        words, index = [], start
        while index < end:
            if self.text(index - 1) != "operator" or self.text(index) in CLOSING:
                words.append(self.text(index))
            index = self.source.closing[index] + 1 if self.text(index) in CLOSING else index + 1
        return words

    def function(self, opening, closing):
        self.source.functions.append(Function(opening, closing))
        self.block(opening, closing)

    def block(self, opening, closing):
        statements, index = [], opening + 1
        while index < closing:
            index = self.statement(index, statements)
        self.close(statements)

    def statement(self, index, statements):
        """Reads one statement; the index behind it."""
        text = self.text(index)
        if text == "{":
            self.block(index, self.source.closing[index])
            return self.source.closing[index] + 1
        if text in ("if", "while", "for", "switch"):
            return self.header(index)
        if text == "else":
            return self.alone(index + 1)
        if text in ("case", "default"):
            while self.text(index) != ":":
                index += 1
            return index + 1
        return self.simple(index, statements)

    def alone(self, index):
        """A statement that no other stands beside."""
        statements = []
        index = self.statement(index, statements)
        self.close(statements)
        return index

    def header(self, index):
        keyword = self.text(index)
        index += 1
        if self.text(index) == "constexpr":
            index += 1
            keyword = "constexpr"
        closing = self.source.closing[index]
        first, last = index + 1, closing - 1
        if keyword == "for":
            parts = [i for i in range(first, last + 1) if self.text(i) == ";"]
            if parts and parts[0] + 1 < parts[1]:
                self.source.conditions.append(Condition(parts[0] + 1, parts[1] - 1))
        elif keyword in ("if", "while"):
            self.source.conditions.append(Condition(first, last))
        self.lambdas(first, last)
        return self.alone(closing + 1)

    def simple(self, index, statements):
        first = index
        while self.text(index) != ";":
            index = self.source.closing[index] + 1 if self.text(index) in CLOSING else index + 1
        statements.append(Statement(first, index, True))
        self.lambdas(first, index)
        return index + 1

    def lambdas(self, first, last):
        index = first
        while index <= last:
            if self.text(index) == "{" and self.text(index - 1) in ("]", ")"):
                self.block(index, self.source.closing[index])
                index = self.source.closing[index]
            index += 1
