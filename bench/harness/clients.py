"""Small SMTP clients for what a load generator cannot do: waiting, crowding, bursting."""

import multiprocessing
import select
import socket
import time

PATIENCE = 20  # seconds


class Wrong(Exception):
    """A server did not do what it must; the text says what."""


class Client:
    """One connection, spoken to in lock step."""

    def __init__(self, port: int):
        self.socket = socket.create_connection(("127.0.0.1", port), timeout=PATIENCE)
        self.socket.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        self.expect(b"220")

    def expect(self, code: bytes) -> None:
        reply = b""
        while not reply.endswith(b"\n"):
            piece = self.socket.recv(4096)
            if not piece:
                raise Wrong(f"connection closed, {code.decode()} expected")
            reply += piece
        if not reply.splitlines()[-1].startswith(code):
            raise Wrong(f"{code.decode()} expected, got {reply.decode('latin-1').strip()}")

    def say(self, line: str, code: bytes) -> None:
        self.socket.sendall(line.encode() + b"\r\n")
        self.expect(code)

    def start_message(self, sender: str, recipient: str) -> None:
        self.say(f"MAIL FROM:<{sender}>", b"250")
        self.say(f"RCPT TO:<{recipient}>", b"250")
        self.say("DATA", b"354")

    def quit(self) -> None:
        self.say("QUIT", b"221")
        self.socket.close()


class Crowd:
    """Connections that said HELO and then nothing; closed on leaving."""

    def __init__(self, port: int, count: int):
        self.sockets = []
        try:
            for number in range(count):
                client = Client(port)
                self.sockets.append(client.socket)
                client.say(f"HELO pc{number}", b"250")
        except BaseException:
            self.__exit__()
            raise

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for one in self.sockets:
            one.close()


def _burst_share(port: int, count: int, start: float, answers) -> None:
    """Connects `count` times at once at the given moment; reports each greeting's delay."""
    waiting, delays, poll = {}, [], select.epoll()
    time.sleep(max(0.0, start - time.monotonic()))
    for _ in range(count):
        one = socket.socket()
        one.setblocking(False)
        one.connect_ex(("127.0.0.1", port))
        waiting[one.fileno()] = one, time.monotonic()
        poll.register(one.fileno(), select.EPOLLIN)
    greeted = []
    while waiting and time.monotonic() < start + PATIENCE:
        for descriptor, _ in poll.poll(0.5):
            one, since = waiting.pop(descriptor)
            poll.unregister(descriptor)
            try:
                if one.recv(512).startswith(b"220"):
                    delays.append(time.monotonic() - since)
                    greeted.append(one)
            except OSError:
                pass
    answers.put(delays)
    for one in greeted:
        one.close()


def burst(port: int, processes: int, each: int) -> list:
    """Seconds until the greeting of every client that got one."""
    context = multiprocessing.get_context("fork")
    answers, start = context.Queue(), time.monotonic() + 0.5
    shares = [context.Process(target=_burst_share, args=(port, each, start, answers))
              for _ in range(processes)]
    for share in shares:
        share.start()
    delays = [delay for _ in shares for delay in answers.get(timeout=PATIENCE + 10)]
    for share in shares:
        share.join()
    return delays
