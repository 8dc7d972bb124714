#!/usr/bin/env python3
"""Runs one unpacked mail server as if it were installed.

Called inside fresh mount and process namespaces (`unshare`), so that nothing
done here outlives the server or is seen by the machine. The unpacked package
is laid over /usr, /etc and /var; /var/spool and /run are directories of the
run. Then the server takes this process's place.

    jail.py UNPACKED RUN-DIRECTORY COMMAND...
"""

import os
import subprocess
import sys
from pathlib import Path

ACCOUNTS = ("postfix", "postdrop", "opensmtpd", "opensmtpq", "Debian-exim")
FIRST_ID = 64100


def mount(*arguments: str) -> None:
    subprocess.run(["mount", *arguments], check=True)


def private_etc(etc: Path) -> None:
    """Account files with the mail servers' own added, and no name server."""
    users = Path("/etc/passwd").read_text()
    groups = Path("/etc/group").read_text()
    for number, name in enumerate(ACCOUNTS, FIRST_ID):
        if f"\n{name}:" not in users:
            users += f"{name}:x:{number}:{number}::/nonexistent:/usr/sbin/nologin\n"
        if f"\n{name}:" not in groups:
            groups += f"{name}:x:{number}:\n"
    etc.mkdir(exist_ok=True)
    # Names come from the hosts file: a look-up on the network would measure that.
    (etc / "nsswitch.conf").write_text("passwd: files\ngroup: files\nhosts: files\n")
    (etc / "resolv.conf").write_text("lookup file\nnameserver 127.0.0.1\n"
                                     "options timeout:1 attempts:1\n")
    (etc / "hosts").write_text("127.0.0.1 localhost bench.example\n")
    (etc / "passwd").write_text(users)
    (etc / "group").write_text(groups)


def main() -> None:
    unpacked, run_directory, command = Path(sys.argv[1]), Path(sys.argv[2]), sys.argv[3:]
    etc = run_directory / "etc"
    private_etc(etc)
    for name in ("spool", "run", "var/lib/opensmtpd/empty"):
        (run_directory / name).mkdir(parents=True, exist_ok=True)
    layers = {"/usr": unpacked / "usr", "/etc": etc, "/var": run_directory / "var"}
    for target, layer in layers.items():
        mount("-t", "overlay", "-o", f"lowerdir={layer}:{target}", "overlay", target)
    mount("--bind", str(run_directory / "spool"), "/var/spool")
    mount("--bind", str(run_directory / "run"), "/run")
    os.execv(command[0], command)


if __name__ == "__main__":
    main()
