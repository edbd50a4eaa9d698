"""Runs the attacks of attacks.toml, each in a process of its own, under strace where it can run.

python3 attacks.py [NAME...] prints what each comes to, the slowest last.
"""

import concurrent.futures
import dataclasses
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
import tomllib

import recipe

HERE = pathlib.Path(__file__).resolve().parent
INPUTS = HERE / "inputs"
ZEPCFG = pathlib.Path(os.environ["ZEP_BIN_DIR"]) / "zepcfg"
PROBE = pathlib.Path(os.environ["ZEP_ATTACK_PROBE"])
SANITIZED = os.environ["ZEP_SANITIZE"] == "1"

WORKERS = 2
TIMEOUT_MS = 20_000 if SANITIZED else 1000
HONEST_TIMEOUT_MS = 20_000  # of what has to succeed, on a busy machine too
MEMORY_BYTES = 512 << 20
SMALL_STACK_BYTES = 256 << 10
LONGEST_CPU_SECONDS = 2.5
KILLED_AFTER_CPU_SECONDS = 30 if SANITIZED else 3
KILLED_AFTER_SECONDS = 60

SECRET = "SECRET"
SYSTEM_CALLS = "%file,%network"
XSL = 'xmlns:xsl="http://www.w3.org/1999/XSL/Transform"'


@dataclasses.dataclass
class Attack:
    name: str
    kind: str
    fails: str | list | None = None  # what the message holds; of several parts, one
    gives: str | None = None
    gives_start: bool = False  # more may follow
    reads: list = dataclasses.field(default_factory=list)
    small_stack: bool = False
    encode: str = "utf-8"
    encode_stylesheet: str = "utf-8"
    escapes: bool = False  # \xNN in the expression is a byte


@dataclasses.dataclass
class Outcome:
    code: int
    out: str
    err: str
    wall: float
    cpu: float
    peak_bytes: int
    calls: list  # lines of the trace, empty without one


def load():
    rows = tomllib.loads((HERE / "attacks.toml").read_text(encoding="utf-8"))
    return [Attack(name, row.pop("class"), **row) for name, row in rows.items()]


def parts_of_message(attack):
    return [attack.fails] if isinstance(attack.fails, str) else attack.fails


def says(attack, message):
    """Whether a message is one of those that the attack may end with."""
    return any(part in message for part in parts_of_message(attack))


# The sanitizers make these take too long, and what they are about is time.
HEAVY = {"endless loops", "text that grows", "nodes that multiply", "slow functions", "many", "huge"}


def to_run():
    return [attack for attack in load() if not SANITIZED or attack.kind not in HEAVY]


class Listener:
    """A server that nobody may ever reach."""

    def __init__(self):
        self.socket = socket.create_server(("127.0.0.1", 0))
        self.url = f"http://127.0.0.1:{self.socket.getsockname()[1]}"
        self.connections = 0
        self.stopped = threading.Event()
        self.thread = threading.Thread(target=self._count, daemon=True)
        self.thread.start()

    def _count(self):
        self.socket.settimeout(0.1)
        while not self.stopped.is_set():
            try:
                self.socket.accept()[0].close()
                self.connections += 1
            except TimeoutError:
                pass

    def stop(self):
        self.stopped.set()
        self.thread.join(timeout=10)
        self.socket.close()


# ---- the folder of an attack ---------------------------------------------------------------------


def sheet(declarations):
    return f'<xsl:stylesheet version="1.0" {XSL}>{declarations}</xsl:stylesheet>\n'


SECRET_SHEET = sheet(f'<xsl:template name="part">{SECRET}</xsl:template><xsl:template match="*">{SECRET}</xsl:template>')

BAITS = {
    "secret.xml": f"<secret>{SECRET}</secret>\n",
    "secret.txt": f"{SECRET}\n",
    "secret.ent": f"<!ENTITY e '{SECRET}'>\n",
    "secret.xsl": SECRET_SHEET,
    "inside/secret.xsl": SECRET_SHEET,  # its path begins as that of the folder does
    "in/secret.xml": f"<secret>{SECRET}</secret>\n",
    "in/secret.txt": f"{SECRET}\n",
}

