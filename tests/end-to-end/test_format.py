"""Display text of expressions, with a stylesheet that is named on the command line."""

import json
import os
import signal
import stat
import subprocess

import pytest

import support

CASES = [
    pytest.param(stylesheet, sample, compact, id=f"{name}-{sample.stem}-{'compact' if compact else 'full'}")
    for name, stylesheet in {"plain": support.DISPLAY, "branching": support.BRANCHING}.items()
    for sample in support.SAMPLE_FILES
    for compact in (False, True)
]


def test_samples_are_many():
    assert len(support.SAMPLE_FILES) >= 12


@pytest.mark.parametrize(("stylesheet", "sample", "compact"), CASES)
def test_sample_gives_the_bytes_that_xsltproc_gives(zepcfg, stylesheet, sample, compact):
    options = ["--compact"] if compact else []
    result = zepcfg("format", "--stylesheet", stylesheet, *options, sample).ok()
    assert result.out == support.xsltproc(stylesheet, sample, compact)
    assert result.out != b""
    assert result.err == ""


@pytest.mark.parametrize("sample", support.SAMPLE_FILES, ids=lambda file: file.stem)
@pytest.mark.parametrize("compact", [False, True], ids=["full", "compact"])
def test_utf16_stylesheet_gives_the_same_text_in_utf8(zepcfg, sample, compact):
    options = ["--compact"] if compact else []
    result = zepcfg("format", "--stylesheet", support.SERVER_DISPLAY, *options, sample).ok()
    assert result.text == support.xsltproc(support.SERVER_DISPLAY, sample, compact).decode("utf-16")


def test_stylesheet_without_encoding_gives_the_text_that_xsltproc_gives(zepcfg, tmp_path):
    stylesheet = tmp_path / "plain.xsl"
    stylesheet.write_text(
        support.text_stylesheet("Grüße 🐦: <xsl:value-of select='count(//*)'/>", encoding=""), encoding="utf-8"
    )
    result = zepcfg("format", "--stylesheet", stylesheet, support.SMALL_SAMPLE).ok()
    assert result.out == support.xsltproc(stylesheet, support.SMALL_SAMPLE)


@pytest.mark.parametrize("arguments", [[], ["-"]], ids=["no-file", "dash"])
def test_expression_comes_from_stdin(zepcfg, arguments):
    result = zepcfg(
        "format", "--stylesheet", support.DISPLAY, *arguments, stdin=support.SMALL_SAMPLE.read_bytes()
    ).ok()
    assert result.out == support.xsltproc(support.DISPLAY, support.SMALL_SAMPLE)


def test_json_object_holds_result_and_text(zepcfg):
    result = zepcfg("format", "--json", "--stylesheet", support.DISPLAY, support.SMALL_SAMPLE).ok()
    assert result.json == {
        "hresult": 0,
        "result": "S_OK",
        "text": support.xsltproc(support.DISPLAY, support.SMALL_SAMPLE).decode(),
    }
    assert result.out.endswith(b"}\n")


def test_empty_expression_is_nothing_to_do(zepcfg):
    assert zepcfg("format", "--stylesheet", support.DISPLAY).ok().out == b""
    result = zepcfg("format", "--json", "--stylesheet", support.DISPLAY).ok()
    assert result.json == {"hresult": 1, "result": "S_FALSE", "text": ""}


def test_empty_display_text_is_success(zepcfg, tmp_path):
    stylesheet = tmp_path / "empty.xsl"
    stylesheet.write_text(support.text_stylesheet(""))
    assert zepcfg("format", "--stylesheet", stylesheet, support.SMALL_SAMPLE).ok().out == b""


def test_output_file_gets_the_text_and_stdout_nothing(zepcfg, tmp_path):
    output = tmp_path / "text.txt"
    result = zepcfg("format", "--stylesheet", support.DISPLAY, "-o", output, support.SMALL_SAMPLE).ok()
    assert result.out == b""
    assert output.read_bytes() == support.xsltproc(support.DISPLAY, support.SMALL_SAMPLE)
    assert sorted(path.name for path in tmp_path.iterdir()) == ["text.txt", "zepcfg-home"]


def test_output_file_is_replaced(zepcfg, tmp_path):
    output = tmp_path / "text.txt"
    output.write_text("old and much longer than what comes" * 1000)
    zepcfg("format", "--stylesheet", support.DISPLAY, "-o", output, support.SMALL_SAMPLE).ok()
    assert output.read_bytes() == support.xsltproc(support.DISPLAY, support.SMALL_SAMPLE)


