"""Copies of the daemon behind a real HAProxy, and clients: what the tests and the measurements of this folder share.

Everything that is started ends with this process, however it ends, and listens on 127.0.0.1 alone."""

import contextlib
import csv
import http.client
import http.server
import os
import pathlib
import random
import re
import signal
import socket
import struct
import subprocess
import tempfile
import threading
import time

import images

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ.get("BUILD_DIR", ROOT / "build" / "release"))
DAEMON = BUILD / "bin" / "velmoraserviced"
CRASHING_ENGINE = ROOT / "tests" / "copies" / "crashing_engine.py"
DEADLY_IMAGE = b"this ends the process"
SAMPLE = (ROOT / "config" / "sample.png").read_bytes()

# The environment that HAProxy's unit has from packaging/haproxy/large-buffers.conf.
LARGE_BUFFERS = dict(re.findall(r"^Environment=(\w+)=(\w+)$",
                                (ROOT / "packaging" / "haproxy" / "large-buffers.conf").read_text(), re.MULTILINE))

# The rule of packaging/haproxy/haproxy.cfg: what a copy has as "connections" for each request of its "maxconn".
CONNECTIONS_A_REQUEST = 16

# What haproxy.cfg says to write before an engine that dies of its input, and what stands there.
STRICTER = [("retries 10", "retries 1"), ("observe layer4 error-limit 3", "observe layer7 error-limit 1")]

# How long anything may take on a machine with other things to do.
PATIENCE = 60


def until(condition, seconds=PATIENCE, what=None):
    """Waits for the condition to be true, and returns what it returned."""
    end = time.monotonic() + seconds
    while True:
        result = condition()
        if result:
            return result
        if time.monotonic() > end:
            raise AssertionError(f"not within {seconds} s: {what or condition}")
        time.sleep(0.02)


def quickest(attempt, wanted):
    """Seconds of the first of a few attempts that takes less than wanted, or of the quickest: what else the machine has
    to do only adds to them. The attempt returns its own."""
    best = attempt()
    for _ in range(4):
        if best >= wanted:
            best = min(best, attempt())
    return best


def free_port(candidates=iter(random.sample(range(20000, 32000), 12000))):
    """A port that nothing listens on, outside the range that the system hands out for connections. Never one that this
    process was given before: that one may not be listened on yet."""
    for port in candidates:
        with socket.socket() as probe, contextlib.suppress(OSError):
            probe.bind(("127.0.0.1", port))
            return port
    raise AssertionError("no port is free")


def start(command, **options):
    """Starts a program that is killed when this process ends, also when that is killed itself."""
    return subprocess.Popen(["setpriv", "--pdeathsig", "KILL", *map(str, command)],
                            stdin=subprocess.DEVNULL, **options)


def end(process):
    """Ends a process, which may have ended already or be stopped."""
    if process.poll() is None:
        process.kill()
    process.wait()


def ask(port, method="GET", path="/healthz", body=None, timeout=PATIENCE):
    """(status, body, seconds) of one request on a connection of its own; status 0 when there was no answer."""
    begun = time.monotonic()
    connection = http.client.HTTPConnection("127.0.0.1", port, timeout=timeout)
    try:
        connection.request(method, path, body)
        response = connection.getresponse()
        return response.status, response.read(), time.monotonic() - begun
    except (OSError, http.client.HTTPException) as failure:
        return 0, repr(failure).encode(), time.monotonic() - begun
    finally:
        connection.close()


class Copy:
    """One daemon, with `threads` workers, and the connections that `maxconn` of the balancer asks for; or, in its place,
    the program `engine`, which is called with a port."""

    def __init__(self, name, folder, threads=1, maxconn=None, connections=None, engine=None):
        self.name = name
        self.port = free_port()
        self.threads = threads
        self.maxconn = maxconn or 3 * threads
        self.connections = connections or CONNECTIONS_A_REQUEST * self.maxconn
        self.is_double = engine is not None
        self.command = [engine, self.port] if engine else [DAEMON, "--ini", folder / f"{name}.ini"]
        self.folder = folder
        self.process = None
        (folder / f"{name}.ini").write_text(
            f"[default]\nport = {self.port}\nconnections = {self.connections}\nthreads = {threads}\n"
            "threadQueuesize = 10\nqueueTimeout = 0\n")

    def start(self):
        with open(self.folder / f"{self.name}.out", "ab") as output:
            self.process = start(self.command, env={"PATH": os.environ["PATH"], "VL_LOGCFG": ""},
                                 stdout=output, stderr=output, cwd=self.folder)
        until(lambda: self.serves() or self.process.poll() is not None, what=f"{self.name} serves")
        if self.process.poll() is not None:
            raise AssertionError((self.folder / f"{self.name}.out").read_text())

    def serves(self):
        return ask(self.port, timeout=2)[0] == 200

    def has_ended(self):
        """Whether it has come to its end. One that is on its way there is waited for: its connections go first."""
        until(lambda: self.process.poll() is not None or self.serves(), what=f"{self.name} ends or serves")
        return self.process.poll() is not None

    def hang(self):
        """Stops it where it is; none of its threads goes on after this."""
        self.process.send_signal(signal.SIGSTOP)
        os.waitpid(self.process.pid, os.WUNTRACED)

    def go_on(self):
        self.process.send_signal(signal.SIGCONT)

    def end(self):
        end(self.process)

    def restart(self):
        self.end()
        self.start()


