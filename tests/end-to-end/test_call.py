"""Web-service calls on both client stacks."""

import json
import shutil
import subprocess

import pytest

import support

NOT_FOUND = {"hresult": -2146893513, "result": "0x80090137"}
HTTP_ERROR = {"hresult": -2146893514, "result": "0x80090136"}


@pytest.fixture
def server(demo_server):
    return demo_server()


@pytest.fixture
def call(zepcfg, server, stack):
    def run(*arguments, **more):
        options = ["--url", server.url, "--context", support.CONTEXT]
        return zepcfg(*options, *more.pop("options", []), "call", *stack, *arguments, **more)

    return run


@pytest.mark.parametrize("method", ["GET", "PUT", "POST"])
def test_call_sends_method_path_and_three_headers(call, server, method):
    result = call(method, "/echo/a%20b?c=d").ok()
    (request,) = server.requests()
    assert result.json == request
    assert request["method"] == method
    assert request["path"] == "/echo/a%20b?c=d"
    assert request["headers"]["Accept"] == "application/json"
    assert request["headers"]["Content-Type"] == "application/json"
    assert request["headers"]["SecurityContext"] == support.CONTEXT
    assert "Expect" not in request["headers"]


@pytest.mark.parametrize("method", ["PUT", "POST"])
@pytest.mark.parametrize("data", ['{"a":"é🐦"}', "[" + "1," * 50_000 + "1]"], ids=["small", "large"])
def test_call_sends_the_body_as_utf8(call, server, tmp_path, method, data):
    file = tmp_path / "body.json"
    file.write_text(data, encoding="utf-8")
    for argument in ([data] if len(data) < 1000 else []) + [f"@{file}"]:
        assert call(method, "/echo", "--data", argument).ok().json["body"] == data


def test_get_sends_a_body_on_the_legacy_stack_only(call, server, stack):
    assert call("GET", "/echo", "--data", "{}").ok().json["body"] == ("{}" if stack else "")


def test_environment_chooses_the_legacy_stack(zepcfg, server):
    options = ["--url", server.url, "--context", support.CONTEXT]
    for value, body in (("1", "{}"), ("01", ""), ("true", ""), ("", "")):
        result = zepcfg(*options, "call", "GET", "/echo", "--data", "{}", CFG_OldCallWebService=value).ok()
        assert result.json["body"] == body, value


def test_body_in_a_pipe_is_the_body_itself(call, server):
    out = call("POST", "/echo", "--data", '{"b": [1, 2]}').ok().out
    assert out.rstrip(b"\n") == json.dumps(json.loads(out), ensure_ascii=False, separators=(",", ":")).encode()


def test_body_on_a_terminal_is_laid_out(zepcfg, server, stack):
    options = ["--url", server.url, "--context", support.CONTEXT]
    result = zepcfg.on_terminal(*options, "call", *stack, "POST", "/echo", "--data", '{"é": "🐦"}', NO_COLOR="1").ok()
    assert json.loads(result.text)["body"] == '{"é": "🐦"}'
    assert result.text.count("\n") >= 6
    assert "é" in result.text


def test_json_object_holds_result_and_body(call, server):
    answer = call("PUT", "/echo", "--data", "{}", options=["--json"]).ok().json
    assert (answer["hresult"], answer["result"]) == (0, "S_OK")
    body = answer["body"]
    assert (json.loads(body) if isinstance(body, str) else body)["method"] == "PUT"


def test_chunked_answer_is_read_whole_and_untorn(call):
    data = '"' + "aé€🐦" * 5000 + '"'
    assert call("POST", "/chunked", "--data", data).ok().json["body"] == data


@pytest.mark.parametrize("status", [200, 204, 302])
def test_status_below_400_is_success(call, server, status):
    call("GET", f"/status/{status}").ok()
    assert len(server.requests()) == 1


def test_not_found_fails_with_its_own_code(call, server):
    call("GET", "/nowhere").failed("/nowhere", "404", "0x80090137")
    result = call("GET", "/nowhere", options=["--json"])
    assert result.code == 2
    assert {key: result.json[key] for key in NOT_FOUND} == NOT_FOUND
    assert len(server.requests()) == 2


