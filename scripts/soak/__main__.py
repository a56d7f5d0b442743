"""The work of scripts/soak.sh, which says what it does and is the one to call."""

import os
import pathlib
import random
import shutil
import signal
import statistics
import sys
import time

from client import Client, allowing_503, honest_kinds, hostile_kinds
from daemon import PATIENCE, Daemon, Failures, free_ports, wait_until
from pictures import hostile_pictures
from troubles import Troubles, settings

GROWTH = 1.05
# Of what the readers have when none of them has a large picture: one that was just replaced is smaller yet.
GROWTH_OF_READERS = 1.25


class Soak:
    def __init__(self, minutes, root):
        self.seconds = minutes * 60
        self.warm_up = min(60, self.seconds / 4)
        work = root / "build" / "soak"
        shutil.rmtree(work, ignore_errors=True)
        (work / "logs").mkdir(parents=True)
        self.seed = random.SystemRandom().randrange(1 << 32)
        self.failures = Failures()
        ports = free_ports(2)
        self.steady = Daemon("steady", ports[0], root, work)
        self.restarted = Daemon("restarted", ports[1], root, work)
        self.troubles = Troubles(self.restarted, self.seed, self.failures)
        honest = honest_kinds((root / "config" / "sample.png").read_bytes())
        self.honest = [self.client(self.steady, i, honest, 0.005) for i in range(4)]
        self.hostile = [self.client(self.steady, 4, hostile_kinds(hostile_pictures()), 1)]
        self.others = [self.client(self.restarted, i, allowing_503(honest), 0.005, True) for i in (5, 6)]
        self.samples = []  # (seconds since the start, Sample)

    def client(self, daemon, number, kinds, pause, shares_places=False):
        return Client(daemon, self.seed + number, kinds, pause, shares_places, self.failures)

    def clients(self):
        return self.honest + self.hostile + self.others

    def watch(self):
        begin, next_report = time.monotonic(), self.seconds / 5
        while (passed := time.monotonic() - begin) < self.seconds:
            try:
                self.samples.append((passed, self.steady.sample()))
            except (OSError, KeyError):  # what /proc has of a process that is gone
                return
            if passed >= next_report:
                next_report += self.seconds / 5
                answered = sum(client.answered for client in self.clients())
                print(f"soak: {passed:.0f} of {self.seconds} s, {answered} requests answered", file=sys.stderr, flush=True)
            time.sleep(0.5)

    def resident(self, what, begin, end):
        sizes = [getattr(s, what) for passed, s in self.samples if begin <= passed <= end]
        return min(sizes) if what == "readers_resident" else statistics.median(sizes)

    def judge(self, idle):
        if self.steady.ended():
            self.failures.add("steady: ended by itself")
            return
        wait_until(lambda: self.steady.sample().at_rest() == idle.at_rest(), 30)
        after = self.steady.sample()
        for what, left in after.at_rest().items():
            if left != idle.at_rest()[what]:
                self.failures.add(f"{what}: {idle.at_rest()[what]} before the load, {left} after it")
        self.table_of_requests()
        self.table_of_sizes(idle, after)
        for what, growth in (("resident", GROWTH), ("readers_resident", GROWTH_OF_READERS)):
            warm = self.resident(what, self.warm_up * 0.5, self.warm_up)
            end = self.resident(what, self.seconds - self.warm_up * 0.5, self.seconds)
            print(f"{what.replace('_', ' ')} after the warm-up {warm:.0f} KiB, at the end {end:.0f} KiB ({(end / warm - 1) * 100:+.1f} %)")
            if end > warm * growth:
                self.failures.add(f"{what}: {warm:.0f} KiB after the warm-up, {end:.0f} at the end")

    def table_of_requests(self):
        print(f"\n{'requests':34}{'sent':>10}{'answered':>10}{'cut off':>19}")
        for what, clients in (
            ("to the one that stays, honest", self.honest),
            ("to the one that stays, hostile", self.hostile),
            ("to the one that is killed", self.others),
        ):
            sums = [sum(getattr(client, field) for client in clients) for field in ("sent", "answered", "cut_off")]
            print("{:34}{:10}{:10}{:19}".format(what, *sums))
        lines = self.troubles.lines
        print(f"\n{'lines of the log':34}{'expected':>10}{'found':>10}")
        print(f"{'with the directory there':34}{lines.expected:10}{lines.found:10}")
        print(f"{'with the directory away':34}{0:10}{lines.away_found:10}   of {lines.away} written")
        print(f"\n{self.troubles.starts} starts, {self.troubles.rotations} rotations")
        print(f"hostile pictures were answered {dict(sorted(self.hostile[0].statuses.items()))}")

    def table_of_sizes(self, idle, after):
        middle = self.samples[len(self.samples) // 2][1]
        columns = (idle, self.samples[0][1], middle, self.samples[-1][1], after)
        print(f"\n{'the one that stays':28}{'idle':>8}{'start':>8}{'middle':>8}{'end':>8}{'idle again':>12}")
        for name, field in (
            ("resident size, KiB", "resident"),
            ("that of its readers, KiB", "readers_resident"),
            ("readers", "readers"),
            ("threads", "threads"),
            ("descriptors", "descriptors"),
        ):
            print("{:28}{:8}{:8}{:8}{:8}{:12}".format(name, *(getattr(column, field) for column in columns)))
        print()

    def check_requests(self):
        for client in self.clients():
            if client.is_alive():
                self.failures.add(f"{client.target.name}: a client hangs")
            elif client.sent != client.answered + client.cut_off:
                self.failures.add(f"{client.target.name}: requests without an answer")
            if client.answered == 0:
                self.failures.add(f"{client.target.name}: a client without any answer")

    def run(self):
        print(f"soak: {self.seconds} s, seed {self.seed}", file=sys.stderr)
        if not self.steady.start(settings(self.steady.port)):
            self.failures.add("steady: did not come to serve")
            return
        self.troubles.count_lines(self.steady)
        idle = self.steady.sample_at_rest()
        threads = [self.troubles, *self.clients()]
        for thread in threads:
            thread.start()
        self.watch()
        for thread in threads:
            thread.enough.set()
        for thread in threads:
            thread.join(2 * PATIENCE)
        self.check_requests()
        self.troubles.check()
        self.judge(idle)

    def stop_all(self):
        for daemon in (self.steady, self.restarted):
            if daemon.process is not None and not daemon.ended():
                daemon.stop()


def main():
    os.chdir("/")
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


main()
