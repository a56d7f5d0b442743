#!/usr/bin/env python3
"""Kills copies behind HAProxy, one after the other, with half as many clients again as the copies have places.

usage: kills.py [--kills N] [--copies N,...] [--sizes BYTES,...] [--connections N] [--before REVISION] [--strict]

  --kills N          how many copies are killed for each line (50)
  --copies N,...     how many copies there are (2,3,4)
  --sizes BYTES,...  sizes of the images, 0 for the small sample (0,300000,900000)
  --connections N    what each copy has, instead of what the rule in haproxy.cfg says
  --before REVISION  with packaging/haproxy/haproxy.cfg as it was then
  --strict           with the settings for an engine that dies of its input

Exit status 1 when a request was lost. The next copy is killed once the last one is back and as many requests have been
answered as there are clients: so each request meets one kill, as when copies die now and then."""

import argparse
import collections
import random
import subprocess
import sys
import time

import harness
from harness import Stage, name_of, until

Outcome = collections.namedtuple("Outcome", "answered lost second_tries taken_out slowest open_connections report")

# States of a connection whose near end a process still has, as /proc/net/tcp writes them.
ESTABLISHED, CLOSE_WAIT = "01", "08"

# So that requests wait also while every copy is there.
CLIENTS_A_PLACE = 1.5


def clients_of(copies):
    return round(CLIENTS_A_PLACE * sum(copy.maxconn for copy in copies))


def open_connections(copies):
    """The most connections that one of the copies has now."""
    by_port = collections.Counter()
    with open("/proc/net/tcp", encoding="ascii") as table:
        next(table)
        for fields in map(str.split, table):
            if fields[3] in (ESTABLISHED, CLOSE_WAIT):
                by_port[int(fields[1].split(":")[1], 16)] += 1
    return max(by_port[copy.port] for copy in copies)


def kill_and_restart(balancer, copy, clients):
    """Kills it while it works, and waits until all is as before."""
    until(lambda: int(balancer.servers()[copy.name]["scur"]) > 0, what=f"{copy.name} works")
    time.sleep(random.random() / 10)
    copy.end()
    balancer.await_down(copy.name)
    copy.start()
    balancer.await_up(copy.name)
    before = balancer.answered()
    until(lambda: balancer.answered() >= before + clients, what="requests are answered")


def kill_under_load(stage, copies, size, kills, closing, **options):
    """The Outcome of so many kills, each of the next copy."""
    balancer = stage.balancer(copies, **options)
    clients = clients_of(copies)
    load = stage.load(balancer.port, size, clients=clients, closing=closing)
    most_open = 0
    for turn in range(kills):
        kill_and_restart(balancer, copies[turn % len(copies)], clients)
        most_open = max(most_open, open_connections(copies))
    tries, taken_out = balancer.second_tries(), balancer.times_down() - kills
    answers = load.stop()
    return Outcome(answers.statuses.get(200, 0), answers.lost, tries, taken_out, answers.slowest, most_open,
                   answers.report)


def settings_of(revision):
    """packaging/haproxy/haproxy.cfg as it was at a revision."""
    return subprocess.run(["git", "-C", harness.ROOT, "show", f"{revision}:packaging/haproxy/haproxy.cfg"],
                          check=True, stdout=subprocess.PIPE, text=True).stdout


def parsed():
    options = argparse.ArgumentParser(usage=__doc__)
    options.add_argument("--kills", type=int, default=50)
    options.add_argument("--copies", default="2,3,4")
    options.add_argument("--sizes", default="0,300000,900000")
    options.add_argument("--connections", type=int)
    options.add_argument("--before")
    options.add_argument("--strict", action="store_true")
    return options.parse_args()


def main():
    options = parsed()
    settings = {"template": settings_of(options.before) if options.before else None,
                "changes": harness.STRICTER if options.strict else ()}
    print("copies | clients | image | connections of clients | kills | answered | second tries | slowest, s "
          "| taken out without need | most connections of a copy | lost", flush=True)
    lost = 0
    for size in map(int, options.sizes.split(",")):
        for count in map(int, options.copies.split(",")):
            for closing in (True, False):
                with Stage() as stage:
                    copies = stage.copies(count, connections=options.connections)
                    found = kill_under_load(stage, copies, size, options.kills, closing, **settings)
                print(count, clients_of(copies), name_of(size), "closed" if closing else "kept", options.kills,
                      found.answered, found.second_tries, f"{found.slowest:.1f}", found.taken_out,
                      found.open_connections, found.lost, sep=" | ", flush=True)
                lost += found.lost
                if found.lost:
                    print(found.report, file=sys.stderr)
    sys.exit(1 if lost else 0)


if __name__ == "__main__":
    main()
