"""Tries the mutants, each in one of the trees, until a test program notices it or all have passed."""

import collections
import json
import os
import pathlib
import sys
import threading
import time

from mutation.tree import WORK, Failure, build_engine, groups, kill_group


class Trial:
    """The mutants, the trees to try them in, and what came out: mutant -> "noticed", "survived" or "refused"."""

    def __init__(self, mutants, programs, trees):
        self.mutants = mutants
        self.programs = programs  # component -> the names of its test programs
        self.trees = trees
        self.seconds = {}  # what each program takes
        self.outcomes = {}
        self.lock = threading.Lock()
        self.stopped = False

    def prepare(self):
        """Every tree built as it is, and every program's time; the tests have to pass."""
        WORK.mkdir(parents=True, exist_ok=True)
        engine = build_engine()
        names = [name for programs in self.programs.values() for name in programs]
        say(f"building the tests in {len(self.trees)} copies of the tree")
        for_all(self.trees, lambda tree: tree.prepare(engine, names))
        say(f"running the {len(names)} test programs as they are")
        for name in names:
            begin = time.monotonic()
            noticed = self.trees[0].test(name, 600)
            self.seconds[name] = time.monotonic() - begin
            if noticed:
                raise Failure(f"the tests fail without any change: {noticed}; read {self.trees[0].log}")

    def run(self, results_file):
        """Tries what is not known yet, and appends what it finds to the file."""
        todo = collections.deque(m for m in self.mutants if m not in self.outcomes)
        progress = Progress(len(todo))
        say(f"{len(self.mutants)} mutants, {len(todo)} of them to try")
        with open(results_file, "a", encoding="utf-8") as output:
            for_all(self.trees, lambda tree: self.work(tree, todo, output, progress))
        progress.end()

    def work(self, tree, todo, output, progress):
        while not self.stopped:
            with self.lock:
                if not todo:
                    return
                mutant = todo.popleft()
            outcome, noticed = self.try_out(tree, mutant)
            with self.lock:
                self.outcomes[mutant] = outcome
                output.write(json.dumps({"key": mutant.key, "outcome": outcome, "by": noticed}) + "\n")
                output.flush()
                progress.show(len(todo), collections.Counter(self.outcomes.values()))

    def try_out(self, tree, mutant):
        target = tree.path / mutant.path
        original = target.read_text()
        target.write_text(mutant.change.applied_to(original))
        try:
            for program in by_nearness(mutant.path, self.programs[mutant.component], self.seconds):
                if not tree.make([program]):
                    return "refused", None
                noticed = tree.test(program, 3 * self.seconds[program] + 10)
                if noticed:
                    return "noticed", noticed
            return "survived", None
        finally:
            target.write_text(original)

    def stop(self):
        self.stopped = True
        for group in list(groups):
            kill_group(group)


def by_nearness(path, programs, seconds):
    """The programs named like the source first, then the quick ones."""
    stem = pathlib.Path(path).stem

    def order(program):
        return -len(os.path.commonprefix([stem, program.removesuffix("_test")])), seconds[program]

    return sorted(programs, key=order)


def for_all(trees, work):
    """Calls work for each tree on a thread of its own; raises what one of them raised."""
    raised = []

    def guarded(tree):
        try:
            work(tree)
        except Exception as failure:  # handed on below
            raised.append(failure)

    threads = [threading.Thread(target=guarded, args=(tree,), daemon=True) for tree in trees]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    if raised:
        raise raised[0]


def say(text):
    print(text, file=sys.stderr, flush=True)


class Progress:
    """One line in place on a terminal, every twentieth elsewhere."""

    def __init__(self, total):
        self.total = total
        self.begun = time.monotonic()

    def show(self, waiting, counts):
        done = self.total - waiting
        minutes = (time.monotonic() - self.begun) / done * waiting / 60
        text = (f"{done}/{self.total}: {counts['noticed']} noticed, {counts['survived']} survived, "
                f"{counts['refused']} refused by the compiler, {minutes:.0f} min left")
        if sys.stderr.isatty():
            print(f"\r\033[K{text}", end="", file=sys.stderr, flush=True)
        elif done % 20 == 0:
            say(text)

    @staticmethod
    def end():
        if sys.stderr.isatty():
            say("")