def test_output_file_of_a_failure_stays_as_it_was(zepcfg, tmp_path):
    output = tmp_path / "text.txt"
    output.write_text("old")
    broken = tmp_path / "broken.xml"
    broken.write_text("<a><b></a>")
    zepcfg("format", "--stylesheet", support.DISPLAY, "-o", output, broken).failed()
    assert output.read_text() == "old"
    assert sorted(path.name for path in tmp_path.iterdir()) == ["broken.xml", "text.txt", "zepcfg-home"]


def test_failure_makes_no_output_file(zepcfg, tmp_path):
    broken = tmp_path / "broken.xml"
    broken.write_text("<a><b></a>")
    zepcfg("format", "--stylesheet", support.DISPLAY, "-o", tmp_path / "new.txt", broken).failed()
    assert sorted(path.name for path in tmp_path.iterdir()) == ["broken.xml", "zepcfg-home"]


def test_output_file_in_a_missing_folder_fails(zepcfg, tmp_path):
    output = tmp_path / "missing" / "text.txt"
    zepcfg("format", "--stylesheet", support.DISPLAY, "-o", output, support.SMALL_SAMPLE).failed(str(output))


def test_output_file_keeps_its_permissions_readable_for_others(zepcfg, tmp_path):
    output = tmp_path / "text.txt"
    zepcfg("format", "--stylesheet", support.DISPLAY, "-o", output, support.SMALL_SAMPLE).ok()
    mask = os.umask(0)
    os.umask(mask)
    assert stat.S_IMODE(output.stat().st_mode) == 0o666 & ~mask


def test_text_on_a_terminal_is_the_same(zepcfg):
    result = zepcfg.on_terminal("format", "--stylesheet", support.DISPLAY, support.SMALL_SAMPLE).ok()
    assert result.out == support.xsltproc(support.DISPLAY, support.SMALL_SAMPLE)


def test_closed_pipe_ends_it_quietly(zepcfg, tmp_path):
    stylesheet = tmp_path / "long.xsl"
    stylesheet.write_text(
        support.text_stylesheet("<xsl:for-each select='//*'>" + "x" * 100_000 + "</xsl:for-each>")
    )
    process = subprocess.Popen(
        [str(zepcfg.path), "format", "--stylesheet", str(stylesheet), str(support.SMALL_SAMPLE)],
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        env=zepcfg.environment,
    )
    process.stdout.close()
    err = process.stderr.read()
    process.stderr.close()
    assert process.wait(timeout=30) in (0, 2, -signal.SIGPIPE, 128 + signal.SIGPIPE)
    assert err == b""


def test_namespaces_and_entities_of_xml_are_read(zepcfg, tmp_path):
    expression = tmp_path / "expression.xml"
    expression.write_text("<a b='&lt;&#x1F426;&quot;'>&amp;</a>")
    stylesheet = tmp_path / "show.xsl"
    stylesheet.write_text(support.text_stylesheet("<xsl:value-of select='concat(a/@b, a)'/>"))
    assert zepcfg("format", "--stylesheet", stylesheet, expression).ok().text == "<🐦\"&"


@pytest.mark.parametrize("encoding", ["ISO-8859-1", "UTF-16", "UTF-8", "windows-1252"])
def test_expression_is_read_in_the_encoding_that_it_declares(zepcfg, tmp_path, encoding):
    expression = tmp_path / "expression.xml"
    expression.write_text(f'<?xml version="1.0" encoding="{encoding}"?><a>é</a>', encoding=encoding)
    stylesheet = tmp_path / "show.xsl"
    stylesheet.write_text(support.text_stylesheet("<xsl:value-of select='a'/>"))
    assert zepcfg("format", "--stylesheet", stylesheet, expression).ok().text == "é"


def test_json_failure_object_says_what_failed(zepcfg, tmp_path):
    broken = tmp_path / "broken.xml"
    broken.write_text("<a><b></a>")
    result = zepcfg("format", "--json", "--stylesheet", support.DISPLAY, broken)
    assert result.code == 2
    answer = json.loads(result.out)
    assert answer["hresult"] < 0
    assert answer["result"]
    assert answer.get("text", "") == ""
