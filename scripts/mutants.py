#!/usr/bin/env python3
"""Tries whether the tests notice changes of the sources.

Makes small changes to a copy of the tree, one at a time: a comparison or a logical operator turned, a
constant off by one, a statement left out, a string changed, two arguments exchanged. Builds what depends on
it, without optimisation, and runs the test programs of the component until one fails. A change that no
test notices is listed at the end. The share that was noticed is of those that compile and that
tests/equal_mutants.txt does not explain.

The copies, and what has been found so far, are in build/mutants: when it is called again with the same
sources and tests it goes on where it was interrupted, and tries again what no test had noticed and nothing
explains.
"""

import argparse
import dataclasses
import hashlib
import json
import os
import random
import re
import sys

sys.dont_write_bytecode = True  # the sources' folder is no place for it
from mutation.changes import Change, changes_of  # noqa: E402
from mutation.tree import ROOT, WORK, Failure, Tree  # noqa: E402
from mutation.trial import Trial, say  # noqa: E402

EXPLAINED = ROOT / "tests" / "equal_mutants.txt"

# Where the sources of a component are, and the folders of the test programs that answer for them.
COMPONENTS = {
    "vlib": (["src/service/vlib_foundation/vlib"], ["vos", "vutils", "vlog"]),
    "parseargs": (["src/velmoraserver/parseargs"], ["parseargs"]),
    "app": (["src/velmoraserver/app/common", "src/velmoraserver/app/velmoraserviced"], ["service", "daemon"]),
    "velmoracheck": (["src/velmoraserver/app/velmoracheck"], ["velmoracheck"]),
}


@dataclasses.dataclass(frozen=True)
class Mutant:
    component: str
    path: str
    change: Change

    @property
    def key(self):
        change = self.change
        text = "\0".join([self.path, change.kind, str(change.begin), change.replacement, change.before])
        return hashlib.sha256(text.encode()).hexdigest()[:16]

    @property
    def lines(self):
        """What tests/equal_mutants.txt knows it by."""
        return self.path, self.change.before, self.change.after

    def __str__(self):
        return (f"{self.path}:{self.change.line}: {self.change.kind}\n"
                f"- {self.change.before}\n+ {self.change.after}")


def mutants_of(component):
    for folder in COMPONENTS[component][0]:
        for path in sorted((ROOT / folder).rglob("*")):
            if path.suffix in (".cpp", ".h"):
                for change in changes_of(path.read_text(encoding="utf-8")):
                    yield Mutant(component, str(path.relative_to(ROOT)), change)


def chosen_mutants(wanted):
    """All mutants, or a sample of each component; in the order of the files, so that little is built twice."""
    chosen = []
    for component in wanted.component or list(COMPONENTS):
        mutants = list(mutants_of(component))
        if wanted.file:
            mutants = [m for m in mutants if any(text in m.path for text in wanted.file)]
        elif wanted.limit and wanted.limit < len(mutants):
            kept = set(random.Random(wanted.seed).sample(range(len(mutants)), wanted.limit))
            mutants = [m for index, m in enumerate(mutants) if index in kept]
        chosen += mutants
    return chosen


def programs_of(component):
    """The names of the component's test programs, as the build files have them."""
    names = []
    for folder in COMPONENTS[component][1]:
        build_file = (ROOT / "tests" / folder / "CMakeLists.txt").read_text(encoding="utf-8")
        names += re.findall(r"^\s*velmora_add\w*_test\(\s*(\w+)", build_file, re.MULTILINE)
    return [name for name in names if name != "name"]


def results_file():
    """Named after the sources and tests: what was found with others does not count."""
    digest = hashlib.sha256()
    for top in ("src", "tests"):
        for path in sorted(path for path in (ROOT / top).rglob("*") if path.is_file() and path != EXPLAINED):
            digest.update(str(path.relative_to(ROOT)).encode() + b"\0" + path.read_bytes())
    return WORK / f"results-{digest.hexdigest()[:16]}.jsonl"


