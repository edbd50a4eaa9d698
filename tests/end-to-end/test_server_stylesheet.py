"""The stylesheet that the server supplies, with everything that can be wrong with the answer."""

import json

import pytest

import support


def format_with(zepcfg, url, *arguments, **environment):
    return zepcfg(
        "--url", url, "--context", support.CONTEXT, "format", *arguments, support.SMALL_SAMPLE, **environment
    )


@pytest.fixture
def nothing_installed(tmp_path):
    """No stylesheet but the server's."""
    (tmp_path / "nothing").mkdir()
    return {"ZEPInstallPath": str(tmp_path / "nothing")}


@pytest.mark.parametrize("sample", support.SAMPLE_FILES, ids=lambda file: file.stem)
def test_text_is_made_with_the_stylesheet_of_the_server(zepcfg, demo_server, sample):
    url = demo_server().url
    result = zepcfg("--url", url, "--context", support.CONTEXT, "format", sample).ok()
    assert result.text == support.xsltproc(support.SERVER_DISPLAY, sample).decode("utf-16")


def test_compact_view_works_with_the_stylesheet_of_the_server(zepcfg, demo_server):
    text = format_with(zepcfg, demo_server().url, "--compact").ok().text
    assert text == support.xsltproc(support.SERVER_DISPLAY, support.SMALL_SAMPLE, compact=True).decode("utf-16")


@pytest.mark.parametrize("old", [{}, {"CFG_OldCallWebService": "1"}], ids=["current", "legacy"])
def test_server_sees_exactly_one_get_with_three_headers(zepcfg, demo_server, old):
    server = demo_server()
    format_with(zepcfg, server.url, **old).ok()
    (request,) = server.requests()
    assert request["method"] == "GET"
    assert request["path"] == support.SERVICE
    assert request["body"] == ""
    assert request["headers"]["Accept"] == "application/json"
    assert request["headers"]["Content-Type"] == "application/json"
    assert request["headers"]["SecurityContext"] == support.CONTEXT
    assert "Expect" not in request["headers"]


def test_url_and_context_come_from_the_environment(zepcfg, demo_server):
    server = demo_server()
    zepcfg("format", support.SMALL_SAMPLE, ZEP_URL=server.url, ZEP_CONTEXT="Réviseur.Société.Espace").ok()
    (request,) = server.requests()
    assert request["headers"]["SecurityContext"] == "Réviseur.Société.Espace"


def test_no_server_is_asked_without_a_url(zepcfg):
    result = zepcfg("--json", "--context", support.CONTEXT, "format", support.SMALL_SAMPLE).ok()
    assert result.json["text"].encode() == support.xsltproc(support.DISPLAY, support.SMALL_SAMPLE)


def test_chunked_answer_is_read(zepcfg, raw_server, nothing_installed):
    stylesheet = support.text_stylesheet("é🐦" * 3000, ' encoding="UTF-16"')
    body = json.dumps({"xslt": {"content": stylesheet}}, ensure_ascii=False).encode()
    pieces = [body[at : at + 4095] for at in range(0, len(body), 4095)]
    chunks = b"".join(b"%x\r\n%s\r\n" % (len(piece), piece) for piece in pieces) + b"0\r\n\r\n"
    answer = b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\nConnection: close\r\n\r\n" + chunks
    for old in ("0", "1"):
        server = raw_server(answer)
        result = format_with(zepcfg, server.url, CFG_OldCallWebService=old, **nothing_installed).ok()
        assert result.text == "é🐦" * 3000


FAILURES = [
    ("html", []),
    ("half-json", []),
    ("trailing-text", []),
    ("no-content", []),
    ("not-stylesheet", []),
    ("not-xml", []),
    ("error-403", ["403"]),
    ("error-404", ["404"]),
    ("error-500", ["500"]),
    ("error-503", ["503"]),
    ("truncated", []),
]


def test_content_that_is_no_text_is_no_stylesheet(zepcfg, demo_server, nothing_installed):
    server = demo_server("--misbehave", "not-text")
    format_with(zepcfg, server.url, **nothing_installed).failed("no stylesheet", support.SMALL_SAMPLE.name)
    assert len(server.requests()) == 1


@pytest.mark.parametrize(("how", "words"), FAILURES, ids=[how for how, _ in FAILURES])
def test_bad_answer_fails_with_a_message(zepcfg, demo_server, nothing_installed, tmp_path, how, words):
    server = demo_server("--misbehave", how)
    output = tmp_path / "text.txt"
    format_with(zepcfg, server.url, "-o", output, **nothing_installed).failed(
        support.SMALL_SAMPLE.name, "FormatExpression", server.url, *words
    )
    assert not output.exists()


def test_redirect_is_not_followed(zepcfg, demo_server, nothing_installed):
    server = demo_server("--misbehave", "redirect")
    format_with(zepcfg, server.url, **nothing_installed)
    assert [request["path"] for request in server.requests()] == [support.SERVICE]


def test_unreachable_server_fails_with_a_message(zepcfg, nothing_installed):
    url = f"http://127.0.0.1:{support.unused_port()}"
    format_with(zepcfg, url, **nothing_installed).failed(
        support.SMALL_SAMPLE.name, "FormatExpression", url, "Execute failed"
    )


@pytest.mark.parametrize(
    "answer",
    [b"", b"\x00\xff\x00\xff" * 1000, b"HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n{", b"HTTP/1.1 999999 \r\n\r\n"],
    ids=["nothing", "rubbish", "cut", "no-status"],
)
def test_answer_that_is_no_http_fails_with_a_message(zepcfg, raw_server, nothing_installed, answer):
    server = raw_server(answer)
    format_with(zepcfg, server.url, **nothing_installed).failed(support.SMALL_SAMPLE.name, server.url)


def test_endless_answer_fails_within_bounds(zepcfg, demo_server, nothing_installed):
    server = demo_server("--misbehave", "endless")
    format_with(zepcfg, server.url, timeout=120, **nothing_installed).failed(server.url)


def test_missing_context_fails_with_a_message(zepcfg, demo_server, nothing_installed):
    server = demo_server()
    zepcfg("--url", server.url, "format", support.SMALL_SAMPLE, **nothing_installed).failed(
        "Orvana Context is empty", "--context"
    )
    assert server.requests() == []


@pytest.mark.parametrize("text", ["a\r\nEvil: 1", "a\nEvil: 1", "a\rb"])
def test_context_with_a_line_end_is_never_sent(zepcfg, demo_server, nothing_installed, text):
    server = demo_server()
    zepcfg("--url", server.url, "--context", text, "format", support.SMALL_SAMPLE, **nothing_installed).failed()
    assert server.requests() == []


@pytest.mark.parametrize("url", ["ftp://127.0.0.1/", "file:///etc/passwd", "nonsense", "http://", "gopher://127.0.0.1:1"])
def test_url_that_is_no_http_url_fails_with_a_message(zepcfg, nothing_installed, url):
    format_with(zepcfg, url, **nothing_installed).failed(url)
