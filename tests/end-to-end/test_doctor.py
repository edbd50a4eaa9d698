"""`zepcfg doctor`: each fault and each surprise, with what to do about it."""

import json
import os
import time

import pytest

import support


@pytest.fixture
def checks_of(zepcfg):
    """The checks that are not ok; both forms of the answer have to agree on them."""

    def run(*options, code, **environment):
        answer = zepcfg("--json", *options, "doctor", **environment)
        checks = answer.json["checks"]
        faults = [check for check in checks if check["state"] == "fault"]
        assert answer.code == code == (2 if faults else 0)
        assert (answer.json["result"] == "S_OK") == (code == 0)
        text = zepcfg(*options, "doctor", **environment)
        assert text.code == code
        for check in checks:
            assert check["state"] in ("ok", "note", "fault")
            assert check["remedy"] or check["state"] != "fault"
            assert f"{check['state']:7}{check['area']}: {check['detail']}" in text.text
        # Nothing of an area is "ok" beside its fault, but for the variables, which have little to do with each other.
        assert {check["area"] for check in faults} & {check["area"] for check in checks if check["state"] == "ok"} <= {"environment"}
        return [check for check in checks if check["state"] != "ok"]

    return run


def matching(checks, state, *words):
    return [
        check for check in checks
        if check["state"] == state and all(word in check["detail"] + " // " + check["remedy"] for word in words)
    ]


# Environment, state, and words of the detail and the remedy. "{home}" stands for a folder that exists.
ENVIRONMENT = [
    ({"ZEP_ULR": "http://127.0.0.1:1"}, "note", ["ZEP_ULR", "did you mean ZEP_URL?"]),
    ({"zep_url": "http://127.0.0.1:1"}, "note", ["zep_url", "did you mean ZEP_URL?"]),
    ({"ZEPINSTALLPATH": "/x"}, "note", ["ZEPINSTALLPATH", "did you mean ZEPInstallPath?"]),
    ({"ZEP_SOMETHING_ELSE": "1"}, "note", ["ZEP_SOMETHING_ELSE", "unset it"]),
    ({"ZEP_BRANCHING": "yes"}, "note", ["ZEP_BRANCHING", "'yes'", "write 1"]),
    ({"ZEP_BRANCHING": "1"}, "note", ["the branching stylesheet is used"]),
    ({"CFG_OldCallWebService": "1"}, "note", ["calls use the legacy HTTP stack"]),
    ({"ZEP_XSLT_TIMEOUT_MS": "5s"}, "fault", ["ZEP_XSLT_TIMEOUT_MS", "counts as not set", "from 1 to 86400000"]),
    ({"ZEP_XSLT_MAX_NODES": "0"}, "fault", ["ZEP_XSLT_MAX_NODES", "from 1"]),
    ({"ZEP_XSLT_MAX_MEMORY_BYTES": "68719476737"}, "fault", ["ZEP_XSLT_MAX_MEMORY_BYTES", "to 68719476736"]),
    ({"ZEP_FILTER_MAX_TERMS": "10000001"}, "fault", ["ZEP_FILTER_MAX_TERMS", "from 1 to 10000000"]),
    ({"ZEP_HTTP_MAX_BODY_BYTES": "-1"}, "fault", ["ZEP_HTTP_MAX_BODY_BYTES"]),
    ({"ZEP_TRACE": "ZEPCfgWebService"}, "note", ["'ZEPCfgWebService'", "did you mean ZEPCfgWebServices?"]),
    ({"ZEP_TRACE": "perfo, Nobody"}, "note", ["'Nobody'", "name a class"]),
    ({"ZEP_TRACE_FILE": "{home}/x.trace"}, "note", ["nothing is traced", "ZEP_TRACE=all"]),
    ({"ZEP_TRACE": "1", "ZEP_TRACE_FILE": "{home}/none/x"}, "fault", ["No such file", "--trace=FILE"]),
    ({"ZEP_TRACE": "1", "ZEP_TRACE_FILE": "{home}"}, "fault", ["Is a directory"]),
    ({"ZEP_TRACE_FORMAT": "xml"}, "note", ["ZEP_TRACE_FORMAT", "json or text"]),
    ({"ZEP_CA_FILE": "{home}/none.pem"}, "fault", ["ZEP_CA_FILE", "No such file", "PEM"]),
    ({"SSL_CERT_FILE": "/dev/null"}, "fault", ["SSL_CERT_FILE", "not a regular file"]),
    ({"LC_ALL": "xx_XX.UTF-8"}, "note", ["the locale of the environment is not installed", "C.UTF-8"]),
    ({"LC_ALL": "C"}, "note", ["in this locale", "C.UTF-8"]),
    ({"ZEPInstallPath": "/no/such/root"}, "fault", ["no installation root holds a stylesheet", "ZEPInstallPath"]),
    ({"ZEPInstallPath": "/usr:/etc"}, "fault", ["separate the roots with semicolons"]),
    ({"ZEP_SETTINGS_DIR": "{home}/none"}, "fault", ["ZEP_SETTINGS_DIR", "no folder"]),
    ({"ZEP_SETTINGS_DIR": "", "XDG_CONFIG_HOME": "relative"}, "note", ["XDG_CONFIG_HOME", "not absolute"]),
]


