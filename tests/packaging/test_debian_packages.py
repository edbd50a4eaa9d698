"""The Debian packages: their contents and control data, run from a folder, installed and purged."""

import os
import pathlib
import re
import shutil
import subprocess

import pytest

from support import BUILD, CMAKE, LIBDIR, SOURCE, check_programs, dynamic, files_below, install, run

NAMES = ["libzepcfgcommonservices-dev", "libzepcfgcommonservices1", "libzepplatform-dev", "libzepplatform1", "zepcfg"]
LIBRARY_PACKAGES = {"libzepcfgcommonservices1": "libZEPCfgCommonServices", "libzepplatform1": "libZEPPlatform"}
# What a package has beside the files of an installation, and manual pages that are compressed in it.
PACKAGE_DOCUMENT = re.compile(r"share/doc/[^/]+/(copyright|changelog\.gz)")


@pytest.fixture(scope="module")
def folder(tmp_path_factory):
    folder = tmp_path_factory.mktemp("packages")
    run(pathlib.Path(CMAKE).with_name("cpack"), "--config", BUILD / "CPackConfig.cmake", "-B", folder, cwd=folder)
    return folder


@pytest.fixture(scope="module")
def packages(folder):
    """The file of each package."""
    return {run("dpkg-deb", "--field", file, "Package").strip(): file for file in folder.glob("*.deb")}


def field(file, name):
    return run("dpkg-deb", "--field", file, name).rstrip("\n")


@pytest.fixture(scope="module")
def version(packages):
    return field(packages["zepcfg"], "Version")


@pytest.fixture(scope="module")
def root(packages, tmp_path_factory):
    """All packages unpacked into one folder."""
    root = tmp_path_factory.mktemp("root")
    for file in packages.values():
        run("dpkg-deb", "-x", file, root)
    return root


@pytest.fixture(scope="module")
def contents(packages, tmp_path_factory):
    """The files of each package below /usr."""
    found = {}
    for name, file in packages.items():
        folder = tmp_path_factory.mktemp(name)
        run("dpkg-deb", "-x", file, folder)
        assert os.listdir(folder) == ["usr"], name
        found[name] = files_below(folder / "usr")
    return found


def test_packages_are_those_that_a_distribution_would_make(packages, version):
    architecture = run("dpkg", "--print-architecture").strip()
    assert sorted(packages) == NAMES
    for name, file in packages.items():
        assert file.name == f"{name}_{version}_{architecture}.deb"
        assert field(file, "Architecture") == architecture


@pytest.mark.parametrize(
    ("name", "section"), [(name, "libdevel" if name.endswith("-dev") else "libs") for name in NAMES[:-1]] + [("zepcfg", "utils")]
)  # fmt: skip
def test_package_says_what_it_is(packages, name, section):
    assert field(packages[name], "Section") == section
    assert field(packages[name], "Priority") == "optional"
    summary, *lines = field(packages[name], "Description").splitlines()
    assert 20 < len(summary) < 80 and len(lines) >= 3
    assert "@" in field(packages[name], "Maintainer")


def test_library_package_depends_on_the_system_alone_and_recommends_a_platform(packages, version):
    depends = field(packages["libzepcfgcommonservices1"], "Depends")
    assert {entry.split()[0] for entry in depends.split(", ")} == {"libc6", "libgcc-s1", "libstdc++6"}
    assert field(packages["libzepcfgcommonservices1"], "Recommends") == f"libzepplatform1 (>= {version})"


@pytest.mark.parametrize(
    ("name", "others"),
    [
        ("libzepcfgcommonservices-dev", ["libzepcfgcommonservices1"]),
        ("libzepplatform-dev", ["libzepcfgcommonservices-dev", "libzepplatform1"]),
        ("zepcfg", ["libzepcfgcommonservices1", "libzepplatform1"]),
    ],
)
def test_package_depends_on_the_others_of_its_version(packages, version, name, others):
    depends = field(packages[name], "Depends").split(", ")
    assert {f"{other} (= {version})" for other in others} <= set(depends)


