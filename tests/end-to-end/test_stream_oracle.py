"""Long streams of well-formed and malformed texts, line by line against a slow oracle."""

import json
import os
import random
import subprocess

import pytest

import support
import text_oracle

LINES = 20_000 if os.environ.get("ZEP_SANITIZE") == "1" else 200_000
TOKENS = [
    '<Context HolderType="Model" HolderName="', "<Context", "</Context>", '<InheritedEff a="" FilterableId="12" HolderName="F"/>',
    "<InheritedEff/>", "InheritedEff", "FilterableId", "HolderName", 'OperationHandlerId="', "OperationHandlerId", '"', "'", '="7"', " ",
    "<Description>", "</Description>", "Description", "/Description", ' DescId="x"', "DescId", "Desc", "Id", ">", "/>", "-3", "99999999999",
    "text", "\u00e9", "\u6f22", "\n",
]  # fmt: skip


def generated_texts(count):
    random_source = random.Random(20)
    for _ in range(count):
        yield "".join(random_source.choices(TOKENS, k=random_source.randrange(24)))


def is_instrumented():
    return b"__asan_init" in (support.BIN / "zepcfg").read_bytes()


class Stream:
    """Runs a command over generated lines and hands on each line's text and object."""

    def __init__(self, zepcfg, command, folder):
        self.zepcfg = zepcfg
        self.command = command
        self.input = folder / "lines.jsonl"
        self.output = folder / "out.jsonl"

    def run(self, count):
        """Returns the most memory that the program used, in KiB."""
        with self.input.open("w") as file:
            file.writelines(json.dumps(text) + "\n" for text in generated_texts(count))
        with self.output.open("wb") as out:
            done = subprocess.run(
                ["/usr/bin/env", "python3", "-c", MEASURE, str(self.zepcfg.path), self.command, "--jsonl", str(self.input)],
                stdout=out,
                stderr=subprocess.PIPE,
                env=self.zepcfg.environment,
                timeout=600,
            )
        return int(done.stderr.split()[-1])

    def objects(self):
        with self.output.open("rb") as file:
            yield from (json.loads(line) for line in file)


MEASURE = """
import resource, subprocess, sys
subprocess.run(sys.argv[1:])
print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss, file=sys.stderr)
"""


def expected_split(text):
    return {"hresult": 0, "result": "S_OK", "contexts": text_oracle.split(text)}


def agrees_stripped(text, result):
    stripped = text_oracle.strip(text)
    if isinstance(stripped, tuple):
        return result["result"] == "E_FAIL" and result["error"] == stripped[0] and result["text"] == ""
    return result == {"hresult": 0, "result": "S_OK", "text": stripped}


def agrees_split(text, result):
    return result == expected_split(text)


@pytest.mark.parametrize(("command", "agrees"), [("split", agrees_split), ("strip", agrees_stripped)])
def test_every_line_agrees_and_memory_stays_flat(zepcfg, tmp_path, command, agrees):
    stream = Stream(zepcfg, command, tmp_path)
    few_lines_kib = stream.run(1000)
    many_lines_kib = stream.run(LINES)
    seen = 0
    for text, result in zip(generated_texts(LINES), stream.objects(), strict=True):
        assert agrees(text, result), f"{text!r}\ngives {result}"
        seen += 1
    assert seen == LINES
    if not is_instrumented():
        assert many_lines_kib < few_lines_kib + 8 * 1024
