"""What holds for the program as a whole, and the commands for finding out what is wrong."""

import json
import os
import signal
import subprocess

import pytest

import support

COMMANDS = [["format"], ["trace"], ["compile"], ["includes"], ["call"], ["ids"], ["stylesheet"], ["stylesheet", "check"], ["doctor"]]


def test_help_begins_with_an_example(zepcfg):
    assert zepcfg("--help").ok().text.lstrip().lower().startswith("example")


@pytest.mark.parametrize("command", COMMANDS, ids=" ".join)
def test_help_of_a_command_begins_with_an_example_of_it(zepcfg, command):
    text = zepcfg(*command, "--help").ok().text
    first = text.split("\n\n", 1)[0]
    assert first.lower().startswith("example")
    assert " ".join(command[:1]) in first
    assert "zepcfg" in first


def test_version_names_the_program(zepcfg):
    result = zepcfg("--version").ok()
    assert result.text.startswith("zepcfg ")
    assert any(character.isdigit() for character in result.text)


@pytest.mark.parametrize(
    "arguments",
    [["nonsense"], ["--nonsense"], [], ["format", "--nonsense"], ["stylesheet", "nonsense"], ["call"], ["call", "GET"],
     ["doctor", "too", "much"], ["stylesheet", "check"], ["includes"], ["includes", "a"], ["includes", "a", "b", "c"],
     ["compile", "a", "b"], ["ids"], ["always-true", "doctor"]],
    ids=" ".join,
)
def test_bad_command_line_fails_with_a_pointer_to_the_help(zepcfg, arguments):
    zepcfg(*arguments).failed("--help")


MISTYPED = [
    (["fromat"], "format"),
    (["docter"], "doctor"),
    (["stylesheet", "chek", "a"], "check"),
    (["format", "--compct"], "--compact"),
    (["format", "--stylesheet=a", "--jsnl"], "--jsonl"),
    (["--ulr", "http://127.0.0.1:1", "doctor"], "--url"),
    (["trace", "--failure", "a"], "--failures"),
    (["call", "get", "/a"], "GET"),
]


@pytest.mark.parametrize(("arguments", "meant"), MISTYPED, ids=[" ".join(row[0]) for row in MISTYPED])
def test_mistyped_word_is_a_failure_that_says_what_was_meant(zepcfg, arguments, meant):
    result = zepcfg(*arguments).failed(meant, "--help")
    assert meant in result.err


def test_unknown_command_is_named(zepcfg):
    zepcfg("nonsense").failed("nonsense")


@pytest.mark.parametrize("place", ["stderr", "file"])
def test_trace_shows_the_operations_of_the_library(zepcfg, tmp_path, place):
    file = tmp_path / "trace.log"
    option = "--trace" if place == "stderr" else f"--trace={file}"
    result = zepcfg(option, "format", "--stylesheet", support.DISPLAY, support.SMALL_SAMPLE).ok()
    assert result.out == support.xsltproc(support.DISPLAY, support.SMALL_SAMPLE)
    trace = result.err if place == "stderr" else file.read_text(encoding="utf-8")
    assert "FormatExpression" in trace
    assert "ZEPCfgXMLExpressionServices.cpp" in trace
    assert "in_customXSLFile = [" in trace
    assert "S_OK" in trace
    if place == "file":
        assert result.err == ""


# A folder that is missing, a disk that is full.
@pytest.mark.parametrize("place", ["missing/trace.log", "/dev/full"])
def test_trace_that_cannot_be_written_changes_no_result(zepcfg, tmp_path, place):
    result = zepcfg(f"--trace={tmp_path / place}", "format", "--stylesheet", support.DISPLAY, support.SMALL_SAMPLE)
    assert result.ok().out == support.xsltproc(support.DISPLAY, support.SMALL_SAMPLE)


def test_nothing_is_traced_without_being_asked(zepcfg):
    assert zepcfg("format", "--stylesheet", support.DISPLAY, support.SMALL_SAMPLE).ok().err == ""


def test_doctor_finds_a_good_environment_good(zepcfg):
    result = zepcfg("doctor").ok()
    assert result.text
    checks = zepcfg("--json", "doctor").ok().json["checks"]
    assert len(checks) >= 3
    assert "CfgEffectivityDisplay.xsl" in json.dumps(checks)


def test_doctor_finds_a_good_server_good(zepcfg, demo_server):
    server = demo_server()
    result = zepcfg("--url", server.url, "--context", support.CONTEXT, "doctor").ok()
    assert server.url in result.text