@pytest.mark.parametrize(("environment", "state", "words"), ENVIRONMENT, ids=[str(row[0]) for row in ENVIRONMENT])
def test_environment(checks_of, zepcfg, environment, state, words):
    filled = {name: value.format(home=zepcfg.environment["HOME"]) for name, value in environment.items()}
    assert matching(checks_of(code=2 if state == "fault" else 0, **filled), state, *words)


URLS = [
    ("localhost:8080", "http://"),
    ("ftp://a", "http://"),
    ("http://", "name the host"),
    ("http://:80", "name the host"),
    ("http://me@127.0.0.1:1", "user name"),
    ("http://127.0.0.1:http", "port"),
    ("http://127.0.0.1:70000", "port"),
    ("http://127.0.0.1:1/a b", "blanks"),
    ("http://127.0.0.1:1/?a", "leave out what begins with"),
]


def test_url_is_looked_at(zepcfg):
    for url, word in URLS:
        answer = zepcfg("--json", "--url", url, "--context", "a", "doctor")
        assert answer.code == 2
        faults = [check for check in answer.json["checks"] if check["state"] == "fault"]
        assert any(url in check["detail"] and word in check["remedy"] for check in faults), url


def test_context_with_a_line_end_is_a_fault(zepcfg, demo_server):
    answer = zepcfg("--json", "--url", demo_server().url, "--context", "a\nb", "doctor")
    assert matching(answer.json["checks"], "fault", "control character", "leave it out")


def test_settings_files_that_nobody_reads_are_named(checks_of, zepcfg, tmp_path):
    (zepcfg.settings / "EffeCustoFilePathSettings.toml").write_text("")
    assert matching(checks_of(code=0), "note", "EffeCustoFilePathSettings.toml", "call it EffeCustoFilePathSetting.toml")
    file = zepcfg.settings / "EffeCustoFilePathSetting.toml"
    file.write_text("effcustopath = '/a.xsl'\n")
    assert matching(checks_of(code=0), "note", "effcustopath", "did you mean EffCustoPath?")
    file.chmod(0o666)
    assert matching(checks_of(code=0), "note", "anybody may change", "chmod o-w")
    for place in ("first/zepcfg", "second/zepcfg"):
        (tmp_path / place).mkdir(parents=True)
        (tmp_path / place / "EffeCustoFilePathSetting.toml").write_text("")
    folders = {"XDG_CONFIG_HOME": str(tmp_path / "first"), "XDG_CONFIG_DIRS": str(tmp_path / "second")}
    assert matching(checks_of(code=0, ZEP_SETTINGS_DIR="", **folders), "note", "second/zepcfg", "an earlier folder")


def test_trace_file_that_others_may_read_is_named(checks_of, tmp_path):
    file = tmp_path / "old.trace"
    file.write_text("")
    file.chmod(0o644)
    checks = checks_of(code=0, ZEP_TRACE="perfo", ZEP_TRACE_FILE=str(file))
    assert matching(checks, "note", str(file), "chmod 600")


def test_authority_without_a_certificate_is_a_fault(checks_of, authority, tmp_path):
    file = tmp_path / "authority.pem"
    file.write_text("no certificate")
    assert matching(checks_of(code=2, ZEP_CA_FILE=str(file)), "fault", str(file), "no certificate", "https")
    file.write_bytes(authority.certificate.read_bytes())
    assert not matching(checks_of(code=0, ZEP_CA_FILE=str(file)), "fault")


def test_pipe_for_an_authority_keeps_nobody_waiting(zepcfg, demo_server, tmp_path):
    os.mkfifo(tmp_path / "pipe")
    answer = zepcfg("--json", "--url", "https://127.0.0.1:1", "--context", "a", "doctor", timeout=20, ZEP_CA_FILE=str(tmp_path / "pipe"))
    assert answer.code == 2
    assert matching(answer.json["checks"], "fault", "ZEP_CA_FILE", "not a regular file")


def test_server_that_never_answers_is_given_up(zepcfg, raw_server):
    server = raw_server(b"", ending="hold")
    start = time.monotonic()
    answer = zepcfg("--json", "--url", server.url, "--context", "a", "doctor", ZEP_HTTP_TOTAL_TIMEOUT_MS="300")
    assert time.monotonic() - start < 10
    assert answer.code == 2
    assert matching(answer.json["checks"], "fault", "GetConfigExpressionXSLT failed")


def test_stylesheet_of_a_server_is_applied(zepcfg, raw_server):
    stylesheet = support.text_stylesheet('<xsl:call-template name="none"/>', ' encoding="UTF-16"')
    body = json.dumps({"xslt": {"content": stylesheet}}).encode()
    server = raw_server(b"HTTP/1.1 200 OK\r\nContent-Length: %d\r\n\r\n" % len(body) + body)
    answer = zepcfg("--json", "--url", server.url, "--context", "a", "doctor")
    assert answer.code == 2
    assert matching(answer.json["checks"], "fault", "its stylesheet: line 4", "correct the stylesheet")
    assert matching(answer.json["checks"], "note", "the server's is used")


def test_program_and_its_libraries_are_named(zepcfg):
    checks = zepcfg("--json", "doctor").ok().json["checks"]
    detail = next(check["detail"] for check in checks if check["area"] == "program")
    for library in ("libZEPCfgCommonServices.so", "libZEPPlatform.so", "libxslt.so"):
        assert library in detail
