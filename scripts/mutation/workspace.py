"""Builds the library with mutants in it, away from the tree and with the options of a build directory."""

import json
import os
import re
import shlex
import shutil
import subprocess
from pathlib import Path

from mutants import changed

LIBRARY = "libZEPCfgCommonServices.so.1"
SOURCES = "ZEPConfigCommonServices/ZEPCfgCommonServices.m/src"
EXPORTS = "ZEPConfigCommonServices/ZEPCfgCommonServices.m/exports.map"
TESTS = "tests/conformance"
# These name the library's file, or hold sources of it themselves, so they are built for the workspace.
FILE_TESTS = ("frame_load_test", "frame_exports_test")
TESTS_OF_SOURCES = {
    "text_parts_test": ("ZEPCfgTextSearch.h",),
    "frame_file_name_test": ("ZEPCfgServiceTrace.h", "ZEPCfgServiceTrace.cpp"),
}

SWITCH = """#pragma once
#include <cstdlib>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
namespace zepMutation {
struct State {
  int mutant = 0;
  unsigned char* reached = nullptr;
};
inline State makeState() {
  State state;
  if (const char* const number = std::getenv("ZEP_MUTANT")) {
    state.mutant = std::atoi(number);
  }
  if (const char* const file = std::getenv("ZEP_MUTANT_REACHED")) {
    const int descriptor = open(file, O_RDWR | O_CLOEXEC);
    void* const map = mmap(nullptr, FUNCTIONS, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    close(descriptor);
    state.reached = map == MAP_FAILED ? nullptr : static_cast<unsigned char*>(map);
  }
  return state;
}
// The number of the mutant that is active; the function that asks is noted.
inline int at(int function) {
  static const State state = makeState();
  if (state.reached != nullptr) {
    state.reached[function] = 1;
  }
  return state.mutant;
}
} // namespace zepMutation
"""


class BuildFailed(Exception):
    pass


class Toolchain:
    """The compiler calls of a build directory, for other places and other sources."""

    def __init__(self, root, build):
        self.root, self.build = Path(root), Path(build)
        entries = json.loads((self.build / "compile_commands.json").read_text())
        self.commands = {}  # of a source that several programs hold, the library's
        for entry in entries:
            self.commands.setdefault(os.path.relpath(entry["file"], root), shlex.split(entry["command"]))

    def library_sources(self):
        return sorted(path for path in self.commands if path.startswith(SOURCES))

    def test_programs(self):
        names = set()
        for path, command in self.commands.items():
            if path.startswith(TESTS):
                names.add(re.search(r"CMakeFiles/(\w+)\.dir", command[command.index("-o") + 1]).group(1))
        return sorted(names)

    def options(self, path):
        """Those of one source, without its name and its object's."""
        command = self.commands[path]
        compiler = next(i for i, word in enumerate(command) if re.search(r"(\+\+|cc|clang)[^/]*$", word))
        words = command[compiler:]
        for option in ("-o", "-c"):
            at = words.index(option)
            del words[at : at + 2]
        return words

    def compile(self, path, source, target, extra, src=None):
        words = [f"-I{src}" if src and word == f"-I{self.root / SOURCES}" else word for word in self.options(path)]
        words += ["-O0", "-g0", "-w", *extra, "-c", str(source), "-o", str(target)]
        return subprocess.run(words, capture_output=True, text=True, env={**os.environ, "LC_ALL": "C"})

    def compile_or_raise(self, *arguments):
        done = self.compile(*arguments)
        if done.returncode != 0:
            raise BuildFailed(done.stderr)

    def link_library(self, objects, folder):
        folder.mkdir(parents=True, exist_ok=True)
        self.link(
            ["-shared", *objects, "-o", folder / LIBRARY, f"-Wl,-soname,{LIBRARY}"]
            + [f"-Wl,--version-script={self.root / EXPORTS}", "-Wl,--no-as-needed"]
            + [self.build / "ZEPConfigCommonServices/platform-name/libZEPPlatform.so.1"]
        )

    def link_test(self, objects, library, program):
        platform = self.build / "lib/scripted"
        self.link(
            [*objects, "-o", program, f"-Wl,-rpath,{platform}", "-Wl,--no-as-needed"]
            + [platform / "libZEPPlatform.so.1", *([library] if library else [])]
            + ["-lgmock", "-lgtest_main", "-lgtest", "-ldl"]
        )

    def link(self, words):
        compiler = self.options(self.library_sources()[0])[0]
        done = subprocess.run([compiler, *map(str, words)], capture_output=True, text=True)
        if done.returncode != 0:
            raise BuildFailed(done.stderr)


