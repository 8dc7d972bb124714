"""What a server's processes cost: CPU time, memory, pauses; and ending them."""

import os
import signal
import subprocess
import threading
import time
from pathlib import Path

TICKS = os.sysconf("SC_CLK_TCK")
SAMPLE_SECONDS = 0.2


def _read(path: str) -> str:
    try:
        with open(path, encoding="ascii", errors="replace") as file:
            return file.read()
    except OSError:  # the process has ended
        return ""


def _stat_fields(pid: int) -> list:
    """The fields of /proc/PID/stat from the parent's id on, or nothing."""
    text = _read(f"/proc/{pid}/stat")
    return text[text.rfind(")") + 4:].split() if text else []


def process_tree(root: int) -> list:
    """Ids of a process and all its living descendants."""
    children = {}
    for name in os.listdir("/proc"):
        if name.isdigit() and (fields := _stat_fields(int(name))):
            children.setdefault(int(fields[0]), []).append(int(name))
    tree = [root]
    for pid in tree:
        tree += children.get(pid, [])
    return tree


def _own_cpu(pid: int) -> float:
    """CPU seconds of a living process's threads, to the nanosecond."""
    try:
        threads = os.listdir(f"/proc/{pid}/task")
    except OSError:
        return 0.0
    total = 0
    for thread in threads:
        text = _read(f"/proc/{pid}/task/{thread}/schedstat")
        total += int(text.split()[0]) if text else 0
    return total / 1e9


def tree_cpu(root: int) -> float:
    """User and system seconds of a process tree, its ended children included.

    The kernel counts living processes in steps of a clock tick, which for a
    server of a hundred processes hides half a second; so their threads' exact
    run times are used where they are larger.
    """
    total = 0.0
    for pid in process_tree(root):
        if fields := _stat_fields(pid):
            user, system, dead_user, dead_system = (int(f) for f in fields[10:14])
            total += max(_own_cpu(pid), (user + system) / TICKS)
            total += (dead_user + dead_system) / TICKS
    return total


def tree_memory(root: int) -> int:
    """Bytes of memory of a process tree, shared pages shared out (PSS)."""
    kilobytes = 0
    for pid in process_tree(root):
        for line in _read(f"/proc/{pid}/smaps_rollup").splitlines():
            if line.startswith("Pss:"):
                kilobytes += int(line.split()[1])
                break
    return kilobytes * 1024


class Watch:
    """Samples a server's memory while a load runs, and notices when it stands still."""

    def __init__(self, root: int):
        self.root = root
        self.peak_memory = 0
        self.longest_pause = 0.0  # seconds in which the server used no CPU
        self._done = threading.Event()
        self._thread = threading.Thread(target=self._sample, daemon=True)

    def __enter__(self):
        self._thread.start()
        return self

    def __exit__(self, *_):
        self._done.set()
        self._thread.join()
        self.peak_memory = max(self.peak_memory, tree_memory(self.root))

    def _sample(self) -> None:
        seen, since = tree_cpu(self.root), time.monotonic()
        while not self._done.wait(SAMPLE_SECONDS):
            self.peak_memory = max(self.peak_memory, tree_memory(self.root))
            used, now = tree_cpu(self.root), time.monotonic()
            if used - seen > 0.001:
                seen, since = used, now
            else:
                self.longest_pause = max(self.longest_pause, now - since)


def kill_tree(process: subprocess.Popen) -> None:
    """Ends a server and everything below it at once, and waits until it is gone."""
    tree = process_tree(process.pid)
    for pid in tree:
        try:
            os.kill(pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
    process.wait()
    deadline = time.monotonic() + 5
    while any(Path(f"/proc/{pid}").exists() for pid in tree) and time.monotonic() < deadline:
        time.sleep(0.01)