def test_platform_package_depends_on_what_its_library_needs(packages):
    depends = field(packages["libzepplatform1"], "Depends")
    for library in ("libcurl", "libicu", "libxml2", "libxslt", "libsimdjson", "zlib1g"):
        assert library in depends
    for compiled_in in ("libspdlog", "libfmt", "libtomlplusplus"):
        assert compiled_in not in depends


@pytest.mark.parametrize("name", LIBRARY_PACKAGES)
def test_library_packages_tell_the_loader_and_other_packages(packages, version, name, tmp_path):
    run("dpkg-deb", "-e", packages[name], tmp_path)
    assert (tmp_path / "triggers").read_text() == "activate-noawait ldconfig\n"
    assert (tmp_path / "shlibs").read_text().split() == [LIBRARY_PACKAGES[name], "1", name, "(>=", f"{version})"]


def test_packages_run_no_script_of_their_own(packages, tmp_path):
    for name, file in packages.items():
        run("dpkg-deb", "-e", file, tmp_path / name)
        assert set(os.listdir(tmp_path / name)) <= {"control", "md5sums", "triggers", "shlibs"}


@pytest.mark.parametrize("name", LIBRARY_PACKAGES)
def test_library_packages_hold_the_library_and_nothing_else(contents, version, name):
    library = f"{LIBDIR}/{LIBRARY_PACKAGES[name]}.so.1"
    documents = {f"share/doc/{name}/copyright", f"share/doc/{name}/changelog.gz"}
    loaded_later = {f"{LIBDIR}/zepplatform-1/ZEPHttpTransfer.so"} if name == "libzepplatform1" else set()
    assert contents[name] == {library, f"{library}.0.0"} | loaded_later | documents


def test_tools_package_holds_the_programs_with_what_belongs_to_them(contents):
    wanted = {
        "bin/zepcfg",
        "bin/zep-demo-server",
        "share/man/man1/zepcfg.1.gz",
        "share/man/man1/zepcfg-format.1.gz",
        "share/bash-completion/completions/zepcfg",
        "share/doc/zepcfg/command-line.md",
        "share/zepcfg/resources/schema/ConfigurationExpression.xsd",
        "share/zepcfg/resources/xsl/CfgEffectivityDisplay.xsl",
        "share/zepcfg/samples/described.xml",
    }
    assert wanted <= contents["zepcfg"]
    assert not [file for file in contents["zepcfg"] if file.startswith(("lib", "include"))]


def test_documents_of_developers_are_in_their_package(root, contents):
    def documents(package):
        found = (re.fullmatch(rf"share/doc/{package}/([a-z-]+)[.]md", file) for file in contents[package])
        return {match[1] for match in found if match}

    of_developers = {"architecture", "design", "developing", "porting"}
    assert documents("libzepcfgcommonservices-dev") == of_developers
    everything = {file.stem for file in (SOURCE / "docs").glob("*.md")} - {"api-reference"}
    assert documents("zepcfg") == everything - of_developers

    folder = root / "usr/share/doc"
    links = [(file, link) for file in folder.glob("*/*.md") for link in re.findall(r"\]\(([\w./-]+[.]md)\b", file.read_text("utf-8"))]
    assert len(links) > 20 and any(link.startswith("../zepcfg/") for _, link in links)
    assert [(file.name, link) for file, link in links if not (file.parent / link).is_file()] == []


def test_packages_together_hold_every_installed_file_once(contents, tmp_path):
    install(tmp_path)
    packed = [re.sub(r"^(share/man/.*)\.gz$", r"\1", file) for files in contents.values() for file in files]
    packed = sorted(file for file in packed if not PACKAGE_DOCUMENT.fullmatch(file))
    assert packed == sorted(files_below(tmp_path))


def test_every_package_states_its_copyright_and_that_of_what_it_contains(root, contents):
    for name in contents:
        text = (root / "usr/share/doc" / name / "copyright").read_text(encoding="utf-8")
        assert "Copyright 2026 the authors of ZEPCfgCommonServices" in text
        assert ("Code of libcadical-dev is in this package" in text) == (name == "libzepplatform1")
        assert ("Code of libcli11-dev is in this package" in text) == (name == "zepcfg")


