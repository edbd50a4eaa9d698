"""The page about the vocabulary tells the truth."""

import re

import pytest
from expressions import ROOT, display, validation_errors

PAGE = (ROOT / "docs" / "expression-vocabulary.md").read_text("utf-8")


def block(kind):
    found = re.findall(rf"^```{kind}\n(.*?)^```$", PAGE, re.DOTALL | re.MULTILINE)
    assert len(found) == 1
    return found[0]


@pytest.fixture
def example(tmp_path):
    path = tmp_path / "example.xml"
    path.write_text(block("xml"), "utf-8")
    return path


def test_example_follows_the_schema(example):
    assert validation_errors(example) == []


@pytest.mark.parametrize("kind,stylesheet,compact", [
    ("text", "CfgEffectivityDisplay.xsl", False),
    ("text compact", "CfgEffectivityDisplay.xsl", True),
    ("text branching", "CfgEffectivityDisplay_Branching.xsl", False),
])
def test_example_is_displayed_as_shown(example, kind, stylesheet, compact):
    assert display(stylesheet, example, compact).decode() == block(kind)


def test_words_make_the_always_true_filter():
    word = dict(re.findall(r"^\| `([A-Z_]+)` \| `(.*)` \|$", PAGE, re.MULTILINE))
    assert len(word) == 16
    attributes = [
        ("ATTRIBUTE_NAMESPACE", "CFG_NAMESPACE"),
        ("ATTRIBUTE_XML_NAMESPACE", "VAL_XML_NAMESPACE"),
        ("ATTRIBUTE_SCHEMA_LOCATION", "FILTEREXPR_SCHEMA_LOCATION"),
    ]
    root = word["FILTEREXPR_ELEMENT_ROOT"] + "".join(f' {word[name]}="{word[value]}"' for name, value in attributes)
    selection = f'{word["ELEMENT_FILTERSELECTION"]} {word["ATTR_SELECTIONMODE"]}="{word["VAL_STRICT"]}"'
    holder = f'{word["ATTR_HOLDER_TYPE"]}="{word["VAL_MODEL"]}" {word["ATTR_HOLDER_NAME"]}="Kestrel 40"'
    boolean = f'<{word["ELEMENT_BOOLEAN"]}>{word["VAL_TRUE"]}</{word["ELEMENT_BOOLEAN"]}>'
    written = (f'<{root}><{selection}><{word["ELEMENT_CONTEXT"]} {holder}>{boolean}</{word["ELEMENT_CONTEXT"]}>'
               f'</{word["ELEMENT_FILTERSELECTION"]}></{word["FILTEREXPR_ELEMENT_ROOT"]}>\n')
    assert written == (ROOT / "samples" / "filter-always.xml").read_text("utf-8")
