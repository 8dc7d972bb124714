"""What the table of workloads does not show: scale, memory, and system calls.

Each measure takes a Context and returns its Figures; Wrong is raised when the
server misses what it must do, Unavailable when something needed is not here.
"""

import os
import resource
import signal
import statistics
import subprocess
import time
from contextlib import contextmanager
from dataclasses import dataclass
from pathlib import Path

from . import disk, packages, peers, process
from .clients import Client, Crowd, Wrong, burst
from .load import WORKLOADS, Load, serving, settled
from .packages import Unavailable
from .report import Calls, Figure, number

USERS, DOMAINS, ENTRIES = 998, 1_000, 10_000
W2, W3, W5 = (next(w for w in WORKLOADS if w.name == name) for name in ("W2", "W3", "W5"))
LAST_DOMAIN = f"dom{DOMAINS - 1}.example"


@dataclass
class Context:
    cache: Path
    binary: Path
    load: Load
    others: list
    rounds: int = 0  # when the caller wants fewer

    def ours(self) -> "Installation":
        if not self.binary.exists():
            raise Unavailable("qlnsmtpd is not built")
        return Installation(self.cache, self.binary)


class Installation(peers.Ours):
    """Our server with lists of users, domains and addresses."""

    rest = peers.Ours.settle  # the first address that it cleans makes it write a setting

    def __init__(self, cache: Path, binary: Path):
        super().__init__(cache, binary)
        self.files = {}

    def command(self, port: int) -> list:
        command = super().command(port)
        for name, lines in self.files.items():
            text = "".join(line + "\r\n" for line in lines)
            (self.directory / "DATA/RAW" / name).write_bytes(text.encode())
        return command

    def with_users(self):
        self.files["TSUSERS.DAT"] = [
            line for n in range(USERS)
            for line in (f"[USER{n}]", f"FULLEMAIL=user{n}@{LAST_DOMAIN}", f"ID=user{n}",
                         "USERACTIVE=1")]
        return self

    def with_domains(self):
        self.settings += "USEDOMAINS=1\r\n"
        self.files["DOMAIN.DAT"] = [f"dom{n}.example,1" for n in range(DOMAINS)]
        return self

    def with_accepted(self, entries: int):
        """The client's own address is the last entry."""
        self.settings += "ACCEPTVALIDADDRESSONLY=1\r\n"
        self.files["VALIDIPADDRESSES.TXT"] = [*addresses(entries - 1, 10), "127.0.0.1"]
        return self

    def with_banned(self, entries: int):
        self.settings += "SMTPIPBLOCK=1\r\n"
        self.files["BADSMTPIPADDRESS.TXT"] = list(addresses(entries, 11))
        return self


def addresses(count: int, network: int):
    """Entries of an address list that match no client here; every tenth is a range."""
    for n in range(count):
        address = f"{network}.{n >> 14}.{n >> 7 & 127}.{n & 127}"
        yield f"{address}-{address}" if n % 10 == 9 else address


def memory_per_connection(server, count: int) -> float:
    """Bytes of the server's memory that one more idle connection takes."""
    with serving(server) as port:
        with Crowd(port, 10):  # what the first connections set up once
            pass
        time.sleep(0.3)
        before = process.tree_memory(server.process.pid)
        with Crowd(port, count):
            time.sleep(0.5)
            return (process.tree_memory(server.process.pid) - before) / count


COUNTERS = ("instructions:u", "instructions:k", "raw_syscalls:sys_enter")


