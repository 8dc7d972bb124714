"""The servers that are measured: how each is had, started and counted.

Every one listens on loopback, stores each message on disk, and does no
filtering, no TLS and no look-ups. Limits on connections, backlogs and messages
per connection are set well above what the workloads need wherever a server
has a setting for it, so that nobody is held back by a cautious default.
"""

import os
import shutil
import signal
import subprocess
import sys
from pathlib import Path

from . import packages, process
from .packages import Unavailable

BENCH = Path(__file__).resolve().parent.parent
JAIL = Path(__file__).resolve().parent / "jail.py"
REPOSITORY = BENCH.parent
USERS_FILE = (b"[USER0]\r\nFULLEMAIL=anna@lan.example\r\nID=anna\r\nUSERACTIVE=1\r\n"
              b"[USER1]\r\nFULLEMAIL=ben@lan.example\r\nID=ben\r\nUSERACTIVE=1\r\n")
PATIENCE = 5  # seconds for a server to end by itself


class Server:
    """One server in one run: started in a fresh directory, then ended."""

    name = ""
    title = ""  # how the table names it
    settle = 0  # seconds after the start until it runs as it will from then on
    rest = 0    # the same after its first messages

    def __init__(self, cache: Path):
        self.cache = cache
        self.process = None
        self.directory = None

    def prepare(self) -> None:
        """Fetches or builds what the server needs; Unavailable when it cannot be had."""

    def command(self, port: int) -> list:
        """Lays the run's directory out and returns the command that serves there."""
        raise NotImplementedError

    def stored(self) -> int:
        """Messages that are whole on disk now."""
        raise NotImplementedError

    def environment(self) -> dict:
        return dict(os.environ)

    def start(self, directory: Path, port: int) -> None:
        self.directory = directory
        command = self.command(port)
        with open(directory / "stderr", "wb") as errors:
            self.process = subprocess.Popen(command, cwd=self.working_directory(),
                                            env=self.environment(), stdin=subprocess.DEVNULL,
                                            stdout=subprocess.DEVNULL, stderr=errors)

    def working_directory(self) -> Path:
        return self.directory

    def stop(self) -> None:
        if self.process is not None:
            process.kill_tree(self.process)
            self.process = None

    def last_words(self) -> str:
        """The end of what the server wrote to standard error."""
        try:
            lines = (self.directory / "stderr").read_text(errors="replace").strip().splitlines()
        except OSError:
            lines = []
        return lines[-1] if lines else "no message"


class Ours(Server):
    name = "qlnsmtpd"
    title = "qlnsmtpd"
    settle = 4.5      # its settings file, written at the start, counts as fresh so long
    settings = "SYNCSPOOL=0\r\n"  # of section QLNSMTP; the others wait for no disk here either
    wrapper = []      # a tool to run the server under

    def __init__(self, cache: Path, binary: Path):
        super().__init__(cache)
        self.binary = binary

    def prepare(self) -> None:
        if not self.binary.exists():
            raise Unavailable(f"{self.binary} is not built")

    def command(self, port: int) -> list:
        for name in ("DATA/RAW", "LOGS", "LOG", "qlnemails", "pending", "mailin"):
            (self.directory / name).mkdir(parents=True)
        settings = f"[QLNSMTP]\r\nport={port}\r\nbind=1\r\nIPADDR=127.0.0.1\r\n{self.settings}"
        settings += "[TCPIP]\r\nUSESAMEIPADDRESS=1\r\n"
        (self.directory / "DATA/RAW/QLNXSERVER.DAT").write_bytes(settings.encode())
        (self.directory / "DATA/RAW/TSUSERS.DAT").write_bytes(USERS_FILE)
        return [*self.wrapper, str(self.binary)]

    def stored(self) -> int:
        """Whole pairs: a message file and the envelope file beside it."""
        names = set(os.listdir(self.directory / "qlnemails"))
        return sum(1 for name in names if name.endswith(".txt") and name[:-4] + ".env" in names)

    def stop(self) -> None:
        """Asks it to end, which it must do by itself and with exit code 0."""
        if self.process is None:
            return
        self.process.send_signal(signal.SIGTERM)
        try:
            code = self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            process.kill_tree(self.process)
            code = "none within %d s" % PATIENCE
        self.process = None
        if code != 0:
            print(f"qlnsmtpd: exit code {code}: {self.last_words()}", file=sys.stderr)