@pytest.fixture
def doctor_says(zepcfg):
    def run(*words, options=(), **environment):
        result = zepcfg(*options, "doctor", **environment)
        assert result.code in (1, 2)
        for word in words:
            assert word in result.text, result.text
        answer = json.loads(zepcfg("--json", *options, "doctor", **environment).out)
        for word in words:
            assert word in json.dumps(answer["checks"], ensure_ascii=False)

    return run


def test_doctor_tells_of_an_unreachable_server(doctor_says):
    url = f"http://127.0.0.1:{support.unused_port()}"
    doctor_says(url, options=["--url", url, "--context", support.CONTEXT])


def test_doctor_tells_of_a_server_that_answers_html(doctor_says, demo_server):
    url = demo_server("--misbehave", "html").url
    doctor_says(url, options=["--url", url, "--context", support.CONTEXT])


def test_doctor_tells_of_a_missing_context(doctor_says, demo_server):
    doctor_says("--context", options=["--url", demo_server().url])


def test_doctor_tells_of_the_setting_debug(zepcfg, doctor_says):
    zepcfg.set_stylesheet_setting("debug")
    doctor_says("EffCustoPath", "debug")


def test_doctor_tells_of_a_setting_file_that_is_no_toml(zepcfg, doctor_says):
    (zepcfg.settings / "EffeCustoFilePathSetting.toml").write_text("EffCustoPath = = \n")
    doctor_says("EffeCustoFilePathSetting.toml")


def test_doctor_tells_of_a_setting_that_names_a_missing_file(zepcfg, doctor_says):
    zepcfg.set_stylesheet_setting("/no/such/file.xsl")
    doctor_says("/no/such/file.xsl")


def test_doctor_tells_of_an_installation_without_stylesheets(doctor_says, tmp_path):
    doctor_says("ZEPInstallPath", ZEPInstallPath=str(tmp_path))


@pytest.mark.parametrize(
    ("stylesheet", "decoded"),
    [(support.DISPLAY, "UTF-8"), (support.BRANCHING, "UTF-8"), (support.SERVER_DISPLAY, "UTF-16")],
    ids=["plain", "branching", "server"],
)
def test_check_finds_nothing_in_the_shipped_stylesheets(zepcfg, stylesheet, decoded):
    answer = zepcfg("--json", "stylesheet", "check", stylesheet).ok().json
    assert (answer["hresult"], answer["decodedAs"], answer["findings"]) == (0, decoded, [])
    assert decoded in zepcfg("stylesheet", "check", stylesheet).ok().text


FINDINGS = {
    "encoding-on-its-own-line": (
        support.text_stylesheet("x").replace(' encoding="UTF-8"', '\n encoding="UTF-8"'),
        ["encoding"],
    ),
    "document-function": (support.text_stylesheet("<xsl:value-of select=\"document('x.xml')\"/>"), ["document"]),
    "writing-element": (
        support.text_stylesheet(
            '<exsl:document href="x" xmlns:exsl="http://exslt.org/common" extension-element-prefixes="exsl">x</exsl:document>'
        ),
        ["exsl:document"],
    ),
    "include-outside": (
        support.text_stylesheet("x", top='<xsl:include href="../outside.xsl"/>'),
        ["../outside.xsl"],
    ),
    "unknown-encoding": (support.text_stylesheet("x", ' encoding="NONSENSE-8"'), ["NONSENSE-8"]),
    "not-a-stylesheet": ("<page/>", []),
    "not-xml": ("<page>", []),
}


@pytest.mark.parametrize("kind", FINDINGS)
def test_check_finds_what_would_surprise(zepcfg, tmp_path, kind):
    stylesheet, words = FINDINGS[kind]
    file = tmp_path / "checked.xsl"
    file.write_text(stylesheet)
    result = zepcfg("stylesheet", "check", file)
    assert result.code == 1
    answer = zepcfg("--json", "stylesheet", "check", file)
    assert answer.code == 1
    assert len(answer.json["findings"]) >= 1
    for word in words:
        assert word in result.text
        assert word in json.dumps(answer.json["findings"], ensure_ascii=False)


