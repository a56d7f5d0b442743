"""The work of scripts/soak.sh, which says what it does and is the one to call."""

import contextlib
import dataclasses
import http.client
import os
import pathlib
import random
import shutil
import signal
import socket
import statistics
import subprocess
import sys
import threading
import time

LOG_LIMIT = 10_000  # bytes; "10K" in a log configuration
LINES_A_START = 17  # two of the logger, one of the INI file, fourteen of the service
PATIENCE = 60  # seconds for what takes a moment on a machine with nothing else to do
GROWTH = 1.05


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
        try:
            return request(self.port, "GET", "/healthz") in (200, 503)
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
        """Resident size in KiB, threads, descriptors."""
        proc = pathlib.Path("/proc") / str(self.process.pid)
        fields = dict(line.split(":\t", 1) for line in (proc / "status").read_text().splitlines())
        return int(fields["VmRSS"].split()[0]), int(fields["Threads"]), len(list((proc / "fd").iterdir()))

    def sample_at_rest(self):
        """The one of a second with the fewest descriptors: a connection that the client has closed, or a log file,
        may still be open on the daemon's side for a moment."""
        samples = []
        for _ in range(20):
            samples.append(self.sample())
            time.sleep(0.05)
        return min(samples, key=lambda sample: sample[2])


def request(port, method, target, body=None):
    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=PATIENCE)
    with contextlib.closing(connection):
        connection.request(method, target, body)
        return connection.getresponse().status


