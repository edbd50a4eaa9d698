"""Each attack comes to what attacks.toml says, in time and memory, and touches nothing."""

import re
import sys

import pytest

import attacks

ATTACKS = attacks.to_run()
BASE_BYTES = 160 << 20  # the program itself, and what is in use between two looks at the memory
LONGEST_WAIT_SECONDS = 20  # two run at once, and each may have to wait for a busy machine


def pytest_generate_tests(metafunc):
    if "attack" in metafunc.fixturenames:
        metafunc.parametrize("attack", ATTACKS, ids=[attack.name for attack in ATTACKS])


@pytest.fixture(scope="session")
def trace_fault():
    """LeakSanitizer does not run in a traced process."""
    return "the sanitizers cannot run under strace" if attacks.SANITIZED else attacks.strace_fault()


@pytest.fixture(scope="session")
def top(tmp_path_factory):
    return tmp_path_factory.mktemp("attacks")


@pytest.fixture(scope="session")
def results(top, trace_fault):
    return attacks.run_all(ATTACKS, top, traced=trace_fault == "")


def faults_of(attack, outcome):
    """What is wrong with an outcome, as texts."""
    if outcome.code < 0:
        yield f"ended by signal {-outcome.code} after {outcome.cpu:.1f} s"
    elif outcome.code == 0 and attack.gives is None:
        yield f"succeeded with {outcome.out[:200]!r}"
    elif outcome.code == 0 and not (outcome.out.startswith(attack.gives) if attack.gives_start else outcome.out == attack.gives):
        yield f"gave {outcome.out[:200]!r}"
    elif outcome.code == 2 and attack.fails is None:
        yield f"failed with {outcome.err[:1000]!r}"
    elif outcome.code == 2 and not attacks.says(attack, outcome.err):
        yield f"said {outcome.err[:1000]!r}"
    elif outcome.code not in (0, 2):
        yield f"exit code {outcome.code}, {outcome.err[:1000]!r}"
    if outcome.code == 2 and outcome.out:
        yield f"failed, and gave {outcome.out[:200]!r}"
    if re.search(r"terminate called|Sanitizer|:\d+:\d+: runtime error:", outcome.err) or attacks.SECRET in outcome.out + outcome.err:
        yield f"said {outcome.err[:1000]!r}"
    if not attacks.SANITIZED and outcome.cpu > attacks.LONGEST_CPU_SECONDS:
        yield f"took {outcome.cpu:.1f} s"
    if not attacks.SANITIZED and outcome.wall > LONGEST_WAIT_SECONDS:
        yield f"ended after {outcome.wall:.1f} s"
    if not attacks.SANITIZED and outcome.peak_bytes > attacks.MEMORY_BYTES + BASE_BYTES:
        yield f"took {outcome.peak_bytes >> 20} MB"


def test_attack(results, attack):
    outcomes, left = results[0][attack.name]
    assert left == [], "files were written"
    assert outcomes
    faults = {program: list(faults_of(attack, outcome)) for program, outcome in outcomes.items()}
    assert not any(faults.values()), faults


def test_attack_reaches_for_nothing(results, top, trace_fault, attack):
    if trace_fault:
        pytest.skip(trace_fault)
    for program, outcome in results[0][attack.name][0].items():
        assert any("execve(" in call for call in outcome.calls), "nothing was traced"
        assert attacks.touched(outcome, attack, top / attack.name / "in") == [], program


def test_nobody_reaches_the_server(results):
    assert results[1] == 0


def test_processes_can_be_traced(trace_fault):
    """Elsewhere the reason is only why something is skipped."""
    if attacks.SANITIZED:
        pytest.skip(trace_fault)
    assert trace_fault == "", "the attacks ran without a trace"


# ---- the collection itself -----------------------------------------------------------------------


def test_each_input_belongs_to_an_attack():
    names = {attack.name for attack in attacks.load()}
    assert {file.stem for file in attacks.INPUTS.iterdir()} == names


def says_something(attack):
    parts = attacks.parts_of_message(attack)
    return bool(parts) and all(parts)


def test_each_attack_has_an_outcome():
    assert [attack.name for attack in attacks.load() if attack.fails is None and attack.gives is None] == []
    assert [attack.name for attack in attacks.load() if attack.fails is not None and not says_something(attack)] == []
    assert [attack.name for attack in attacks.load() if attack.gives == "" and attack.gives_start] == []
    assert len(attacks.load()) >= 60


# A command, and what has to stand in a call that is found.
CONTROLS = {
    "file": (["cat", "../secret.txt"], '"../secret.txt"'),
    "file that does not exist": (["sh", "-c", "cat ../absent || true"], '"../absent"'),
    "file asked for": (["sh", "-c", "test -e ../secret.txt"], "/secret.txt"),
    "file written": (["sh", "-c", "echo x > ../written.txt"], '"../written.txt"'),
    "network": ([sys.executable, "-S", "-c", "import socket; socket.socket().connect_ex(('127.0.0.1', 9))"], "connect("),
    "stylesheet": ([str(attacks.ZEPCFG), "format", "--stylesheet", "../secret.xsl", "attack.xml"], "/secret.xsl"),
}


@pytest.mark.parametrize("control", CONTROLS)
def test_trace_would_notice(tmp_path, trace_fault, control):
    if trace_fault:
        pytest.skip(trace_fault)
    attack = attacks.Attack("control", "control", gives="x")
    inside = attacks.lay_out(attack, tmp_path, "")
    command, trait = CONTROLS[control]
    outcome = attacks.run_process(command, tmp_path, inside, tmp_path / "trace")
    assert outcome.code == 0, outcome.err
    assert any(trait in call for call in attacks.touched(outcome, attack, inside))


def test_endless_process_would_be_noticed(tmp_path, monkeypatch):
    monkeypatch.setattr(attacks, "KILLED_AFTER_CPU_SECONDS", 3)
    attack = attacks.Attack("control", "control", gives="")
    inside = attacks.lay_out(attack, tmp_path, "")
    outcome = attacks.run_process([sys.executable, "-S", "-c", "while True: pass"], tmp_path, inside)
    assert any("signal" in fault for fault in faults_of(attack, outcome))
