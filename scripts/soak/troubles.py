"""A daemon that is killed and started again and again, with its settings and its log directory in disorder."""

import dataclasses
import random
import signal
import threading

from daemon import wait_until

LOG_LIMIT = 10_000  # bytes; "10K" in a log configuration
LINES_A_START = 17  # two of the logger, one of the INI file, fourteen of the service


def garbage(chance):
    return bytes(chance.choice(b"\x00\xff;#=[]: \t\r\nabc019%") for _ in range(chance.randrange(400))) + b"\n"


def settings(port, chance=None):
    """The text of an INI file; with `chance`, of one in which only the port can be made out."""
    if chance is None:
        return f"[default]\nport = {port}\nconnections = 16\nthreads = 2\nqueueTimeout = 0\n".encode()
    return garbage(chance) + f"[default]\nport = {port}\n".encode() + garbage(chance)


@dataclasses.dataclass
class LineCount:
    expected: int = 0
    found: int = 0
    away: int = 0
    away_found: int = 0


class Troubles(threading.Thread):
    def __init__(self, daemon, seed, failures):
        super().__init__(daemon=True)
        self.target, self.chance, self.failures = daemon, random.Random(seed), failures
        self.lines = LineCount()
        self.starts = self.rotations = 0
        self.enough = threading.Event()

    def run(self):
        try:
            while not self.enough.is_set():
                self.restart_once()
        except Exception as error:  # would be lost with the thread
            self.failures.add(f"the restarts stopped: {error!r}")

    def move_away(self):
        self.target.log.parent.rename(self.target.work / "logs.away")

    def move_back(self):
        (self.target.work / "logs.away").rename(self.target.log.parent)

    def count_lines(self, daemon):
        """Of a start with the log directory in its place; waits for the writer."""
        written = daemon.lines()
        if len(written) != LINES_A_START:
            self.failures.add(f"{daemon.name}: {len(written)} lines on the console, not {LINES_A_START}")
        wait_until(lambda: daemon.found() >= len(written), 30)
        self.lines.expected += len(written)
        self.lines.found += daemon.found()
        if daemon.log.stat().st_size > LOG_LIMIT:
            self.failures.add(f"{daemon.name}: the log file is larger than its limit")

    def restart_once(self):
        number = self.starts
        self.starts += 1
        before = self.target.log.stat().st_size if number > 0 else 0
        away = number % 4 == 3
        if away:
            self.move_away()
        serves = self.target.start(settings(self.target.port, self.chance if number % 3 == 2 else None))
        if away:
            # The lines went to nowhere before the engine was started.
            self.move_back()
            self.lines.away += len(self.target.lines())
            self.lines.away_found += self.target.found()
        elif serves:
            self.count_lines(self.target)
            self.rotations += self.target.log.stat().st_size < before
        if not serves:
            self.failures.add("restarted: a start did not come to serve")
        self.enough.wait(1)
        self.move_away()
        self.enough.wait(1)
        self.move_back()
        self.enough.wait(1)
        ending = self.target.stop()
        if ending != -signal.SIGTERM:
            self.failures.add(f"restarted: ended by itself, {ending}")

    def check(self):
        """A run that has troubled nobody has shown nothing."""
        if self.is_alive():
            self.failures.add("the restarts hang")
        if self.starts < 4:
            self.failures.add(f"only {self.starts} starts: none with the log directory away; run it for longer")
        # A start writes some 1.5 KB; three of four find their directory.
        elif self.starts >= 12 and self.rotations == 0:
            self.failures.add(f"no rotation in {self.starts} starts")
        if self.lines.found != self.lines.expected:
            self.failures.add(f"{self.lines.expected - self.lines.found} lines of the log are not found")
