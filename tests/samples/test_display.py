"""Display text of the samples, as the stylesheets make it in a processor of their own."""

import xml.etree.ElementTree as ElementTree

import pytest
from expressions import NAMESPACE, ROOT, SAMPLES, XSL, contexts, display, name

DISPLAY = "CfgEffectivityDisplay.xsl"
BRANCHING = "CfgEffectivityDisplay_Branching.xsl"
SERVER = "server/CfgEffectivityDisplay_UTF16.xsl"

EXPECTED = ROOT / "tests" / "samples" / "expected"
VIEWS = {
    "full": (DISPLAY, False),
    "compact": (DISPLAY, True),
    "branching": (BRANCHING, False),
    "branching-compact": (BRANCHING, True),
}


@pytest.mark.parametrize("path", sorted(EXPECTED.glob("*.txt")), ids=name)
def test_display_text(path):
    """A file of expected text is named sample.view.txt."""
    sample, view, _ = path.name.split(".")
    stylesheet, compact = VIEWS[view]
    assert display(stylesheet, ROOT / "samples" / f"{sample}.xml", compact).decode() == path.read_text("utf-8")


@pytest.mark.parametrize("path", SAMPLES, ids=name)
@pytest.mark.parametrize("stylesheet", [DISPLAY, BRANCHING])
def test_compact_view_has_one_line_per_context(path, stylesheet):
    holders = [context[0] for context in contexts(path.read_text("utf-8"))]
    lines = display(stylesheet, path, compact=True).decode().splitlines()
    assert len(lines) == max(1, len(holders))
    for holder, line in zip(holders, lines):
        assert f" {holder}" in line


@pytest.mark.parametrize("path", SAMPLES, ids=name)
@pytest.mark.parametrize("compact", [False, True], ids=["full", "compact"])
def test_every_condition_is_shown(path, compact):
    document = ElementTree.parse(path)
    text = display(DISPLAY, path, compact).decode()
    ranges = [*document.iter(NAMESPACE + "DateRange"), *document.iter(NAMESPACE + "UnitRange")]
    bounds = [bound for range_ in ranges for bound in range_.attrib.values()]
    values = [value.get("Name") for value in document.iter(NAMESPACE + "Value") if not value.get("DescId")]
    for shown in bounds + values:
        assert shown in text
    assert text.count(" = ") >= len(list(document.iter(NAMESPACE + "Feature")))


@pytest.mark.parametrize("path", SAMPLES, ids=name)
@pytest.mark.parametrize("compact", [False, True], ids=["full", "compact"])
def test_server_stylesheet_says_the_same_in_utf_16(path, compact):
    written = display(SERVER, path, compact)
    assert written[:2] in (b"\xff\xfe", b"\xfe\xff")
    assert written.decode("utf-16") == display(DISPLAY, path, compact).decode("utf-8")


def test_server_stylesheet_is_in_one_piece():
    text = (XSL / SERVER).read_text("utf-8")
    assert "xsl:template" in text
    for reference in ("xsl:include", "xsl:import", "document(", "<!DOCTYPE"):
        assert reference not in text


@pytest.mark.parametrize("stylesheet,encoding", [(DISPLAY, "UTF-8"), (BRANCHING, "UTF-8"), (SERVER, "UTF-16")])
def test_output_element_stands_on_one_line(stylesheet, encoding):
    lines = [line.strip() for line in (XSL / stylesheet).read_text("utf-8").splitlines() if "xsl:output" in line]
    assert lines == [f'<xsl:output method="text" encoding="{encoding}"/>']