def test_files_have_the_usual_permissions(packages):
    for file in packages.values():
        for line in run("dpkg-deb", "-c", file).splitlines():
            mode, owner = line.split()[:2]
            assert owner == "root/root", line
            assert mode in ("drwxr-xr-x", "-rw-r--r--", "-rwxr-xr-x", "lrwxrwxrwx"), line


def test_programs_and_libraries_are_stripped_and_search_nowhere_else(root):
    binaries = [root / "usr/bin/zepcfg", root / "usr/bin/zep-demo-server"]
    binaries += [root / "usr" / LIBDIR / f"{library}.so" for library in LIBRARY_PACKAGES.values()]
    for binary in binaries:
        assert dynamic(binary, "RUNPATH") + dynamic(binary, "RPATH") == []
        assert ".symtab" not in run("readelf", "-SW", binary)


def test_programs_work_where_they_are_unpacked(root):
    check_programs(root / "usr", LD_LIBRARY_PATH=str(root / "usr" / LIBDIR))


def test_program_builds_and_runs_against_what_is_unpacked(root, tmp_path):
    prefix = root / "usr"
    sources = prefix / "share/doc/libzepcfgcommonservices-dev/examples"
    run(CMAKE, "-S", sources, "-B", tmp_path, "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={prefix}")
    run(CMAKE, "--build", tmp_path, "--target", "format_one")
    sample, stylesheets = prefix / "share/zepcfg/samples/one-feature.xml", prefix / "share/zepcfg"
    places = {"LD_LIBRARY_PATH": str(prefix / LIBDIR), "ZEPInstallPath": str(stylesheets)}
    assert run(tmp_path / "format_one", sample, **places) == "Model Kestrel 40\n  Engine = Diesel\n"


def test_manual_of_the_demo_server_names_every_option(root):
    manual = run("gzip", "-dc", root / "usr/share/man/man1/zep-demo-server.1.gz").replace("\\-", "-")
    usage = run(root / "usr/bin/zep-demo-server", "--help")
    options = set(re.findall(r"--[a-z][a-z-]*", usage))
    assert len(options) > 5
    assert [option for option in options if option not in manual] == []


@pytest.fixture
def dpkg(tmp_path):
    """dpkg on a folder and a database of its own, which begins with the packages of this machine, so that
    dependencies are those that would be asked for here. Without the database's other files it runs nothing
    of theirs."""
    root = tmp_path / "root"
    database = root / "var/lib/dpkg"
    (database / "info").mkdir(parents=True)
    (database / "updates").mkdir()
    shutil.copy("/var/lib/dpkg/status", database / "status")
    command = [] if os.geteuid() == 0 else ["fakeroot"]
    command += ["dpkg", f"--root={root}", f"--log={tmp_path}/log", "--no-triggers"]

    def call(*arguments, code=0):
        return run(*command, *arguments, code=code)

    call.root = root
    call.database = database
    return call


def state(database, name):
    return run("dpkg-query", f"--admindir={database}", "-W", "-f", "${db:Status-Status}", name)


def test_packages_install_and_a_purge_leaves_nothing(dpkg, packages, contents):
    machine = pathlib.Path("/var/lib/dpkg/status").read_bytes()
    dpkg("--install", *packages.values())
    assert [state(dpkg.database, name) for name in NAMES] == ["installed"] * len(NAMES)
    assert files_below(dpkg.root / "usr") == set().union(*contents.values())

    dpkg("--purge", *NAMES)
    assert os.listdir(dpkg.root) == ["var"] and os.listdir(dpkg.root / "var") == ["lib"]
    assert os.listdir(dpkg.root / "var/lib") == ["dpkg"]
    assert not [name for name in os.listdir(dpkg.database / "info") if "zep" in name]
    assert pathlib.Path("/var/lib/dpkg/status").read_bytes() == machine


def test_tools_do_not_install_without_the_libraries(dpkg, packages):
    dpkg("--install", packages["zepcfg"], code=1)
    assert state(dpkg.database, "zepcfg") != "installed"


def test_packages_follow_the_policy(packages):
    done = subprocess.run(
        ["lintian", "--allow-root", "--fail-on", "error,warning", *map(str, packages.values())],
        capture_output=True, text=True, timeout=300,
    )  # fmt: skip
    assert done.returncode == 0, done.stdout + done.stderr
