"""The workloads, and one measured run of one of them against one server.

The load comes from Postfix's smtp-source. A run starts the server in a fresh
directory on a memory-backed file system, warms it up, measures, counts what is
really stored and removes everything again.
"""

import contextlib
import os
import shutil
import socket
import subprocess
import tempfile
import time
from dataclasses import dataclass
from pathlib import Path

from . import packages, process
from .packages import Unavailable

SENDER, RECIPIENT, CLIENT = "sender@lan.example", "5551234@fax.example", "client.example"
MEGABYTE = 1_000_000
LONGEST_RUN = 30  # seconds after which a run is ended and what is missing has failed
READY_WITHIN = 15


@dataclass(frozen=True)
class Workload:
    name: str
    title: str
    sessions: int       # at the same time, over all senders
    senders: int        # smtp-source processes that share them
    reuse: bool         # many messages per connection
    body: int           # bytes
    least: int          # messages in a run of a slow server
    most: int           # and of a fast one

    @property
    def in_megabytes(self) -> bool:
        return self.body >= MEGABYTE


WORKLOADS = (
    Workload("W1", "1 session, 1 message per connection, 1 KB", 1, 1, False, 1024, 20, 10_000),
    Workload("W2", "20 sessions, 1 message per connection, 1 KB", 20, 1, False, 1024, 100, 20_000),
    Workload("W3", "20 sessions, many messages per connection, 1 KB",
             20, 1, True, 1024, 200, 40_000),
    Workload("W4", "4 senders, 1 message per connection, 1 MB of 72-character lines",
             4, 4, False, 1 << 20, 20, 800),
    Workload("W5", "200 sessions, 1 message per connection, 4 KB",
             200, 1, False, 4096, 400, 20_000),
)


@dataclass
class Result:
    """What one run showed."""

    sent: int
    stored: int
    seconds: float
    cpu: float             # seconds of the server's processes
    memory: int            # bytes, peak
    pause: float           # longest time in which the server used no CPU
    complaint: str = ""    # why the senders stopped early, if they did

    @property
    def failures(self) -> int:
        return self.sent - self.stored


