"""A daemon under test, what is asked of it, and what it takes from the system."""

import contextlib
import dataclasses
import http.client
import pathlib
import random
import socket
import subprocess
import threading
import time

PATIENCE = 60  # seconds for what takes a moment on a machine with nothing else to do


class Failures:
    """What went wrong, each kind once with how often."""

    def __init__(self):
        self.lock = threading.Lock()
        self.counts = {}

    def add(self, text):
        with self.lock:
            self.counts[text] = self.counts.get(text, 0) + 1


def wait_until(condition, seconds=PATIENCE):
    deadline = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > deadline:
            return False
        time.sleep(0.02)
    return True


def free_ports(count):
    """Outside the range that the system hands out for connections: a closed one holds its port for a minute."""
    found = []
    for port in random.sample(range(20000, 32000), 1000):
        with socket.socket() as probe, contextlib.suppress(OSError):
            probe.bind(("127.0.0.1", port))
            found.append(port)
        if len(found) == count:
            break
    return found


@dataclasses.dataclass
class Sample:
    """Sizes in KiB."""

    resident: int
    readers_resident: int
    threads: int
    descriptors: int
    readers: int

    def at_rest(self):
        """What has to be the same whenever nothing is asked of the daemon."""
        return {"threads": self.threads, "descriptors": self.descriptors, "readers": self.readers}


def resident_and_threads(pid):
    text = pathlib.Path(f"/proc/{pid}/status").read_text()
    fields = dict(line.split(":\t", 1) for line in text.splitlines())
    # A process that has ended and was not waited for has no size.
    return int(fields.get("VmRSS", "0").split()[0]), int(fields["Threads"])


def children(pid):
    """The number of each child of any of its threads, whether it has ended or not."""
    found = []
    for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
        with contextlib.suppress(OSError):
            found += (task / "children").read_text().split()
    return found


class Daemon:
    """A daemon that can be started again and again, in a directory whose folder "logs" may come and go."""

    def __init__(self, name, port, root, work):
        self.name, self.port, self.work = name, port, work
        self.program = root / "build" / "run" / "bin" / "velmoraserviced"
        self.ini = work / f"{name}.ini"
        self.log = work / "logs" / f"{name}.log"
        self.console = work / f"{name}.console"
        self.serving = threading.Event()
        self.generation = 0  # counts the ends that were meant
        self.process = None
        rules = "".join(
            f"{topic};{level};SIMPLE_TS;[STDOUT],logs/{name}.log;0,10K\n"
            for topic in ("VELMORASRV", "LOGGER")
            for level in ("INFO", "CRITICAL")
        )
        (work / f"{name}.cfg").write_text(rules)

    def start(self, settings):
        """Returns whether it serves."""
        self.ini.write_bytes(settings)
        with self.console.open("wb") as console, (self.work / f"{self.name}.errors").open("ab") as errors:
            self.process = subprocess.Popen(
                # They end with this script, whatever ends it.
                ["setpriv", "--pdeathsig", "KILL", self.program, "--ini", self.ini],
                stdin=subprocess.DEVNULL,
                stdout=console,
                stderr=errors,
                cwd=self.work,
                env={"VL_LOGCFG": f"{self.name}.cfg"},
            )
        if wait_until(lambda: self.ended() or self.answers()) and not self.ended():
            self.serving.set()
            return True
        return False

    def answers(self):
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=PATIENCE)
        with contextlib.closing(connection):
            try:
                connection.request("GET", "/healthz")
                return connection.getresponse().status == 200
            except (OSError, http.client.HTTPException):
                return False

    def ended(self):
        return self.process.poll() is not None

    def stop(self):
        """Returns the number of the signal that ended it, negative; another number is the status of an end of its own."""
        self.serving.clear()
        self.generation += 1
        self.process.terminate()
        try:
            return self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            self.process.kill()
            return self.process.wait()

    def lines(self):
        """Of this start, from the console."""
        return self.console.read_bytes().splitlines(keepends=True)

    def found(self):
        """How many lines of this start are in the log file and its backup."""
        in_files = set()
        for path in (self.log.with_name(self.log.name + ".bkp"), self.log):
            with contextlib.suppress(FileNotFoundError):
                in_files.update(path.read_bytes().splitlines(keepends=True))
        return sum(line in in_files for line in self.lines())

    def sample(self):
        pid = self.process.pid
        resident, threads = resident_and_threads(pid)
        readers = children(pid)
        of_readers = 0
        for reader in readers:
            with contextlib.suppress(OSError, KeyError):  # it may have been replaced
                of_readers += resident_and_threads(reader)[0]
        descriptors = len(list(pathlib.Path(f"/proc/{pid}/fd").iterdir()))
        return Sample(resident, of_readers, threads, descriptors, len(readers))

    def sample_at_rest(self):
        """The one of a second with the fewest descriptors: a connection that the client has closed, or a log file,
        may still be open on the daemon's side for a moment."""
        samples = []
        for _ in range(20):
            samples.append(self.sample())
            time.sleep(0.05)
        return min(samples, key=lambda sample: sample.descriptors)