def changed(text, changes):
    """The text with each change made where it stands, at the beginning of a setting and in one place."""
    for old, new in changes:
        text, count = re.subn(rf"(?m)^( +(?:default-server )?){re.escape(old)}\b", rf"\g<1>{new}", text)
        assert count == 1, f"'{old}' stands in {count} places"
    return text


class Balancer:
    """HAProxy with the configuration that is shipped, for these copies. `changes` are pairs of a text in it and what
    stands there instead, `template` another text to begin with; doubles have longer to answer a check."""

    def __init__(self, folder, copies, changes=(), template=None):
        self.port = free_port()
        self.socket_path = folder / "haproxy.sock"
        servers = [f"{copy.name}=127.0.0.1:{copy.port}={copy.maxconn}" for copy in copies]
        config = folder / "haproxy.cfg"
        if template:
            (folder / "template.cfg").write_text(template)
        source = ["--from", folder / "template.cfg"] if template else []
        text = subprocess.run(
            [ROOT / "scripts" / "haproxy-config.sh", *source, f"127.0.0.1:{self.port}", self.socket_path, *servers],
            check=True, stdout=subprocess.PIPE, text=True).stdout
        if any(copy.is_double for copy in copies):
            # Threads of a busy test do not always get to it within a second, and are not to be out for that.
            changes = [*changes, ("timeout check 1s", f"timeout check {PATIENCE}s")]
        config.write_text(changed(text, changes))
        self.output = folder / "haproxy.out"
        with open(self.output, "wb") as output:
            self.process = start(["haproxy", "-db", "-dW", "-f", config], env={**os.environ, **LARGE_BUFFERS},
                                 stdout=output, stderr=output)
        until(lambda: self.socket_path.exists() or self.process.poll() is not None, what="HAProxy runs")
        until(lambda: self.answers() or self.process.poll() is not None, what="HAProxy answers")
        if self.process.poll() is not None:
            raise AssertionError(self.output.read_text())

    def answers(self):
        with contextlib.suppress(OSError):
            return self.tell("show info")
        return None

    def tell(self, command):
        """What HAProxy answers on its own socket."""
        with socket.socket(socket.AF_UNIX) as connection:
            connection.settimeout(PATIENCE)
            connection.connect(str(self.socket_path))
            connection.sendall(command.encode() + b"\n")
            return b"".join(iter(lambda: connection.recv(65536), b"")).decode()

    def servers(self):
        """The row of each server in HAProxy's statistics, by name."""
        rows = csv.DictReader(self.tell("show stat").lstrip("# ").splitlines())
        return {row["svname"]: row for row in rows if row["pxname"] == "copies"}

    def is_up(self, name):
        return self.servers()[name]["status"].startswith("UP")

    def await_up(self, *names):
        until(lambda: all(self.is_up(name) for name in names), what=f"{names} are up")

    def await_down(self, *names):
        until(lambda: all(self.servers()[name]["status"].startswith("DOWN") for name in names),
              what=f"{names} are down")

    def times_down(self):
        """How often a server has been taken out so far."""
        return sum(int(row["chkdown"]) for name, row in self.servers().items() if name != "BACKEND")

    def second_tries(self):
        return int(self.servers()["BACKEND"]["wretr"]) + int(self.servers()["BACKEND"]["wredis"])

    def answered(self):
        """How many requests have had an answer of 200 so far."""
        return int(self.servers()["BACKEND"]["hrsp_2xx"])

    def end(self):
        end(self.process)