class Load:
    """smtp-source, unpacked, and the files it sends."""

    def __init__(self, cache: Path, seconds: float):
        root = packages.debian_root(cache, "postfix")
        self.program = str(root / "usr/sbin/smtp-source")
        self.environment = dict(os.environ, LD_LIBRARY_PATH=str(root / "usr/lib/postfix"))
        self.seconds = seconds
        self.large = cache / "one-megabyte.txt"
        write_large_message(self.large)
        self.counts = {}  # messages per run, by server and workload

    def send(self, workload: Workload, port: int, messages: int, sender=SENDER, recipient=RECIPIENT,
             limit=LONGEST_RUN) -> str:
        """Sends the messages; returns the senders' complaint, empty when all went well."""
        shape = ["-F", str(self.large)] if workload.in_megabytes else ["-l", str(workload.body)]
        shape += ["-d"] if workload.reuse else []
        command = [self.program, *shape, "-s", str(workload.sessions // workload.senders),
                   "-m", str(messages // workload.senders), "-M", CLIENT, "-f", sender,
                   "-t", recipient, f"127.0.0.1:{port}"]
        senders = [subprocess.Popen(command, env=self.environment, text=True,
                                    stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                    stderr=subprocess.PIPE) for _ in range(workload.senders)]
        complaint, deadline = "", time.monotonic() + limit
        for one in senders:
            try:
                _, errors = one.communicate(timeout=max(0.1, deadline - time.monotonic()))
                if one.returncode != 0:
                    complaint = (errors.strip().splitlines() or ["smtp-source failed"])[-1]
            except subprocess.TimeoutExpired:
                one.kill()
                one.communicate()
                complaint = f"not done after {limit} s"
        return complaint

    def run(self, server, workload: Workload, beside=None, **addresses) -> Result:
        """One measured run. The first one of a pair also finds how many messages it takes.

        `beside`, given the port, makes the context manager that the load runs in.
        """
        with serving(server) as port, (beside or _nothing)(port):
            warm = workload.least
            started = time.monotonic()
            complaint = self.send(workload, port, warm, **addresses)
            took = time.monotonic() - started
            stored = settled(server, warm)
            if complaint or stored != warm:
                return Result(warm, stored, took, 0, 0, 0, complaint or "messages lost")
            messages = self.counts.setdefault((server.name, workload.name),
                                              self._count(workload, warm / took))
            more = messages // 4 - messages // 4 % workload.sessions
            if more > warm:  # an interpreter compiles what it has run often
                self.send(workload, port, more, **addresses)
                warm += more
                settled(server, warm)
            time.sleep(server.rest)

            with process.Watch(server.process.pid) as watch:
                cpu = process.tree_cpu(server.process.pid)
                started = time.monotonic()
                complaint = self.send(workload, port, messages, **addresses)
                seconds = time.monotonic() - started
                stored = settled(server, warm + messages) - warm
                cpu = process.tree_cpu(server.process.pid) - cpu
            return Result(messages, stored, seconds, cpu, watch.peak_memory, watch.longest_pause,
                          complaint)

    def _count(self, workload: Workload, rate: float) -> int:
        wanted = min(max(int(rate * self.seconds), workload.least), workload.most)
        return wanted - wanted % workload.sessions


def _nothing(_port: int):
    return contextlib.nullcontext()


def write_large_message(path: Path) -> None:
    """A message of one megabyte in lines of 72 characters, as smtp-source -F wants it."""
    lines = (1 << 20) // 74
    path.parent.mkdir(parents=True, exist_ok=True)
    with open(path, "w", encoding="ascii", newline="\n") as file:
        file.write(f"From: <{SENDER}>\nTo: <{RECIPIENT}>\nSubject: one megabyte\n\n")
        file.writelines(f"{number:071d}x\n" for number in range(lines))


def settled(server, expected: int) -> int:
    """Messages stored, once that many are there or a second has passed."""
    deadline = time.monotonic() + 1
    while (stored := server.stored()) < expected and time.monotonic() < deadline:
        time.sleep(0.05)
    return stored


_spools = []


@contextlib.contextmanager
def spools_in(place: str):
    """Lets the servers store in this directory instead."""
    _spools.append(place)
    try:
        yield
    finally:
        _spools.pop()


def memory_directory() -> str:
    """A memory-backed place for spools, so that no disk is measured; or the one chosen."""
    if _spools:
        return _spools[-1]
    if os.access("/dev/shm", os.W_OK):
        return "/dev/shm"
    raise Unavailable("no memory-backed file system at /dev/shm")


_next_port = 20_000 + os.getpid() % 5_000


def free_port() -> int:
    """A port that nobody has, another one each time: old connections do not linger on it."""
    global _next_port
    while True:
        _next_port += 1
        with socket.socket() as probe:
            try:
                probe.bind(("127.0.0.1", _next_port))
                return _next_port
            except OSError:
                continue


@contextlib.contextmanager
def serving(server):
    """Runs a server in a fresh directory; yields its port."""
    directory = Path(tempfile.mkdtemp(prefix="qln-bench-", dir=memory_directory()))
    directory.chmod(0o755)
    port = free_port()
    try:
        server.start(directory, port)
        wait_for_greeting(server, port)
        time.sleep(server.settle)
        yield port
    finally:
        server.stop()
        shutil.rmtree(directory, ignore_errors=True)


def wait_for_greeting(server, port: int) -> None:
    deadline = time.monotonic() + READY_WITHIN
    while time.monotonic() < deadline:
        if server.process.poll() is not None:
            raise Unavailable(f"ended at once: {server.last_words()}")
        try:
            with socket.create_connection(("127.0.0.1", port), timeout=5) as client:
                if client.recv(512).startswith(b"220"):
                    client.sendall(b"QUIT\r\n")
                    client.recv(512)
                    return
        except OSError:
            pass
        time.sleep(0.05)
    raise Unavailable(f"no greeting within {READY_WITHIN} s: {server.last_words()}")
