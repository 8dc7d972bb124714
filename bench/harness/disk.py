"""What it costs to wait for the disk: the servers on ext4 and XFS, in a file each.

All of one file system's runs are interleaved, as in the table. Ours runs twice, as it
comes and with SYNCSPOOL=0.
"""

import contextlib
import os
import statistics
import subprocess
import tempfile
import threading
import time
from pathlib import Path

from . import packages, peers
from .clients import Client
from .load import WORKLOADS, serving, spools_in
from .packages import Unavailable
from .report import Figure, number

MEASURED = [w for w in WORKLOADS if w.name in ("W2", "W3", "W5")]
PEERS = (peers.Postfix, peers.Exim, peers.AioSmtpd)
ROUNDS = {"ext4": 5, "xfs": 3}
IMAGE_SIZE = 2 << 30
LONE_MESSAGES = 60


class Durable(peers.Ours):
    name = "qlnsmtpd, durable"
    title = name
    settings = ""


@contextlib.contextmanager
def mounted(kind: str, cache: Path):
    """A journaled file system of this kind in a file; yields its place."""
    if os.geteuid() != 0:
        raise Unavailable("needs root to mount an image")
    packages.need_tools(f"mkfs.{kind}")
    image, place = cache / f"{kind}.image", tempfile.mkdtemp(prefix="qln-bench-disk-")
    with open(image, "wb") as file:
        file.truncate(IMAGE_SIZE)
    try:
        packages.run_quietly([f"mkfs.{kind}", "-q", str(image)])
        packages.run_quietly(["mount", "-o", "loop", str(image), place])
        yield place
    finally:
        subprocess.run(["umount", place], check=False, capture_output=True)
        os.rmdir(place)
        image.unlink()


def median_rates(context, servers: list, workload, rounds: int) -> dict:
    rates = {server.name: [] for server in servers}
    for turn in range(rounds):
        ahead = turn % len(servers)
        for server in servers[ahead:] + servers[:ahead]:
            result = context.load.run(server, workload)
            if result.cpu and not result.failures:
                rates[server.name].append(result.stored / result.seconds)
    return {name: statistics.median(found) for name, found in rates.items() if found}


def beside(rates: dict, ours: float) -> str:
    return "; ".join(f"{name} {number(rate)}/s, ours {ours / rate:.2f} times that"
                     for name, rate in rates.items() if name != Durable.name)


def rates_on(kind: str, context) -> list:
    servers = [Durable(context.cache, context.binary), peers.Ours(context.cache, context.binary)]
    servers[1].name = "without the wait"
    for peer in PEERS:
        with contextlib.suppress(Unavailable):
            servers.append(peer(context.cache))
            servers[-1].prepare()
    figures = []
    with mounted(kind, context.cache) as place, spools_in(place):
        for workload in MEASURED:
            rates = median_rates(context, servers, workload, context.rounds or ROUNDS[kind])
            ours = rates.get(Durable.name, 0)
            figures.append(Figure(f"{kind}, {workload.name}: messages stored",
                                  f"{number(ours)}/s", beside(rates, ours)))
    return figures


def lone_client(context, server) -> tuple:
    """Milliseconds from HELO to 354, and of the whole message, beside 20 who send flat out."""
    starts, wholes = [], []
    with serving(server) as port:
        crowd = threading.Thread(target=context.load.send, args=(MEASURED[0], port, 10**6),
                                 kwargs={"limit": 12})
        crowd.start()
        time.sleep(1)
        for _ in range(LONE_MESSAGES):
            client, began = Client(port), time.monotonic()
            client.say("HELO lone.example", b"250")
            client.start_message("a@lan.example", "5551234@fax.example")
            starts.append((time.monotonic() - began) * 1000)
            client.say("line\r\n.", b"250")
            wholes.append((time.monotonic() - began) * 1000)
            client.quit()
        crowd.join()
    return statistics.median(starts), statistics.median(wholes)


def lone(context) -> list:
    with mounted("ext4", context.cache) as place, spools_in(place):
        durable, unsynced = (lone_client(context, server(context.cache, context.binary))
                             for server in (Durable, peers.Ours))
    return [Figure(f"ext4, a client beside 20 who send flat out: {what}", f"{with_it:.2f} ms",
                   f"without the wait {without:.2f} ms, {with_it / without:.2f} times")
            for what, with_it, without in zip(("HELO to 354", "whole message"), durable, unsynced)]


def processor(context) -> list:
    """The same where there is no disk to wait for."""
    costs = {server.name: [] for server in (Durable, peers.Ours)}
    for _ in range(context.rounds or 5):
        for server in (Durable, peers.Ours):
            result = context.load.run(server(context.cache, context.binary), MEASURED[0])
            if result.cpu:
                costs[server.name].append(result.cpu / result.stored * 1e6)
    more = statistics.median(costs[Durable.name]) - statistics.median(costs[peers.Ours.name])
    return [Figure("memory, W2: server CPU of a message more than without the wait",
                   f"{more:.0f} µs").limit("70 µs", more <= 70)]


def durable(context) -> list:
    return [*rates_on("ext4", context), *rates_on("xfs", context), *lone(context),
            *processor(context)]