class SmtpSink(Server):
    """Postfix's test sink. -d: one file a message. -D: one file for all."""

    option = ""

    def prepare(self) -> None:
        self.root = packages.debian_root(self.cache, "postfix")

    def environment(self) -> dict:
        return dict(os.environ, LD_LIBRARY_PATH=str(self.root / "usr/lib/postfix"))

    def command(self, port: int) -> list:
        self.dump = self.directory / "dump"
        self.dump.mkdir()
        if os.geteuid() == 0:  # it drops root's rights before it writes
            shutil.chown(self.dump, "nobody")
        user = ["-u", "nobody"] if os.geteuid() == 0 else []
        return [str(self.root / "usr/sbin/smtp-sink"), *user, "-m", "15000",
                self.option, f"{self.dump}/m.", f"127.0.0.1:{port}", "1024"]


class SmtpSinkShared(SmtpSink):
    name = "smtp-sink-D"
    title = "smtp-sink -D"
    option = "-D"

    def stored(self) -> int:
        count = 0
        for path in self.dump.iterdir():
            with open(path, "rb") as file:
                count += sum(1 for line in file if line.startswith(b"X-Client-Addr: "))
        return count


class SmtpSinkFiles(SmtpSink):
    name = "smtp-sink-d"
    title = "smtp-sink -d"
    option = "-d"

    def stored(self) -> int:
        return sum(1 for path in self.dump.iterdir() if path.stat().st_size > 0)


class AioSmtpd(Server):
    name = "aiosmtpd"
    title = "aiosmtpd, maildir"

    def prepare(self) -> None:
        self.root = packages.debian_root(self.cache, "python3-aiosmtpd")

    def environment(self) -> dict:
        return dict(os.environ, PYTHONPATH=str(self.root / "usr/lib/python3/dist-packages"))

    def command(self, port: int) -> list:
        self.maildir = self.directory / "maildir"
        return ["/usr/bin/python3", "-m", "aiosmtpd", "-n", "-s", "0", "-l", f"127.0.0.1:{port}",
                "-c", "aiosmtpd.handlers.Mailbox", str(self.maildir)]

    def stored(self) -> int:
        return len(os.listdir(self.maildir / "new")) if self.maildir.exists() else 0


class SmtpServer(Server):
    name = "smtp-server"
    title = "smtp-server (npm)"

    def prepare(self) -> None:
        self.home = packages.node_modules(self.cache, "smtp-server")

    def working_directory(self) -> Path:
        return self.home

    def command(self, port: int) -> list:
        self.store = self.directory / "store"
        self.store.mkdir()
        return ["node", str(BENCH / "peers/smtp_server_files.js"), str(port), str(self.store)]

    def stored(self) -> int:
        return len(os.listdir(self.store))


class MailServer(Server):
    """A full mail server, run from its unpacked package in namespaces of its own."""

    package = ""

    def prepare(self) -> None:
        if os.geteuid() != 0:
            raise Unavailable("needs root")
        self.root = packages.debian_root(self.cache, self.package)
        packages.run_quietly(["unshare", "--mount", "--pid", "--fork", "true"])

    def jailed(self, *command) -> list:
        return ["unshare", "--mount", "--pid", "--fork", "--kill-child", sys.executable, str(JAIL),
                str(self.root), str(self.directory), *(str(word) for word in command)]

    def write(self, name: str, text: str) -> Path:
        path = self.directory / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)
        return path


