"""Streams of JSON lines."""

import json
import os
import pathlib
import signal
import subprocess
import time

import pytest

import support

SAMPLE_TEXTS = [file.read_text(encoding="utf-8") for file in support.SAMPLE_FILES if file.stat().st_size < 20_000]


def lines_of(values):
    return "".join(json.dumps(value) + "\n" for value in values).encode()


def objects(result):
    return [json.loads(line) for line in result.out.splitlines()]


@pytest.mark.parametrize("jobs", [1, 2, 5])
def test_format_gives_the_text_of_each_expression_in_order(zepcfg, jobs):
    expressions = SAMPLE_TEXTS * 20
    stream = lines_of({"id": [i], "expression": text} for i, text in enumerate(expressions))
    result = zepcfg("format", "--jsonl", "--jobs", jobs, "--stylesheet", support.DISPLAY, stdin=stream).ok()
    one_shot = {
        text: zepcfg("format", "--stylesheet", support.DISPLAY, stdin=text.encode()).ok().text for text in SAMPLE_TEXTS
    }
    assert objects(result) == [
        {"id": [i], "hresult": 0, "result": "S_OK", "text": one_shot[text]} for i, text in enumerate(expressions)
    ]


@pytest.mark.parametrize("command", ["format", "split", "strip"])
def test_jobs_change_no_byte(zepcfg, command):
    stream = lines_of(SAMPLE_TEXTS * 10 + ["", "<a", 7, {"id": 1}, {"id": 2, "expression": None}])
    options = ["--stylesheet", support.DISPLAY] if command == "format" else []
    one = zepcfg(command, "--jsonl", *options, stdin=stream)
    three = zepcfg(command, "--jsonl", "--jobs", 3, *options, stdin=stream)
    assert one.code == three.code == 2
    assert one.out == three.out


def test_line_that_fails_is_reported_and_the_stream_goes_on(zepcfg):
    stream = (
        lines_of([{"id": "first", "expression": SAMPLE_TEXTS[0]}])
        + b"not json\n"
        + lines_of([{"id": "third", "expression": "<a"}, ""])
        + b'"no line end at the end"'
    )
    result = zepcfg("format", "--jsonl", "--stylesheet", support.DISPLAY, stdin=stream)
    assert result.code == 2
    first, second, third, fourth, fifth = objects(result)
    assert first["id"] == "first" and first["hresult"] == 0
    assert second["result"] == "E_INVALIDARG" and second["input"] == "line 2" and "JSON" in second["error"]
    assert third["id"] == "third" and third["hresult"] < 0 and third["input"] == "line 3" and third["remedy"]
    assert fourth == {"hresult": 1, "result": "S_FALSE", "text": ""}
    assert fifth["hresult"] < 0


def test_line_with_windows_line_end_and_file_as_input(zepcfg, tmp_path):
    file = tmp_path / "lines.jsonl"
    file.write_bytes(b'"<E a=\\"\\"/>"\r\n"<E b=\\"\\"/>"')
    out = tmp_path / "out.jsonl"
    zepcfg("strip", "--jsonl", "-o", out, file).ok()
    assert [json.loads(line)["text"] for line in out.read_text().splitlines()] == ['<E a=""/>', '<E b=""/>']


def test_empty_stream_is_nothing(zepcfg):
    assert zepcfg("split", "--jsonl").ok().out == b""


@pytest.mark.parametrize("jobs", [1, 2])
def test_each_line_is_written_as_soon_as_it_is_known(zepcfg, jobs):
    process = subprocess.Popen(
        [zepcfg.path, "strip", "--jsonl", "--jobs", str(jobs)],
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        env=zepcfg.environment,
    )
    for text in ('<E a=""/>', '<E b=""/>'):
        process.stdin.write(lines_of([text]))
        process.stdin.flush()
        assert json.loads(process.stdout.readline())["text"] == text
    process.stdin.close()
    assert process.wait(60) == 0


def children_of(process):
    return [int(pid) for pid in pathlib.Path(f"/proc/{process}/task/{process}/children").read_text().split()]


