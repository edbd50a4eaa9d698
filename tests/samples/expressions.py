"""What the tests of the samples share: places, tools, and two ways to read an expression."""

import os
import pathlib
import subprocess
import xml.etree.ElementTree as ElementTree

ROOT = pathlib.Path(__file__).resolve().parents[2]
SHARE = pathlib.Path(os.environ["ZEP_SHARE"])
XSL = SHARE / "resources" / "xsl"
SCHEMA = SHARE / "resources" / "schema" / "ConfigurationExpression.xsd"
SAMPLES = sorted((SHARE / "samples").glob("*.xml"))
NAMESPACE = "{urn:zep:configuration-expression}"


def name(path):
    return path.stem


def validation_errors(*files):
    """What xmllint says against the files; empty when they follow the schema."""
    run = subprocess.run(["xmllint", "--noout", "--schema", SCHEMA, *files], capture_output=True, text=True)
    said = [line for line in run.stderr.splitlines() if not line.endswith(" validates")]
    assert (run.returncode == 0) == (not said), run.stderr
    return said


def display(stylesheet, file, compact=False):
    """The bytes of the display text."""
    parameters = ["--stringparam", "CompactView", "TRUE"] if compact else []
    run = subprocess.run(["xsltproc", "--nonet", *parameters, XSL / stylesheet, file], capture_output=True, check=True)
    assert run.stderr == b""
    return run.stdout


def contexts(text):
    """The contexts as an XML parser sees them: name, numbers and names inherited, handler numbers."""
    return [
        (
            context.get("HolderName"),
            [(int(entry.get("FilterableId")), entry.get("HolderName")) for entry in context.iter(NAMESPACE + "InheritedEff")],
            [int(change.get("OperationHandlerId")) for change in context.iter(NAMESPACE + "Change")],
        )
        for context in ElementTree.fromstring(text.encode()).iter(NAMESPACE + "Context")
    ]


class TextContexts:
    """The contexts as plain searches in the text find them, without any knowledge of XML."""

    def __init__(self, text):
        self.pieces = []
        self.start = text.find("<Context")
        rest = text
        while self.start >= 0 and (end := rest.find("</Context>", self.start + 18)) >= 0:
            end += len("</Context>")
            self.pieces.append(rest[self.start:end])
            rest = rest[:self.start] + rest[end:]
        self.rest = rest

    def expressions(self):
        """The whole text once for each context, with this context alone."""
        return [self.rest[:self.start] + piece + self.rest[self.start:] for piece in self.pieces]

    def contexts(self):
        return [self._context(piece) for piece in self.pieces]

    @staticmethod
    def _value(piece, attribute, start):
        """The value of the attribute found next, and the position of its closing quote."""
        opening = piece.index('"', piece.index(attribute, start))
        closing = piece.index('"', opening + 1)
        return piece[opening + 1:closing], closing

    def _context(self, piece):
        inherited = []
        position = piece.find("InheritedEff")
        while position >= 0:
            behind = position + len("InheritedEff") + 2
            number, _ = self._value(piece, "FilterableId", behind)
            holder, closing = self._value(piece, "HolderName", behind)
            inherited.append((int(number), holder))
            position = piece.find("InheritedEff", closing)
        handlers = []
        position = piece.find("OperationHandlerId")
        while position >= 0:
            number, closing = self._value(piece, "OperationHandlerId", position)
            handlers.append(int(number))
            position = piece.find("OperationHandlerId", closing)
        return self._value(piece, "HolderName", 0)[0], inherited, handlers


def without_description(text):
    """The text without its Description element and its DescId attributes, by plain searches."""
    start = text.find("Description")
    if start >= 0:
        text = text[:start - 1] + text[text.index("/Description") + len("/Description>"):]
    while (start := text.find("DescId")) >= 0:
        closing = text.index('"', text.index('"', start) + 1)
        text = text[:start] + text[closing + 1:]
    return text
