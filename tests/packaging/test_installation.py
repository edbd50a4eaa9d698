"""An installation, moved after it was made, and those who build against it."""

import os
import pathlib
import re
import shlex

import pytest

from support import (
    BUILD, CMAKE, CXX, HERE, LIBDIR, LIBRARIES, SOURCE, WARNINGS,
    build_project, check_programs, dynamic, files_below, install, run, run_example_tests,
)  # fmt: skip

EXAMPLES = "share/doc/libzepcfgcommonservices-dev/examples"
DOCUMENT = SOURCE / "docs" / "developing.md"


@pytest.fixture(scope="module")
def places(tmp_path_factory):
    """Where it was installed to, and where it is now."""
    folder = tmp_path_factory.mktemp("installation")
    install(folder / "first")
    (folder / "moved").mkdir()
    os.rename(folder / "first", folder / "moved" / "here")
    return folder / "first", folder / "moved" / "here"


@pytest.fixture(scope="module")
def prefix(places):
    return places[1]


def pkg_config(prefix, *question):
    return shlex.split(run("pkg-config", *question, PKG_CONFIG_PATH=str(prefix / LIBDIR / "pkgconfig")))


def test_installation_names_no_folder_of_the_build(places):
    first, moved = places
    unwanted = [str(path).encode() for path in (SOURCE, BUILD, first)]
    naming = [name for name in sorted(files_below(moved))
              if any(path in (moved / name).read_bytes() for path in unwanted)]  # fmt: skip
    assert naming == []


@pytest.mark.parametrize("library", LIBRARIES)
def test_libraries_have_versioned_names_and_no_search_path(prefix, library):
    plain = prefix / LIBDIR / f"lib{library}.so"
    assert os.readlink(plain) == f"lib{library}.so.1"
    assert os.readlink(f"{plain}.1") == f"lib{library}.so.1.0.0"
    assert dynamic(plain, "SONAME") == [f"lib{library}.so.1"]
    assert dynamic(plain, "RUNPATH") + dynamic(plain, "RPATH") == []


def test_library_needs_the_platform_and_the_language_alone(prefix):
    needed = dynamic(prefix / LIBDIR / "libZEPCfgCommonServices.so", "NEEDED")
    assert "libZEPPlatform.so.1" in needed
    own = {"libZEPPlatform.so.1", "libstdc++.so.6", "libm.so.6", "libgcc_s.so.1", "libc.so.6"}
    assert set(needed) <= own


@pytest.mark.parametrize("program", ["zepcfg", "zep-demo-server"])
def test_programs_search_beside_themselves_alone(prefix, program):
    assert dynamic(prefix / "bin" / program, "RUNPATH") == [":".join(dict.fromkeys([f"$ORIGIN/../{LIBDIR}", "$ORIGIN/../lib"]))]


def test_programs_find_their_resources_after_a_move(prefix):
    check_programs(prefix)


def test_every_public_header_and_declaration_is_installed(prefix):
    ours = SOURCE / "ZEPConfigCommonServices"
    include = prefix / "include" / "ZEPCfgCommonServices"
    assert files_below(include) == (
        {path.name for path in (ours / "public").glob("*.h")}
        | {f"platform/{path.name}" for path in (ours / "platform").glob("*/*.h")}
    )


def test_examples_build_with_cmake_against_the_installation_and_work(prefix, tmp_path):
    build_project(prefix / EXAMPLES, tmp_path / "build", prefix)
    run_example_tests(tmp_path / "build", prefix / EXAMPLES, prefix)


@pytest.fixture(scope="module")
def library_prefix(tmp_path_factory):
    """An installation without the reference platform."""
    prefix = tmp_path_factory.mktemp("library")
    install(prefix, "Library", "Development")
    return prefix


OWN_OUTPUT = '<E><Context  Name="kept"/></E>\n'


def test_client_with_its_own_platform_builds_with_cmake_and_works(library_prefix, tmp_path):
    assert not [name for name in files_below(library_prefix) if "libZEPPlatform" in name]
    build_project(HERE / "own-platform", tmp_path, library_prefix)
    assert run(tmp_path / "client") == OWN_OUTPUT


def test_client_with_its_own_platform_builds_with_pkg_config_and_works(library_prefix, tmp_path):
    flags = pkg_config(library_prefix, "--cflags", "--libs", "ZEPCfgCommonServices")
    own = HERE / "own-platform"
    run(CXX, "-std=c++20", "-fPIC", "-shared", own / "platform.cpp", *flags,
        "-Wl,-soname,libZEPPlatform.so.1", "-o", tmp_path / "libZEPPlatform.so.1")  # fmt: skip
    run(CXX, "-std=c++20", own / "client.cpp", tmp_path / "libZEPPlatform.so.1", *flags,
        "-Wl,--allow-shlib-undefined", "-o", tmp_path / "client")  # fmt: skip
    assert run(tmp_path / "client", LD_LIBRARY_PATH=f"{tmp_path}:{library_prefix / LIBDIR}") == OWN_OUTPUT


