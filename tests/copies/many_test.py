"""scripts/many.sh, the configuration that is shipped, and the daemon as process 1."""

import configparser
import os
import re
import signal
import socket
import subprocess
import unittest

from harness import BUILD, CONNECTIONS_A_REQUEST, DAEMON, PATIENCE, ROOT, Copy, Stage, ask, free_port, until


class FreePort(unittest.TestCase):
    """How scripts/many.sh chooses."""

    def chosen_of(self, *ports):
        return subprocess.run(["bash", "-c", 'source "$0/scripts/common.sh" && free_port "$@"', ROOT, *map(str, ports)],
                              check=False, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)

    def test_is_the_first_that_nothing_has(self):
        port = free_port()
        self.assertEqual(self.chosen_of(port, free_port()).stdout, f"{port}\n")

    def test_is_not_one_that_something_listens_on(self):
        with socket.create_server(("127.0.0.1", free_port())) as taken:
            port = free_port()
            self.assertEqual(self.chosen_of(taken.getsockname()[1], port).stdout, f"{port}\n")

    def test_is_not_one_that_a_closed_connection_still_holds(self):
        held, port = free_port(), free_port()
        with socket.create_server(("127.0.0.1", free_port())) as server:
            client = socket.create_connection(server.getsockname(), source_address=("127.0.0.1", held))
            accepted, _ = server.accept()
            client.close()
            accepted.close()
        self.assertEqual(self.chosen_of(held, port).stdout, f"{port}\n")

    def test_is_told_to_be_missing_when_all_are_taken(self):
        with socket.create_server(("127.0.0.1", free_port())) as taken:
            said = self.chosen_of(taken.getsockname()[1])
        self.assertEqual((said.returncode, said.stdout), (1, ""))
        self.assertIn("no port is free among ", said.stderr)


