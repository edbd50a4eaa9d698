"""The manual pages that are installed beside the program."""

import os
import re
import subprocess

import pytest

import support

PAGES = sorted((support.RESOURCES.parents[1] / "man" / "man1").glob("*.1"))
SECTIONS = ["NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXIT STATUS", "ENVIRONMENT", "EXAMPLES", "SEE ALSO"]


def plain(page):
    """The page as a person reads it, in lines that are not broken."""
    done = subprocess.run(
        ["man", "--warnings", "-l", str(page)], capture_output=True, text=True, timeout=60,
        env={"PATH": os.environ["PATH"], "MANWIDTH": "1000", "LANG": "C.UTF-8", "MANROFFOPT": "-rHY=0"},
    )
    assert (done.returncode, done.stderr) == (0, "")
    return re.sub(r".\x08", "", done.stdout)


@pytest.fixture(scope="module")
def texts():
    return {page.stem: plain(page) for page in PAGES}


def commands_of(help_text):
    """The words of each command that a help lists."""
    listed = help_text.split("Subcommands:")[1:]
    return [words.split() for words in re.findall(r"^  ([a-z-]+(?: [a-z-]+)*) ", "".join(listed), re.MULTILINE)]


def all_commands(zepcfg):
    """The words of each command, the program itself first."""
    return [[], *commands_of(zepcfg("--help").ok().text)]


def page_name(words):
    return "-".join(["zepcfg", *words])


def test_every_command_has_a_page(zepcfg):
    commands = all_commands(zepcfg)
    assert ["stylesheet", "check"] in commands
    assert sorted(page.stem for page in PAGES) == sorted(map(page_name, commands))


def test_help_of_the_program_lists_the_commands_of_commands(zepcfg):
    commands = all_commands(zepcfg)
    for words in commands:
        below = [other for other in commands if len(other) > len(words) and other[: len(words)] == words]
        assert commands_of(zepcfg(*words, "--help").ok().text) == below


def test_what_pages_say_are_sentences(texts):
    for name, text in texts.items():
        for section in ("OPTIONS", "EXIT STATUS", "ENVIRONMENT"):
            said = re.findall(r"^ {14}(\S.*)$|^ {7}[^ ].*? {2,}(\S.*)$", text.split(f"\n{section}\n")[1].split("\n\n\n")[0], re.MULTILINE)
            assert said or section == "OPTIONS", name
            for first, second in said:
                assert re.fullmatch(r"([A-Z]|1: )[^\n]*[.]", first or second), (name, section, first or second)


def test_pages_are_flawless():
    done = subprocess.run(["mandoc", "-T", "lint", "-W", "style", *map(str, PAGES)], capture_output=True, text=True, timeout=60)
    assert done.stdout + done.stderr == ""
    done = subprocess.run(["groff", "-ww", "-man", "-Tutf8", "-z", *map(str, PAGES)], capture_output=True, text=True, timeout=60)
    assert done.stdout + done.stderr == ""


def test_page_has_its_sections(texts):
    for name, text in texts.items():
        sections = re.findall(r"^([A-Z][A-Z ]+)$", text, re.MULTILINE)
        wanted = SECTIONS if name != "zepcfg" else SECTIONS[:3] + ["COMMANDS"] + SECTIONS[3:]
        assert sections == wanted, name
        assert re.search(rf"^ +{name} - \w", text, re.MULTILINE)


def test_page_has_the_options_that_the_help_has(zepcfg, texts):
    for words in all_commands(zepcfg):
        options = re.findall(r"^  (?:-\w,)?(--[a-z]+)", zepcfg(*words, "--help").ok().text, re.MULTILINE)
        assert options[0] == "--help"
        listed = texts[page_name(words)].split("\nOPTIONS\n")[1].split("\nEXIT STATUS\n")[0]
        assert re.findall(r"^ +(?:-\w, )?(--[a-z]+)", listed, re.MULTILINE) == options


def test_pages_tell_of_the_variables_that_the_documents_have(texts):
    documented = set()
    for name in ("settings", "server", "security", "trace", "command-line"):
        text = (support.DOCUMENTS / "docs" / f"{name}.md").read_text(encoding="utf-8")
        documented |= set(re.findall(r"[`$]((?:ZEP_|CFG_|XDG_|SSL_)\w+|ZEPInstallPath|NO_COLOR)\b", text))
    section = texts["zepcfg"].split("\nENVIRONMENT\n")[1].split("\nEXAMPLES\n")[0]
    told = set(re.findall(r"^ {7}(\w+)$", section, re.MULTILINE))
    assert len(told) > 20
    assert documented == told
    for name, text in texts.items():
        own = set(re.findall(r"^ {7}(\w+)$", text.split("\nENVIRONMENT\n")[1].split("\nEXAMPLES\n")[0], re.MULTILINE))
        assert own and own <= told, name


def examples(text):
    section = text.split("\nEXAMPLES\n")[1].split("\nSEE ALSO\n")[0]
    return [line.strip() for line in section.splitlines() if "zepcfg " in line]


def test_examples_of_the_pages_run(zepcfg, texts, tmp_path, demo_server):
    (tmp_path / "samples").symlink_to(support.SAMPLES)
    (tmp_path / "resources").symlink_to(support.RESOURCES)
    (tmp_path / "expressions.jsonl").write_text('"<E/>"\n')
    (tmp_path / "mine.xsl").write_bytes(support.SERVER_DISPLAY.read_bytes())
    zepcfg("format", support.SMALL_SAMPLE, ZEP_TRACE="1", ZEP_TRACE_FILE=str(tmp_path / "web.trace")).ok()
    url = demo_server().url
    environment = {**zepcfg.environment, "PATH": f"{support.BIN}:{os.environ['PATH']}"}
    for name, text in texts.items():
        assert examples(text), name
        for example in examples(text):
            command = re.sub(r"https?://[\w.:]+", url, example).replace("tail -f", "cat")
            done = subprocess.run(["bash", "-c", command], cwd=tmp_path, env=environment, capture_output=True, text=True, timeout=60)
            wanted = (0, 1) if "includes" in name else (0,)
            assert done.returncode in wanted, f"{command}\n{done.stdout}{done.stderr}"
