"""What the packaging tests share: running commands, and what is where."""

import os
import pathlib
import subprocess
import sys

SOURCE = pathlib.Path(os.environ["ZEP_SOURCE_DIR"])
BUILD = pathlib.Path(os.environ["ZEP_BUILD_DIR"])
LIBDIR = os.environ["ZEP_LIBDIR"]
CMAKE = os.environ["ZEP_CMAKE"]
CXX = os.environ["ZEP_CXX"]
HERE = pathlib.Path(__file__).parent

WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Werror"]
LIBRARIES = ("ZEPCfgCommonServices", "ZEPPlatform")


def clean_environment(**variables):
    """Nothing of the caller's settings, and nothing that leads to this build."""
    return {"PATH": "/usr/bin:/bin:/usr/sbin:/sbin", "HOME": "/nonexistent", "LANG": "C.UTF-8"} | variables


def run(*command, cwd=None, code=0, **variables):
    """Runs a command that ends with this code, and gives its standard output."""
    done = subprocess.run(
        [str(part) for part in command],
        cwd=cwd,
        capture_output=True,
        text=True,
        timeout=300,
        env=clean_environment(**variables),
    )
    assert done.returncode == code, f"{command} ended with {done.returncode}\n{done.stdout}\n{done.stderr}"
    return done.stdout


def install(prefix, *components):
    """Installs these components of the build, or everything."""
    for choice in [["--component", component] for component in components] or [[]]:
        run(CMAKE, "--install", BUILD, "--prefix", prefix, *choice)


def files_below(folder):
    """The paths of files and links, relative to the folder."""
    return {str(path.relative_to(folder)) for path in folder.rglob("*") if path.is_symlink() or path.is_file()}


def dynamic(file, tag):
    """The values of an entry of a file's dynamic section."""
    lines = [line for line in run("readelf", "-dW", file).splitlines() if f"({tag})" in line]
    return [line[line.index("[") + 1 : line.rindex("]")] for line in lines]


def build_project(source, build, prefix):
    """Configures and builds a project against an installation."""
    settings = [f"-DCMAKE_PREFIX_PATH={prefix}", f"-DCMAKE_CXX_COMPILER={CXX}", "-DCMAKE_BUILD_TYPE=Debug"]
    settings.append("-DCMAKE_CXX_FLAGS=" + " ".join(WARNINGS))
    run(CMAKE, "-S", source, "-B", build, "-G", "Ninja", *settings)
    run(CMAKE, "--build", build)


def run_example_tests(programs, sources, prefix, **variables):
    """The tests of the examples, on these programs and this installation."""
    tests = SOURCE / "tests" / "examples" / "test_examples.py"
    run(
        sys.executable, "-B", "-m", "pytest", "-q", "-p", "no:cacheprovider", tests,
        cwd=programs,
        ZEP_EXAMPLES_DIR=str(programs),
        ZEP_EXAMPLES_SOURCES=str(sources),
        ZEP_PREFIX=str(prefix),
        **variables,
    )  # fmt: skip


def check_programs(prefix, **variables):
    """The programs of an installation work and find their resources there."""
    zepcfg, share = prefix / "bin" / "zepcfg", prefix / "share" / "zepcfg"
    formatted = run(zepcfg, "format", share / "samples" / "one-feature.xml", **variables)
    assert formatted == "Model Kestrel 40\n  Engine = Diesel\n"
    assert str(share / "resources" / "xsl" / "CfgEffectivityDisplay.xsl") in run(zepcfg, "stylesheet", **variables)
    report = run(zepcfg, "doctor", **variables)
    assert str(share) in report
    assert "zep-demo-server" in run(prefix / "bin" / "zep-demo-server", "--version", **variables)
