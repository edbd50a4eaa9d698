"""The library is built where no third-party package is to be found."""

import pathlib
import re
import shutil

import pytest

from support import CMAKE, CXX, SOURCE, dynamic, run

# What a C++ compiler itself brings.
TOOLCHAIN = re.compile(r"(libc6-dev|linux-libc-dev|libcrypt-dev|libnsl-dev|libtirpc-dev|libstdc\+\+-\d+-dev|libgcc-\d+-dev)(:\w+)?")

# Any question for a package, a header or a library ends the configuration.
REFUSE = """\
foreach(command IN ITEMS find_package find_path find_library find_file find_program)
  function(${command})
    message(FATAL_ERROR "the library was looking for ${ARGN}")
  endfunction()
endforeach()
"""

HIDE = """\
set -e
mount --bind "$1" /usr/include
for folder in /usr/lib/*/pkgconfig /usr/share/pkgconfig /usr/lib/*/cmake /usr/lib/cmake /usr/share/cmake /usr/local; do
  [ ! -d "$folder" ] || mount -t tmpfs none "$folder"
done
shift
exec "$@"
"""


def packages_that_are_the_toolchain():
    names = run("dpkg-query", "-W", "-f", "${binary:Package}\n").splitlines()
    return [name for name in names if TOOLCHAIN.fullmatch(name)]


def toolchain_files():
    return [pathlib.Path(line) for line in run("dpkg", "-L", *packages_that_are_the_toolchain()).splitlines()]


def copy_toolchain_headers(folder):
    for file in toolchain_files():
        if file.is_relative_to("/usr/include") and file.is_file():
            copy = folder / file.relative_to("/usr/include")
            copy.parent.mkdir(parents=True, exist_ok=True)
            shutil.copyfile(file, copy)


def configuration(folder):
    """How the library alone is built; nothing is optimised, to save time."""
    refuse = folder / "refuse.cmake"
    refuse.write_text(REFUSE)
    return [
        CMAKE, "-S", SOURCE, "-B", folder / "build", "-G", "Ninja", f"-DCMAKE_CXX_COMPILER={CXX}",
        "-DCMAKE_BUILD_TYPE=None", "-DZEP_REFERENCE_PLATFORM=OFF", "-DZEP_TESTS=OFF",
        f"-DCMAKE_PROJECT_ZEPCfgCommonServices_INCLUDE={refuse}",
    ]  # fmt: skip


def headers_read(build):
    """Every header that was opened for the build, by what the compiler wrote down."""
    listed = run("ninja", "-C", build, "-t", "deps").splitlines()
    return {pathlib.Path(build, line.strip()).resolve() for line in listed if line.startswith("    ")}


def can_hide():
    return shutil.which("unshare") and run("sh", "-c", "unshare -rm true 2>&1; echo $?").endswith("0\n")


def test_library_is_built_from_its_own_files_and_the_toolchain(tmp_path):
    """Where it is allowed, in a mount namespace without the headers and package files of everything else."""
    steps = [configuration(tmp_path), [CMAKE, "--build", tmp_path / "build"]]
    hide = []
    if can_hide():
        copy_toolchain_headers(tmp_path / "include")
        (tmp_path / "hide").write_text(HIDE)
        hide = ["unshare", "-rm", "bash", tmp_path / "hide", tmp_path / "include"]
        script = 'for header in libxml/tree.h unicode/utypes.h curl/curl.h; do [ ! -e /usr/include/$header ]; done'
        run(*hide, "bash", "-ec", script)
    for step in steps:
        run(*hide, *step)

    read = headers_read(tmp_path / "build")
    own = {path for path in read if path.is_relative_to(SOURCE) or path.is_relative_to(tmp_path)}
    assert len(own) > 60
    allowed = {file.resolve() for file in toolchain_files()}
    assert sorted(read - own - allowed) == []

    library = tmp_path / "build" / "lib" / "libZEPCfgCommonServices.so.1"
    system = {"libstdc++.so.6", "libm.so.6", "libgcc_s.so.1", "libc.so.6"}
    assert set(dynamic(library, "NEEDED")) - system == {"libZEPPlatform.so.1"}


@pytest.mark.parametrize("question", ["find_package(Threads)", "find_path(A stdio.h)", "find_library(B m)"])
def test_a_question_for_a_package_would_be_noticed(tmp_path, question):
    (tmp_path / "CMakeLists.txt").write_text(
        f"cmake_minimum_required(VERSION 3.25)\nproject(ZEPCfgCommonServices LANGUAGES NONE)\n{question}\n"
    )
    refuse = tmp_path / "refuse.cmake"
    refuse.write_text(REFUSE)
    run(CMAKE, "-S", tmp_path, "-B", tmp_path / "build", "-G", "Ninja",
        f"-DCMAKE_PROJECT_ZEPCfgCommonServices_INCLUDE={refuse}", code=1)  # fmt: skip