PLATFORM_ALONE = """\
cmake_minimum_required(VERSION 3.25)
project(PlatformAlone LANGUAGES CXX)
find_package(ZEPCfgCommonServices CONFIG REQUIRED COMPONENTS Platform)
if(TARGET ZEPCfgCommonServices::ZEPCfgCommonServices)
  message(FATAL_ERROR "the library came along unasked")
endif()
find_package(ZEPCfgCommonServices CONFIG QUIET COMPONENTS Teapot)
if(ZEPCfgCommonServices_FOUND)
  message(FATAL_ERROR "a component that does not exist was found")
endif()
add_executable(text text.cpp)
target_link_libraries(text PRIVATE ZEPCfgCommonServices::Platform)
"""

TEXT = """\
#include "ZEPTraceObserver.h"
#include "ZEPUnicodeString.h"
#include <cstdio>
int main() {
  ZEPSetTraceObserver(nullptr, nullptr, false);
  ZEPUnicodeString text("ABC");
  std::puts(text.ToLower().CastToCharPtr());
}
"""


def test_platform_is_found_without_the_library(tmp_path):
    prefix = tmp_path / "prefix"
    install(prefix, "Development", "Platform", "PlatformDevelopment")
    (prefix / LIBDIR / "libZEPCfgCommonServices.so").unlink()
    project = tmp_path / "project"
    project.mkdir()
    (project / "CMakeLists.txt").write_text(PLATFORM_ALONE)
    (project / "text.cpp").write_text(TEXT)
    build_project(project, tmp_path / "build", prefix)
    assert run(tmp_path / "build" / "text") == "abc\n"


def test_a_program_without_any_platform_does_not_link(library_prefix, tmp_path):
    flags = pkg_config(library_prefix, "--cflags", "--libs", "ZEPCfgCommonServices")
    source = HERE / "own-platform" / "client.cpp"
    run(CXX, "-std=c++20", source, *flags, "-o", tmp_path / "client", code=1)


def test_a_library_for_a_client_links_without_any_platform(library_prefix, tmp_path):
    flags = pkg_config(library_prefix, "--cflags", "--libs", "ZEPCfgCommonServices")
    source, library = HERE / "own-platform" / "client.cpp", tmp_path / "client.so"
    run(CXX, "-std=c++20", "-fPIC", "-shared", source, *flags, "-o", library)
    assert "libZEPCfgCommonServices.so.1" in dynamic(library, "NEEDED")


def blocks(language):
    """The code blocks of the developer's guide in this language."""
    return re.findall(rf"^```{language}\n(.*?)^```$", DOCUMENT.read_text(encoding="utf-8"), re.DOTALL | re.MULTILINE)


@pytest.fixture
def program(tmp_path):
    """A folder with the program that the guide begins with, and what it reads."""
    complete = [block for block in blocks("cpp") if "int main(" in block]
    assert len(complete) == 1
    (tmp_path / "program.cpp").write_text(complete[0])
    (tmp_path / "expression.xml").write_bytes((SOURCE / "samples" / "one-feature.xml").read_bytes())
    return tmp_path


PROGRAM_OUTPUT = "Model Kestrel 40\n  Engine = Diesel\n"


def test_guide_has_nothing_but_blocks_that_are_tried():
    fences = re.findall(r"^```(\S+)$", DOCUMENT.read_text(encoding="utf-8"), re.MULTILINE)
    assert set(fences) == {"cmake", "cpp", "sh"}
    assert [len(blocks(language)) > 0 for language in ("cmake", "cpp", "sh")] == [True] * 3


def test_guide_cmake_blocks_build_its_program(prefix, program):
    for number, block in enumerate(blocks("cmake")):
        (program / "CMakeLists.txt").write_text(block)
        build_project(program, program / f"build{number}", prefix)
        root = {"ZEPInstallPath": str(prefix / "share" / "zepcfg")}
        assert run(program / f"build{number}" / "program", cwd=program, **root) == PROGRAM_OUTPUT


def test_guide_shell_blocks_build_and_run_its_program(prefix, program):
    for block in blocks("sh"):
        printed = run(
            "bash", "-ec", block,
            cwd=program,
            PKG_CONFIG_PATH=str(prefix / LIBDIR / "pkgconfig"),
            LD_LIBRARY_PATH=str(prefix / LIBDIR),
            ZEPInstallPath=str(prefix / "share" / "zepcfg"),
        )  # fmt: skip
        assert printed == PROGRAM_OUTPUT


def test_guide_fragments_compile_together_with_every_installed_header(prefix, tmp_path):
    include = prefix / "include"
    headers = sorted({pathlib.PurePath(name).name for name in files_below(include)})
    fragments = [block for block in blocks("cpp") if "int main(" not in block]
    assert len(headers) > 60 and len(fragments) > 3
    text = "".join(f'#include "{header}"\n' for header in headers)
    text += "#include <cstdio>\n#include <cstring>\n#include <new>\n#include <string>\n"
    for number, fragment in enumerate(fragments):
        text += f"void fragment{number}(const ZEPUnicodeString& expression) {{\n(void)expression;\n{fragment}}}\n"
    (tmp_path / "fragments.cpp").write_text(text)
    flags = pkg_config(prefix, "--cflags", *LIBRARIES)
    run(CXX, "-std=c++20", *WARNINGS, "-fsyntax-only", tmp_path / "fragments.cpp", *flags)