def test_forbidden_fails_and_shows_the_answer(call, server):
    result = call("PUT", "/status/403", "--data", "{}")
    assert result.code == 2
    assert "0x80090136" in result.err
    assert "403" in result.err
    result = call("PUT", "/status/403", "--data", "{}", options=["--json"])
    assert result.code == 2
    assert {key: result.json[key] for key in HTTP_ERROR} == HTTP_ERROR
    assert "403" in json.dumps(result.json["body"])


@pytest.mark.parametrize("method", ["GET", "PUT", "POST"])
def test_server_error_is_sent_again_by_the_current_stack_only(call, server, stack, method):
    result = call(method, "/status/503")
    assert result.code == 2
    assert "0x80090136" in result.err
    assert [(request["method"], request["path"]) for request in server.requests()] == [
        (method, "/status/503")
    ] * (1 if stack else 2)


def test_server_error_that_passes_is_success_on_the_current_stack(call, server, stack):
    result = call("POST", "/status/503/once", "--data", "[7]")
    if stack:
        assert result.code == 2
        return
    assert result.ok().json["body"] == "[7]"
    assert [request["body"] for request in server.requests()] == ["[7]", "[7]"]


def test_unreachable_server_fails_with_a_message(zepcfg, stack):
    url = f"http://127.0.0.1:{support.unused_port()}"
    message = "SendRequest failed" if stack else "Execute failed"
    zepcfg("--url", url, "--context", support.CONTEXT, "call", *stack, "GET", "/echo").failed(url, message)


def test_missing_transport_fails_with_its_file_and_no_request_needs_none(tmp_path):
    shutil.copytree(support.BIN.parent / "lib", tmp_path / "lib", symlinks=True)
    transport = next((tmp_path / "lib").rglob("ZEPHttpTransfer.so"))
    transport.unlink()
    (tmp_path / "bin").mkdir()
    program = shutil.copy(support.BIN / "zepcfg", tmp_path / "bin")
    call = [program, "--url", "http://127.0.0.1:1", "--context", support.CONTEXT, "call", "GET", "/"]
    ended = subprocess.run(call, capture_output=True, text=True)
    assert ended.returncode == 2
    assert "HTTP needs a file that cannot be loaded" in ended.stderr
    assert "lib/zepplatform-1/ZEPHttpTransfer.so" in ended.stderr
    ended = subprocess.run([program, "always-true"], capture_output=True, text=True)
    assert (ended.returncode, ended.stderr) == (0, "")


def test_missing_url_fails_with_the_remedy(zepcfg, stack):
    zepcfg("--context", support.CONTEXT, "call", *stack, "GET", "/echo").failed("Url", "--url", "ZEP_URL")


def test_missing_context_fails_with_the_remedy(zepcfg, server, stack):
    zepcfg("--url", server.url, "call", *stack, "GET", "/echo").failed("Orvana Context is empty", "--context")
    assert server.requests() == []


@pytest.mark.parametrize("verb", ["get", "DELETE", "G T", ""])
def test_other_methods_are_refused(zepcfg, server, verb):
    zepcfg("--url", server.url, "--context", support.CONTEXT, "call", verb, "/echo").failed("GET", "PUT", "POST")
    assert server.requests() == []


def test_data_file_that_is_missing_fails(call, server, tmp_path):
    file = tmp_path / "missing.json"
    call("POST", "/echo", "--data", f"@{file}").failed(str(file))
    assert server.requests() == []


def test_data_file_that_is_a_folder_fails(call, server, tmp_path):
    call("POST", "/echo", "--data", f"@{tmp_path}").failed(str(tmp_path))
    assert server.requests() == []


def test_output_file_gets_the_body(call, tmp_path):
    output = tmp_path / "body.json"
    assert call("GET", "/echo", options=["-o", output]).ok().out == b""
    assert json.loads(output.read_text())["path"] == "/echo"


@pytest.mark.parametrize("text", ["a\r\nEvil: 1", "a\nb"])
def test_header_value_with_a_line_end_is_never_sent(zepcfg, server, stack, text):
    zepcfg("--url", server.url, "--context", text, "call", *stack, "GET", "/echo").failed()
    assert server.requests() == []


def test_path_with_a_control_character_is_never_sent(call, server):
    call("GET", "/echo HTTP/1.1\r\nEvil: 1\r\n\r\n").failed()
    assert all("Evil" not in request["headers"] for request in server.requests())