class Load:
    """hey, which sends images until it is stopped; each client over one connection, or over a new one each time."""

    def __init__(self, port, image, clients=4, seconds=1800, closing=False):
        self.process = start(
            ["hey", *(["-disable-keepalive"] if closing else []), "-z", f"{seconds}s", "-c", clients, "-t", PATIENCE, "-cpus", 1, "-m", "POST",
             "-T", "image/png", "-D", image, f"http://127.0.0.1:{port}/v1/recognize"],
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)

    def finish(self):
        """Waits for the end of its time; see Answers."""
        return Answers(self.process.communicate(timeout=1800)[0])

    def stop(self):
        """Lets it end what it has begun, and end."""
        self.process.send_signal(signal.SIGINT)
        return self.finish()

    def end(self):
        end(self.process)
        self.process.stdout.close()


class Answers:
    """What hey has to tell: requests by status, failures by text, the rate, the slowest one in seconds."""

    def __init__(self, report):
        self.report = report
        self.statuses = {int(status): int(count)
                         for status, count in re.findall(r"\[(\d{3})\]\t(\d+) responses", report)}
        self.failures = re.findall(r"^  \[\d+\]\t(?!\d+ responses)(.*)$", report, re.MULTILINE)
        self.rate = self._number(r"Requests/sec:\s+([\d.]+)")
        self.slowest = self._number(r"Slowest:\s+([\d.]+)")
        self.median = self._number(r"50% in ([\d.]+)")

    def _number(self, pattern):
        found = re.search(pattern, self.report)
        return float(found.group(1)) if found else 0.0

    @property
    def total(self):
        return sum(self.statuses.values())

    @property
    def lost(self):
        """Requests without an answer of 200: hey counts failures of one text together."""
        failed = sum(map(int, re.findall(r"^  \[(\d+)\]\t(?!\d+ responses)", self.report, re.MULTILINE)))
        return failed + self.total - self.statuses.get(200, 0)


# Status of a double that takes the request and hangs up without a word, or with a reset.
SILENCE = 0
RESET = -1


class DoubleHandler(http.server.BaseHTTPRequestHandler):
    """Counts what comes to it, and answers, or does not."""

    protocol_version = "HTTP/1.1"

    def answer(self):
        body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
        status = 200
        if self.path != "/healthz":
            self.server.seen.append((self.command, self.path, len(body)))
            status = self.server.status
        if status == RESET:
            self.connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        if status in (SILENCE, RESET):
            self.close_connection = True
            return
        self.send_response(status)
        self.send_header("Content-Length", "0")
        self.end_headers()

    do_GET = do_POST = do_PUT = do_HEAD = answer

    def log_message(self, *_):
        pass


class CopyDouble(http.server.ThreadingHTTPServer):
    """Something healthy that answers all else with one status, or not at all, in the place of a copy."""

    daemon_threads = True
    is_double = True

    def __init__(self, name, status):
        super().__init__(("127.0.0.1", free_port()), DoubleHandler)
        self.name = name
        self.port = self.server_address[1]
        self.maxconn = 3
        self.status = status
        self.seen = []
        threading.Thread(target=self.serve_forever, kwargs={"poll_interval": 0.05}, daemon=True).start()

    def end(self):
        self.shutdown()
        self.server_close()


def name_of(size):
    """What tables call images of so many bytes."""
    return f"{size // 1000} KB" if size else "small"


class Stage(contextlib.ExitStack):
    """A folder, and what is started in it; all of it goes at the end."""

    def __init__(self):
        super().__init__()
        self.folder = pathlib.Path(self.enter_context(tempfile.TemporaryDirectory(prefix="copies-")))

    def ends_with_stage(self, started):
        self.callback(started.end)
        return started

    def copies(self, count, **options):
        """So many copies, serving, named copy1 and so on."""
        made = [Copy(f"copy{number}", self.folder, **options) for number in range(1, count + 1)]
        for copy in made:
            copy.start()
            self.ends_with_stage(copy)
        return made

    def doubles(self, *statuses):
        return [self.ends_with_stage(CopyDouble(f"copy{number}", status))
                for number, status in enumerate(statuses, 1)]

    def balancer(self, copies, **options):
        """HAProxy before them, once it takes all of them for healthy."""
        made = self.ends_with_stage(Balancer(self.folder, copies, **options))
        made.await_up(*(copy.name for copy in copies))
        return made

    def load(self, port, size=0, **options):
        """hey, sending images of about `size` bytes, or the small sample."""
        return self.ends_with_stage(Load(port, self.image(size), **options))

    def image(self, size):
        path = self.folder / f"{size}.png"
        if not path.exists():
            path.write_bytes(images.image_of(size, SAMPLE) if size else SAMPLE)
        return path
