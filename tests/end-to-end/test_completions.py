"""Completion in real shells."""

import os
import pty
import re
import select
import shutil
import subprocess
import time

import pytest

import support

SHARE = support.RESOURCES.parents[1]
FOLDER_FILES = ["one.xml", "one more.xml", "two.xsl"]

COMMANDS = ["format", "split", "strip", "always-true", "compile", "includes", "call", "ids", "stylesheet", "trace", "doctor"]

# What is written, and what its last word may become.
ROWS = [
    ("", COMMANDS),
    ("fo", ["format"]),
    ("st", ["strip", "stylesheet"]),
    ("--url http://a:1 --json ca", ["call"]),
    ("--context format do", ["doctor"]),
    ("stylesheet ch", ["check"]),
    ("format --comp", ["--compact"]),
    ("format --j", ["--jsonl", "--jobs", "--json"]),
    ("doctor --jo", []),
    ("stylesheet --p", ["--print"]),
    ("stylesheet check --s", ["--server"]),
    ("--br", ["--branching"]),
    ("includes --expl", ["--explain"]),
    ("format tw", ["two.xsl"]),
    ("format one.xml tw", ["two.xsl"]),
    ("format --stylesheet tw", ["two.xsl"]),
    ("format one.", ["one.xml"]),
    ("format -o tw", ["two.xsl"]),
    ("stylesheet check tw", ["two.xsl"]),
    ("includes two.xsl tw", ["two.xsl"]),
    ("call ", ["GET", "PUT", "POST"]),
    ("call P", ["PUT", "POST"]),
    ("call --legacy G", ["GET"]),
    ("call GET P", []),
    ("call POST /a --data tw", []),
    ("call POST /a --data @tw", ["@two.xsl"]),
    ("ids tw", []),
    ("doctor tw", []),
    ("format --jobs tw", []),
]


class Terminal:
    """A shell at a terminal, in which zepcfg prints the words that it was started with."""

    def __init__(self, command, folder, keys, setup, environment=None):
        self.keys = keys
        self.ours, theirs = pty.openpty()
        self.process = subprocess.Popen(
            command,
            stdin=theirs,
            stdout=theirs,
            stderr=theirs,
            cwd=folder,
            env={"PATH": os.environ["PATH"], "HOME": str(folder), "TERM": "dumb", "LANG": "C.UTF-8", "COLUMNS": "2000"},
            start_new_session=True,
        )
        os.close(theirs)
        setup += "zepcfg() { printf 'WO''RD<%s>' \"$@\"; printf 'EN''D\\n'; }\n"
        for line in setup.splitlines():
            self.send(line + "\n")
        self.words_of("zepcfg ready\n")

    def send(self, text):
        os.write(self.ours, text.encode())

    def words_of(self, text):
        self.send(text)
        out = ""
        deadline = time.monotonic() + 30
        while "END" not in out:
            readable = select.select([self.ours], [], [], max(0, deadline - time.monotonic()))[0]
            assert readable, f"no answer to {text!r}: {out!r}"
            out += os.read(self.ours, 65536).decode("utf-8", "replace").replace("\r", "")
        return re.findall(r"WORD<([^>]*)>", out)

    def complete(self, line):
        return self.words_of(f"zepcfg {line}{self.keys}\n")

    def stop(self):
        os.close(self.ours)
        self.process.kill()
        self.process.wait()


@pytest.fixture(scope="module")
def folder(tmp_path_factory):
    folder = tmp_path_factory.mktemp("completion")
    for name in FOLDER_FILES:
        (folder / name).touch()
    return folder


def terminal(folder, *arguments):
    shell = Terminal(*arguments)
    try:
        yield shell
    finally:
        shell.stop()


@pytest.fixture(scope="module")
def bash(folder):
    script = SHARE / "bash-completion" / "completions" / "zepcfg"
    yield from terminal(
        folder, ["bash", "--norc", "--noprofile", "-i"], folder, "\x1b*",
        f"bind 'set enable-bracketed-paste off'\nbind 'set bell-style none'\nsource '{script}'\n",
    )


@pytest.fixture(scope="module")
def zsh(folder):
    setup = (
        f"fpath=('{SHARE}/zsh/vendor-completions' $fpath)\nautoload -Uz compinit; compinit -u -D\n"
        "unset zle_bracketed_paste; setopt no_beep no_prompt_sp; zle -C all complete-word _generic; bindkey '^Xa' all\n"
        "zstyle ':completion:all:*' completer _all_matches _complete; zstyle ':completion:all:*' insert true\n"
    )
    yield from terminal(folder, [shutil.which("zsh"), "-f", "-i"], folder, "\x18a", setup)


def expected_words(line, candidates):
    words = line.split(" ")
    return words[:-1] + (candidates or words[-1:])


@pytest.mark.parametrize(("line", "candidates"), ROWS, ids=[row[0] or "nothing" for row in ROWS])
def test_bash_completes(bash, line, candidates):
    words = bash.complete(line)
    given = line.count(" ")
    assert words[:given] + sorted(words[given:]) == expected_words(line, sorted(candidates))


@pytest.mark.parametrize(("line", "candidates"), ROWS, ids=[row[0] or "nothing" for row in ROWS])
def test_zsh_completes(zsh, line, candidates):
    words = zsh.complete(line)
    given = line.count(" ")
    assert words[:given] + sorted(words[given:]) == expected_words(line, sorted(candidates))


def fish_completions(folder, lines):
    script = f"source '{SHARE}/fish/vendor_completions.d/zepcfg.fish'\n"
    for line in lines:
        script += f"complete -C 'zepcfg {line}'; echo END\n"
    done = subprocess.run(
        ["fish", "--no-config", "-c", script], cwd=folder, capture_output=True, text=True, timeout=60,
        env={"PATH": os.environ["PATH"], "HOME": str(folder), "LANG": "C.UTF-8"},
    )
    assert done.stderr == ""
    return [[line.split("\t")[0] for line in piece.splitlines()] for piece in done.stdout.split("END\n")[:-1]]


def test_fish_completes(folder):
    found = fish_completions(folder, [row[0] for row in ROWS])
    assert [(row[0], sorted(words)) for row, words in zip(ROWS, found)] == [(line, sorted(words)) for line, words in ROWS]


def test_file_of_the_trace_is_completed_behind_the_equals_sign(folder, bash, zsh):
    wanted = ["--trace=two.xsl", "doctor"]
    assert bash.words_of("zepcfg --trace=tw\t doctor\n") == wanted
    assert zsh.words_of("zepcfg --trace=tw\t doctor\n") == wanted
    assert fish_completions(folder, ["--trace=tw"]) == [["--trace=two.xsl"]]


def test_file_names_with_blanks_are_quoted(folder, bash, zsh):
    assert bash.words_of("zepcfg format one\\ \t\n") == ["format", "one more.xml"]
    assert zsh.words_of("zepcfg format one\\ \t\n") == ["format", "one more.xml"]
    assert fish_completions(folder, ["format one\\\\ "]) == [["one more.xml"]]
