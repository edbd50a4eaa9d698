"""split, strip and always-true on one expression."""

import json
import subprocess

import pytest

import support

CONTEXTS = '<E><Context HolderName="A"><InheritedEff x="" FilterableId="7" HolderName="F"/></Context><Context HolderName="B"/></Context></E>'


def test_split_prints_one_expression_for_each_context(zepcfg):
    result = zepcfg("split", stdin=CONTEXTS.encode()).ok()
    assert result.text.splitlines() == [
        '<E><Context HolderName="A"><InheritedEff x="" FilterableId="7" HolderName="F"/></Context></E>',
        '<E><Context HolderName="B"/></Context></E>',
    ]


def test_split_json_names_what_was_found(zepcfg):
    result = zepcfg("split", "--json", stdin=CONTEXTS.encode()).ok()
    assert result.json["hresult"] == 0
    assert result.json["contexts"][0] == {
        "contextName": "A",
        "contextExpression": '<E><Context HolderName="A"><InheritedEff x="" FilterableId="7" HolderName="F"/></Context></E>',
        "inheritedEffIds": [7],
        "holderNames": ["F"],
        "operationHandlerIds": [],
    }


@pytest.mark.parametrize("sample", support.SAMPLE_FILES, ids=lambda file: file.stem)
def test_every_part_of_a_split_sample_can_be_formatted(zepcfg, sample):
    contexts = zepcfg("split", "--json", sample).ok().json["contexts"]
    whole = zepcfg("format", "--compact", "--stylesheet", support.DISPLAY, sample).ok().text
    for context in contexts:
        text = zepcfg(
            "format", "--compact", "--stylesheet", support.DISPLAY, stdin=context["contextExpression"].encode()
        ).ok().text
        assert text in whole


def test_split_without_contexts_prints_nothing(zepcfg):
    assert zepcfg("split", stdin=b"<E/>").ok().out == b""
    assert zepcfg("split", "--json", stdin=b"").ok().json == {"hresult": 0, "result": "S_OK", "contexts": []}


def test_split_ends_where_a_walk_would_go_round(zepcfg):
    result = zepcfg("split", "--json", stdin=b'<Context HolderName="A"><InheritedEff/></Context>').ok()
    assert len(result.json["contexts"][0]["inheritedEffIds"]) == 1


def test_strip_removes_description_and_references_to_it(zepcfg):
    expression = b'<Expr DescId="a"><Description>text</Description><And DescId="b"/></Expr>'
    assert zepcfg("strip", stdin=expression).ok().text == "<Expr ><And /></Expr>"
    assert zepcfg("strip", "--json", stdin=expression).ok().json == {
        "hresult": 0,
        "result": "S_OK",
        "text": "<Expr ><And /></Expr>",
    }


def test_strip_keeps_what_the_display_text_says_without_labels(zepcfg, tmp_path):
    out = tmp_path / "stripped.xml"
    zepcfg("strip", "-o", out, support.SAMPLES / "described.xml").ok()
    assert b"Description" not in out.read_bytes() and b"DescId" not in out.read_bytes()
    zepcfg("format", "--stylesheet", support.DISPLAY, out).ok()


@pytest.mark.parametrize(
    ("expression", "error"),
    [
        (b"<Expr/>", "ERROR: no quote found!"),
        (b'<Expr a="">Description', "ERROR: /Description not found"),
        (b'<Expr a="" DescId="', "ERROR: end of DescId not found"),
    ],
)
def test_strip_failure_says_why(zepcfg, expression, error):
    zepcfg("strip", stdin=expression).failed("standard input", "RemoveDescription", "E_FAIL", error)


def test_strip_failure_leaves_no_file(zepcfg, tmp_path):
    zepcfg("strip", "-o", tmp_path / "out.xml", stdin=b"<Expr/>").failed()
    assert not (tmp_path / "out.xml").exists()


@pytest.mark.parametrize("model", [None, "Heron", 'K "40" <&> \U0001F426'])
def test_always_true_is_valid_and_formats(zepcfg, tmp_path, model):
    filter_file = tmp_path / "filter.xml"
    zepcfg("always-true", "-o", filter_file, *(["--model", model] if model else [])).ok()
    schema = support.RESOURCES / "schema" / "ConfigurationExpression.xsd"
    done = subprocess.run(["xmllint", "--noout", "--nonet", "--schema", str(schema), str(filter_file)], capture_output=True)
    assert done.returncode == 0, done.stderr
    text = zepcfg("format", "--compact", "--stylesheet", support.DISPLAY, filter_file).ok().text
    assert (model or "") in text


def test_always_true_refuses_a_name_that_xml_cannot_hold(zepcfg):
    zepcfg("always-true", "--model", "a\x01b").failed("GenerateFilterExpressionTrue", "control characters")


@pytest.mark.parametrize("command", ["split", "strip"])
def test_help_begins_with_an_example(zepcfg, command):
    assert zepcfg(command, "--help").ok().text.startswith(f"Example: zepcfg {command} ")


@pytest.mark.parametrize("command", ["split", "strip", "format"])
def test_missing_file_is_named(zepcfg, command):
    zepcfg(command, "nowhere.xml").failed("nowhere.xml", "check the name")


def test_several_files_come_in_order(zepcfg):
    files = support.SAMPLE_FILES[:5]
    one_by_one = b"".join(zepcfg("format", "--stylesheet", support.DISPLAY, file).ok().out for file in files)
    assert zepcfg("format", "--stylesheet", support.DISPLAY, *files).ok().out == one_by_one
    assert zepcfg("format", "--batch", "--stylesheet", support.DISPLAY, *files).ok().out == one_by_one


def test_several_files_as_json(zepcfg):
    files = support.SAMPLE_FILES[:3]
    for batch in ([], ["--batch"]):
        items = zepcfg("format", "--json", *batch, "--stylesheet", support.DISPLAY, *files).ok().json["items"]
        assert [item["file"] for item in items] == [str(file) for file in files]
        for item, file in zip(items, files):
            assert item["text"] == support.xsltproc(support.DISPLAY, file).decode()


def test_batch_is_never_compact(zepcfg):
    files = support.SAMPLE_FILES[:2]
    plain = zepcfg("format", "--batch", "--stylesheet", support.DISPLAY, *files).ok()
    compact = zepcfg("format", "--batch", "--compact", "--stylesheet", support.DISPLAY, *files).ok()
    assert compact.out == plain.out
    assert "never compact" in compact.err


@pytest.mark.parametrize("batch", [[], ["--batch"]], ids=["sequence", "batch"])
def test_failing_file_among_several_is_named(zepcfg, tmp_path, batch):
    bad = tmp_path / "bad.xml"
    bad.write_text("<not closed")
    files = [support.SMALL_SAMPLE, support.SMALL_SAMPLE, bad, support.SMALL_SAMPLE]
    out = tmp_path / "out.txt"
    zepcfg("format", *batch, "--stylesheet", support.DISPLAY, "-o", out, *files).failed("bad.xml", "well-formed")
    assert not out.exists()
