"""Runs test cases."""

import os
import re
import resource
import signal
import subprocess
import threading

from dataclasses import dataclass

ADDRESS_SPACE_BYTES = 4 << 30
WALL_SECONDS = 120


@dataclass(frozen=True)
class Case:
    program: str
    name: str

    def __str__(self):
        return f"{self.program}: {self.name}"


@dataclass
class Outcome:
    passed: bool
    cpu_seconds: float


def cases_of(variant):
    return [Case(program, name) for program in sorted(variant.programs) for name in listed(variant, program)]


def listed(variant, program):
    output = subprocess.run(
        [variant.programs[program], "--gtest_list_tests"], capture_output=True, text=True, check=True, env=environment(variant)
    ).stdout
    suite = ""
    for line in output.splitlines():
        name = line.split("#")[0].strip()
        if not line.startswith(" "):
            suite = name
        elif not suite.startswith("DISABLED_") and not name.startswith("DISABLED_"):
            yield suite + name


def environment(variant, **more):
    return {**os.environ, "LD_LIBRARY_PATH": str(variant.lib), **more}


def run_cases(variant, cases, cpu_limit, **more):
    """Cases of one program in one process. What takes longer, or too much memory, has failed."""
    names = ":".join(case.name for case in cases)
    process = subprocess.Popen(
        [variant.programs[cases[0].program], "--gtest_filter=" + names, "--gtest_brief=1", "--gtest_fail_fast"],
        stdin=subprocess.DEVNULL,
        stdout=subprocess.DEVNULL,
        stderr=subprocess.DEVNULL,
        env=environment(variant, **more),
        start_new_session=True,
    )
    limit(process.pid, cpu_limit)
    timer = threading.Timer(WALL_SECONDS, kill_group, [process.pid])
    timer.start()
    _, status, usage = os.wait4(process.pid, 0)
    timer.cancel()
    process.returncode = os.waitstatus_to_exitcode(status)
    kill_group(process.pid)
    return Outcome(process.returncode == 0, usage.ru_utime + usage.ru_stime)


def limit(pid, cpu_seconds):
    try:
        resource.prlimit(pid, resource.RLIMIT_CPU, (cpu_seconds, cpu_seconds + 1))
        resource.prlimit(pid, resource.RLIMIT_AS, (ADDRESS_SPACE_BYTES, ADDRESS_SPACE_BYTES))
        resource.prlimit(pid, resource.RLIMIT_CORE, (0, 0))
    except ProcessLookupError:
        pass


def kill_group(pid):
    """What the case has started ends with it."""
    try:
        os.killpg(pid, signal.SIGKILL)
    except ProcessLookupError:
        pass


class Reach:
    """Which functions each case comes to, how long it takes, and in which programs the cases may share
    a process."""

    def __init__(self, switched, folder, without):
        self.file = folder / "reached"
        self.count = max(len(switched.functions), 1)
        self.of_function = {number: [] for number in range(self.count)}
        self.seconds = {}
        for case in cases_of(switched.variant):
            if not re.search(without, case.program):
                self.measure(switched.variant, case)
        programs = {case.program for case in self.seconds}
        self.shareable = {program for program in programs if self.may_share(switched.variant, program)}

    def may_share(self, variant, program):
        cases = [case for case in self.seconds if case.program == program]
        return run_cases(variant, cases, self.cpu_limit(*cases)).passed

    def measure(self, variant, case):
        self.file.write_bytes(bytes(self.count))
        outcome = run_cases(variant, [case], 100, ZEP_MUTANT_REACHED=str(self.file))
        if not outcome.passed:
            raise RuntimeError(f"fails without any mutant: {case}")
        self.seconds[case] = outcome.cpu_seconds
        for number, reached in enumerate(self.file.read_bytes()):
            if reached:
                self.of_function[number].append(case)

    def cpu_limit(self, *cases):
        return int(5 + 10 * sum(self.seconds[case] for case in cases))