class Postfix(MailServer):
    name = "postfix"
    title = "Postfix, queue"
    package = "postfix"

    MAIN = """
compatibility_level = 3.6
queue_directory = /var/spool/postfix
data_directory = /var/spool/postfix-data
command_directory = /usr/sbin
daemon_directory = /usr/lib/postfix/sbin
shlib_directory = /usr/lib/postfix
myhostname = bench.example
inet_interfaces = 127.0.0.1
inet_protocols = ipv4
mynetworks = 127.0.0.0/8
mydestination =
relay_domains =
alias_maps =
alias_database =
local_recipient_maps =
disable_dns_lookups = yes
smtpd_peername_lookup = no
smtpd_tls_security_level = none
smtpd_relay_restrictions = permit_mynetworks, reject
smtpd_client_restrictions = static:HOLD
smtpd_client_event_limit_exceptions = 127.0.0.0/8
in_flow_delay = 0
message_size_limit = 0
mailbox_size_limit = 0
default_process_limit = 250
"""
    # Accepting and queueing only: what arrives is put on hold, so nothing takes
    # it out of the queue again.
    MASTER = """
{port} inet n - n - 250 smtpd
cleanup unix n - n - 0 cleanup
qmgr unix n - n 300 1 qmgr
rewrite unix - - n - - trivial-rewrite
proxymap unix - - n - - proxymap
anvil unix - - n - 1 anvil
bounce unix - - n - 0 bounce
defer unix - - n - 0 bounce
error unix - - n - - error
smtp unix - - n - - smtp
"""

    def command(self, port: int) -> list:
        self.write("etc/postfix/main.cf", self.MAIN)
        self.write("etc/postfix/master.cf", self.MASTER.format(port=port))
        script = self.write("start.sh", """set -e
mkdir -p /var/spool/postfix /var/spool/postfix-data
chown postfix /var/spool/postfix-data
for directory in active bounce corrupt defer deferred flush hold incoming private saved trace; do
    mkdir -p -m 700 /var/spool/postfix/$directory
done
mkdir -p -m 730 /var/spool/postfix/maildrop
mkdir -p -m 710 /var/spool/postfix/public
mkdir -p -m 755 /var/spool/postfix/pid
chown postfix /var/spool/postfix/*/
chown root /var/spool/postfix/pid
chgrp postdrop /var/spool/postfix/maildrop /var/spool/postfix/public
exec /usr/lib/postfix/sbin/master -c /etc/postfix -i
""")
        return self.jailed("/bin/sh", script)

    def stored(self) -> int:
        return _files_below(self.directory / "spool/postfix/hold")


class OpenSmtpd(MailServer):
    name = "opensmtpd"
    title = "OpenSMTPD, queue"
    package = "opensmtpd"

    def command(self, port: int) -> list:
        config = self.write("smtpd.conf", f"""
smtp limit max-mails 1000000
smtp max-message-size "200M"
listen on 127.0.0.1 port {port} hostname bench.example
action "queue" relay host "smtp://127.0.0.1:9"
match from any for any action "queue"
""")
        # Its delivery side is paused: what arrives stays in the queue.
        return self.jailed("/usr/sbin/smtpd", "-d", "-P", "mta", "-P", "mda", "-f", config)

    def stored(self) -> int:
        queue = self.directory / "spool/smtpd/queue"
        return sum(1 for path in queue.glob("*/*/message"))


class Exim(MailServer):
    name = "exim"
    title = "Exim, queue"
    package = "exim4-daemon-light"

    def command(self, port: int) -> list:
        config = self.write("exim.conf", f"""
primary_hostname = bench.example
spool_directory = /var/spool/exim4
log_file_path = /var/spool/exim4/log/%slog
pid_file_path = /run/exim.pid
local_interfaces = 127.0.0.1
daemon_smtp_ports = {port}
tls_advertise_hosts =
host_lookup =
rfc1413_query_timeout = 0s
smtp_accept_max = 0
smtp_accept_max_per_connection = 0
smtp_accept_queue = 0
smtp_accept_queue_per_connection = 0
smtp_connect_backlog = 1024
queue_only = true
message_size_limit = 200M
keep_environment =
acl_smtp_rcpt = accept
begin acl
begin routers
hold:
  driver = manualroute
  route_list = * 127.0.0.1
  transport = hold
begin transports
hold:
  driver = smtp
""")
        script = self.write("start.sh", f"""set -e
mkdir -p /var/spool/exim4
chown Debian-exim:Debian-exim /var/spool/exim4
exec /usr/sbin/exim4 -C {config} -bdf
""")
        return self.jailed("/bin/sh", script)

    def stored(self) -> int:
        queue = self.directory / "spool/exim4/input"
        names = set(os.listdir(queue)) if queue.exists() else set()
        return sum(1 for name in names if name.endswith("-H") and name[:-1] + "D" in names)


def _files_below(directory: Path) -> int:
    return sum(len(files) for _, _, files in os.walk(directory))


PEERS = (SmtpSinkShared, SmtpSinkFiles, Postfix, OpenSmtpd, Exim, AioSmtpd, SmtpServer)
