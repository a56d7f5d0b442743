#!/usr/bin/env python3
"""Measures copies behind HAProxy: what docs/scale.md has, as tables.

usage: throughput.py [--seconds N] [--rounds N] [--sizes BYTES,...] [--check]

  --seconds N       how long each measurement takes (3)
  --rounds N        the best of so many is told, since other work on the machine only slows it down (1)
  --sizes BYTES,... sizes of the images, 0 for the small sample (0,300000,900000)
  --check           end with status 1 when a request fails, or copies do less than a third of what one does that
                    has as many workers, and still do after ten more rounds
"""

import argparse
import pathlib
import sys

import harness
from harness import Stage, name_of

CLIENTS = 8
MORE_ROUNDS = 10


def processor_seconds(process):
    """What a process has used of the processors so far."""
    tasks = pathlib.Path(f"/proc/{process.pid}/task").glob("*/schedstat")
    return sum(int(task.read_text().split()[0]) for task in tasks) / 1e9


def peak_megabytes(process):
    with open(f"/proc/{process.pid}/status", encoding="ascii") as status:
        return next(int(line.split()[1]) for line in status if line.startswith("VmHWM:")) / 1024


def sound(answers):
    return not answers.failures and list(answers.statuses) == [200]


def rates(sizes, seconds, rounds, found):
    """Puts the best rates into `found`, requests a second by (copies, threads of each, size); returns whether all
    requests were answered."""
    all_sound = True
    for copies, threads in ((1, 1), (2, 1), (4, 1), (1, 2), (1, 4)) * rounds:
        with Stage() as stage:
            balancer = stage.balancer(stage.copies(copies, threads=threads))
            for size in sizes:
                answers = stage.load(balancer.port, size, clients=CLIENTS, seconds=seconds).finish()
                found[copies, threads, size] = max(answers.rate, found.get((copies, threads, size), 0))
                all_sound = all_sound and sound(answers)
    return all_sound


def too_slow(found, sizes):
    """How many copies do less than a third of what one does that has as many workers."""
    return [copies for copies in (2, 4) for size in sizes if found[copies, 1, size] < found[1, copies, size] / 3]


def through_haproxy(stage, balancer, size, clients, seconds):
    """Milliseconds of a request, and of HAProxy's processor time for it."""
    used = processor_seconds(balancer.process)
    answers = stage.load(balancer.port, size, clients=clients, seconds=seconds).finish()
    used = processor_seconds(balancer.process) - used
    return answers.median * 1000, used * 1000 / max(answers.total, 1)


def cost(size, seconds, rounds):
    """Before one copy, in milliseconds: one client directly, through HAProxy, HAProxy's processor time for it, and that
    with eight clients."""
    found = []
    with Stage() as stage:
        copies = stage.copies(1)
        balancer = stage.balancer(copies)
        for _ in range(rounds):
            direct = stage.load(copies[0].port, size, clients=1, seconds=seconds).finish()
            found.append((direct.median * 1000, *through_haproxy(stage, balancer, size, 1, seconds),
                          through_haproxy(stage, balancer, size, CLIENTS, seconds)[1]))
    return [min(figures) for figures in zip(*found)]


def memory(size, clients, seconds):
    """The most that HAProxy had, in megabytes."""
    with Stage() as stage:
        balancer = stage.balancer(stage.copies(4))
        stage.load(balancer.port, size, clients=clients, seconds=seconds).finish()
        return peak_megabytes(balancer.process)


def main():
    options = argparse.ArgumentParser(usage=__doc__)
    options.add_argument("--seconds", type=int, default=3)
    options.add_argument("--rounds", type=int, default=1)
    options.add_argument("--sizes", default="0,300000,900000")
    options.add_argument("--check", action="store_true")
    options = options.parse_args()
    sizes = [int(size) for size in options.sizes.split(",")]

    found = {}
    all_sound = rates(sizes, options.seconds, options.rounds, found)
    for _ in range(MORE_ROUNDS if options.check else 0):
        if too_slow(found, sizes):
            all_sound = rates(sizes, options.seconds, 1, found) and all_sound
    print("requests a second |", " | ".join(name_of(size) for size in sizes))
    for copies, threads in ((1, 1), (2, 1), (1, 2), (4, 1), (1, 4)):
        figures = " | ".join(f"{found[copies, threads, size]:.0f}" for size in sizes)
        print(f"copies {copies}, threads {threads} | {figures}")
    if options.check:
        slow = too_slow(found, sizes)
        print("not every request was answered 200" if not all_sound else "every request was answered 200")
        print(f"{slow} copies do less than a third of one with as many workers" if slow else
              "copies do what one does with as many workers, or at least a third of it")
        sys.exit(1 if slow or not all_sound else 0)

    print("\nimage | directly, ms | through HAProxy, ms | HAProxy's processor time, ms | the same, eight clients")
    for size in sizes:
        figures = cost(size, options.seconds, options.rounds)
        print(name_of(size), "|", " | ".join(f"{figure:.2f}" for figure in figures))
    print("\nHAProxy's memory, MB")
    for size in sizes:
        print(name_of(size), "|", " | ".join(f"{clients} clients: {memory(size, clients, options.seconds):.0f}"
                                             for clients in (1, 16, 64, 256)))


if __name__ == "__main__":
    main()