def known_outcomes(file, mutants, explained):
    """What earlier runs found; what no test noticed and nothing explains is tried again."""
    if not file.exists():
        return {}
    results = [json.loads(line) for line in file.read_text().splitlines()]
    found = {result["key"]: result["outcome"] for result in results}
    return {m: found[m.key] for m in mutants
            if m.key in found and (found[m.key] != "survived" or m.lines in explained)}


def explanations():
    """Why a mutant is equal to the original, by path, line before and line after.

    The file has blocks of four lines with an empty line between them: the path, "- " and the line, "+ " and
    the changed line, the reason. Lines that begin with "#" are comments.
    """
    text = "\n".join(line for line in EXPLAINED.read_text().splitlines() if not line.startswith("#"))
    known = {}
    for block in re.split(r"\n\s*\n", text.strip()):
        path, before, after, reason = block.split("\n", 3)
        known[path, before.removeprefix("- "), after.removeprefix("+ ")] = reason
    return known


def report(outcomes, explained, wanted_share):
    """The table and the survivors; returns whether enough was noticed."""
    lines = [f"{'component':<12}{'mutants':>9}{'noticed':>9}{'equal':>9}{'survived':>9}{'share':>9}"]
    survivors, enough = [], True
    for component in COMPONENTS:
        tried = [m for m in outcomes if m.component == component and outcomes[m] != "refused"]
        if not tried:
            continue
        left = [m for m in tried if outcomes[m] == "survived"]
        equal = sum(m.lines in explained for m in left)
        noticed = len(tried) - len(left)
        share = 100 * noticed / max(1, len(tried) - equal)
        enough = enough and share >= wanted_share
        lines.append(f"{component:<12}{len(tried):>9}{noticed:>9}{equal:>9}{len(left) - equal:>9}{share:>8.1f}%")
        survivors += left
    lines += [f"\n{m}\n{explained.get(m.lines, 'not noticed by any test')}" for m in survivors]
    text = "\n".join(lines) + "\n"
    (WORK / "report.txt").write_text(text)
    print(text, end="")
    return enough


def arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--component", choices=COMPONENTS, action="append", help="only this one; may be repeated")
    parser.add_argument("--file", action="append", help="all changes of the sources whose path contains this text")
    parser.add_argument("--limit", type=int, default=150,
                        help="a sample of so many of each component; 0 for all (default: 150)")
    parser.add_argument("--seed", type=int, default=1, help="chooses the sample (default: 1)")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="copies to work in (default: one a processor)")
    parser.add_argument("--at-least", type=float, default=95, metavar="PER_CENT",
                        help="share that has to be noticed in each component (default: 95)")
    parser.add_argument("--fresh", action="store_true", help="forget what earlier runs found")
    parser.add_argument("--list", action="store_true", help="only list the mutants")
    return parser.parse_args()


def try_out(mutants, wanted):
    """Tries them and reports; returns whether enough was noticed."""
    results = results_file()
    if wanted.fresh:
        results.unlink(missing_ok=True)
    programs = {component: programs_of(component) for component in {m.component for m in mutants}}
    trial = Trial(mutants, programs, [Tree(number) for number in range(max(1, wanted.jobs))])
    try:
        trial.prepare()
        trial.outcomes = known_outcomes(results, mutants, explanations())
        trial.run(results)
    except KeyboardInterrupt:
        trial.stop()
        raise Failure("interrupted; call it again to go on") from None
    if "refused" in trial.outcomes.values() and len(set(trial.outcomes.values())) == 1:
        raise Failure(f"none of the changes compiles: read {trial.trees[0].log}")
    return report(trial.outcomes, explanations(), wanted.at_least)


def main():
    wanted = arguments()
    mutants = chosen_mutants(wanted)
    if wanted.list:
        print("\n".join(str(m) for m in mutants))
        say(f"{len(mutants)} mutants")
        return 0
    try:
        if not mutants:
            raise Failure("nothing to change: no source has that name")
        return 0 if try_out(mutants, wanted) else 1
    except Failure as failure:
        say(f"mutants.py: {failure}")
        return 1


if __name__ == "__main__":
    sys.exit(main())
