"""The commands that the documents give without showing what they print: blocks marked ```sh, and lines that are
set off by four blanks.

Each has a row below. What works with the build under test is run with it, whatever preset the document names.
What would take minutes, root or a person is looked at instead: whether the presets, targets, programs, cases,
files and packages exist that it names. A command without a row is a failure.
"""

import functools
import json
import os
import pathlib
import re
import shlex
import subprocess

import pytest

import support

ROOT = support.DOCUMENTS
BUILD = support.BIN.parent
# Their blocks are built and run elsewhere: tests/packaging and tests/platform-contract.
TRIED_ELSEWHERE = {"porting.md": ("sh",), "developing.md": ("sh",)}


def documents():
    return [ROOT / "README.md", ROOT / "CONTRIBUTING.md", *sorted((ROOT / "docs").glob("*.md"))]


def blocks(text, language):
    return re.findall(rf"^```{language}\n(.*?)^```$", text, re.DOTALL | re.MULTILINE)


def without_blocks(text):
    return re.sub(r"^```\w.*?^```$|^```\n.*?^```$", "", text, flags=re.DOTALL | re.MULTILINE)


def commands_of(document):
    text = document.read_text(encoding="utf-8")
    lines = [] if document.name in TRIED_ELSEWHERE else "".join(blocks(text, "sh")).splitlines()
    lines += re.findall(r"(?<=\n) {4}(?=\S)(.*)$", without_blocks(text), re.MULTILINE)
    return [re.sub(r" +#.*", "", line) for line in lines]


def commands():
    return [pytest.param(command, id=f"{document.name}: {command}") for document in documents() for command in commands_of(document)]


# ---- what is there ---------------------------------------------------------------------------------


def printed(*command, cwd=ROOT, **environment):
    done = subprocess.run(
        list(map(str, command)), cwd=cwd, capture_output=True, text=True, timeout=60, env={**os.environ, **environment}
    )
    assert done.returncode == 0, f"{command}\n{done.stdout}{done.stderr}"
    return done.stdout


@functools.cache
def presets():
    listed = json.loads((ROOT / "CMakePresets.json").read_text(encoding="utf-8"))["configurePresets"]
    return {preset["name"] for preset in listed if not preset.get("hidden")}


@functools.cache
def targets():
    return set(re.findall(r"^([\w.-]+): ", printed("cmake", "--build", BUILD, "--target", "help"), re.MULTILINE))


@functools.cache
def cached_options():
    return dict(re.findall(r"^(\w+):\w+=(.*)$", (BUILD / "CMakeCache.txt").read_text(encoding="utf-8"), re.MULTILINE))


def in_build(path):
    """A path below build/PRESET, in the build under test."""
    preset, rest = re.fullmatch(r"build/([\w-]+)/?(.*)", path).groups()
    assert preset in presets()
    return BUILD / rest


def cases_of(program, *options):
    return len(re.findall(r"^  \S", printed(in_build(program), "--gtest_list_tests", *options), re.MULTILINE))


# ---- rows ------------------------------------------------------------------------------------------


def configures_and_builds(line, tmp_path):
    """Takes minutes."""
    configure, build = (shlex.split(part) for part in line.split(" && "))
    assert configure[:2] == ["cmake", "--preset"] and configure[2] in presets()
    for option in configure[3:]:
        assert re.fullmatch(r"-D(\w+)=.+", option)[1] in cached_options()
    assert build[:3] == ["cmake", "--build", f"build/{configure[2]}"] and build[3:4] in ([], ["--target"])
    assert set(build[4:]) <= targets()


def installs(line, tmp_path):
    """The tests of the packaging install and build against it; here, whether it is that."""
    words = shlex.split(line)
    assert words[:2] == ["cmake", "--install"] and words[3:] == ["--prefix", "DIR"]
    assert (in_build(words[2]) / "cmake_install.cmake").is_file()


def sets_folders_of_an_installation(line, tmp_path):
    libraries = cached_options()["CMAKE_INSTALL_LIBDIR"]
    known = {"DIR", f"DIR/{libraries}", f"DIR/{libraries}/pkgconfig", "DIR/share/zepcfg", "DIR/bin:$PATH"}
    assert {word.partition("=")[2] for word in shlex.split(line)[1:]} <= known
    assert (BUILD / "share" / "zepcfg").is_dir()


def sets_the_search_path(line, tmp_path):
    (tmp_path / "build").mkdir()
    (tmp_path / "build" / "release").symlink_to(BUILD)
    assert "zepcfg 1" in printed("bash", "-ec", f"{line}\nzepcfg --version", cwd=tmp_path, PATH="/usr/bin:/bin")


def runs_test_program(line, tmp_path):
    program, *options = shlex.split(line)
    if not options:  # all of its cases have been run already
        assert cases_of(program) > 0
        return
    assert re.search(r"\[  PASSED  \] [1-9]\d* tests?\.", printed(in_build(program), *options, cwd=tmp_path))


def runs_registered_tests(line, tmp_path):
    """They have been run already; whether they are found."""
    words = shlex.split(line)
    assert words[:2] == ["ctest", "--test-dir"]
    assert re.search(r"^Total Tests: [1-9]", printed(*words[:2], in_build(words[2]), *words[3:], "-N"), re.MULTILINE)


