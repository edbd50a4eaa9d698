"""Programs and servers that the end-to-end tests start."""

import dataclasses
import json
import os
import pathlib
import pty
import select
import signal
import socket
import subprocess
import threading
import time

BIN = pathlib.Path(os.environ["ZEP_BIN_DIR"])
SAMPLES = pathlib.Path(os.environ["ZEP_SAMPLES_DIR"])
RESOURCES = pathlib.Path(os.environ["ZEP_RESOURCES_DIR"])
DOCUMENTS = pathlib.Path(os.environ["ZEP_DOCUMENTS_DIR"])

STYLESHEETS = RESOURCES / "xsl"
DISPLAY = STYLESHEETS / "CfgEffectivityDisplay.xsl"
BRANCHING = STYLESHEETS / "CfgEffectivityDisplay_Branching.xsl"
SERVER_DISPLAY = STYLESHEETS / "server" / "CfgEffectivityDisplay_UTF16.xsl"
SERVICE = "/resources/modeler/configuration/navigationServices/getConfiguredExpressionXSLT/"
CONTEXT = "Design lead.Kestrel.Shared workshop"

SAMPLE_FILES = sorted(SAMPLES.glob("*.xml"))
SMALL_SAMPLE = SAMPLES / "two-contexts.xml"

XSL = 'xmlns:xsl="http://www.w3.org/1999/XSL/Transform"'

# What an instrumented build wants to find in its environment.
PASSED_ON = ("ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS", "GCOV_PREFIX", "GCOV_PREFIX_STRIP")


def text_stylesheet(body, encoding=' encoding="UTF-8"', top=""):
    """A stylesheet whose template for the document is `body`."""
    return (
        f'<?xml version="1.0"?>\n<xsl:stylesheet version="1.0" {XSL}>\n'
        f'<xsl:output method="text"{encoding}/>\n{top}'
        f'<xsl:template match="/">{body}</xsl:template>\n</xsl:stylesheet>\n'
    )


def xsltproc(stylesheet, file, compact=False):
    """What xsltproc prints, as bytes in the stylesheet's own encoding."""
    command = ["xsltproc", "--nonet"]
    if compact:
        command += ["--stringparam", "CompactView", "TRUE"]
    done = subprocess.run([*command, str(stylesheet), str(file)], capture_output=True, timeout=60)
    assert done.returncode == 0, done.stderr
    return done.stdout


@dataclasses.dataclass
class Result:
    code: int
    out: bytes
    err: str

    @property
    def text(self):
        return self.out.decode("utf-8")

    @property
    def json(self):
        return json.loads(self.out)

    def ok(self):
        assert self.code == 0, f"exit {self.code}\n{self.err}"
        return self

    def failed(self, *words):
        """Exit code 2, nothing on stdout, and a message that holds all the words in any case."""
        assert self.code == 2, f"exit {self.code}\nstdout: {self.out!r}\nstderr: {self.err}"
        assert self.out == b""
        for crash in ("terminate called", "Traceback", "Sanitizer"):
            assert crash not in self.err
        for word in words:
            assert word.lower() in self.err.lower(), f"{word!r} is missing in:\n{self.err}"
        return self


class Program:
    """Runs one of the programs in an environment that holds nothing of the caller's settings."""

    def __init__(self, name, folder):
        self.path = BIN / name
        settings = folder / "settings"
        settings.mkdir()
        self.environment = {
            "PATH": os.environ["PATH"],
            "HOME": str(folder),
            "LANG": "C.UTF-8",
            "TMPDIR": str(folder),
            "ZEP_SETTINGS_DIR": str(settings),
        }
        self.environment.update({name: os.environ[name] for name in PASSED_ON if name in os.environ})
        self.settings = settings

    def set_stylesheet_setting(self, value):
        file = self.settings / "EffeCustoFilePathSetting.toml"
        file.write_text(f"EffCustoPath = {json.dumps(value)}\n", encoding="utf-8")

    def __call__(self, *arguments, stdin=b"", timeout=60, cwd=None, **environment):
        done = subprocess.run(
            [str(self.path), *map(str, arguments)],
            input=stdin,
            capture_output=True,
            timeout=timeout,
            cwd=cwd,
            env={**self.environment, **environment},
        )
        return Result(done.returncode, done.stdout, done.stderr.decode("utf-8", "replace"))

    def on_terminal(self, *arguments, timeout=60, **environment):
        """Its stdout is a terminal; line ends come back as the program wrote them."""
        ours, theirs = pty.openpty()
        process = subprocess.Popen(
            [str(self.path), *map(str, arguments)],
            stdin=subprocess.DEVNULL,
            stdout=theirs,
            stderr=subprocess.PIPE,
            env={**self.environment, **environment},
        )
        os.close(theirs)
        out = _read_all(ours, timeout)
        os.close(ours)
        err = process.stderr.read().decode("utf-8", "replace")
        process.stderr.close()
        return Result(process.wait(timeout), out.replace(b"\r\n", b"\n"), err)


def _read_all(descriptor, timeout):
    out = b""
    deadline = time.monotonic() + timeout
    while select.select([descriptor], [], [], max(0, deadline - time.monotonic()))[0]:
        try:
            piece = os.read(descriptor, 65536)
        except OSError:  # the other end of a terminal has closed
            return out
        if not piece:
            return out
        out += piece
    raise TimeoutError("the program did not end")


class DemoServer:
    """zep-demo-server on a free port, with what it was asked."""

    def __init__(self, folder, *arguments):
        self.log = folder / "requests.jsonl"
        self.process = subprocess.Popen(
            [str(BIN / "zep-demo-server"), "--log", str(self.log), *map(str, arguments)],
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
        )
        self.url = self.process.stdout.readline().strip()
        if not self.url.startswith("http://127.0.0.1:"):
            raise RuntimeError(self.process.communicate()[1])

    def requests(self):
        return [json.loads(line) for line in self.log.read_text(encoding="utf-8").splitlines()]

    def stop(self, by=signal.SIGTERM):
        """Its exit code."""
        if self.process.poll() is None:
            self.process.send_signal(by)
        self.process.communicate(timeout=30)
        return self.process.returncode


class RawServer:
    """Sends the same bytes to everybody who has sent a request, and keeps what was sent."""

    def __init__(self, answer, ending="close"):
        self.answer = answer
        self.ending = ending
        self.received = []
        self.socket = socket.create_server(("127.0.0.1", 0))
        self.url = f"http://127.0.0.1:{self.socket.getsockname()[1]}"
        self.stopped = threading.Event()
        self.thread = threading.Thread(target=self._serve)
        self.thread.start()

    def _serve(self):
        self.socket.settimeout(0.1)
        while not self.stopped.is_set():
            try:
                connection = self.socket.accept()[0]
            except TimeoutError:
                continue
            with connection:
                self._answer(connection)

    def _answer(self, connection):
        connection.settimeout(10)
        try:
            head = b""
            while b"\r\n\r\n" not in head and (piece := connection.recv(65536)):
                head += piece
            self.received.append(head)
            connection.sendall(self.answer)
            if self.ending == "hold":
                self.stopped.wait(60)
        except OSError:
            pass  # the client may well hang up on such an answer

    def stop(self):
        self.stopped.set()
        self.thread.join(timeout=30)
        self.socket.close()


def unused_port():
    """A port on which nobody listens."""
    with socket.create_server(("127.0.0.1", 0)) as server:
        return server.getsockname()[1]
