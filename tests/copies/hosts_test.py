"""Copies on several hosts, by the recipe of docs/scale.md: what is tried is what is to be pasted from there."""

import os
import re
import subprocess
import sys
import time
import unittest

import harness
import hosts
from harness import PATIENCE, ROOT, Stage, name_of, start, until
from hosts import Host, HostCopy, Switch, block_with, write_settings

# How long requests may take that were at a host which is cut off: less than the 30 s for which HAProxy waits for an
# answer; and how long the address may need to move. Both generous, for a machine with other things to do.
CUT_OFF = 25
MOVE = 20


def certificate(folder):
    """Key and certificate in one file, as HAProxy takes them."""
    subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "1", "-subj", "/CN=velmora",
                    "-keyout", folder / "key.pem", "-out", folder / "certificate.pem"],
                   check=True, stderr=subprocess.DEVNULL)
    path = folder / "velmora.pem"
    path.write_text((folder / "certificate.pem").read_text() + (folder / "key.pem").read_text())
    return path


class Recipe(unittest.TestCase):
    def test_gives_copies_connections_by_the_rule(self):
        connections = int(re.search(r"'connections = (\d+)'", block_with("host=a")).group(1))
        for maxconn in re.findall(r"maxconn (\d+)", block_with("server a1")):
            self.assertEqual(connections, harness.CONNECTIONS_A_REQUEST * int(maxconn))

    def test_restarts_the_unit_with_the_name_of_the_server_line_on_its_host(self):
        with Stage() as stage:
            for name, text in (("restart-copy", block_with("exec ssh")), ("ssh", '#!/bin/sh\necho "$@"\n')):
                (stage.folder / name).write_text(text)
                (stage.folder / name).chmod(0o755)
            said = subprocess.run([stage.folder / "restart-copy", "b3"], check=True, stdout=subprocess.PIPE, text=True,
                                  env={"PATH": f"{stage.folder}:{os.environ['PATH']}"}).stdout
        self.assertEqual(said, "b systemctl reset-failed velmoraserviced@b3; systemctl restart velmoraserviced@b3\n")


class HostBalancer(harness.Balancer):
    """HAProxy on a host, by the recipe, and keepalived beside it."""

    def __init__(self, folder, host, servers):
        self.host = host
        self.socket_path = folder / "haproxy.sock"
        bind = block_with("ssl crt").replace("/etc/haproxy/velmora.pem", str(certificate(folder)))
        text = subprocess.run(
            [ROOT / "scripts" / "haproxy-config.sh", bind.split(maxsplit=1)[1].strip(), self.socket_path, *servers],
            check=True, stdout=subprocess.PIPE, text=True).stdout
        (folder / "haproxy.cfg").write_text(text)
        (folder / "keepalived.conf").write_text(block_with("vrrp_instance"))
        self.log = open(folder / "balancer.out", "wb")
        self.process = start(host.inside("haproxy", "-db", "-dW", "-f", folder / "haproxy.cfg"),
                             env={**os.environ, **harness.LARGE_BUFFERS}, stdout=self.log, stderr=self.log)
        until(self.answers, what="HAProxy answers")
        self.keepalived = start(
            host.inside("keepalived", "--dont-fork", "--use-file", folder / "keepalived.conf",
                        *(f"--{kind}={folder / kind}" for kind in ("pid", "vrrp_pid", "checkers_pid"))),
            stdout=self.log, stderr=self.log)

    def end(self):
        self.keepalived.terminate()
        self.keepalived.wait()
        super().end()
        self.log.close()


