"""Servers that answer in every wrong way that tests/hostile-answers.json lists."""

import dataclasses
import json
import os
import pathlib
import socket
import struct
import subprocess
import tempfile
import threading
import time

LIST = pathlib.Path(__file__).resolve().parent.parent / "hostile-answers.json"


@dataclasses.dataclass
class Answer:
    name: str
    pieces: list  # bytes, or the seconds of a pause
    then: str
    listening: str
    result: str
    body: str
    says: str
    formats: str | None
    fails: str

    def waits_for_timeout(self):
        """Whether nothing but a limit of time ends the call."""
        is_held = self.then in ("hold", "drip", "endless")
        return is_held and self.says in ("", "timed out", "ZEP_HTTP_STALL_TIMEOUT_MS")


def _expand(part, names):
    if isinstance(part, str):
        for name, text in names.items():
            part = part.replace(name, text)
        return part
    if "tail" in part:
        return names[part["tail"]][1:]
    return part["text"] * part["times"]


def read_list():
    document = json.loads(LIST.read_text(encoding="utf-8"))
    names = document["names"]
    answers = []
    for row in document["answers"]:
        body = row.get("body", "")
        answers.append(
            Answer(
                row["name"],
                [
                    part["pause"] / 1000
                    if isinstance(part, dict) and "pause" in part
                    else _expand(part, names).encode("latin-1")
                    for part in row["send"]
                ],
                row.get("then", "keep"),
                "deaf" if row.get("deaf") else "early" if row.get("early") else "request",
                row["result"],
                "".join(_expand(part, names) for part in (body if isinstance(body, list) else [body])),
                row.get("says", ""),
                row.get("formats"),
                row.get("fails", ""),
            )
        )
    return answers


class Server:
    """Gives everybody the one answer."""

    def __init__(self, answer):
        self.answer = answer
        self.stopped = False
        self.connections = []
        self.socket = socket.create_server(("127.0.0.1", 0))
        self.url = f"http://127.0.0.1:{self.socket.getsockname()[1]}"
        threading.Thread(target=self._accept, daemon=True).start()

    def _accept(self):
        while not self.stopped:
            try:
                connection = self.socket.accept()[0]
            except OSError:
                return
            self.connections.append(connection)
            threading.Thread(target=self._serve, args=(connection,), daemon=True).start()

    def _serve(self, connection):
        try:
            if self.answer.listening != "request":
                self._give(connection)
            if self.answer.listening != "deaf":
                while self._read(connection):
                    self._give(connection)
            connection.close()
        except OSError:
            pass  # the client may well hang up on such an answer

    @staticmethod
    def _read(connection):
        request = b""
        while b"\r\n\r\n" not in request:
            piece = connection.recv(65536)
            if not piece:
                return False
            request += piece
        return True

    def _give(self, connection):
        for piece in self.answer.pieces:
            if isinstance(piece, float):
                time.sleep(piece)
            else:
                connection.sendall(piece)
        again = self.answer.pieces[-1] if self.answer.pieces else b""
        if self.answer.then == "endless":
            again *= 65536 // len(again) + 1
        while self.answer.then in ("hold", "drip", "endless") and not self.stopped:
            if self.answer.then != "endless":
                time.sleep(0.05)
            if self.answer.then != "hold":
                connection.sendall(again)
        if self.answer.then == "reset":
            connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        if self.answer.then != "keep":
            connection.shutdown(socket.SHUT_RDWR) if self.answer.then != "reset" else None
            connection.close()
            raise OSError

    def stop(self):
        self.stopped = True
        self.socket.shutdown(socket.SHUT_RDWR)
        self.socket.close()
        for connection in self.connections:
            connection.close()


@dataclasses.dataclass
class Ended:
    code: int
    out: bytes
    err: str
    peak_kib: int
    seconds: float


def run(program, *arguments, cwd=None, **environment):
    """Runs it, and watches how much memory it took. One that hangs is ended."""
    with tempfile.TemporaryFile() as out:
        ended = run_into(out, program, *arguments, cwd=cwd, **environment)
        out.seek(0)
        return dataclasses.replace(ended, out=out.read())


def run_into(out, program, *arguments, cwd=None, **environment):
    """Likewise; what it prints goes into that file."""
    with tempfile.TemporaryFile() as err:
        start = time.monotonic()
        process = subprocess.Popen(
            [str(program.path), *map(str, arguments)],
            stdin=subprocess.DEVNULL,
            stdout=out,
            stderr=err,
            cwd=cwd,
            env={**program.environment, **environment},
        )
        guard = threading.Timer(60, process.kill)
        guard.start()
        _, status, usage = os.wait4(process.pid, 0)
        guard.cancel()
        process.returncode = os.waitstatus_to_exitcode(status)
        seconds = time.monotonic() - start
        err.seek(0)
        return Ended(process.returncode, b"", err.read().decode("utf-8", "replace"), usage.ru_maxrss, seconds)