def counters(context: Context) -> list:
    """What the processor counts per message at full load: steadier than its time."""
    packages.need_tools("perf")
    figures, messages = [], 10_000
    for server in (context.ours(), peers.SmtpSinkShared(context.cache),
                   peers.SmtpSinkFiles(context.cache)):
        server.prepare()
        for workload in (W2, W3, W5):
            with serving(server) as port:
                context.load.send(workload, port, 400)
                perf = subprocess.Popen(
                    ["perf", "stat", "-x", ",", "-e", ",".join(COUNTERS),
                     "-p", str(server.process.pid)],
                    stdin=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
                time.sleep(0.5)
                context.load.send(workload, port, messages)
                perf.send_signal(signal.SIGINT)
                fields = [line.split(",") for line in perf.communicate()[1].splitlines()]
            found = {f[2]: float(f[0]) / messages for f in fields
                     if len(f) > 2 and f[0].replace(".", "").isdigit()}
            if set(found) != set(COUNTERS):
                raise Unavailable("this machine gives no processor counters")
            total = found["instructions:u"] + found["instructions:k"]
            figures.append(Figure(
                f"instructions per message, {server.title}, {workload.name}", f"{total:,.0f}",
                f"{found['instructions:u']:,.0f} of the program, {found['instructions:k']:,.0f} of "
                f"the kernel for it, {found['raw_syscalls:sys_enter']:.1f} system calls"))
    return figures


def idle(context: Context) -> list:
    """Memory of one more connection that said HELO and waits."""
    figures = []
    most = min(10_000, resource.getrlimit(resource.RLIMIT_NOFILE)[1] - 500)
    counts = {peers.Postfix.name: 100, peers.Exim.name: 100, peers.OpenSmtpd.name: 500}
    for server in [context.ours(), *context.others]:
        count = most if server.name == peers.Ours.name else counts.get(server.name, 1_000)
        what = f"memory per idle connection after HELO, {server.title} ({count:,} connections)"
        try:
            server.prepare()
            each = memory_per_connection(server, count)
            figures.append(Figure(what, f"{each / 1024:.1f} KiB"))
            if server.name == peers.Ours.name:
                figures[-1].limit("4 KiB", each <= 4096)
        except (Unavailable, Wrong, OSError) as reason:
            figures.append(Figure(what, "not measured", str(reason)))
    return figures


def crowd(context: Context) -> list:
    """W2 beside 10,000 idle connections, with full lists and every check on."""
    count = min(10_000, resource.getrlimit(resource.RLIMIT_NOFILE)[1] - 500)
    address = {"sender": f"nobody@{LAST_DOMAIN}", "recipient": f"5551234@{LAST_DOMAIN}"}
    full = (context.ours().with_users().with_domains().with_accepted(ENTRIES)
            .with_banned(ENTRIES))
    full.name = "crowded"

    def cost(server, beside=None):
        result = context.load.run(server, W2, beside=beside, **address)
        if result.failures or result.complaint:
            raise Wrong(f"{result.failures} messages lost {result.complaint}")
        return result.cpu / result.stored * 1000

    ratios, plain, crowded = [], [], []
    for _ in range(5):
        plain.append(cost(context.ours()))
        crowded.append(cost(full, lambda port: Crowd(port, count)))
        ratios.append(crowded[-1] / plain[-1])
    ratio = statistics.median(ratios)
    figure = Figure(
        f"W2 beside {count:,} idle connections, {USERS} users, {DOMAINS:,} domains, {ENTRIES:,} "
        "entries in each address list, all checks on, against plain W2",
        f"{ratio:.2f} times", f"{statistics.median(crowded):.3f} ms against "
        f"{statistics.median(plain):.3f} ms; {min(ratios):.2f} to {max(ratios):.2f}")
    return [figure.limit("1.5 times", ratio <= 1.5)]


def burst_of_clients(context: Context) -> list:
    """1,000 clients connect at once."""
    slowest = []
    for _ in range(3):
        with serving(server := context.ours()) as port:
            delays = burst(port, 4, 250)
            if len(delays) != 1000:
                raise Wrong(f"{1000 - len(delays)} of 1,000 clients of a burst got no greeting; "
                            f"{server.last_words()}")
            slowest.append(max(delays))
    figure = Figure("1,000 clients connecting at once from four processes: all greeted, slowest",
                    f"{statistics.median(slowest) * 1000:.0f} ms")
    return [figure.limit("500 ms", max(slowest) <= 0.5)]


def large(context: Context) -> list:
    """A message of 100 MB."""
    line = b"x" * 70 + b"\r\n"
    block = line * 4096
    blocks = 100_000_000 // len(block) + 1
    with serving(server := context.ours()) as port:
        client = Client(port)
        client.say("HELO pc", b"250")
        client.start_message("a@lan.example", "5551234@fax.example")
        before = process.tree_memory(server.process.pid)
        with process.Watch(server.process.pid) as watch:
            started = time.monotonic()
            for _ in range(blocks):
                client.socket.sendall(block)
            client.say(".", b"250")
            seconds = time.monotonic() - started
        client.quit()
        [stored] = (server.directory / "qlnemails").glob("*.txt")
        if stored.stat().st_size < blocks * len(block):
            raise Wrong(f"of 100 MB only {stored.stat().st_size:,} bytes were stored")
    growth = watch.peak_memory - before
    figure = Figure("memory growth while a message of 100 MB arrives",
                    f"{growth / 1024:.0f} KiB",
                    f"{before / 1e6:.1f} MB before; {blocks * len(block) / 1e6 / seconds:.0f} MB/s")
    return [figure.limit("1 MiB", growth < 1 << 20)]


def unknown_recipient(context: Context) -> list:
    """RCPT TO for an address that is not among the users."""
    recipients = 2_000
    with serving(server := context.ours().with_users()) as port:
        client = Client(port)
        client.say("HELO pc", b"250")
        client.say(f"MAIL FROM:<user5@{LAST_DOMAIN}>", b"250")
        times, cpu = [], process.tree_cpu(server.process.pid)
        for n in range(recipients):
            started = time.perf_counter()
            client.say(f"RCPT TO:<{n}@{LAST_DOMAIN}>", b"250")
            times.append(time.perf_counter() - started)
        cpu = (process.tree_cpu(server.process.pid) - cpu) / recipients
        client.quit()
    figure = Figure(f"RCPT TO for an address not among {USERS} users, server CPU",
                    f"{cpu * 1e6:.1f} µs", f"reply after {statistics.median(times) * 1e6:.0f} µs")
    return [figure.limit("100 µs", cpu < 100e-6)]


@contextmanager
def screen():
    """A display for the desktop program, of its own; yields its name."""
    packages.need_tools("Xvfb")
    reader, writer = os.pipe()
    xvfb = subprocess.Popen(["Xvfb", "-displayfd", str(writer), "-screen", "0", "1280x1024x24",
                             "-nolisten", "tcp"], pass_fds=[writer], stdin=subprocess.DEVNULL,
                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    os.close(writer)
    try:
        with open(reader, encoding="ascii") as chosen:
            yield f":{chosen.readline().strip()}"
    finally:
        xvfb.terminate()
        xvfb.wait()


class Desktop(Installation):
    """The server with its window. Without a notification area the window is shown at start."""

    display = ""

    def environment(self) -> dict:
        return dict(super().environment(), DISPLAY=self.display, QT_QPA_PLATFORM="xcb")


def desktop(context: Context) -> list:
    """W3 with the log list on a screen."""
    headless, shown, ratios = [], [], []
    server = Desktop(context.cache, packages.build_desktop(peers.REPOSITORY, context.cache))
    server.name = "desktop"
    with screen() as server.display:
        for _ in range(5):
            for one, costs in ((context.ours(), headless), (server, shown)):
                result = context.load.run(one, W3)
                if result.failures or result.complaint:
                    raise Wrong(f"{result.failures} messages lost {result.complaint}")
                costs.append(result.cpu / result.stored * 1000)
            ratios.append(shown[-1] / headless[-1])
    ratio = statistics.median(ratios)
    figure = Figure("W3 with the log list shown on a screen, against headless",
                    f"{ratio:.2f} times", f"{statistics.median(shown):.3f} ms against "
                    f"{statistics.median(headless):.3f} ms; {min(ratios):.2f} to {max(ratios):.2f}")
    return [figure.limit("1.3 times", ratio <= 1.3)]


def accepted_list(context: Context) -> list:
    """The check of a client against a long accepted-address list."""
    entries, connections = 100_000, 500

    def cost(server):
        with serving(server) as port:
            Client(port).quit()  # the list is read here
            cpu = process.tree_cpu(server.process.pid)
            for _ in range(connections):
                Client(port).quit()
            return (process.tree_cpu(server.process.pid) - cpu) / connections

    bare = cost(context.ours())
    checked = cost(context.ours().with_accepted(entries))
    return [Figure(f"check of a client against an accepted list of {entries:,} entries",
                   f"{(checked - bare) * 1e6:.0f} µs",
                   f"a connection without the check takes {bare * 1e6:.0f} µs")]


@contextmanager
def traced(pid: int, output: Path):
    """Counts the system calls of a process by name, in strace's own table."""
    packages.need_tools("strace")
    tracer = subprocess.Popen(["strace", "-f", "-c", "-o", str(output), "-p", str(pid)],
                              stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                              stderr=subprocess.PIPE)
    try:
        if b"attached" not in tracer.stderr.readline():
            raise Unavailable("strace cannot attach")
        yield
    finally:
        tracer.send_signal(signal.SIGINT)
        tracer.communicate()


def counted_calls(table: str) -> dict:
    """Calls by name, as (all, failed), from strace -c's table."""
    calls = {}
    for line in table.splitlines():
        words = line.split()  # share, seconds, each, calls, errors if any, name
        if len(words) >= 5 and words[3].isdigit() and words[-1] != "total":
            calls[words[-1]] = int(words[3]), int(words[4]) if len(words) == 6 else 0
    return calls


def system_calls(context: Context) -> list:
    """Per message: ours, and for comparison the leanest peer's."""
    found = []
    sink = peers.SmtpSinkShared(context.cache)
    sink.prepare()
    for server in (context.ours(), sink):
        for workload in (W2, W3):
            messages = 1000
            with serving(server) as port:
                context.load.send(workload, port, 100)
                settled(server, 100)
                output = server.directory / "calls"
                with traced(server.process.pid, output):
                    context.load.send(workload, port, messages)
                    settled(server, messages + 100)
                    time.sleep(0.2)
                calls = counted_calls(output.read_text())
            found.append(Calls(server.title, workload.name,
                               {name: count / messages for name, (count, _) in calls.items()}))
    return found


MEASURES = {
    "durable": disk.durable,
    "calls": system_calls,
    "counters": counters,
    "idle": idle,
    "crowd": crowd,
    "burst": burst_of_clients,
    "large": large,
    "unknown-recipient": unknown_recipient,
    "accepted-list": accepted_list,
    "desktop": desktop,
}