class ThreeHosts(unittest.TestCase):
    """Three hosts of four copies, two with HAProxy, and one with clients."""

    def setUp(self):
        if not hosts.can_be_made():
            self.skipTest("needs root, keepalived, and to be allowed to make networks")
        self.stage = self.enterContext(Stage())
        switch = self.stage.ends_with_stage(Switch())
        lines = re.findall(r"server (\w+) ([\d.]+):(\d+) maxconn (\d+)", block_with("server a1"))
        self.assertEqual(len(lines), 12)
        self.hosts = {address: self.stage.ends_with_stage(Host(switch, address))
                      for address in sorted({line[1] for line in lines} | {"10.0.0.2", "10.0.0.3", "10.0.0.99"})}
        for letter in "abc":
            write_settings(self.stage.folder, letter)
        for name, address, _, _ in lines:
            self.stage.ends_with_stage(HostCopy(self.stage.folder, self.hosts[address], name))
        servers = [f"{name}={address}:{port}={maxconn}" for name, address, port, maxconn in lines]
        self.balancers = [self.balancer(address, servers) for address in ("10.0.0.2", "10.0.0.3")]
        self.names = [line[0] for line in lines]
        for balancer in self.balancers:
            balancer.await_up(*self.names)
        self.active = until(self.with_the_address, what="one has the address")

    def balancer(self, address, servers):
        folder = self.stage.folder / address
        folder.mkdir()
        return self.stage.ends_with_stage(HostBalancer(folder, self.hosts[address], servers))

    def with_the_address(self):
        holders = [balancer for balancer in self.balancers if balancer.host.has_address("10.0.0.10")]
        return holders[0] if len(holders) == 1 else None

    def with_the_address_and_without(self):
        active = until(self.with_the_address, what="one has the address")
        return active, next(balancer for balancer in self.balancers if balancer is not active)

    def clients(self, address="10.0.0.10", count=6, size=0):
        """hey on the host of the clients, over TLS."""
        load = harness.Load.__new__(harness.Load)
        load.process = start(self.hosts["10.0.0.99"].inside(
            "hey", "-z", "1800s", "-c", count, "-t", PATIENCE, "-cpus", 1, "-m", "POST", "-T", "image/png",
            "-D", self.stage.image(size), f"https://{address}/v1/recognize"),
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        return self.stage.ends_with_stage(load)

    def more_answers(self, count):
        """Of either balancer: the address may move when a busy machine leaves keepalived waiting."""
        before = self.answered()
        until(lambda: self.answered() >= before + count, what=f"{count} answers")

    def answered(self):
        return sum(balancer.answered() for balancer in self.balancers)

    def cut_off_and_back(self, host, names):
        """Seconds until its copies are out, and until they are in again. Requests that were at them wait meanwhile."""
        begun = time.monotonic()
        host.cut_off()
        self.active.await_down(*names)
        out = time.monotonic() - begun
        self.more_answers(50)
        begun = time.monotonic()
        host.connect_again()
        self.active.await_up(*names)
        back = time.monotonic() - begun
        self.more_answers(50)
        return out, back

    # At the balancer's own address: that of both may move when a busy machine leaves keepalived waiting, and takes
    # connections along then.
    def test_serve_on_when_one_is_cut_off_and_use_it_again_when_it_is_back(self):
        for size, count in ((0, 24), (300_000, 6)):
            load = self.clients(self.active.host.address, count, size)
            self.more_answers(50)
            out, back = self.cut_off_and_back(self.hosts["10.0.0.12"], [f"b{number}" for number in range(1, 5)])
            answers = load.stop()
            print(f"host cut off, {name_of(size)}: out after {out:.1f} s, "
                  f"in again {back:.1f} s after its return, {answers.total} requests, {answers.lost} lost, "
                  f"slowest {answers.slowest:.1f} s", file=sys.stderr)
            self.assertEqual(answers.lost, 0, answers.report)
            self.assertLess(answers.slowest, CUT_OFF)

    def test_keep_their_address_when_a_balancer_is_cut_off(self):
        load = self.clients()
        self.more_answers(100)
        active, other = self.with_the_address_and_without()
        begun = time.monotonic()
        active.host.cut_off()
        until(lambda: other.host.has_address("10.0.0.10"), what="the other one has the address")
        moved = time.monotonic() - begun
        self.assertLess(moved, MOVE)
        load.end()
        load = self.clients()
        self.more_answers(100)
        answers = load.stop()
        print(f"balancer cut off: its address moved within {moved:.1f} s", file=sys.stderr)
        self.assertEqual(answers.lost, 0, answers.report)

    def status_for_clients(self, path):
        return subprocess.run(
            self.hosts["10.0.0.99"].inside("curl", "-sk", "-o", "/dev/null", "-w", "%{http_code}",
                                           f"https://10.0.0.10{path}"),
            check=True, stdout=subprocess.PIPE, text=True).stdout

    def test_show_clients_the_page_and_not_the_statistics(self):
        self.assertEqual([self.status_for_clients(path) for path in ("/", "/haproxy", "/haproxy;csv")],
                         ["200", "403", "403"])

    def test_keep_their_address_when_a_balancer_ends(self):
        active, other = self.with_the_address_and_without()
        begun = time.monotonic()
        active.process.kill()
        until(lambda: other.host.has_address("10.0.0.10"), what="the other one has the address")
        moved = time.monotonic() - begun
        print(f"HAProxy ended: its address moved within {moved:.1f} s", file=sys.stderr)
        self.assertLess(moved, MOVE)


if __name__ == "__main__":
    unittest.main()
