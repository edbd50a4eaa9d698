"""A server behind TLS, with good and bad certificates."""

import os

import pytest

import support

LOOPBACK = "IP:127.0.0.1,DNS:localhost"


@pytest.fixture
def call(zepcfg, stack):
    def run(url, **environment):
        return zepcfg("--url", url, "--context", support.CONTEXT, "call", *stack, "POST", "/echo", "--data", "[1]",
                      **environment)

    return run


@pytest.fixture
def secured(nginx, demo_server):
    """nginx with a certificate in front of a demo server, and that server."""

    def start(certificate, key):
        behind = demo_server()
        front = nginx(f"location / {{ proxy_pass {behind.url}; proxy_http_version 1.1; }}", certificate, key)
        return front, behind

    return start


def test_call_reaches_a_server_of_a_trusted_authority(call, secured, authority):
    front, behind = secured(*authority.issue("good", LOOPBACK))
    result = call(front.url, ZEP_CA_FILE=str(authority.certificate)).ok()
    assert result.json["body"] == "[1]"
    (seen,) = front.requests(1)
    assert seen["tls"] in ("TLSv1.2", "TLSv1.3")
    assert (seen["method"], seen["accept"], seen["type"]) == ("POST", "application/json", "application/json")
    assert seen["context"] == support.CONTEXT
    assert len(behind.requests()) == 1


def test_stylesheet_comes_over_tls(zepcfg, secured, authority):
    front, behind = secured(*authority.issue("good2", LOOPBACK))
    result = zepcfg("--url", front.url, "--context", support.CONTEXT, "format", support.SMALL_SAMPLE,
                    ZEP_CA_FILE=str(authority.certificate)).ok()
    assert result.text == support.xsltproc(support.SERVER_DISPLAY, support.SMALL_SAMPLE).decode("utf-16")
    assert [request["path"] for request in behind.requests()] == [support.SERVICE]


def test_host_name_is_checked_against_the_certificate(call, secured, authority):
    front, _ = secured(*authority.issue("named", "DNS:localhost"))
    by_name = front.url.replace("127.0.0.1", "localhost")
    assert call(by_name, ZEP_CA_FILE=str(authority.certificate)).ok().json["body"] == "[1]"
    call(front.url, ZEP_CA_FILE=str(authority.certificate)).failed("certificate")


BAD = {
    "wrong-host": ("DNS:elsewhere.invalid", {}),
    "expired": (LOOPBACK, {"last": "20210101000000Z"}),
    "not-yet-valid": (LOOPBACK, {"first": "20980101000000Z"}),
}


@pytest.mark.parametrize("kind", BAD)
def test_bad_certificate_fails_and_nothing_is_sent(call, secured, authority, tmp_path, kind):
    names, dates = BAD[kind]
    front, behind = secured(*authority.issue(f"{kind}-{tmp_path.name}", names, **dates))
    call(front.url, ZEP_CA_FILE=str(authority.certificate)).failed("certificate", front.url)
    assert behind.requests() == []


def test_unknown_authority_fails_and_nothing_is_sent(call, secured, authority, other_authority):
    front, behind = secured(*authority.issue("unknown", LOOPBACK))
    call(front.url).failed("certificate", "ZEP_CA_FILE")
    call(front.url, ZEP_CA_FILE=str(other_authority.certificate)).failed("certificate")
    assert behind.requests() == []


def test_certificate_problem_of_the_stylesheet_service_fails_with_a_message(zepcfg, secured, authority, tmp_path):
    front, behind = secured(*authority.issue("unknown2", LOOPBACK))
    (tmp_path / "nothing").mkdir()
    zepcfg("--url", front.url, "--context", support.CONTEXT, "format", support.SMALL_SAMPLE,
           ZEPInstallPath=str(tmp_path / "nothing")).failed("certificate", front.url, support.SMALL_SAMPLE.name)
    assert behind.requests() == []


def test_authority_file_that_is_missing_fails(call, secured, authority, tmp_path):
    front, _ = secured(*authority.issue("lost", LOOPBACK))
    call(front.url, ZEP_CA_FILE=str(tmp_path / "missing.pem")).failed("certificate")


def test_plain_http_on_a_tls_port_fails(call, secured, authority):
    front, behind = secured(*authority.issue("plain", LOOPBACK))
    result = call(front.url.replace("https:", "http:"))
    assert result.code == 2
    assert "0x80090136" in result.err
    assert behind.requests() == []


def test_tls_on_a_plain_port_fails(call, demo_server):
    server = demo_server()
    call(server.url.replace("http:", "https:")).failed(server.url.removeprefix("http"))
    assert server.requests() == []


def test_plain_nginx_answers_both_stacks(zepcfg, nginx, stack):
    server = nginx("location / { return 200 '{\"from\":\"nginx\"}'; }")
    result = zepcfg("--url", server.url, "--context", support.CONTEXT, "call", *stack, "GET", "/x").ok()
    assert result.json == {"from": "nginx"}
    assert [(r["method"], r["path"], r["status"]) for r in server.requests(1)] == [("GET", "/x", "200")]


def test_server_error_of_nginx_is_sent_again_once(zepcfg, nginx):
    server = nginx("location / { return 503 '{\"sorry\":1}'; }")
    result = zepcfg("--url", server.url, "--context", support.CONTEXT, "call", "PUT", "/x", "--data", "{}")
    assert result.code == 2
    assert len(server.requests(2)) == 2


def test_authority_folder_of_the_system_is_not_needed(call, secured, authority):
    """The named authority is enough on a machine that knows no other."""
    front, _ = secured(*authority.issue("alone", LOOPBACK))
    call(front.url, ZEP_CA_FILE=str(authority.certificate), SSL_CERT_DIR=os.devnull).ok()
