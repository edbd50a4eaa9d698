"""All commands that ask a server, against servers that answer in every wrong way."""

import concurrent.futures
import json

import pytest

import hostile
import support

LIMITS = {
    "ZEP_HTTP_CONNECT_TIMEOUT_MS": "5000",
    "ZEP_HTTP_STALL_TIMEOUT_MS": "1500",
    "ZEP_HTTP_TOTAL_TIMEOUT_MS": "4000",
    "ZEP_HTTP_MAX_BODY_BYTES": str(1 << 20),
    "ZEP_CONTEXT": support.CONTEXT,
}
# A sanitizer's own memory counts too.
MOST_KIB = 600_000
LONGEST_SECONDS = 20


def judged_call(answer, ended):
    """What is wrong with how `call` ended, or nothing."""
    if answer.result == "S_OK":
        if ended.code != 0:
            return f"failed: {ended.err}"
        body = answer.body.encode("utf-8")
        if ended.out not in (body, body + b"\n"):
            return f"printed {ended.out[:200]!r}"
        return ""
    if ended.code != 2:
        return f"ended with {ended.code}"
    if answer.result not in ended.err:
        return f"the code is missing in: {ended.err}"
    if ended.out:
        return f"printed {ended.out[:200]!r}"
    return ""


def judged_format(answer, ended):
    if answer.formats is not None:
        return "" if (ended.code, ended.out) == (0, answer.formats.encode()) else f"{ended.code}: {ended.err}"
    if ended.code != 2:
        return f"ended with {ended.code}: {ended.out[:200]!r}"
    return "" if ended.err and not ended.out else f"printed {ended.out[:200]!r} and {ended.err!r}"


def judged_doctor(_, ended):
    checks = json.loads(ended.out)["checks"]
    return "" if ended.code in (0, 1, 2) and checks else f"ended with {ended.code}: {ended.err}"


COMMANDS = {
    "call": (["call", "GET", "/x"], judged_call),
    "legacy": (["call", "--legacy", "POST", "/x", "--data", "{}"], judged_call),
    "format": (["format", support.SMALL_SAMPLE], judged_format),
    "doctor": (["--json", "doctor"], judged_doctor),
}


def tried(program, nothing, name, answer):
    """What went wrong, or nothing."""
    arguments, judged = COMMANDS[name]
    server = hostile.Server(answer)
    try:
        ended = hostile.run(program, "--url", server.url, *arguments, ZEPInstallPath=str(nothing), **LIMITS)
    finally:
        server.stop()
    problem = judged(answer, ended)
    for word in ("terminate called", "Sanitizer", "Assertion"):
        if word in ended.err:
            problem = problem or ended.err
    if ended.seconds > LONGEST_SECONDS:
        problem = problem or f"took {ended.seconds:.1f} s"
    if ended.peak_kib > MOST_KIB:
        problem = problem or f"took {ended.peak_kib} KiB"
    return f"{name}: {answer.name}: {problem}" if problem else ""


@pytest.mark.parametrize("name", COMMANDS)
def test_every_answer_gives_its_result_or_a_clear_failure(zepcfg, tmp_path, name):
    nothing = tmp_path / "nothing"
    nothing.mkdir()
    answers = hostile.read_list()
    assert len(answers) > 150
    with concurrent.futures.ThreadPoolExecutor(max_workers=24) as pool:
        problems = list(pool.map(lambda answer: tried(zepcfg, nothing, name, answer), answers))
    assert [problem for problem in problems if problem] == []