def is_what_the_contract_tests_say(line, tmp_path):
    """Of the reference platform."""
    program = BUILD / "tests" / "bin" / "platform_contract_reference_test"
    assert line == printed(program, "--gtest_brief=1", cwd=tmp_path).splitlines()[-1]


def debugs(line, tmp_path):
    """Wants a person, and is installed for nothing else."""
    debugger, arguments, program, *options = shlex.split(line)
    assert (debugger, arguments) == ("gdb", "--args")
    assert re.search(rf"^# debug\n{debugger}$", (ROOT / "cmake/debian-packages.txt").read_text(encoding="utf-8"), re.MULTILINE)
    assert cases_of(program, *options) > 0


def runs_script_on_program(line, tmp_path):
    """`./check` does it with nearly every program."""
    script, program = shlex.split(line)
    assert os.access(ROOT / script, os.X_OK) and cases_of(program) > 0


def fuzzes(line, tmp_path):
    """The engine is built in minutes. An input is run by the program that replays all of them, where there is one."""
    command, target, what = shlex.split(line)
    assert target in printed(ROOT / command, "--list").split()
    if what.isdigit():
        return
    (tmp_path / "seeds").mkdir()
    (tmp_path / "seeds" / "input").write_bytes((ROOT / what).read_bytes())
    replay = BUILD / "tests" / "bin" / f"fuzz_replay_{target}"
    if replay.exists():
        printed(replay, tmp_path, 0, cwd=tmp_path)


def measures(line, tmp_path):
    """Takes minutes, and packages that the tests do without."""
    command, group = shlex.split(line)
    assert "NAME runs that group alone" in printed(ROOT / command, "--help")
    assert re.search(rf"\b{group}\b", (ROOT / "benchmarks" / "CMakeLists.txt").read_text(encoding="utf-8"))


def shows_its_usage(line, tmp_path):
    """Take minutes, and root where a package is missing."""
    command, *options = shlex.split(line)
    usage = printed(ROOT / command, "--help")
    assert all(option in usage for option in options)


def mutates(line, tmp_path):
    """Takes minutes; what would be changed is listed at once."""
    command, *words = shlex.split(line)
    usage = printed(ROOT / command, "--help")
    places = [word for word in words if ".cpp" in word]
    assert all(option in usage for option in words if option.startswith("--"))
    assert not places or printed(ROOT / command, "--list", *places).count("\n") > 5


def reports_coverage(line, tmp_path):
    """Only a build for it has counters."""
    script, build, *parts = shlex.split(line)
    assert os.access(ROOT / script, os.X_OK) and pathlib.Path(build).name in presets()
    assert all(f'"{part}": Part(' in (ROOT / script).read_text(encoding="utf-8") for part in parts)


def forgets_counters(line, tmp_path):
    """As `./check` does."""
    assert f"  {line}\n" in (ROOT / "check").read_text(encoding="utf-8")


def manages_packages(line, tmp_path):
    """Wants root; the tests of the packages install and purge them."""
    made = (ROOT / "packaging" / "DebianPackages.cmake").read_text(encoding="utf-8")
    names = [re.sub(r"^\./|_\*\.deb$", "", word) for word in shlex.split(line)[2:]]
    assert names and all(re.search(rf"^zep_debian_package\(\w+ {name} ", made, re.MULTILINE) for name in names)


ROWS = [
    (r"cmake --preset .*", configures_and_builds),
    (r"cmake --install .*", installs),
    (r"export .*=DIR.*", sets_folders_of_an_installation),
    (r"export PATH=.*", sets_the_search_path),
    (r"build/\w+/tests/bin/.*", runs_test_program),
    (r"platform contract: .*", is_what_the_contract_tests_say),
    (r"ctest .*", runs_registered_tests),
    (r"gdb .*", debugs),
    (r"scripts/run-under-valgrind .*", runs_script_on_program),
    (r"scripts/coverage-report .*", reports_coverage),
    (r"rm -rf build/coverage/profiles", forgets_counters),
    (r"\./fuzz .*", fuzzes),
    (r"\./bench .*", measures),
    (r"\./mutate .*", mutates),
    (r"\./(start|check)( .*)?", shows_its_usage),
    (r"apt (install|purge) .*", manages_packages),
]


@pytest.mark.parametrize("command", commands())
def test_command_of_a_document_works(command, tmp_path):
    row = next((row for pattern, row in ROWS if re.fullmatch(pattern, command)), None)
    assert row is not None, f"nothing is known of {command!r}"
    row(command, tmp_path)


def test_every_row_is_for_a_command():
    texts = [command.values[0] for command in commands()]
    assert [pattern for pattern, _ in ROWS if not any(re.fullmatch(pattern, text) for text in texts)] == []


def test_documents_that_are_tried_elsewhere_are_read_there():
    for name in TRIED_ELSEWHERE:
        tests = [*(ROOT / "tests/packaging").glob("test_*.py"), *(ROOT / "tests/platform-contract").glob("test_*.py")]
        assert any(f'"{name}"' in test.read_text(encoding="utf-8") or f'docs/{name}"' in test.read_text(encoding="utf-8") for test in tests)
