"""Files that are missing, broken or hostile: exit code 2, one clear message, nothing half-written."""

import resource
import subprocess

import pytest

import support


@pytest.fixture
def write(tmp_path):
    def make(name, content):
        file = tmp_path / name
        file.write_bytes(content if isinstance(content, bytes) else content.encode("utf-8"))
        return file

    return make


@pytest.fixture
def fails(zepcfg, tmp_path):
    """Formats into a file and expects the failure; the file must not appear."""

    def run(stylesheet, expression, *words, timeout=60):
        output = tmp_path / "result.txt"
        result = zepcfg("format", "--stylesheet", stylesheet, "-o", output, expression, timeout=timeout)
        result.failed(*words)
        assert "remedy: " in result.err
        assert [path.name for path in tmp_path.iterdir() if path.name.startswith("result")] == []
        return result

    return run


def test_missing_expression_file_fails(fails, tmp_path):
    fails(support.DISPLAY, tmp_path / "missing.xml", "missing.xml", "No such file")


def test_expression_that_is_a_folder_fails(fails, tmp_path):
    fails(support.DISPLAY, tmp_path, str(tmp_path), "directory")


def test_expression_that_cannot_be_read_fails(fails):
    fails(support.DISPLAY, "/proc/self/mem", "/proc/self/mem", "Input/output error")


NOT_XML = {
    "text": "hello",
    "open-element": "<a><b></a>",
    "two-roots": "<a/><b/>",
    "only-blanks": "  \n ",
    "unknown-entity": "<a>&nbsp;</a>",
    "zero-byte": b"<a>\0</a>",
    "control-character": "<a>\x01</a>",
    "not-utf8": b"<a>\xff\xfe\xfd</a>",
    "half-character": b"<a>\xf0\x9f</a>",
    "binary": bytes(range(256)) * 100,
}


@pytest.mark.parametrize("kind", NOT_XML)
def test_expression_that_is_no_xml_fails(fails, write, kind):
    fails(support.DISPLAY, write("bad.xml", NOT_XML[kind]), "bad.xml")


def test_missing_stylesheet_fails(fails, tmp_path):
    fails(tmp_path / "missing.xsl", support.SMALL_SAMPLE, "missing.xsl")


def test_stylesheet_that_is_a_folder_fails(fails, tmp_path):
    fails(tmp_path, support.SMALL_SAMPLE, str(tmp_path), "directory")


BAD_STYLESHEETS = {
    "text": "hello",
    "empty": "",
    "open-element": f'<xsl:stylesheet version="1.0" {support.XSL}>',
    "not-a-stylesheet": "<page>hello</page>",
    "bad-path": support.text_stylesheet("<xsl:value-of select='a['/>"),
    "bad-match": f'<xsl:stylesheet version="1.0" {support.XSL}><xsl:template match="["/></xsl:stylesheet>',
    "unknown-instruction": support.text_stylesheet("<xsl:nonsense/>"),
    "unknown-function": support.text_stylesheet("<xsl:value-of select='nonsense(1)'/>"),
    "unknown-template": support.text_stylesheet("<xsl:call-template name='nonsense'/>"),
    "unknown-variable": support.text_stylesheet("<xsl:value-of select='$nonsense'/>"),
    "unknown-encoding": support.text_stylesheet("x", ' encoding="NONSENSE-8"'),
    "terminated": support.text_stylesheet("before<xsl:message terminate='yes'>enough is enough</xsl:message>"),
    "unknown-entity": support.text_stylesheet("&nbsp;"),
}


@pytest.mark.parametrize("kind", BAD_STYLESHEETS)
def test_stylesheet_that_is_wrong_fails(fails, write, kind):
    fails(write("bad.xsl", BAD_STYLESHEETS[kind]), support.SMALL_SAMPLE, "bad.xsl")


def test_unknown_encoding_is_named(fails, write):
    fails(write("bad.xsl", BAD_STYLESHEETS["unknown-encoding"]), support.SMALL_SAMPLE, "NONSENSE-8")


def test_message_of_a_terminating_stylesheet_is_shown(fails, write):
    fails(write("bad.xsl", BAD_STYLESHEETS["terminated"]), support.SMALL_SAMPLE, "enough is enough")


