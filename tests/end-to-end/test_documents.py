"""The console examples of the documents, run against the built programs.

A block marked ```console is one shell session in a folder that looks like the project's root. A line
that begins with "$ " is a command ("> " continues it); the lines below it are what it prints on
stdout and stderr. A line "..." stands for any lines, "..." within a line for any text. A command
that fails has to be followed by "$ echo $?". What is not meant to be run is marked ```sh.
"""

import dataclasses
import os
import re
import signal
import subprocess

import pytest

import support

MARK = "\x1eend of command "


@dataclasses.dataclass
class Command:
    text: str
    output: list


def documents():
    return [support.DOCUMENTS / "README.md", *sorted((support.DOCUMENTS / "docs").glob("*.md"))]


def commands_of(block):
    commands = []
    for line in block.splitlines():
        if line.startswith("$ "):
            commands.append(Command(line[2:], []))
        elif line.startswith("> ") and commands and not commands[-1].output:
            commands[-1].text += "\n" + line[2:]
        else:
            assert commands, f"no command before {line!r}"
            commands[-1].output.append(line)
    return commands


def sessions_of(text):
    """The line of each block, and its commands."""
    for found in re.finditer(r"^```console\n(.*?)^```$", text, re.DOTALL | re.MULTILINE):
        yield text.count("\n", 0, found.start()) + 1, commands_of(found[1])


def sessions():
    for document in documents():
        if document.exists():
            for line, commands in sessions_of(document.read_text(encoding="utf-8")):
                yield pytest.param(commands, id=f"{document.name}:{line}")


def matches(expected, printed):
    """Whether the printed lines are the expected ones, where "..." stands for anything."""
    pattern = ""
    for line in expected:
        parts = [re.escape(part) for part in line.split("...")]
        pattern += r"(?:[^\n]*\n)*" if line == "..." else r"[^\n]*".join(parts) + r"\n"
    return re.fullmatch(pattern, "".join(line + "\n" for line in printed)) is not None


def lines_of(text):
    return text.rstrip("\n").split("\n") if text.strip("\n") else []


def run(commands, folder):
    """What each command printed, and its exit code."""
    script = "exec 2>&1\n"
    for command in commands:
        script += f"{command.text}\nstatus=$?; printf '\\n%s%d\\n' '{MARK}' $status; (exit $status)\n"
    process = subprocess.Popen(
        ["bash", "--norc"],
        cwd=folder,
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        text=True,
        env={
            "PATH": f"{support.BIN}:{os.environ['PATH']}",
            "HOME": str(folder),
            "LANG": "C.UTF-8",
            "ZEP_SETTINGS_DIR": str(folder),
        },
        start_new_session=True,
    )
    try:
        script += "jobs -p | xargs -r kill 2>/dev/null\n"
        printed = process.communicate(script, timeout=120)[0]
    finally:
        if process.poll() is None:
            os.killpg(process.pid, signal.SIGKILL)
    pieces = re.split(f"\n{MARK}(\\d+)\n", printed)
    return list(zip(pieces[0::2], map(int, pieces[1::2])))


@pytest.fixture
def root(tmp_path):
    (tmp_path / "samples").symlink_to(support.SAMPLES)
    (tmp_path / "resources").symlink_to(support.RESOURCES)
    (tmp_path / "build").mkdir()
    (tmp_path / "build" / "release").symlink_to(support.BIN.parent)
    return tmp_path


def test_examples_are_found():
    assert list(sessions()) != []


@pytest.mark.parametrize("commands", sessions())
def test_example_prints_what_the_document_says(root, commands):
    results = run(commands, root)
    assert len(results) == len(commands)
    for number, (command, (printed, code)) in enumerate(zip(commands, results)):
        expected = lines_of("\n".join(command.output))
        assert matches(expected, lines_of(printed)), f"$ {command.text}\nsays\n{printed}\nnot\n" + "\n".join(expected)
        if code != 0:
            following = commands[number + 1].text if number + 1 < len(commands) else ""
            assert following == "echo $?", f"$ {command.text}\nended with {code}:\n{printed}"


@pytest.mark.parametrize(
    ("expected", "printed", "same"),
    [
        (["a"], ["a"], True),
        (["a"], ["b"], False),
        (["a"], ["a", "b"], False),
        ([], ["a"], False),
        ([], [], True),
        (["..."], ["a", "b"], True),
        (["a", "...", "c"], ["a", "b1", "b2", "c"], True),
        (["a", "...", "c"], ["a", "c"], True),
        (["a", "...", "c"], ["b", "c"], False),
        (["a", "..."], ["a", "x", "y"], True),
        (["port ... is busy"], ["port 8080 is busy"], True),
        (["port ... is busy"], ["port 8080", " is busy"], False),
        (["a.c"], ["abc"], False),
    ],
)
def test_comparison_is_exact_but_for_three_dots(expected, printed, same):
    assert matches(expected, printed) is same


def test_session_keeps_its_state_and_reports_exit_codes(tmp_path):
    commands = commands_of("$ cd /\n$ a=1; false\n$ echo $? $a \\\n> two\n1 1 two\n$ pwd\n/\n")
    assert run(commands, tmp_path) == [("", 0), ("", 1), ("1 1 two\n", 0), ("/\n", 0)]