class Variant:
    """A folder with a copy of the library's sources, the library built of it and the tests that need
    to be built for it."""

    def __init__(self, tools, folder, extra=()):
        self.tools, self.folder, self.extra = tools, Path(folder), list(extra)
        self.src, self.lib = self.folder / "src", self.folder / "lib"
        shutil.rmtree(self.folder, ignore_errors=True)
        shutil.copytree(tools.root / SOURCES, self.src)
        self.programs = {name: tools.build / "tests/bin" / name for name in tools.test_programs()}

    def object(self, path):
        return self.folder / (Path(path).stem + ".o")

    def compile(self, path):
        return self.tools.compile(path, self.src / Path(path).name, self.object(path), self.extra)

    def link(self):
        self.tools.link_library([self.object(path) for path in self.tools.library_sources()], self.lib)

    def build_file_tests(self):
        for name in FILE_TESTS:
            self.build_test(name, [f'-DLIBRARY_FILE="{self.lib / LIBRARY}"'], None)

    def build_tests_of(self, changed_names):
        for name, held in TESTS_OF_SOURCES.items():
            if changed_names & set(held):
                objects = [self.object(source) for source in held if source.endswith(".cpp")]
                self.build_test(name, self.extra, self.lib / LIBRARY, objects)

    def build_tests_of_sources(self):
        self.build_tests_of({source for held in TESTS_OF_SOURCES.values() for source in held})

    def build_test(self, name, extra, library, objects=()):
        path = f"{TESTS}/{name}.cpp"
        target = self.folder / f"{name}.o"
        program = self.folder / name
        self.tools.compile_or_raise(
            path, self.tools.root / path, target, ["-U", "LIBRARY_FILE", *extra], self.src
        )
        self.tools.link_test([target, *objects], library, program)
        self.programs[name] = program



def named_mutants(pattern, done):
    return {int(number) for number in re.findall(pattern, done.stderr)}


# ---- all mutants inside of functions in one library ----------------------------------------------------


class Switched:
    """The library with every mutant of a function's body beside the body itself; the environment chooses."""

    def __init__(self, tools, folder, sources, mutants):
        self.functions = {}  # number of a function for its source and its number there
        for source in sources:
            for number in range(len(source.functions)):
                self.functions[source.path, number] = len(self.functions)
        self.mutants = mutants
        self.invalid = set()
        self.variant = Variant(tools, folder)
        self.sources = {Path(source.path).name: source for source in sources}
        header = self.variant.folder / "mutation_switch.h"
        header.write_text(SWITCH.replace("FUNCTIONS", str(max(len(self.functions), 1))))
        self.variant.extra = ["-include", str(header), "-fmax-errors=0"]

    def build(self):
        self.write()
        for path in self.variant.tools.library_sources():
            self.compile(lambda path=path: self.variant.compile(path))
        self.variant.link()
        self.variant.build_file_tests()
        self.variant.build_tests_of_sources()

    def compile(self, run):
        """Until nothing is left of the mutants that are no C++."""
        done = run()
        while done.returncode != 0:
            errors = named_mutants(r"mutant(\d+):[\d:]* error:", done) or named_mutants(r"mutant(\d+):", done)
            if not errors - self.invalid:
                raise BuildFailed(done.stderr[:20000])
            self.invalid |= errors
            self.write()
            done = run()

    def write(self):
        for name, source in self.sources.items():
            (self.variant.src / name).write_text(self.switched(source))

    def switched(self, source):
        of_function = {}
        for mutant in self.mutants:
            if mutant.source is source and mutant.function is not None and mutant.number not in self.invalid:
                of_function.setdefault(mutant.function, []).append(mutant)
        text = source.text
        for number in reversed(range(len(source.functions))):
            text = self.with_switch(source, number, of_function.get(number, []), text)
        return text

    def with_switch(self, source, number, mutants, text):
        function = source.functions[number]
        opening, closing = source.tokens[function.opening], source.tokens[function.closing]
        body = source.text[opening.start : closing.end]
        file = self.variant.tools.root / source.path
        parts = [f"{{ switch (zepMutation::at({self.functions[source.path, number]})) {{"]
        for mutant in mutants:
            parts.append(
                f'case {mutant.number}:\n#line {opening.line} "mutant{mutant.number}"\n'
                f"{changed(body, mutant.edits, opening.start)}\nbreak;"
            )
        parts.append(f'default:\n#line {opening.line} "{file}"\n{body}\nbreak;\n}}\n}}\n#line {closing.line} "{file}"\n')
        return text[: opening.start] + "\n".join(parts) + text[closing.end :]


# ---- mutants beside the functions, one library for each ------------------------------------------------


class Rebuilt:
    """The library with one mutant at a time."""

    def __init__(self, tools, folder):
        self.variant = Variant(tools, folder)
        for path in tools.library_sources():
            self.raise_unless(self.variant.compile(path))
        self.variant.link()
        self.variant.build_file_tests()
        self.variant.build_tests_of_sources()
        self.mutated = None

    @staticmethod
    def raise_unless(done):
        if done.returncode != 0:
            raise BuildFailed(done.stderr)

    def build(self, mutant):
        """Whether the mutant is C++ at all. Cheap where the one before was in the same source."""
        if self.mutated not in (None, mutant.source):
            self.write(self.mutated, self.mutated.text)
            for path in self.users(self.mutated):
                self.raise_unless(self.variant.compile(path))
            self.variant.build_tests_of({Path(self.mutated.path).name})
        self.mutated = mutant.source
        self.write(mutant.source, mutant.changed_text())
        if any(self.variant.compile(path).returncode != 0 for path in self.users(mutant.source)):
            return False
        self.variant.link()
        self.variant.build_tests_of({Path(mutant.source.path).name})
        return True

    def write(self, source, text):
        (self.variant.src / Path(source.path).name).write_text(text)

    def users(self, source):
        name = Path(source.path).name
        include = f'#include "{name}"'
        return [
            path
            for path in self.variant.tools.library_sources()
            if Path(path).name == name or include in (self.variant.tools.root / path).read_text()
        ]