class Client(threading.Thread):
    """Sends requests to a daemon, one after the other, until it is told to stop."""

    REQUESTS_A_CONNECTION = 20

    def __init__(self, daemon, seed, image, may_be_refused, failures):
        super().__init__(daemon=True)
        self.target, self.random, self.failures = daemon, random.Random(seed), failures
        self.allowed = {503} if may_be_refused else set()
        self.sent = self.answered = self.cut_off = 0
        self.enough = threading.Event()
        self.kinds = [
            ("POST", "/v1/recognize", image, {200}),
            ("POST", "/v1/recognize?roi=0,0,150,150", image, {200}),
            ("POST", "/v1/recognize?roi=nowhere", image, {400}),
            ("POST", "/v1/recognize", image[: len(image) // 2], {422}),
            ("POST", "/v1/recognize", b"not an image", {415}),
            ("GET", "/v1/recognize", None, {405}),
            ("GET", "/v1/status", None, {200}),
            ("GET", "/healthz", None, {200}),
            ("GET", "/metrics", None, {200}),
            ("GET", "/nowhere", None, {404}),
        ]

    def run(self):
        while not self.enough.is_set():
            generation = self.target.generation
            if self.target.serving.wait(0.1):
                self.use_a_connection(generation)

    def use_a_connection(self, generation):
        connection = http.client.HTTPConnection("127.0.0.1", self.target.port, timeout=PATIENCE)
        with contextlib.closing(connection):
            try:
                connection.connect()
                for _ in range(self.REQUESTS_A_CONNECTION):
                    goes_on = self.exchange(connection)
                    time.sleep(0.005)
                    if self.enough.is_set() or not goes_on:
                        return
            except (OSError, http.client.HTTPException) as error:
                if self.target.generation == generation:
                    self.failures.add(f"{self.target.name}: no answer: {error!r}")
                elif self.sent > self.answered + self.cut_off:
                    self.cut_off += 1

    def exchange(self, connection):
        """Returns whether the connection goes on."""
        method, target, body, wanted = self.random.choice(self.kinds)
        self.sent += 1
        connection.request(method, target, body)
        response = connection.getresponse()
        response.read()
        self.answered += 1
        if response.status not in wanted | self.allowed:
            self.failures.add(f"{self.target.name}: {method} {target} was answered {response.status}")
        return not response.will_close


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


class Soak:
    def __init__(self, minutes, root):
        self.seconds = minutes * 60
        self.warm_up = min(60, self.seconds / 4)
        self.work = root / "build" / "soak"
        shutil.rmtree(self.work, ignore_errors=True)
        self.logs = self.work / "logs"
        self.logs.mkdir(parents=True)
        self.seed = random.SystemRandom().randrange(1 << 32)
        self.failures = Failures()
        ports = free_ports(2)
        self.steady = Daemon("steady", ports[0], root, self.work)
        self.restarted = Daemon("restarted", ports[1], root, self.work)
        image = (root / "config" / "sample.png").read_bytes()
        self.clients = [
            Client(daemon, self.seed + i, image, daemon is self.restarted, self.failures)
            for i, daemon in enumerate([self.steady] * 4 + [self.restarted] * 2)
        ]
        self.lines = LineCount()
        self.starts = 0
        self.rotations = 0
        self.samples = []  # (seconds since the start, (resident size, threads, descriptors))
        self.enough = threading.Event()

    # ---- what troubles the daemons

    def move_away(self):
        self.logs.rename(self.work / "logs.away")

    def move_back(self):
        (self.work / "logs.away").rename(self.logs)

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

    def restart_once(self, chance):
        number = self.starts
        self.starts += 1
        before = self.restarted.log.stat().st_size if number > 0 else 0
        away = number % 4 == 3
        if away:
            self.move_away()
        serves = self.restarted.start(settings(self.restarted.port, chance if number % 3 == 2 else None))
        if away:
            # The lines went to nowhere before the engine was started.
            self.move_back()
            self.lines.away += len(self.restarted.lines())
            self.lines.away_found += self.restarted.found()
        elif serves:
            self.count_lines(self.restarted)
            self.rotations += self.restarted.log.stat().st_size < before
        if not serves:
            self.failures.add("restarted: a start did not come to serve")
        self.enough.wait(1)
        self.move_away()
        self.enough.wait(1)
        self.move_back()
        self.enough.wait(1)
        ending = self.restarted.stop()
        if ending != -signal.SIGTERM:
            self.failures.add(f"restarted: ended by itself, {ending}")

    def restart_again_and_again(self):
        chance = random.Random(self.seed)
        try:
            while not self.enough.is_set():
                self.restart_once(chance)
        except Exception as error:  # would be lost with the thread
            self.failures.add(f"the restarts stopped: {error!r}")

    # ---- what is seen of it

    def progress(self, passed):
        answered = sum(client.answered for client in self.clients)
        resident = self.samples[-1][1][0]
        line = (
            f"soak: {passed:4.0f} of {self.seconds} s, {answered} requests answered, {self.starts} starts, "
            f"{self.lines.found} of {self.lines.expected} lines, {resident} KiB"
        )
        if sys.stderr.isatty():
            print(f"\r\033[K{line}", end="", file=sys.stderr, flush=True)
        elif passed >= self.next_report:
            self.next_report += self.seconds / 5
            print(line, file=sys.stderr, flush=True)

    def watch(self):
        self.next_report = self.seconds / 5
        begin = time.monotonic()
        while (passed := time.monotonic() - begin) < self.seconds:
            try:
                self.samples.append((passed, self.steady.sample()))
            except (OSError, KeyError):  # what /proc has of a process that is gone
                self.failures.add(f"steady: ended by itself, {self.steady.stop()}")
                return
            self.progress(passed)
            time.sleep(0.5)
        self.progress(self.seconds)
        if sys.stderr.isatty():
            print(file=sys.stderr)

    def resident(self, begin, end):
        return statistics.median(sample[0] for passed, sample in self.samples if begin <= passed <= end)

    def judge(self, idle):
        if self.steady.ended():
            self.failures.add("steady: ended by itself")
            return
        warm = self.resident(self.warm_up * 0.5, self.warm_up)
        end = self.resident(self.seconds - self.warm_up * 0.5, self.seconds)
        if end > warm * GROWTH:
            self.failures.add(f"resident size: {warm:.0f} KiB after the warm-up, {end:.0f} at the end")
        wait_until(lambda: self.steady.sample()[1:] == idle[1:], 30)
        after = self.steady.sample()
        for what, left, had in zip(("threads", "descriptors"), after[1:], idle[1:]):
            if left != had:
                self.failures.add(f"{what}: {had} before the load, {left} after it")
        self.table(idle, warm, end, after)

    def table(self, idle, warm, end, after):
        def sums(daemon):
            mine = [client for client in self.clients if client.target is daemon]
            return [sum(getattr(client, what) for client in mine) for what in ("sent", "answered", "cut_off")]

        print(f"\n{'':34}{'sent':>10}{'answered':>10}{'cut off by a kill':>19}")
        print(f"{'requests to the one that stays':34}{sums(self.steady)[0]:10}{sums(self.steady)[1]:10}{'':>19}")
        print("{:34}{:10}{:10}{:19}".format("requests to the one that is killed", *sums(self.restarted)))
        print(f"\n{'':34}{'expected':>10}{'found':>10}")
        print(f"{'lines of the log':34}{self.lines.expected:10}{self.lines.found:10}")
        print(f"{'with the directory away':34}{0:10}{self.lines.away_found:10}   of {self.lines.away} written")
        middle = self.samples[len(self.samples) // 2][1]
        last = self.samples[-1][1]
        print(f"\n{'the one that stays':20}{'idle':>8}{'start':>8}{'middle':>8}{'end':>8}{'idle again':>12}")
        for i, what in enumerate(("resident size, KiB", "threads", "descriptors")):
            print(f"{what:20}{idle[i]:8}{self.samples[0][1][i]:8}{middle[i]:8}{last[i]:8}{after[i]:12}")
        print(
            f"\n{self.starts} starts, {self.rotations} rotations; resident size after the warm-up of "
            f"{self.warm_up:.0f} s {warm:.0f} KiB, at the end {end:.0f} KiB ({(end / warm - 1) * 100:+.1f} %)"
        )

    # ---- all of it

    def run(self):
        print(f"soak: {self.seconds} s, seed {self.seed}", file=sys.stderr)
        if not self.steady.start(settings(self.steady.port)):
            self.failures.add("steady: did not come to serve")
            return
        self.count_lines(self.steady)
        idle = self.steady.sample_at_rest()
        troubles = threading.Thread(target=self.restart_again_and_again, daemon=True)
        for thread in [troubles, *self.clients]:
            thread.start()
        self.watch()
        for client in self.clients:
            client.enough.set()
        self.enough.set()
        for thread in [troubles, *self.clients]:
            thread.join(2 * PATIENCE)
        if troubles.is_alive():
            self.failures.add("the restarts hang")
        self.check_requests()
        self.check_troubles()
        self.judge(idle)

    def check_troubles(self):
        """A run that has troubled nobody has shown nothing."""
        if self.starts < 4:
            self.failures.add(f"only {self.starts} starts: none with the log directory away; run it for longer")
        # A start writes some 1.5 KB; three of four find their directory.
        elif self.starts >= 12 and self.rotations == 0:
            self.failures.add(f"no rotation in {self.starts} starts")

    def check_requests(self):
        for client in self.clients:
            if client.is_alive():
                self.failures.add(f"{client.target.name}: a client hangs")
            elif client.sent != client.answered + client.cut_off:
                self.failures.add(f"{client.target.name}: requests without an answer")
            if client.answered == 0:
                self.failures.add(f"{client.target.name}: a client without any answer")
        if self.lines.found != self.lines.expected:
            self.failures.add(f"{self.lines.expected - self.lines.found} lines of the log are not found")

    def stop_all(self):
        for daemon in (self.steady, self.restarted):
            if daemon.process is not None and not daemon.ended():
                daemon.stop()


def main():
    for number in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, lambda caught, _: sys.exit(128 + caught))
    soak = Soak(int(sys.argv[1]), pathlib.Path(sys.argv[2]))
    try:
        soak.run()
    except KeyboardInterrupt:
        sys.exit(130)
    finally:
        soak.stop_all()
    for text, count in soak.failures.counts.items():
        print(f"soak: {text}" + (f" ({count} times)" if count > 1 else ""), file=sys.stderr)
    if soak.failures.counts:
        sys.exit("soak: failed; what the daemons wrote is in build/soak")
    print("\nnothing lost, nothing leaked")


if __name__ == "__main__":
    os.chdir("/")
    main()
