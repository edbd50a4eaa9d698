"""`zepcfg trace`: trace files as trees of calls."""

import json
import os
import subprocess

import pytest

import support


@pytest.fixture(params=["web.trace", "web.jsonl"])
def failing(request, zepcfg, tmp_path):
    """A trace, in each of its forms, of a formatting whose server cannot be reached."""
    file = tmp_path / request.param
    url = f"http://127.0.0.1:{support.unused_port()}"
    zepcfg(f"--trace={file}", "--url", url, "--context", "a", "format", support.SMALL_SAMPLE).failed()
    return file


def calls_in(children):
    for child in children:
        if child["kind"] == "call":
            yield child
            yield from calls_in(child["children"])


def test_tree_shows_calls_with_results_timings_and_failures(zepcfg, failing):
    lines = zepcfg("trace", failing).ok().text.splitlines()
    form = "process " if failing.suffix == ".jsonl" else "thread "
    assert lines[0].startswith(form)
    calls = [line.split() for line in lines if " ms  " in line]
    assert [(call[0], call[4], call[5:]) for call in calls[:5]] == [
        ("FormatExpression", "S_OK", []),
        ("GetConfigExpressionXSLT", "E_FAIL", ["FAILED"]),
        ("CallWebService", "E_FAIL", ["FAILED"]),
        ("NewCallWebService", "E_FAIL", ["FAILED"]),
        ("IsEncodingUTF16", "S_FALSE", []),
    ]
    assert all(float(call[2]) >= 0 for call in calls)
    depth = {line.split()[0]: len(line) - len(line.lstrip()) for line in lines if " ms  " in line}
    assert [depth[name] for name in ("FormatExpression", "GetConfigExpressionXSLT", "CallWebService", "NewCallWebService", "IsEncodingUTF16")] == [2, 4, 6, 8, 4]
    assert any(line.strip() == "! ERROR: Execute failed" for line in lines)


def test_failures_alone(zepcfg, failing):
    text = zepcfg("trace", "--failures", failing).ok().text
    assert "IsEncodingUTF16" not in text
    assert "in_xmlExpression" not in text
    for word in ("FormatExpression", "NewCallWebService", "! ERROR: Execute failed", "ustrFullUrl"):
        assert word in text
    quiet = failing.with_name("good" + failing.suffix)
    zepcfg(f"--trace={quiet}", "format", support.SMALL_SAMPLE).ok()
    assert zepcfg("trace", "--failures", quiet).ok().out == b""


def test_object_has_the_tree(zepcfg, failing):
    answer = zepcfg("--json", "trace", failing).ok().json
    assert (answer["hresult"], answer["result"], answer["skippedLines"]) == (0, "S_OK", 0)
    (root,) = answer["calls"]
    assert (root["process"] is None) == (failing.suffix == ".trace")
    calls = {call["method"]: call for call in calls_in([root])}
    assert [calls[name]["failed"] for name in ("FormatExpression", "NewCallWebService", "IsEncodingUTF16")] == [False, True, False]
    assert root["milliseconds"] >= calls["NewCallWebService"]["milliseconds"] > 0
    kinds = {child["kind"] for child in calls["NewCallWebService"]["children"]}
    assert kinds == {"detail", "error", "timing"}
    texts = [child.get("text") for child in root["children"]]
    assert f"in_xmlExpression = [{support.SMALL_SAMPLE.read_text(encoding='utf-8')}]" in texts
    only = zepcfg("--json", "trace", "--failures", failing).ok().json
    assert "IsEncodingUTF16" not in json.dumps(only)


def test_standard_input_and_a_file_for_the_result(zepcfg, failing, tmp_path):
    wanted = zepcfg("trace", failing).ok().out
    assert zepcfg("trace", stdin=failing.read_bytes()).ok().out == wanted
    assert zepcfg("trace", "-", "-o", tmp_path / "tree.txt", stdin=failing.read_bytes()).ok().out == b""
    assert (tmp_path / "tree.txt").read_bytes() == wanted
    assert zepcfg("trace").ok().out == b""
    assert zepcfg("trace", tmp_path / "missing").failed("missing", "check the name")


