"""The demo server by itself, asked with Python's own HTTP client."""

import http.client
import json
import signal
import socket
import subprocess
import time
import urllib.parse
import xml.etree.ElementTree

import pytest

import support

STYLESHEET = support.text_stylesheet("Grüße 🐦 \"quoted\" \\ back")


@pytest.fixture
def stylesheet(tmp_path):
    file = tmp_path / "served.xsl"
    file.write_text(STYLESHEET, encoding="utf-8")
    return file


class Answer:
    def __init__(self, response):
        self.status = response.status
        self.headers = response.headers
        self.body = response.read()

    @property
    def json(self):
        return json.loads(self.body)


def connect(server):
    return http.client.HTTPConnection(urllib.parse.urlsplit(server.url).netloc, timeout=30)


def ask(server, method, path, body=None, headers=None):
    connection = connect(server)
    try:
        connection.request(method, path, body, headers or {})
        return Answer(connection.getresponse())
    finally:
        connection.close()


def run(*arguments):
    return subprocess.run(
        [str(support.BIN / "zep-demo-server"), *arguments], capture_output=True, text=True, timeout=30
    )


@pytest.mark.parametrize("encoding", ["utf-8", "utf-8-sig", "utf-16", "utf-16-be-bom"])
def test_stylesheet_service_answers_json_whatever_the_file_encoding(demo_server, tmp_path, encoding):
    bare = {"utf-16-be-bom": b"\xfe\xff" + STYLESHEET.encode("utf-16-be")}
    file = tmp_path / "served.xsl"
    file.write_bytes(bare.get(encoding) or STYLESHEET.encode(encoding))
    answer = ask(demo_server("--stylesheet", file), "GET", support.SERVICE)
    assert answer.status == 200
    assert answer.headers["Content-Type"] == "application/json"
    assert answer.json == {"xslt": {"content": STYLESHEET}}


def test_stylesheet_service_serves_the_installed_stylesheet(demo_server):
    content = ask(demo_server(), "GET", support.SERVICE).json["xslt"]["content"]
    xml.etree.ElementTree.fromstring(content.split("?>", 1)[1])
    assert "xsl:stylesheet" in content
    assert 'encoding="UTF-16"' in content


def test_stylesheet_service_refuses_other_methods(demo_server, stylesheet):
    assert ask(demo_server("--stylesheet", stylesheet), "POST", support.SERVICE, b"{}").status == 405


@pytest.mark.parametrize("service", ["/echo", "/echo/deeper?x=%20", "/chunked", "/chunked/deeper"])
@pytest.mark.parametrize("method", ["GET", "PUT", "POST", "DELETE"])
def test_echo_answers_what_was_sent(demo_server, stylesheet, method, service):
    body = "{\"name\": \"𝔎estrel\"}".encode()
    server = demo_server("--stylesheet", stylesheet)
    answer = ask(server, method, service, body, {"SecurityContext": "A.B.C"})
    assert answer.status == 200
    assert answer.json["method"] == method
    assert answer.json["path"] == service
    assert answer.json["headers"]["SecurityContext"] == "A.B.C"
    assert answer.json["body"] == body.decode()
    assert answer.headers.get("Transfer-Encoding") == ("chunked" if "chunked" in service else None)
    assert server.requests() == [answer.json]


def test_echo_shows_a_repeated_header_once_with_all_values(demo_server, stylesheet):
    connection = connect(demo_server("--stylesheet", stylesheet))
    connection.putrequest("GET", "/echo")
    connection.putheader("X-Twice", "one")
    connection.putheader("X-Twice", "two")
    connection.endheaders()
    assert Answer(connection.getresponse()).json["headers"]["X-Twice"] == "one, two"
    connection.close()


def test_connection_is_kept_after_a_get_with_a_body(demo_server, stylesheet):
    connection = connect(demo_server("--stylesheet", stylesheet))
    seen = []
    for body in ("first", "second"):
        connection.request("GET", "/echo", body)
        seen.append(Answer(connection.getresponse()).json["body"])
        own = connection.sock.getsockname()
    assert seen == ["first", "second"]
    assert connection.sock.getsockname() == own
    connection.close()