NEIGHBOURS = {
    "part.xsl": sheet('<xsl:template name="part">part</xsl:template>'),
    "circle-a.xsl": sheet('<xsl:include href="circle-b.xsl"/>'),
    "circle-b.xsl": sheet('<xsl:include href="circle-a.xsl"/>'),
    "deep-apply.xsl": sheet('<xsl:template match="*"><xsl:apply-templates select="/"/></xsl:template>'),
    "large.xsl": sheet("<!--" + "x" * 100_000 + "-->"),
    "sub/up.xsl": sheet('<xsl:include href="../../secret.xsl"/>'),
    "double-8.xsl": sheet(""),
    **{f"double-{i}.xsl": sheet(f'<xsl:import href="double-{i + 1}.xsl"/>' * 2) for i in range(8)},
}


def lay_out(attack, folder, url):
    """The folder that holds the stylesheet, with baits around it."""
    inside = folder / "in"
    for name, text in {**BAITS, **{f"in/{name}": text for name, text in NEIGHBOURS.items()}}.items():
        (folder / name).parent.mkdir(parents=True, exist_ok=True)
        (folder / name).write_text(text, encoding="utf-8")
    (inside / "link.xsl").symlink_to(folder / "secret.xsl")
    (inside / "folder").symlink_to(folder)
    os.mkfifo(inside / "pipe.xsl")
    (inside / "attack.xsl").write_bytes(content(attack, ".xsl", folder, url, attack.encode_stylesheet))
    (inside / "attack.xml").write_bytes(content(attack, ".xml", folder, url, attack.encode))
    return inside


def content(attack, suffix, folder, url, encoding):
    file = INPUTS / (attack.name + suffix)
    text = (file if file.exists() else HERE / ("plain" + suffix)).read_text(encoding="utf-8")
    text = recipe.expand(text, folder, url)
    if attack.escapes and suffix == ".xml":
        return re.sub(rb"\\x(..)", lambda byte: bytes.fromhex(byte[1].decode()), text.encode())
    return text.encode(encoding)


def files_below(folder):
    return sorted(str(path.relative_to(folder)) for path in folder.rglob("*"))


# ---- running -------------------------------------------------------------------------------------


def strace_fault():
    """Nothing, or why no process can be traced here."""
    if shutil.which("strace") is None:
        return "strace is not installed"
    done = subprocess.run(["strace", "-f", "-e", "trace=" + SYSTEM_CALLS, "true"], capture_output=True, text=True, timeout=60)
    return "" if done.returncode == 0 and "exit" in done.stderr else done.stderr.strip() or "strace shows nothing"


def environment(folder, timeout_ms=TIMEOUT_MS):
    settings = {
        "PATH": os.environ["PATH"],
        "HOME": str(folder),
        "LANG": "C.UTF-8",
        "ZEP_SETTINGS_DIR": str(folder / "settings"),
        "ZEP_XSLT_TIMEOUT_MS": str(timeout_ms),
        "ZEP_XSLT_MAX_MEMORY_BYTES": str(MEMORY_BYTES),
    }
    passed_on = ("ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS")
    return {**settings, **{name: os.environ[name] for name in passed_on if name in os.environ}}


def run_process(command, folder, inside, trace_file=None, timeout_ms=TIMEOUT_MS):
    if trace_file is not None:
        command = ["strace", "-f", "-q", "--seccomp-bpf", "-s", "400", "-e", "trace=" + SYSTEM_CALLS,
                   "-o", str(trace_file), *command]
    command = ["prlimit", f"--cpu={KILLED_AFTER_CPU_SECONDS}", "--", *command]
    out, err = folder / "stdout", folder / "stderr"
    start = time.monotonic()
    with open(out, "wb") as out_file, open(err, "wb") as err_file:
        process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=out_file, stderr=err_file,
                                   cwd=inside, env=environment(folder, timeout_ms), start_new_session=True)
        watchdog = threading.Timer(KILLED_AFTER_SECONDS, os.killpg, (process.pid, signal.SIGKILL))
        watchdog.start()
        _, status, use = os.wait4(process.pid, 0)
        watchdog.cancel()
        process.returncode = os.waitstatus_to_exitcode(status)
    wall = time.monotonic() - start
    calls = [] if trace_file is None else trace_file.read_text(encoding="utf-8", errors="replace").splitlines()
    return Outcome(process.returncode, out.read_text(encoding="utf-8", errors="replace"),
                   err.read_text(encoding="utf-8", errors="replace"), wall, use.ru_utime + use.ru_stime,
                   use.ru_maxrss * 1024, calls)


def commands(attack, inside):
    stylesheet, expression = str(inside / "attack.xsl"), str(inside / "attack.xml")
    yield "zepcfg", [str(ZEPCFG), "format", "--stylesheet", stylesheet, expression]
    if attack.small_stack and not SANITIZED:
        yield "small stack", [str(PROBE), stylesheet, expression, str(SMALL_STACK_BYTES)]


