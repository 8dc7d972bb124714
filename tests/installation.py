"""An installation directory and a program that runs in it, for tests/storm and tests/desktop."""
import atexit, glob, os, random, shutil, signal, socket, subprocess, tempfile, time
from contextlib import suppress


def wait_for(condition):
    """What the condition says, as soon as that is something."""
    until = time.monotonic() + 20
    while not (result := condition()):
        assert time.monotonic() < until, "waited in vain"
        time.sleep(0.01)
    return result


def read(path):
    with open(path, encoding="latin-1", newline="") as file:
        return file.read()


def put(path, text):
    with open(path, "w") as file:
        file.write(text)


def free_port():
    """Below the ports that the system gives to clients, who would be in the way."""
    for port in random.sample(range(20000, 30000), 100):
        with suppress(OSError), socket.create_server(("", port)):
            return port


class Installation:
    def __init__(self, program, settings="", where=None):
        self.program, self.port = os.path.abspath(program), free_port()
        self.directory = tempfile.mkdtemp(prefix="qln-installation-", dir=where)
        self.spool = self.directory + "/qlnemails"
        for name in "DATA", "DATA/RAW", "LOGS", "LOG", "qlnemails", "pending", "mailin":
            os.mkdir(f"{self.directory}/{name}")
        self.settings(settings)

    def settings(self, lines):
        new = self.directory + "/DATA/RAW/new"
        put(new, f"[QLNSMTP]\nport={self.port}\nbind=0\n{lines}\n")
        os.rename(new, self.directory + "/DATA/RAW/QLNXSERVER.DAT")

    def launch(self, prefix=(), **environment):
        with open(self.directory + "/output", "ab") as output:
            self.process = subprocess.Popen([*prefix, self.program], cwd=self.directory,
                                            stdout=output, stderr=output,
                                            env=os.environ | environment)
        atexit.register(self.process.kill)
        return self.process

    def serves(self):
        with socket.socket() as probe:
            return probe.connect_ex(("127.0.0.1", self.port)) == 0

    def ends(self, how=signal.SIGTERM):
        self.process.send_signal(how)
        assert self.process.wait(20) == (-how if how == signal.SIGKILL else 0), self.said()

    def end(self):
        self.ends()
        shutil.rmtree(self.directory)

    def said(self):
        return read(self.directory + "/output")

    def log(self):
        return read(self.directory + "/LOGS/QLNSMTP.TXT")

    def messages(self):
        """Envelopes, and the texts behind their headers, of what the fax server would take."""
        found = []
        for name in glob.glob(self.directory + "/*/*.txt"):
            with open(name[:-4] + ".env", "rb") as envelope, open(name, "rb") as text:
                found.append((envelope.read(), text.read().split(b"\r\n", 3)[3]))
        return found
