"""The samples follow the vocabulary, and the vocabulary suits operations that search plain text."""

import html
import subprocess
import sys
import xml.etree.ElementTree as ElementTree

import pytest
from expressions import (NAMESPACE, ROOT, SAMPLES, TextContexts, contexts, name, validation_errors, without_description)

WITH_CONTEXTS = [path for path in SAMPLES if "<Context" in path.read_text("utf-8")]

EXPRESSION = '<EffectivityExpression xmlns="urn:zep:configuration-expression">{}</EffectivityExpression>'
FILTER = '<FilterExpression xmlns="urn:zep:configuration-expression">{}</FilterExpression>'
CONTEXT = EXPRESSION.format('<Context HolderType="Model" HolderName="A">{}</Context>')
TRUE = "<Boolean>true</Boolean>"


def test_samples_cover_what_they_are_for():
    texts = [path.read_text("utf-8") for path in SAMPLES]
    assert len(texts) >= 12
    assert min(text.count("\n") for text in texts) == 1
    assert max(path.stat().st_size for path in SAMPLES) >= 100_000
    assert any(character > "\uffff" for text in texts for character in text)
    assert any("\u0600" <= character <= "\u06ff" for text in texts for character in text)
    found = {element.tag.removeprefix(NAMESPACE) for text in texts for element in ElementTree.fromstring(text.encode()).iter()}
    assert found == {
        "EffectivityExpression", "FilterExpression", "FilterSelection", "Description", "Summary", "Label", "Context",
        "InheritedEff", "Change", "And", "Or", "Not", "Feature", "Value", "DateRange", "UnitRange", "Boolean",
    }


def test_samples_follow_the_schema():
    assert validation_errors(*SAMPLES) == []


@pytest.mark.parametrize("document", [
    pytest.param(EXPRESSION.format(TRUE), id="no context"),
    pytest.param(CONTEXT.format(""), id="no condition"),
    pytest.param(FILTER.format(f'<FilterSelection SelectionMode="Strict">{TRUE}</FilterSelection>'), id="filter"),
])
def test_schema_accepts(document, tmp_path):
    (tmp_path / "document.xml").write_text(document)
    assert validation_errors(tmp_path / "document.xml") == []


@pytest.mark.parametrize("document", [
    pytest.param(CONTEXT.format(TRUE).replace(' xmlns="urn:zep:configuration-expression"', ""), id="no namespace"),
    pytest.param(EXPRESSION.format(""), id="nothing inside"),
    pytest.param(FILTER.format(TRUE), id="filter without selection"),
    pytest.param(FILTER.format(f"<FilterSelection>{TRUE}</FilterSelection>"), id="no selection mode"),
    pytest.param(EXPRESSION.format(f'<Context HolderType="Model">{TRUE}</Context>'), id="no holder name"),
    pytest.param(EXPRESSION.format(f'<Context HolderType="Ship" HolderName="A">{TRUE}</Context>'), id="holder type"),
    pytest.param(CONTEXT.format(TRUE + TRUE), id="two conditions"),
    pytest.param(CONTEXT.format(TRUE + '<Change Name="C" OperationHandlerId="1"/>'), id="change behind condition"),
    pytest.param(CONTEXT.format('<Change Name="C" OperationHandlerId="x"/>'), id="handler not a number"),
    pytest.param(CONTEXT.format('<Change Name="C" OperationHandlerId="2147483648"/>'), id="handler too large"),
    pytest.param(CONTEXT.format('<InheritedEff Domain="Variant" HolderName="B"/>'), id="no filterable id"),
    pytest.param(CONTEXT.format('<InheritedEff FilterableId="1" HolderName="B"/>'), id="nothing to stand before the id"),
    pytest.param(CONTEXT.format("<And/>"), id="empty and"),
    pytest.param(CONTEXT.format(f"<Not>{TRUE}{TRUE}</Not>"), id="not of two"),
    pytest.param(CONTEXT.format('<Feature Name="F"/>'), id="feature without value"),
    pytest.param(CONTEXT.format('<Feature Name="F" DescId="x"><Value Name="V"/></Feature>'), id="label missing"),
    pytest.param(CONTEXT.format('<DateRange From="2025-02-30"/>'), id="no such day"),
    pytest.param(CONTEXT.format('<UnitRange From="0"/>'), id="unit 0"),
    pytest.param(CONTEXT.format("<Boolean>TRUE</Boolean>"), id="boolean in capitals"),
    pytest.param(EXPRESSION.format('<Description><Label Id="a"/><Label Id="a"/></Description>' + TRUE), id="label twice"),
])
def test_schema_refuses(document, tmp_path):
    (tmp_path / "document.xml").write_text(document)
    assert validation_errors(tmp_path / "document.xml")


@pytest.mark.parametrize("path", WITH_CONTEXTS, ids=name)
def test_text_search_finds_what_the_parser_finds(path):
    text = path.read_text("utf-8")
    found = [(html.unescape(holder), inherited, handlers) for holder, inherited, handlers in TextContexts(text).contexts()]
    assert found == contexts(text)


@pytest.mark.parametrize("path", WITH_CONTEXTS, ids=name)
def test_each_context_alone_follows_the_schema(path, tmp_path):
    files = []
    for number, expression in enumerate(TextContexts(path.read_text("utf-8")).expressions()):
        files.append(tmp_path / f"{number}.xml")
        files[-1].write_text(expression, "utf-8")
    assert files
    assert validation_errors(*files) == []


@pytest.mark.parametrize("path", SAMPLES, ids=name)
def test_without_description_follows_the_schema(path, tmp_path):
    stripped = without_description(path.read_text("utf-8"))
    (tmp_path / path.name).write_text(stripped, "utf-8")
    assert "Desc" not in stripped
    assert validation_errors(tmp_path / path.name) == []


def test_large_samples_are_what_their_generator_writes(tmp_path):
    subprocess.run([sys.executable, ROOT / "samples" / "generate_large.py", tmp_path], check=True)
    generated = sorted(tmp_path.iterdir())
    assert len(generated) == 2
    for path in generated:
        assert path.read_bytes() == (ROOT / "samples" / path.name).read_bytes(), path.name