def test_killed_worker_costs_at_most_its_line(zepcfg):
    process = subprocess.Popen(
        [zepcfg.path, "strip", "--jsonl", "--jobs", "2"],
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        env=zepcfg.environment,
    )
    process.stdin.write(lines_of(['<E a=""/>']))
    process.stdin.flush()
    assert json.loads(process.stdout.readline())["hresult"] == 0
    for worker in children_of(process.pid):
        os.kill(worker, signal.SIGKILL)
    out, _ = process.communicate(lines_of([f'<E n="{i}"/>' for i in range(500)]), 60)
    results = [json.loads(line) for line in out.splitlines()]
    lost = [result for result in results if result["hresult"] != 0]
    assert len(results) == 500 and len(lost) <= 2
    assert all("ended" in result["error"] for result in lost)
    assert [result["text"] for result in results if result["hresult"] == 0] == [
        f'<E n="{i}"/>' for i in range(500) if results[i]["hresult"] == 0
    ]


def test_closed_pipe_ends_the_stream(zepcfg):
    process = subprocess.Popen(
        [zepcfg.path, "strip", "--jsonl", "--jobs", "2"],
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        env=zepcfg.environment,
    )
    workers = children_after_start(process.pid, 2)
    process.stdout.close()
    try:
        process.stdin.write(lines_of(['<E a=""/>'] * 10_000))
        process.stdin.close()
    except BrokenPipeError:
        pass
    assert process.wait(60) == -signal.SIGPIPE
    assert all(ends(worker) for worker in workers)


def test_interrupt_ends_the_stream_and_its_workers(zepcfg, tmp_path):
    process = subprocess.Popen(
        [zepcfg.path, "strip", "--jsonl", "--jobs", "2", "-o", str(tmp_path / "out.jsonl")],
        stdin=subprocess.PIPE,
        env=zepcfg.environment,
    )
    workers = children_after_start(process.pid, 2)
    process.send_signal(signal.SIGINT)
    assert process.wait(60) == -signal.SIGINT
    assert all(ends(worker) for worker in workers)
    assert list(tmp_path.glob("out.jsonl*")) == []


def children_after_start(process, count):
    for _ in range(600):
        children = children_of(process)
        if len(children) == count:
            time.sleep(0.1)  # the last one may still be on its way into its loop
            return children
        time.sleep(0.05)
    raise AssertionError("the workers did not start")


def ends(process):
    for _ in range(600):
        try:
            state = pathlib.Path(f"/proc/{process}/stat").read_text().rsplit(")", 1)[1].split()[0]
        except FileNotFoundError:
            return True
        if state == "Z":
            return True
        time.sleep(0.05)
    return False


def test_server_is_asked_once_for_all_workers(zepcfg, demo_server):
    server = demo_server()
    stream = lines_of(SAMPLE_TEXTS * 5)
    zepcfg("--url", server.url, "--context", support.CONTEXT, "format", "--jsonl", "--jobs", 3, stdin=stream).ok()
    assert len(server.requests()) == 1


@pytest.mark.parametrize("words", [["--jobs", "2"], ["--jsonl", "--jobs", "0"], ["--jsonl", "--jobs", "x"], ["--jsonl", "--batch"]])
def test_options_that_make_no_sense_are_refused(zepcfg, words):
    zepcfg("format", *words).failed("--help")


def test_stream_without_any_stylesheet_fails_at_once(zepcfg, tmp_path):
    zepcfg("format", "--jsonl", stdin=lines_of(["<a/>"]), ZEPInstallPath=str(tmp_path)).failed("no stylesheet found")


def test_monster_among_many_meets_its_limit(zepcfg, tmp_path):
    deep = "<a>" * 2000 + "</a>" * 2000
    stream = lines_of([SAMPLE_TEXTS[0], deep, SAMPLE_TEXTS[0]])
    result = zepcfg("format", "--jsonl", "--stylesheet", support.DISPLAY, stdin=stream)
    assert result.code == 2
    assert [item["hresult"] == 0 for item in objects(result)] == [True, False, True]