LINES = {
    "not-compiling": (support.text_stylesheet("\n<xsl:nonsense/>"), 5, "nonsense"),
    "duplicate": (support.text_stylesheet("x", top='<xsl:template name="a"/>\n<xsl:template name="a"/>\n'), 5, "duplicate"),
    "failing-at-work": (support.text_stylesheet("\n<xsl:value-of select='$none'/>"), 5, "none"),
    "not-well-formed": (support.text_stylesheet("\n</xsl:if>"), 5, "not well-formed"),
    "not-compiling-in-three-lines": (support.text_stylesheet("\n<xsl:if\n\n  test='('/>"), 5, "test"),
    "failing-in-three-lines": (support.text_stylesheet("\n<xsl:value-of\n\n  select='$none'/>"), 5, "none"),
    "html": (support.text_stylesheet("x").replace('"text"', '"html"'), 3, "not html"),
    "newer-function": (support.text_stylesheet("\n\n<xsl:value-of select='lower-case(.)'/>"), 6, "lower-case"),
}


@pytest.mark.parametrize("kind", LINES)
def test_check_names_the_line(zepcfg, tmp_path, kind):
    stylesheet, line, word = LINES[kind]
    (tmp_path / "checked.xsl").write_text(stylesheet)
    for file in (tmp_path / "checked.xsl", "checked.xsl"):
        answer = zepcfg("--json", "stylesheet", "check", file, cwd=tmp_path)
        assert answer.code == 1
        assert [finding["line"] for finding in answer.json["findings"]] == [line]
        assert any(finding["line"] == line and word in finding["text"] for finding in answer.json["findings"]), answer.json


def test_check_for_a_server_follows_its_rules(zepcfg, tmp_path):
    file = tmp_path / "checked.xsl"
    file.write_text(support.text_stylesheet("x"))
    assert zepcfg("stylesheet", "check", file).ok()
    answer = zepcfg("--json", "stylesheet", "check", "--server", file)
    assert (answer.code, answer.json["decodedAs"]) == (1, "UTF-16")
    assert [(finding["line"], "decoded as UTF-16" in finding["text"]) for finding in answer.json["findings"]] == [(3, True)]
    file.write_text(support.text_stylesheet("x", ' encoding="UTF-16"'))
    assert zepcfg("stylesheet", "check", "--server", file).ok()
    for refused in ('<!DOCTYPE a [<!ENTITY b "c">]>', '<xsl:include href="checked.xsl"/>'):
        place = '<xsl:stylesheet' if refused.startswith("<!") else "<xsl:template"
        file.write_text(support.text_stylesheet("x", ' encoding="UTF-16"').replace(place, refused + place))
        assert zepcfg("stylesheet", "check", "--server", file).code == 1


def test_check_of_a_missing_file_fails(zepcfg, tmp_path):
    failure = zepcfg("stylesheet", "check", tmp_path / "missing.xsl").failed("missing.xsl", "zepcfg stylesheet says")
    assert "--stylesheet" not in failure.err


def test_check_of_a_folder_fails(zepcfg, tmp_path):
    zepcfg("stylesheet", "check", tmp_path).failed(str(tmp_path))


def test_interrupt_ends_a_call_at_once(zepcfg, raw_server):
    server = raw_server(b"", ending="hold")
    process = subprocess.Popen(
        [str(zepcfg.path), "--url", server.url, "--context", support.CONTEXT, "call", "GET", "/echo"],
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        env=zepcfg.environment,
    )
    try:
        while not server.received:
            assert process.poll() is None
            os.sched_yield()
        process.send_signal(signal.SIGINT)
        assert process.wait(timeout=5) in (-signal.SIGINT, 128 + signal.SIGINT, 2)
    finally:
        process.kill()
        process.communicate()


def test_stalled_server_is_given_up(zepcfg, raw_server):
    server = raw_server(b"HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n{", ending="hold")
    zepcfg(
        "--url", server.url, "--context", support.CONTEXT, "call", "GET", "/echo", ZEP_HTTP_STALL_TIMEOUT_MS="300"
    ).failed(server.url)


def test_body_beyond_the_limit_is_given_up(zepcfg, demo_server):
    server = demo_server("--misbehave", "endless")
    zepcfg(
        "--url", server.url, "--context", support.CONTEXT, "call", "GET", support.SERVICE,
        ZEP_HTTP_MAX_BODY_BYTES="100000",
    ).failed(server.url)


def test_refused_header_section_is_no_answer(zepcfg, raw_server):
    server = raw_server(b"HTTP/1.1 200 OK\r\nA: " + b"x" * 2_000_000)
    zepcfg("--url", server.url, "--context", support.CONTEXT, "call", "GET", "/echo").failed(server.url)
