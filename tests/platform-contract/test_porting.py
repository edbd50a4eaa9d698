"""The page about platforms of one's own tells the truth: what it says is done, on headers of other folders."""

import os
import pathlib
import re
import subprocess

import pytest

SOURCE = pathlib.Path(os.environ["ZEP_SOURCE_DIR"])
PLATFORM = pathlib.Path(os.environ["ZEP_PLATFORM"])
PAGE = (SOURCE / "docs" / "porting.md").read_text("utf-8")
# As the page says, these need not be there.
OPTIONAL = [r"  ZEPUnicodeString& AppendPart\([^;]*;\n", r"  void Reserve\(int length\);\n"]


def blocks(kind):
    return re.findall(rf"^```{kind}\n(.*?)^```$", PAGE, re.DOTALL | re.MULTILINE)


def run(command, folder, **variables):
    done = subprocess.run(
        command, cwd=folder, capture_output=True, text=True, timeout=300, shell=isinstance(command, str),
        env={**os.environ, "CMAKE_GENERATOR": "Ninja", **{name: str(value) for name, value in variables.items()}},
    )
    assert done.returncode == 0, done.stdout + done.stderr
    return done.stdout


@pytest.fixture
def headers(tmp_path):
    """A client's headers: all in one folder, without what is optional."""
    folder = tmp_path / "headers"
    folder.mkdir()
    for header in SOURCE.glob("ZEPConfigCommonServices/platform/*/*.h"):
        text = header.read_text("utf-8")
        if header.name == "ZEPUnicodeString.h":
            for operation in OPTIONAL:
                text, count = re.subn(operation, "", text)
                assert count == 1
        (folder / header.name).write_text(text, "utf-8")
    return folder


def kept_clauses(output):
    figures = re.search(r"^platform contract: (\d+) clauses kept, (\d+) broken, (\d+) not offered$", output, re.M)
    kept, broken, _ = map(int, figures.groups())
    assert broken == 0
    return kept


def test_library_is_built_against_the_clients_headers(tmp_path, headers):
    run(blocks("sh")[0], tmp_path, ZEP=SOURCE, OWN_HEADERS=headers)
    read = run(["ninja", "-C", "own-library", "-t", "deps"], tmp_path)
    assert str(headers / "ZEPUnicodeString.h") in read
    assert "ZEPConfigCommonServices/platform/" not in read


def test_contract_is_tested_with_cmake(tmp_path, headers):
    (tmp_path / "CMakeLists.txt").write_text(blocks("cmake")[0])
    (tmp_path / "adapter.cpp").write_text(blocks("cpp")[0])
    settings = {"ZEP": SOURCE, "OWN_HEADERS": headers, "OWN_PLATFORM": PLATFORM, "OWN_AREAS": "services"}
    run(["cmake", "-S", ".", "-B", "build", *(f"-D{name}={value}" for name, value in settings.items())], tmp_path)
    run(["cmake", "--build", "build"], tmp_path)
    output = run(["ctest", "--test-dir", "build", "--verbose", "--no-tests=error"], tmp_path)
    assert kept_clauses(output.replace("1: ", "")) > 10


def test_contract_is_tested_by_hand(tmp_path, headers):
    (tmp_path / "adapter.cpp").write_text(blocks("cpp")[0])
    output = run(
        "set -e\n" + blocks("sh")[1], tmp_path,
        ZEP=SOURCE, OWN_INCLUDES=f"-I{headers}", OWN_PLATFORM=PLATFORM, AREA="texts",
    )  # fmt: skip
    assert kept_clauses(output) > 20
