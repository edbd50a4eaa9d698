"""All commands that ask a server, against servers that answer in every wrong way."""

import concurrent.futures
import dataclasses
import json
import os
import resource
import tempfile
import typing

import pytest

import hostile
import support

SANITIZED = os.environ.get("ZEP_SANITIZE") == "1"

COMMON = {"ZEP_HTTP_CONNECT_TIMEOUT_MS": "5000", "ZEP_CONTEXT": support.CONTEXT}
TOTAL_SECONDS = 2.5
# Short where time alone ends a call, so long elsewhere that no busy machine comes near.
SHORT = {"ZEP_HTTP_STALL_TIMEOUT_MS": "1000", "ZEP_HTTP_TOTAL_TIMEOUT_MS": str(int(TOTAL_SECONDS * 1000))}
LONG = {"ZEP_HTTP_STALL_TIMEOUT_MS": "20000", "ZEP_HTTP_TOTAL_TIMEOUT_MS": "20000"}
LONGEST_SHORT_SECONDS = 2 * TOTAL_SECONDS + 5
LONGEST_SECONDS = 15
# A sanitizer's own memory counts too.
MOST_KIB = 600_000 if SANITIZED else 120_000


def failed(ended, *words):
    """What is wrong with how it failed, or nothing."""
    if ended.code != 2:
        return f"ended with {ended.code}: {ended.err}"
    missing = [word for word in words if word.lower() not in ended.err.lower()]
    if missing:
        return f"{missing} is missing in: {ended.err}"
    return f"printed {ended.out[:200]!r}" if ended.out else ""


def judged_call(answer, ended):
    """What is wrong with how `call` ended, or nothing."""
    if answer.result != "S_OK":
        return failed(ended, answer.result, answer.says)
    if ended.code != 0:
        return f"failed: {ended.err}"
    body = answer.body.encode("utf-8")
    return "" if ended.out in (body, body + b"\n") else f"printed {ended.out[:200]!r}"


def why_no_text(answer):
    """Words of the message where no text can be made with the answer."""
    if answer.result != "S_OK":
        return [answer.result, answer.says]
    if not answer.body:
        return ["no stylesheet found"]
    if stylesheet_in(answer.body) is not None:
        return [answer.fails]
    return ["not a JSON document", "check that this is the URL of a PLM server", answer.fails]


def judged_format(answer, ended):
    if answer.formats is None:
        return failed(ended, *why_no_text(answer))
    return "" if (ended.code, ended.out) == (0, answer.formats.encode()) else f"{ended.code}: {ended.err}"


def judged_lines(answer, ended):
    if answer.formats is None:
        return failed(ended, *why_no_text(answer))
    expected = {"hresult": 0, "result": "S_OK", "text": answer.formats}
    return "" if ended.code == 0 and json.loads(ended.out) == expected else f"{ended.code}: {ended.err}"


def stylesheet_in(body):
    """The content that the answer supplies, or nothing."""
    try:
        content = json.loads(body.removeprefix("\ufeff"))["xslt"]["content"]
        content.encode("utf-8")
        return content
    except (ValueError, LookupError, TypeError, RecursionError):
        return None


def judged_stylesheet(answer, ended):
    supplied = stylesheet_in(answer.body) if answer.result == "S_OK" else None
    if supplied is None:
        return failed(ended, *why_no_text(answer))
    return "" if (ended.code, ended.out) == (0, supplied.encode("utf-8")) else f"{ended.code}: {ended.out[:200]!r}"


def judged_doctor(answer, ended):
    if ended.code != 2:  # nothing is installed
        return f"ended with {ended.code}: {ended.err}"
    found = [check for check in json.loads(ended.out)["checks"] if check["area"] == "server"]
    is_empty = answer.result == "S_OK" and not answer.body
    state = "ok" if answer.formats is not None else "note" if is_empty else "fault"
    words = why_no_text(answer)[:1] if state == "fault" else []
    for check in found:
        if check["state"] == state and all(word in check["detail"] for word in words):
            return ""
    return f"no {state} with {words} in {found}"


@dataclasses.dataclass
class Command:
    arguments: list
    judged: typing.Callable
    environment: dict = dataclasses.field(default_factory=dict)


LEGACY = {"CFG_OldCallWebService": "1"}
LINES = "lines.jsonl"
COMMANDS = {
    "call": Command(["call", "GET", "/x"], judged_call),
    "legacy": Command(["call", "--legacy", "POST", "/x", "--data", "{}"], judged_call),
    "format": Command(["format", support.SMALL_SAMPLE], judged_format),
    "doctor": Command(["--json", "doctor"], judged_doctor),
    "format legacy": Command(["format", support.SMALL_SAMPLE], judged_format, LEGACY),
    "format lines": Command(["format", "--jsonl", LINES], judged_lines),
    "stylesheet": Command(["stylesheet", "--print"], judged_stylesheet),
}
TRIED_IN_PART = ["format legacy", "format lines", "stylesheet"]  # with the sanitizers, where all take longer