class ManyScript(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.script = subprocess.Popen(
            [ROOT / "scripts" / "many.sh", "--preset", BUILD.name, "2"], stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, start_new_session=True)
        cls.addClassCleanup(cls.end_script)
        cls.lines = []
        for line in cls.script.stdout:
            cls.lines.append(line)
            if line.startswith("  curl "):
                break
        cls.folder = ROOT / "build" / "many"

    @classmethod
    def end_script(cls):
        if cls.script.poll() is None:
            os.killpg(cls.script.pid, signal.SIGTERM)
        cls.script.communicate(timeout=PATIENCE)

    def ports(self):
        return [int(port) for port in re.findall(r"^copy\d+ +http://127\.0\.0\.1:(\d+) ", "".join(self.lines), re.M)]

    def test_prints_one_line_a_copy(self):
        self.assertEqual(len(self.ports()), 2, self.lines)

    def test_gives_copies_ports_that_the_system_does_not_hand_out_for_connections(self):
        self.assertLess(max(self.ports()), 32768, self.lines)

    def test_prints_a_line_that_recognizes_as_it_stands(self):
        said = subprocess.run(["bash", "-c", self.lines[-1]], check=True, stdout=subprocess.PIPE,
                              stderr=subprocess.DEVNULL, text=True).stdout
        self.assertIn('"text":"velmoraserviced says hello"', said)

    def test_writes_logs_of_their_own(self):
        for name in ("copy1", "copy2"):
            log = self.folder / name / "velmoraserviced.log"
            until(lambda path=log: path.exists() and "Velmora Service" in path.read_text(), what=log)

    def front(self):
        return int(re.search(r":(\d+)/v1/recognize", self.lines[-1]).group(1))

    def test_names_the_page_and_the_statistics_of_haproxy(self):
        said = "".join(self.lines)
        for name, path, text in (("The page", "/", b"<html"), ("HAProxy's statistics", "/haproxy", b"copies,copy2")):
            self.assertRegex(said, rf"{name}: +http://127\.0\.0\.1:{self.front()}{path}\n")
            status, body, _ = ask(self.front(), path=f"{path};csv" if path == "/haproxy" else path)
            self.assertEqual(status, 200)
            self.assertIn(text, body)

    def test_names_copies_that_were_killed_and_starts_them_again(self):
        copies = re.findall(r"^(copy\d+) .* process (\d+),", "".join(self.lines), re.M)
        for _, process in copies:
            os.kill(int(process), signal.SIGKILL)
        said = "".join(self.script.stdout.readline() for _ in range(2 * len(copies) + 1))
        for name, process in copies:
            self.assertIn(f"{name} has ended (process {process}); starting it again\n", said)
            self.assertRegex(said, rf"(?m)^{name} +http://127\.0\.0\.1:\d+  process \d+, log ")
        self.assertNotIn("Killed", said)
        until(lambda: ask(self.front())[0] == 200, what="HAProxy knows of it")

    def test_gives_copies_connections_by_the_rule(self):
        balancer = (self.folder / "haproxy.cfg").read_text()
        for name in ("copy1", "copy2"):
            settings = configparser.ConfigParser()
            settings.read(self.folder / f"{name}.ini")
            threads, connections = (settings.getint("default", key) for key in ("threads", "connections"))
            maxconn = int(re.search(rf"^ +server {name} .* maxconn (\d+)$", balancer, re.M).group(1))
            self.assertTrue(2 * threads <= maxconn <= 4 * threads)
            self.assertEqual(connections, CONNECTIONS_A_REQUEST * maxconn)

    def test_zz_ends_everything_it_has_started_when_it_is_interrupted(self):
        ports = [*self.ports(), self.front()]
        self.assertEqual([ask(port)[0] for port in ports], [200] * 3)
        os.killpg(self.script.pid, signal.SIGINT)
        self.assertEqual(self.script.wait(timeout=PATIENCE), 130)
        self.assertEqual([ask(port)[0] for port in ports], [0] * 3)

    def test_knows_when_it_is_called_wrongly(self):
        for arguments in (["0"], ["65"], ["many"], ["1", "2"]):
            said = subprocess.run([ROOT / "scripts" / "many.sh", *arguments], check=False,
                                  stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
            self.assertEqual((said.returncode, said.stdout), (1, ""))
            self.assertEqual(said.stderr, f"many.sh: '{' '.join(arguments)}' is not one number from 1 to 64\n")


class ShippedConfiguration(unittest.TestCase):
    def test_states_the_rule_that_is_tried_here(self):
        text = (ROOT / "packaging" / "haproxy" / "haproxy.cfg").read_text()
        self.assertIn(f'THE RULE for the copy\'s "connections": {CONNECTIONS_A_REQUEST} times maxconn.', text)
        maxconn = int(re.search(r"^ +server .* maxconn (\d+)$", text, re.M).group(1))
        self.assertIn(f"connections = {CONNECTIONS_A_REQUEST * maxconn}.\n", text)

    def test_haproxy_has_nothing_to_say_about_it(self):
        said = subprocess.run(["haproxy", "-c", "-q", "-dW", "-f", ROOT / "packaging" / "haproxy" / "haproxy.cfg"],
                              check=False, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        self.assertEqual((said.returncode, said.stdout), (0, ""))


class ProcessOne(unittest.TestCase):
    """In a PID namespace of its own, as in a container."""

    def setUp(self):
        self.stage = self.enterContext(Stage())
        self.copy = Copy("copy1", self.stage.folder)

    def begin(self, *before):
        """Starts the daemon as, or below, process 1; returns the number of process 1 as seen from here."""
        own = [] if os.geteuid() == 0 else ["--user", "--map-root-user"]
        outside = subprocess.Popen(
            ["setpriv", "--pdeathsig", "KILL", "unshare", *own, "--pid", "--fork", "--kill-child=KILL", *before, DAEMON,
             "--ini", self.stage.folder / "copy1.ini"],
            env={"PATH": os.environ["PATH"], "VL_LOGCFG": ""}, stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(outside.wait)
        self.addCleanup(outside.kill)
        until(lambda: outside.poll() is not None or self.copy.serves(), what="the daemon serves")
        with open(f"/proc/{outside.pid}/task/{outside.pid}/children", encoding="ascii") as children:
            return int(children.read().split()[0]), outside

    def test_the_daemon_alone_does_not_end_on_term(self):
        first, outside = self.begin()
        os.kill(first, signal.SIGTERM)
        self.assertEqual([ask(self.copy.port)[0] for _ in range(20)], [200] * 20)
        self.assertIsNone(outside.poll())

    def test_the_daemon_below_tini_ends_on_term(self):
        first, outside = self.begin("tini", "--")
        os.kill(first, signal.SIGTERM)
        outside.wait(timeout=PATIENCE)
        self.assertEqual(ask(self.copy.port)[0], 0)


if __name__ == "__main__":
    unittest.main()