def run(attack, top, url, traced):
    """The outcomes by the program that ran it, and what the attack has left behind."""
    folder = top / attack.name
    inside = lay_out(attack, folder, url)
    before = files_below(folder)
    outcomes = {}
    for program, command in commands(attack, inside):
        outcomes[program] = run_process(command, folder, inside, folder / "trace" if traced else None,
                                        HONEST_TIMEOUT_MS if attack.fails is None else TIMEOUT_MS)
    own = {"stdout", "stderr", "trace"}
    left = [name for name in files_below(folder) if name not in before and name not in own]
    return outcomes, left


def run_all(attacks, top, traced):
    listener = Listener()
    try:
        with concurrent.futures.ThreadPoolExecutor(WORKERS) as pool:
            results = pool.map(lambda attack: run(attack, top, listener.url, traced), attacks)
            outcomes = {attack.name: result for attack, result in zip(attacks, results)}
    finally:
        listener.stop()
    return outcomes, listener.connections


# ---- what an attack may touch --------------------------------------------------------------------

_PATH = re.compile(r'"((?:[^"\\]|\\.)*)"')
# Libraries, locale and the system's own description; /proc/self/statm tells the memory in use.
_SYSTEM = re.compile(
    r"/(etc/ld\.so\.|(usr/)?lib(64)?/|usr/share/(locale|zoneinfo|icu)|usr/lib/locale|etc/localtime$|"
    r"sys/fs/cgroup/|sys/devices/system/cpu|proc/(self|\d+)/(statm|maps|task|exe|cgroup|mountinfo)|"
    r"proc/(sys/vm/overcommit_memory|cpuinfo|meminfo|stat)$|dev/(null|tty)$|etc/ssl/openssl\.cnf$)")
# Where a program of the build folder has the loader look, too.
_LIBRARY = re.compile(r"((glibc-hwcaps|tls|haswell|avx512_1|x86_64|x86-64-v\d)/)*lib[\w.+-]+\.so[.\d]*")


# Where a file of an include is, is found out before it is opened.
_QUESTION = re.compile(r"\b(stat|lstat|newfstatat|statx|access|faccessat2?|readlink|readlinkat)\(.*secret")


def touched(outcome, attack, inside):
    """The calls that reach for something that is not the attack's own."""
    own = {"attack.xsl", "attack.xml", *attack.reads}
    allowed = {str(inside / name) for name in own} | {str(inside.parent / "settings"), str(inside), str(inside.parent)}
    build = f"{ZEPCFG.parent.parent}/"
    faults = []
    for call in outcome.calls:
        if not re.search(r"\b(open|openat|openat2|creat|socket|connect|sendto|bind|execve|unlink|unlinkat|rename|"
                         r"renameat|renameat2|mkdir|mkdirat|link|linkat|symlink|symlinkat|truncate|mknod|mknodat|chmod|"
                         r"fchmodat|chown|fchownat|lchown|utimensat|setxattr|removexattr|statfs|chdir|rmdir)\(", call):
            if _QUESTION.search(call) and not attack.name.startswith("include"):
                faults.append(call)
            continue
        path = _PATH.search(call)
        name = os.path.normpath(path[1]) if path else ""
        is_known = name in allowed or name.startswith(build) or _SYSTEM.match(name)
        if not is_known and not (_LIBRARY.fullmatch(name) and "ENOENT" in call) or "socket(" in call:
            faults.append(call)
    return faults


def main(names):
    attacks = [attack for attack in load() if not names or attack.name in names]
    with tempfile.TemporaryDirectory() as top:
        start = time.monotonic()
        outcomes, connections = run_all(attacks, pathlib.Path(top), traced=strace_fault() == "")
        lines = []
        for attack in attacks:
            for program, outcome in outcomes[attack.name][0].items():
                faults = touched(outcome, attack, pathlib.Path(top) / attack.name / "in")
                said = (outcome.err or outcome.out).strip().replace("\n", " ")
                lines.append((outcome.cpu, f"{outcome.cpu:6.2f} s {outcome.wall:6.2f} s {outcome.peak_bytes >> 20:5} MB "
                              f"exit {outcome.code:3} {attack.name} ({program}): {said[:330]} {faults[:3] or ''}"))
        print("\n".join(line for _, line in sorted(lines)))
        print(f"{len(attacks)} attacks, {connections} connections, {time.monotonic() - start:.0f} s")


if __name__ == "__main__":
    main(set(sys.argv[1:]))