def test_texts_are_shortened_unless_wanted_in_full(zepcfg, failing):
    text = zepcfg("trace", failing).ok().text
    assert "more bytes)" in text
    full = zepcfg("trace", "--full", failing).ok().text
    assert "more bytes)" not in full
    assert "</EffectivityExpression>" in full


def test_foreign_and_torn_lines_are_skipped_and_reported(zepcfg, failing):
    lines = failing.read_bytes().splitlines(keepends=True)
    spoilt = b"hello\n\n" + lines[0] + lines[1][:60] + b"\n" + b"".join(lines[1:]) + b"\xff\x00\x1b[31m\n" * 20
    result = zepcfg("trace", stdin=spoilt)
    assert result.code == 2
    assert result.out == zepcfg("trace", failing).ok().out
    assert "line 1 " in result.err and "line 4 " in result.err and "22 lines" in result.err
    assert len(result.err.splitlines()) == 11
    assert "\x1b" not in result.err
    answer = zepcfg("--json", "trace", stdin=spoilt)
    assert (answer.code, answer.json["result"], answer.json["skippedLines"]) == (2, "E_FAIL", 22)
    assert len(answer.json["calls"]) == 1


def test_controls_in_a_trace_do_not_reach_the_terminal(zepcfg):
    record = {"time": "2024-05-01T12:00:00.000000Z", "thread": 1, "kind": "detail", "class": "a", "text": "x\u001b[31m\n\ty"}
    assert zepcfg("trace", stdin=json.dumps(record).encode()).ok().text == "thread 1\n  x\\x1B[31m\\n\\ty\n"


def test_colours_are_for_terminals_that_want_them(zepcfg, failing):
    assert b"\x1b[31mFAILED" in zepcfg.on_terminal("trace", failing, TERM="xterm").out
    assert b"\x1b" not in zepcfg.on_terminal("trace", failing, TERM="xterm", NO_COLOR="1").out
    assert b"\x1b" not in zepcfg("trace", failing).out


def test_processes_and_threads_stand_apart(zepcfg, tmp_path):
    file = tmp_path / "stream.jsonl"
    lines = b"".join(b'"<E DescId=\'%d\'/>"\n' % number for number in range(40))
    zepcfg(f"--trace={file}", "strip", "--jsonl", "--jobs", "3", stdin=lines).ok()
    processes = {json.loads(line)["process"] for line in file.read_text(encoding="utf-8").splitlines()}
    text = zepcfg("trace", file).ok().text
    assert {int(line.split()[1].rstrip(",")) for line in text.splitlines() if line.startswith("process")} == processes
    assert len(processes) >= 2
    assert text.count("RemoveDescription (") == 40
    assert "missing" not in text


def test_calls_are_shown_while_the_trace_grows(zepcfg, failing):
    process = subprocess.Popen(
        [str(zepcfg.path), "trace"], stdin=subprocess.PIPE, stdout=subprocess.PIPE, env=zepcfg.environment
    )
    try:
        process.stdin.write(failing.read_bytes())
        process.stdin.flush()
        shown = b""
        while b"IsEncodingUTF16" not in shown:
            shown += os.read(process.stdout.fileno(), 65536)
        assert process.poll() is None
    finally:
        process.stdin.close()
        process.wait(timeout=30)
        process.stdout.close()


def test_long_trace_takes_no_more_memory(zepcfg, tmp_path):
    file = tmp_path / "long.trace"
    zepcfg(f"--trace={file}", "strip", stdin=b"<E a='" + b"x" * 100_000 + b"'/>").ok()
    once = file.read_bytes()

    def most_memory(count):
        """In KB."""
        file.write_bytes(once * count)
        program = (
            "import resource, subprocess, sys; subprocess.run(sys.argv[1:], stdout=subprocess.DEVNULL, check=True);"
            "print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss)"
        )
        done = subprocess.run(
            ["python3", "-c", program, str(zepcfg.path), "trace", str(file)],
            # The sanitizer would keep what is freed for a while.
            env={**zepcfg.environment, "ASAN_OPTIONS": "quarantine_size_mb=1"}, capture_output=True, text=True, check=True,
        )
        return int(done.stdout)

    size = len(once) * 200 // 1024
    assert size > 30_000
    assert most_memory(200) - most_memory(5) < size / 4