def out_of_bounds(ended, longest, most_kib):
    """What no command may do, whatever the answer, or nothing."""
    for word in ("terminate called", "Sanitizer", "Assertion"):
        if word in ended.err:
            return ended.err
    if ended.seconds > longest:
        return f"took {ended.seconds:.1f} s"
    # Until it becomes the program, a process has the memory of this one.
    ours = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
    return f"took {ended.peak_kib} KiB" if ended.peak_kib > max(most_kib, ours) else ""


@pytest.fixture
def folder(tmp_path):
    """Lines to format, and an installation without anything."""
    (tmp_path / "nothing").mkdir()
    (tmp_path / LINES).write_text(json.dumps(support.SMALL_SAMPLE.read_text(encoding="utf-8")) + "\n")
    return tmp_path


def environment_in(folder):
    return {"ZEPInstallPath": str(folder / "nothing"), **COMMON}


def tried(program, folder, name, answer):
    """What went wrong, or nothing."""
    command = COMMANDS[name]
    is_short = answer.waits_for_timeout()
    environment = {
        **environment_in(folder),
        **(SHORT if is_short else LONG),
        "ZEP_HTTP_MAX_BODY_BYTES": str(1 << 20),
        **command.environment,
    }
    server = hostile.Server(answer)
    try:
        ended = hostile.run(program, "--url", server.url, *command.arguments, cwd=folder, **environment)
    finally:
        server.stop()
    longest = LONGEST_SHORT_SECONDS if is_short else LONGEST_SECONDS
    problem = command.judged(answer, ended) or out_of_bounds(ended, longest, MOST_KIB)
    return f"{name}: {answer.name}: {problem}" if problem else ""


@pytest.mark.parametrize("name", COMMANDS)
def test_every_answer_gives_its_result_or_a_clear_failure(zepcfg, folder, name):
    answers = hostile.read_list()
    assert len(answers) > 150
    if SANITIZED and name in TRIED_IN_PART:
        answers = answers[1::4]
    assert any(answer.formats for answer in answers)
    with concurrent.futures.ThreadPoolExecutor(max_workers=24) as pool:
        problems = list(pool.map(lambda answer: tried(zepcfg, folder, name, answer), answers))
    assert [problem for problem in problems if problem] == []


PIECE = b"x" * (1 << 20)
PIECE_COUNT = 10 if SANITIZED else 100
# Its text, in the encoding of the library, takes twice as much, and some of it is there more than once.
MOST_KIB_OF_LARGE = 8 * PIECE_COUNT * 1024 + MOST_KIB


def large_answer(how):
    head = b"HTTP/1.1 200 OK\r\n"
    pieces, then = {
        "length": ([b"Content-Length: %d\r\n\r\n" % (len(PIECE) * PIECE_COUNT), *[PIECE] * PIECE_COUNT], "keep"),
        "end": ([b"\r\n", *[PIECE] * PIECE_COUNT], "close"),
        "chunks": (
            [
                b"Transfer-Encoding: chunked\r\n\r\n",
                *[b"%x\r\n%s\r\n" % (len(PIECE), PIECE)] * PIECE_COUNT,
                b"0\r\n\r\n",
            ],
            "keep",
        ),
        "JSON": ([b'\r\n{"xslt":{"content":"', *[PIECE] * PIECE_COUNT, b'"}}'], "close"),
    }[how]
    return hostile.Answer(how, [head, *pieces], then, "request", "S_OK", "", "", None, "")


def holds_all_pieces(file):
    file.seek(0)
    for _ in range(PIECE_COUNT):
        if file.read(len(PIECE)) != PIECE:
            return False
    return file.read() in (b"", b"\n")


def large_tried(program, folder, command, how):
    environment = {**environment_in(folder), **LONG, "ZEP_HTTP_MAX_BODY_BYTES": "209715200", **command.environment}
    server = hostile.Server(large_answer(how))
    with tempfile.TemporaryFile() as out:
        try:
            ended = hostile.run_into(out, program, "--url", server.url, *command.arguments, **environment)
        finally:
            server.stop()
        if how == "JSON":
            problem = failed(ended, "ZEP_XSLT_MAX_STYLESHEET_BYTES")
        elif ended.code == 0:
            problem = "" if holds_all_pieces(out) else "another body"
        else:
            problem = f"ended with {ended.code}: {ended.err}"
    problem = problem or out_of_bounds(ended, LONGEST_SECONDS, MOST_KIB_OF_LARGE)
    return f"{command.arguments}: {how}: {problem}" if problem else ""


def test_a_hundred_megabytes_arrive_whole_where_they_are_allowed(zepcfg, folder):
    runs = [(COMMANDS[name], how) for name in ("call", "legacy") for how in ("length", "end", "chunks")]
    runs.append((COMMANDS["format legacy"], "JSON"))
    with concurrent.futures.ThreadPoolExecutor(max_workers=2) as pool:
        problems = list(pool.map(lambda run: large_tried(zepcfg, folder, *run), runs))
    assert [problem for problem in problems if problem] == []