def test_failure_names_operation_code_error_and_remedy(fails, write):
    result = fails(support.DISPLAY, write("bad.xml", "<a>"), "bad.xml", "FormatExpression", "0x8", "failed")
    assert "Transform failed" in result.err or "CreateInputSourceFromMemoryBuffer failed" in result.err


BOMB = (
    '<?xml version="1.0"?><!DOCTYPE a [<!ENTITY a "ha">'
    + "".join(f'<!ENTITY {chr(98 + n)} "{f"&{chr(97 + n)};" * 10}">' for n in range(12))
    + "]>"
)

HOSTILE = {
    "endless-recursion": support.text_stylesheet(
        "<xsl:call-template name='again'/>",
        top="<xsl:template name='again'><xsl:call-template name='again'/></xsl:template>",
    ),
    "endless-work": support.text_stylesheet(
        "<xsl:for-each select='//node()|//@*'><xsl:for-each select='//node()|//@*'>"
        "<xsl:for-each select='//node()|//@*'><xsl:for-each select='//node()|//@*'>"
        "<xsl:variable name='x' select='count(//node()[. = current()])'/>"
        "</xsl:for-each></xsl:for-each></xsl:for-each></xsl:for-each>"
    ),
    "endless-output": support.text_stylesheet(
        "<xsl:for-each select='//node()|//@*'><xsl:for-each select='//node()|//@*'>"
        "<xsl:for-each select='//node()|//@*'><xsl:for-each select='//node()|//@*'>"
        + "x" * 10_000
        + "</xsl:for-each></xsl:for-each></xsl:for-each></xsl:for-each>"
    ),
    "endless-string": support.text_stylesheet(
        "<xsl:call-template name='grow'><xsl:with-param name='s' select=\"'0123456789'\"/></xsl:call-template>",
        top="<xsl:template name='grow'><xsl:param name='s'/><xsl:call-template name='grow'>"
        "<xsl:with-param name='s' select='concat($s, $s)'/></xsl:call-template></xsl:template>",
    ),
    "entity-bomb": support.text_stylesheet("&m;").replace('<?xml version="1.0"?>', BOMB),
}


@pytest.mark.parametrize("kind", HOSTILE)
def test_hostile_stylesheet_ends_with_a_message(zepcfg, write, kind):
    stylesheet = write("hostile.xsl", HOSTILE[kind])
    begin = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss
    result = zepcfg("format", "--stylesheet", stylesheet, support.SAMPLES / "described.xml", timeout=120)
    result.failed("hostile.xsl")
    assert "--url" not in result.err, "the remedy is about a server, and none was asked"
    peak_kib = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss
    assert peak_kib < 3_000_000 or peak_kib == begin


@pytest.mark.parametrize("depth", [100_000, 1_000_000])
def test_deep_expression_ends_with_a_message(zepcfg, write, depth):
    expression = write("deep.xml", "<a>" * depth + "</a>" * depth)
    zepcfg("format", "--stylesheet", support.DISPLAY, expression, timeout=120).failed("deep.xml")


def test_expression_with_a_doctype_is_refused(fails, write):
    fails(support.DISPLAY, write("typed.xml", "<!DOCTYPE a><a/>"), "typed.xml", "DOCTYPE")


def test_expression_with_an_entity_bomb_is_refused(fails, write):
    fails(support.DISPLAY, write("bomb.xml", BOMB + "<a>&m;</a>"), "bomb.xml")


def test_too_long_a_name_fails(fails):
    fails(support.DISPLAY, "x" * 5000)


def test_names_with_control_characters_do_not_drive_the_terminal(zepcfg):
    result = zepcfg("format", "--stylesheet", support.DISPLAY, "a\x1b[2Jb\x07.xml")
    assert result.code == 2
    assert "\x1b" not in result.err
    assert "\x07" not in result.err


def test_full_device_fails(zepcfg):
    result = zepcfg("format", "--stylesheet", support.DISPLAY, "-o", "/dev/full", support.SMALL_SAMPLE)
    result.failed("/dev/full", "space")


def test_full_stdout_fails(zepcfg):
    with open("/dev/full", "wb") as full:
        done = subprocess.run(
            [str(zepcfg.path), "format", "--stylesheet", str(support.DISPLAY), str(support.SMALL_SAMPLE)],
            stdout=full,
            stderr=subprocess.PIPE,
            env=zepcfg.environment,
            timeout=60,
        )
    assert done.returncode == 2
    assert b"space" in done.stderr