@pytest.mark.parametrize("status", [200, 204, 302, 304, 400, 403, 404, 500, 503, 599])
def test_status_service_answers_the_status(demo_server, stylesheet, status):
    answer = ask(demo_server("--stylesheet", stylesheet), "GET", f"/status/{status}")
    assert answer.status == status
    assert answer.body == b"" if status in (204, 304) else answer.json == {"status": status}


@pytest.mark.parametrize("path", ["/status", "/status/", "/status/99", "/status/600", "/status/abc", "/other", "/"])
def test_unknown_service_is_not_found(demo_server, stylesheet, path):
    answer = ask(demo_server("--stylesheet", stylesheet), "GET", path)
    assert answer.status == 404
    assert answer.json["path"] == path


def test_status_once_is_followed_by_the_echo(demo_server, stylesheet):
    server = demo_server("--stylesheet", stylesheet)
    statuses = [ask(server, "PUT", "/status/503/once", b"x").status for _ in range(3)]
    assert statuses == [503, 200, 200]


def good_answer():
    return json.dumps({"xslt": {"content": STYLESHEET}}, ensure_ascii=False, separators=(",", ":")).encode()


@pytest.mark.parametrize(
    ("how", "status", "body"),
    [
        ("half-json", 200, good_answer()[: len(good_answer()) // 2]),
        ("trailing-text", 200, good_answer() + b" and more"),
        ("empty", 200, b""),
        ("no-xslt", 200, b'{"other":1}'),
        ("no-content", 200, b'{"xslt":{"other":1}}'),
        ("not-text", 200, b'{"xslt":{"content":42}}'),
        ("not-stylesheet", 200, b'{"xslt":{"content":"<page>hello</page>"}}'),
        ("not-xml", 200, b'{"xslt":{"content":"hello"}}'),
        ("redirect", 302, b""),
    ],
)
def test_misbehaviour_answers_exactly(demo_server, stylesheet, how, status, body):
    server = demo_server("--stylesheet", stylesheet, "--misbehave", how)
    answer = ask(server, "GET", support.SERVICE)
    assert (answer.status, answer.body) == (status, body)
    assert ask(server, "GET", "/echo").status == 200


@pytest.mark.parametrize("status", [403, 404, 500, 503])
def test_misbehaviour_answers_an_error(demo_server, stylesheet, status):
    server = demo_server("--stylesheet", stylesheet, "--misbehave", f"error-{status}")
    answer = ask(server, "GET", support.SERVICE)
    assert answer.status == status
    assert "error" in answer.json


def test_misbehaviour_html_is_a_page(demo_server, stylesheet):
    answer = ask(demo_server("--stylesheet", stylesheet, "--misbehave", "html"), "GET", support.SERVICE)
    assert answer.headers["Content-Type"] == "text/html"
    assert answer.body.startswith(b"<!DOCTYPE html>")


@pytest.mark.parametrize("how", ["slow", "stall"])
def test_misbehaviour_that_delays_answers_after_the_delay(demo_server, stylesheet, how):
    server = demo_server("--stylesheet", stylesheet, "--misbehave", how, "--delay", "0.3")
    begin = time.monotonic()
    assert ask(server, "GET", support.SERVICE).body == good_answer()
    assert time.monotonic() - begin >= 0.3


def test_misbehaviour_truncated_ends_within_the_body(demo_server, stylesheet):
    server = demo_server("--stylesheet", stylesheet, "--misbehave", "truncated")
    with pytest.raises(http.client.IncompleteRead) as error:
        ask(server, "GET", support.SERVICE)
    assert error.value.partial == good_answer()[: len(good_answer()) // 2]


def test_misbehaviour_endless_goes_on(demo_server, stylesheet):
    connection = connect(demo_server("--stylesheet", stylesheet, "--misbehave", "endless"))
    connection.request("GET", support.SERVICE)
    assert len(connection.getresponse().read(5_000_000)) == 5_000_000
    connection.close()


@pytest.mark.parametrize("sign", [signal.SIGINT, signal.SIGTERM])
def test_signal_ends_it_at_once_even_while_it_answers(demo_server, stylesheet, sign):
    server = demo_server("--stylesheet", stylesheet, "--misbehave", "slow")
    connection = connect(server)
    connection.request("GET", support.SERVICE)
    while not server.requests():
        time.sleep(0.01)
    begin = time.monotonic()
    assert server.stop(sign) == 0
    assert time.monotonic() - begin < 5
    connection.close()


def test_it_listens_on_loopback_only(demo_server, stylesheet):
    port = int(demo_server("--stylesheet", stylesheet).url.rsplit(":", 1)[1])
    hexadecimal = f":{port:04X} "
    with open("/proc/net/tcp", encoding="ascii") as table:
        listeners = [line.split()[1] for line in table if hexadecimal in line and line.split()[3] == "0A"]
    assert listeners == [f"0100007F:{port:04X}"]
    with open("/proc/net/tcp6", encoding="ascii") as table:
        assert [line for line in table if hexadecimal in line and line.split()[3] == "0A"] == []


def test_bytes_that_are_no_http_do_not_end_it(demo_server, stylesheet):
    server = demo_server("--stylesheet", stylesheet)
    for rubbish in (b"\x00\xff" * 5000 + b"\r\n\r\n", b"GET\r\n\r\n", b"GET / HTTP/1.1\r\nContent-Length: x\r\n\r\n", b""):
        with socket.create_connection(("127.0.0.1", int(server.url.rsplit(":", 1)[1]))) as connection:
            connection.sendall(rubbish)
    assert ask(server, "GET", "/echo").status == 200


def test_fixed_port_is_used_and_a_busy_one_is_refused(demo_server, stylesheet):
    first = demo_server("--stylesheet", stylesheet)
    port = first.url.rsplit(":", 1)[1]
    second = run("--stylesheet", str(stylesheet), "--port", port)
    assert (second.returncode, second.stdout) == (2, "")
    assert f"127.0.0.1:{port}" in second.stderr
    assert "another port" in second.stderr
    assert first.stop() == 0
    assert demo_server("--stylesheet", stylesheet, "--port", port).url == first.url


@pytest.mark.parametrize(
    ("arguments", "words"),
    [
        (["--port", "70000"], ["--port", "65535", "--help"]),
        (["--port", "x"], ["--port", "--help"]),
        (["--misbehave", "badly"], ["badly", "half-json"]),
        (["--delay", "-1"], ["--delay"]),
        (["--unknown"], ["--unknown", "--help"]),
        (["--stylesheet", "/no/such/file.xsl"], ["/no/such/file.xsl", "--stylesheet"]),
        (["--stylesheet", "/"], ["\"/\"", "--stylesheet"]),
        (["--log", "/no/such/folder/log"], ["/no/such/folder/log"]),
    ],
)
def test_bad_arguments_exit_with_a_message(arguments, words, stylesheet):
    done = run(*(arguments if "--stylesheet" in arguments else ["--stylesheet", str(stylesheet), *arguments]))
    assert (done.returncode, done.stdout) == (2, "")
    for word in words:
        assert word in done.stderr


def test_stylesheet_in_another_encoding_is_refused(tmp_path):
    file = tmp_path / "latin.xsl"
    file.write_bytes("Grüße".encode("latin-1"))
    done = run("--stylesheet", str(file))
    assert done.returncode == 2
    assert "UTF-8" in done.stderr


def test_help_begins_with_an_example():
    done = run("--help")
    assert done.returncode == 0
    assert done.stdout.startswith("Example: zep-demo-server ")


def test_version_names_the_program():
    done = run("--version")
    assert done.returncode == 0
    assert done.stdout.startswith("zep-demo-server ")
