"""The example programs, with exactly what they print. They may come from the build or have been built
against an installation: ZEP_EXAMPLES_DIR holds the programs, ZEP_PREFIX what they are run with."""

import json
import os
import pathlib
import subprocess

import pytest

EXAMPLES = pathlib.Path(os.environ["ZEP_EXAMPLES_DIR"])
SOURCES = pathlib.Path(os.environ["ZEP_EXAMPLES_SOURCES"])
PREFIX = pathlib.Path(os.environ["ZEP_PREFIX"])
SHARE = PREFIX / "share" / "zepcfg"
SAMPLES = SHARE / "samples"
STYLESHEET = SHARE / "resources" / "xsl" / "CfgEffectivityDisplay.xsl"

NAMES = sorted(source.stem for source in SOURCES.glob("*.cpp"))
FAILED = "{} failed with 0x{}; with ZEP_TRACE=1 in the environment the trace says why\n"


def run(program, *arguments, **variables):
    """Exit code, stdout and stderr of a program that sees nothing of the caller's settings."""
    kept = ("PATH", "LD_LIBRARY_PATH", "ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS")
    environment = {name: os.environ[name] for name in kept if name in os.environ}
    environment |= {"HOME": "/nonexistent", "LANG": "C.UTF-8", "ZEPInstallPath": str(SHARE)} | variables
    done = subprocess.run([program, *map(str, arguments)], capture_output=True, timeout=60, env=environment)
    return done.returncode, done.stdout.decode(), done.stderr.decode()


def example(name, *arguments, **variables):
    return run(EXAMPLES / name, *arguments, **variables)


@pytest.fixture
def compiled(tmp_path):
    """Compiles a sample and gives the compiled file."""

    def compile_sample(name):
        file = tmp_path / f"{name}.zcf"
        assert run(PREFIX / "bin" / "zepcfg", "compile", "-o", file, SAMPLES / f"{name}.xml")[0] == 0
        return file

    return compile_sample


@pytest.fixture
def server():
    command = [PREFIX / "bin" / "zep-demo-server"]
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as process:
        yield process.stdout.readline().strip()
        process.terminate()
    assert process.returncode == 0


def test_examples_are_five_and_short():
    assert len(NAMES) == 5
    for name in NAMES:
        assert (SOURCES / f"{name}.cpp").read_text().count("\n") < 60, name


@pytest.mark.parametrize("name", NAMES)
def test_every_example_without_arguments_says_how_it_is_used(name):
    code, out, err = example(name)
    assert (code, out) == (2, "")
    assert err.startswith(f"usage: {name} ")


def test_format_one_shows_an_expression_with_the_installed_stylesheet():
    expected = "Model Kestrel 40\n  Roof = Panorama\n\nPlant Line 3\n  dates 2024-06-01 to 2026-05-31\n"
    assert example("format_one", SAMPLES / "two-contexts.xml") == (0, expected, "")


def test_format_one_takes_a_stylesheet(tmp_path):
    stylesheet = tmp_path / "count.xsl"
    stylesheet.write_text(
        '<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform"'
        ' xmlns:c="urn:zep:configuration-expression">\n<xsl:output method="text" encoding="UTF-8"/>\n'
        '<xsl:template match="/"><xsl:value-of select="count(//c:Context)"/> contexts&#10;</xsl:template>\n'
        "</xsl:stylesheet>\n"
    )
    assert example("format_one", SAMPLES / "two-contexts.xml", stylesheet) == (0, "2 contexts\n", "")


def test_format_one_of_something_else_says_what_failed(tmp_path):
    broken = tmp_path / "broken.xml"
    broken.write_text("<EffectivityExpression>")
    assert example("format_one", broken) == (2, "", FAILED.format("FormatExpression", "80004005"))
    assert example("format_one", tmp_path / "none.xml") == (2, "", f"{tmp_path}/none.xml: cannot be read\n")


def test_format_one_without_any_stylesheet_says_that_nothing_was_formatted(tmp_path):
    code, out, err = example("format_one", SAMPLES / "two-contexts.xml", ZEPInstallPath=str(tmp_path))
    assert (code, out) == (1, "")
    assert err == "nothing was formatted: the expression is empty, or there is no stylesheet\n"


def test_format_many_shows_one_line_for_each_context():
    two, units = SAMPLES / "two-contexts.xml", SAMPLES / "units.xml"
    expected = (
        f"{two}:\nModel Kestrel 40: Roof = Panorama\nPlant Line 3: dates 2024-06-01 to 2026-05-31\n"
        f"{units}:\nModel Heron: (units up to 12 or units 40 to 99 or units from 250) and not unit 57\n"
    )
    assert example("format_many", STYLESHEET, two, units) == (0, expected, "")


def test_split_and_strip_prints_each_context_without_descriptions(tmp_path):
    expression = tmp_path / "expression.xml"
    expression.write_text(
        '<E><Description><Label Id="p">Paint</Label></Description>'
        '<Context HolderName="A"><InheritedEff HolderName="F" FilterableId="7"/></Context>'
        '<Context HolderName="B"><Feature Name="Paint" DescId="p"/></Context></E>'
    )
    expected = (
        "A: 1 inherited, 0 changed\n"
        '<E><Context HolderName="A"><InheritedEff HolderName="F" FilterableId="7"/></Context></E>\n'
        "B: 0 inherited, 0 changed\n"
        '<E><Context HolderName="B"><Feature Name="Paint" /></Context></E>\n'
    )
    assert example("split_and_strip", expression) == (0, expected, "")


def test_call_web_service_prints_the_answer_of_the_server(server):
    environment = {"ZEP_URL": server, "ZEP_CONTEXT": "Design"}
    code, out, err = example("call_web_service", "POST", "/echo", '{"part": 4711}', **environment)
    assert (code, err) == (0, "")
    answer = json.loads(out)
    assert (answer["method"], answer["path"], answer["body"]) == ("POST", "/echo", '{"part": 4711}')
    assert "Design" in json.dumps(answer["headers"])


def test_call_web_service_tells_failures_apart(server):
    environment = {"ZEP_URL": server, "ZEP_CONTEXT": "Design"}
    missing = example("call_web_service", "GET", "/status/404", **environment)
    assert missing == (1, "", "the server has no /status/404\n")
    code, out, err = example("call_web_service", "GET", "/status/403", **environment)
    assert (code, out) == (1, "")
    assert err.startswith("the server refused: ")
    without_url = example("call_web_service", "GET", "/echo", ZEP_CONTEXT="Design")
    assert without_url == (2, "", FAILED.format("CallWebService", "80004005"))


def test_compare_filters_answers_both_ways(compiled):
    diesel, every = compiled("one-feature"), compiled("always")
    assert example("compare_filters", diesel, every) == (0, f"{diesel} is included in {every}\n", "")
    assert example("compare_filters", every, diesel) == (1, f"{every} is not included in {diesel}\n", "")


def test_compare_filters_of_something_else_says_what_failed(compiled):
    text = SAMPLES / "always.xml"
    expected = (2, "", FAILED.format("IsAIncludedInB", "80070057"))
    assert example("compare_filters", text, compiled("always")) == expected
