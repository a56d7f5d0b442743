#!/usr/bin/env python3
"""Tries whether the tests notice changes of the sources.

Makes small changes to a copy of the tree, one at a time: a comparison or a logical operator turned, a
constant off by one, a statement left out, a string changed, two arguments exchanged. Builds what depends on
it, without optimisation, and runs the test programs of the component until one fails. A change that no
test notices is listed at the end. The share that was noticed is of those that compile and that
tests/equal_mutants.txt does not explain.

The copies, and what has been found so far, are in build/mutants: when it is called again with the same
arguments it goes on where it was interrupted, and tries again what no test had noticed and nothing explains.
What was found with other sources or other tests of the component does not count.
"""

import argparse
import collections
import dataclasses
import hashlib
import json
import os
import pathlib
import random
import re
import resource
import shutil
import signal
import subprocess
import sys
import threading
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
WORK = ROOT / "build" / "mutants"
EXPLAINED = ROOT / "tests" / "equal_mutants.txt"

# Where the sources of a component are, and the folders of the test programs that answer for them.
COMPONENTS = {
    "vlib": (["src/service/vlib_foundation/vlib"], ["vos", "vutils", "vlog"]),
    "parseargs": (["src/velmoraserver/parseargs"], ["parseargs"]),
    "app": (["src/velmoraserver/app/common", "src/velmoraserver/app/velmoraserviced"], ["service", "daemon"]),
    "velmoracheck": (["src/velmoraserver/app/velmoracheck"], ["velmoracheck"]),
}

TOKEN = re.compile(
    r"""(?P<comment>//[^\n]*|/\*.*?\*/)
      | (?P<directive>^[ \t]*\#(?:\\\n|[^\n])*)
      | (?P<string>"(?:\\.|[^"\\\n])*")
      | (?P<character>'(?:\\.|[^'\\\n])+')
      | (?P<number>\b\d(?:[\w.]|'(?=\w))*)
      | (?P<word>[A-Za-z_]\w*)
      | (?P<operator><=>|<<=|>>=|->\*|<<|>>|<=|>=|==|!=|&&|\|\||\+\+|--|->|::|\[\[|\]\]|[-+*/%&|^]=|[^\s\w])""",
    re.DOTALL | re.MULTILINE | re.VERBOSE,
)
TURNED = {"<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "&&": "||", "||": "&&"}
# Words that do not begin a statement that can be left out.
NO_EXPRESSION = set(
    "alignas auto case catch class co_await co_return const constexpr default do else enum explicit extern for"
    " friend goto if inline mutable namespace private protected public return sizeof static static_assert"
    " struct switch template thread_local throw try typedef typename union using virtual volatile while".split()
)
NOT_CALLED = {"if", "for", "while", "switch", "return", "sizeof", "catch", "decltype", "alignas", "noexcept"}


@dataclasses.dataclass(frozen=True)
class Mutant:
    component: str
    path: str
    kind: str
    begin: int
    end: int
    replacement: str
    line: int
    before: str  # the lines that change, on one line
    after: str

    @property
    def key(self):
        text = "\0".join([self.path, self.kind, str(self.begin), self.replacement, self.before])
        return hashlib.sha256(text.encode()).hexdigest()[:16]


@dataclasses.dataclass
class Token:
    kind: str
    text: str
    begin: int
    end: int


def tokens_of(source):
    """The tokens without comments, directives and attributes."""
    tokens, in_attribute = [], False
    for match in TOKEN.finditer(source):
        token = Token(match.lastgroup, match.group(), match.start(), match.end())
        if token.text == "[[":
            in_attribute = True
        elif token.text == "]]" and in_attribute:
            in_attribute = False
        elif not in_attribute and token.kind not in ("comment", "directive"):
            tokens.append(token)
    return tokens


def spaced(source, token):
    """Whether blanks stand around it: in this layout a "<" is a comparison then, and no bracket."""
    return source[token.begin - 1] == " " and source[token.end] in " \n"


def turned_operators(source, tokens):
    for before, token in zip(tokens, tokens[1:]):
        if token.text in TURNED and spaced(source, token) and before.text not in ("template", "operator"):
            yield "operator turned", token.begin, token.end, TURNED[token.text]


def changed_constants(_source, tokens):
    for token in tokens:
        number = re.fullmatch(r"(0[xX][0-9a-fA-F']+|[0-9][0-9']*)([uUlLzZ]*)", token.text)
        if token.kind == "number" and number:
            digits, suffix = number.group(1).replace("'", ""), number.group(2)
            is_hex = digits[:2].lower() == "0x"
            value = int(digits, 16 if is_hex else 10) + 1
            yield "constant off by one", token.begin, token.end, (hex(value) if is_hex else str(value)) + suffix
        elif token.kind == "character" and len(token.text) == 3 and token.text[1] not in "&[~":
            yield "constant off by one", token.begin, token.end, f"'{chr(ord(token.text[1]) + 1)}'"
        elif token.text in ("true", "false"):
            yield "constant turned", token.begin, token.end, "false" if token.text == "true" else "true"


def changed_strings(_source, tokens):
    for token in tokens:
        if token.kind != "string":
            continue
        content = token.text[1:-1]
        # The first letter or digit that is itself: not the one that an escape sequence ends with.
        found = re.search(r"(?<!\\)[A-Za-z0-9]", content)
        if found is None:
            changed = content + "!"
        else:
            letter = found.group()
            other = "a" if letter == "z" else "A" if letter == "Z" else "0" if letter == "9" else chr(ord(letter) + 1)
            changed = content[: found.start()] + other + content[found.end():]
        yield "string changed", token.begin, token.end, f'"{changed}"'


def end_of_statement(tokens, first):
    """The index of the ";" of a statement without a block; none when there is one."""
    depth = 0
    for index in range(first, len(tokens)):
        text = tokens[index].text
        if text in "([{":
            if depth == 0 and text == "{":
                return None
            depth += 1
        elif text in ")]}":
            depth -= 1
            if depth < 0:
                return None
        elif text == ";" and depth == 0:
            return index
    return None


def is_expression(source, statement):
    """Whether the tokens are an expression: neither a declaration nor what begins with a keyword."""
    first = statement[0]
    if first.text in ("break", "continue", "delete"):
        return True
    if first.text in NO_EXPRESSION or not (first.kind == "word" or first.text in ("++", "--", "*", "::")):
        return False
    depth = 0
    for before, token in zip(statement, statement[1:]):
        if token.text in "([{":
            return depth == 0  # a call or an element, before any declared name
        if token.text in ("=", "+=", "-=", "|=", "&=", "++", "--"):
            return True
        declares = before.kind == "word" and (token.kind == "word" or is_mark_of_type(source, token))
        if declares or token.text == "<":
            return False
    return False


def is_mark_of_type(source, token):
    """Whether it is the "*" or "&" of a type, which stands at the type's name in this layout."""
    return token.text in ("*", "&", "&&") and source[token.begin - 1] != " "


def left_out_statements(source, tokens):
    for index in range(1, len(tokens)):
        if tokens[index - 1].text not in (";", "{", "}", ")", "else", ":"):
            continue
        last = end_of_statement(tokens, index)
        if last is not None and last > index and is_expression(source, tokens[index:last]):
            yield "statement left out", tokens[index].begin, tokens[last].begin, ""


def arguments_of(tokens, opening):
    """The arguments of the call whose "(" is at this index, each a list of tokens."""
    arguments, current, depth = [], [], 0
    for token in tokens[opening:]:
        if token.text in "([{":
            depth += 1
            if depth == 1:
                continue
        elif token.text in ")]}":
            depth -= 1
            if depth == 0:
                return arguments + [current]
        if depth == 1 and token.text == ",":
            arguments.append(current)
            current = []
        else:
            current.append(token)
    return []


def is_parameter(source, tokens):
    """Whether the tokens declare something: "int x", "const T& x"."""
    return any(
        before.kind == "word" and (token.kind == "word" or is_mark_of_type(source, token))
        for before, token in zip(tokens, tokens[1:])
    )


def exchanged_arguments(source, tokens):
    for index in range(len(tokens) - 1):
        name, opening = tokens[index], tokens[index + 1]
        # In capitals: an annotation for the compiler's analysis.
        if name.kind != "word" or opening.text != "(" or name.text in NOT_CALLED or name.text.isupper():
            continue
        arguments = arguments_of(tokens, index + 1)
        if not all(arguments) or any(is_parameter(source, argument) for argument in arguments):
            continue
        for left, right in zip(arguments, arguments[1:]):
            first, second = (source[part[0].begin: part[-1].end] for part in (left, right))
            kinds = {part[0].kind if len(part) == 1 else "other" for part in (left, right)}
            if first != second and not {"string", "number"} <= kinds:
                between = source[left[-1].end: right[0].begin]
                yield "arguments exchanged", left[0].begin, right[-1].end, second + between + first


def mutants_of(component, path):
    source = (ROOT / path).read_text()
    tokens = tokens_of(source)
    for operator in (turned_operators, changed_constants, changed_strings, left_out_statements, exchanged_arguments):
        for kind, begin, end, replacement in operator(source, tokens):
            first = source.rfind("\n", 0, begin) + 1
            last = source.find("\n", end)
            before = " ".join(source[first:last].split())
            after = " ".join((source[first:begin] + replacement + source[end:last]).split())
            line = source.count("\n", 0, begin) + 1
            yield Mutant(component, path, kind, begin, end, replacement, line, before, after)


def sources_of(component):
    for folder in COMPONENTS[component][0]:
        for path in sorted((ROOT / folder).rglob("*")):
            if path.suffix in (".cpp", ".h"):
                yield str(path.relative_to(ROOT))


def chosen_mutants(components, limit, seed):
    """All mutants, or a sample of each component; in the order of the files, so that little is built twice."""
    chosen = []
    for component in components:
        everything = [m for path in sources_of(component) for m in mutants_of(component, path)]
        unique = list({m.key: m for m in everything}.values())
        if limit and limit < len(unique):
            kept = set(m.key for m in random.Random(seed).sample(unique, limit))
            unique = [m for m in unique if m.key in kept]
        chosen += unique
    return chosen


def programs_of(component):
    """The names of the component's test programs, as the build files have them."""
    names = []
    for folder in COMPONENTS[component][1]:
        build_file = ROOT / "tests" / folder / "CMakeLists.txt"
        if build_file.exists():
            names += re.findall(r"^\s*velmora_add\w*_test\(\s*(\w+)", build_file.read_text(), re.MULTILINE)
    return [name for name in names if name != "name"]


def fingerprint(component):
    """Changes with the sources and the tests of the component, and with what all tests share."""
    digest = hashlib.sha256()
    folders = COMPONENTS[component][0] + [f"tests/{folder}" for folder in (*COMPONENTS[component][1], "support")]
    for folder in folders:
        for path in sorted(path for path in (ROOT / folder).rglob("*") if path.is_file()):
            digest.update(str(path.relative_to(ROOT)).encode() + b"\0" + path.read_bytes())
    return digest.hexdigest()[:16]


def limit_process():
    """In the child: bounds on what a change can make a program eat."""
    resource.setrlimit(resource.RLIMIT_AS, (8 << 30, 8 << 30))
    resource.setrlimit(resource.RLIMIT_FSIZE, (1 << 30, 1 << 30))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


# The groups of processes that run now.
groups = set()


def kill_group(group):
    try:
        os.killpg(group, signal.SIGKILL)
    except ProcessLookupError:
        pass


def run(command, log, seconds, environment=None, limited=False, folder=None):
    """Runs a command as a group of its own; returns its status, none when the time was over."""
    with open(log, "wb") as output:
        process = subprocess.Popen(
            command, stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT, env=environment,
            cwd=folder, start_new_session=True, preexec_fn=limit_process if limited else None)
        groups.add(process.pid)
        try:
            return process.wait(seconds)
        except subprocess.TimeoutExpired:
            return None
        finally:
            # What it started and left behind goes too.
            kill_group(process.pid)
            groups.discard(process.pid)
            process.wait()


class Failure(Exception):
    """A reason to give up, in one line."""


class Tree:
    """A copy of the sources with a build of its own."""

    def __init__(self, number, build_seconds):
        self.path = WORK / f"tree-{number}"
        self.build = self.path / "build"
        self.temporary = self.path / "tmp"
        self.log = self.path / "log.txt"
        self.build_seconds = build_seconds

    def copy_sources(self):
        listed = subprocess.run(
            ["git", "-C", ROOT, "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
            check=True, stdout=subprocess.PIPE).stdout.decode().split("\0")
        wanted = set(name for name in listed if name and (ROOT / name).is_file())
        for name in wanted:
            source, target = ROOT / name, self.path / name
            # Files that have not changed keep their time, and what was built from them.
            if not target.exists() or target.read_bytes() != source.read_bytes():
                target.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(source, target)
        for top in ("src", "tests"):
            for path in (self.path / top).rglob("*"):
                if path.is_file() and str(path.relative_to(self.path)) not in wanted:
                    path.unlink()

    def configure(self, engine):
        status = run(
            ["cmake", "-G", "Ninja", "-S", self.path, "-B", self.build, "-DCMAKE_CXX_COMPILER=g++",
             "-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS_DEBUG=-O0 -w",
             "-DVELMORA_BUILD_BENCHMARKS=OFF", f"-DVELMORA_LIGHT_DIR={engine}",
             "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST"], self.log, 300)
        if status != 0:
            raise Failure(f"configuring failed: read {self.log}")

    def make(self, targets, seconds=None):
        return run(["ninja", "-C", self.build, "-j1", *targets], self.log, seconds or self.build_seconds) == 0

    def test(self, program, seconds):
        """Nothing when the tests pass, otherwise what was noticed."""
        shutil.rmtree(self.temporary, ignore_errors=True)
        self.temporary.mkdir(parents=True)
        environment = dict(os.environ, TMPDIR=str(self.temporary))
        command = [self.build / "bin" / program, "--gtest_fail_fast", "--gtest_brief=1"]
        # In a folder of its own: what a changed program leaves there is no trouble to the next one.
        status = run(command, self.log, seconds, environment, limited=True, folder=self.temporary)
        if status == 0:
            return None
        if status is None:
            return f"{program} hung"
        failed = re.search(rb"^\[  FAILED  \] ([^\s,]+)", self.log.read_bytes(), re.MULTILINE)
        return failed.group(1).decode() if failed else f"{program} ended with status {status}"


def build_engine():
    """The recording engine, as one that is installed: the stand-in is no part of this."""
    engine = WORK / "engine"
    (engine / "lib").mkdir(parents=True, exist_ok=True)
    include = ROOT / "src/velmoralight_standin/include"
    shutil.copytree(include, engine / "include", dirs_exist_ok=True)
    subprocess.run(
        ["g++", "-std=c++20", "-shared", "-fPIC", f"-I{include}", "-o", engine / "lib" / "libvelmoraLight.so",
         ROOT / "tests/support/engine_double/engine_double.cpp"], check=True)
    return engine


def by_nearness(path, programs, seconds):
    """The programs named like the source first, then the quick ones."""
    stem = pathlib.Path(path).stem

    def order(program):
        return -len(os.path.commonprefix([stem, program.removesuffix("_test")])), seconds[program]

    return sorted(programs, key=order)


class Trial:
    """The mutants, the trees to try them in, and what came out."""

    def __init__(self, mutants, jobs, build_seconds):
        self.mutants = mutants
        self.programs = {component: programs_of(component) for component in {m.component for m in mutants}}
        self.fingerprints = {component: fingerprint(component) for component in self.programs}
        self.trees = [Tree(number, build_seconds) for number in range(jobs)]
        self.seconds = {}
        self.results = {}
        self.results_file = WORK / "results.jsonl"
        self.lock = threading.Lock()
        self.begun = time.monotonic()
        self.stopped = False

    def prepare(self):
        """Every tree built as it is, and every program's time; the tests have to pass."""
        WORK.mkdir(parents=True, exist_ok=True)
        engine = build_engine()
        names = [name for programs in self.programs.values() for name in programs]
        say(f"building the tests in {len(self.trees)} copies of the tree")
        for_all(self.trees, lambda tree: self.prepare_tree(tree, engine, names))
        say(f"running the {len(names)} test programs as they are")
        for name in names:
            begin = time.monotonic()
            noticed = self.trees[0].test(name, 600)
            self.seconds[name] = time.monotonic() - begin
            if noticed:
                raise Failure(f"the tests fail without any change: {noticed}; read {self.trees[0].log}")

    @staticmethod
    def prepare_tree(tree, engine, names):
        tree.copy_sources()
        tree.configure(engine)
        if not tree.make(names, 3600):
            raise Failure(f"the build fails without any change: read {tree.log}")

    def resume(self):
        """Takes over what earlier runs found; what no test noticed and nothing explains is tried again."""
        known = explanations()
        mutants = {m.key: m for m in self.mutants}
        if self.results_file.exists():
            for line in self.results_file.read_text().splitlines():
                result = json.loads(line)
                mutant = mutants.get(result["key"])
                if mutant is None or result.get("fingerprint") != self.fingerprints[mutant.component]:
                    continue
                if result["outcome"] != "survived" or (mutant.path, mutant.before, mutant.after) in known:
                    self.results[mutant.key] = result

    def run(self):
        known = set(self.results)
        todo = collections.deque(m for m in self.mutants if m.key not in known)
        total = len(todo)
        say(f"{len(self.mutants)} mutants, {total} of them to try")
        self.begun = time.monotonic()
        with open(self.results_file, "a") as output:
            for_all(self.trees, lambda tree: self.work(tree, todo, total, output))
        end_progress()

    def work(self, tree, todo, total, output):
        while not self.stopped:
            with self.lock:
                if not todo:
                    return
                mutant = todo.popleft()
            outcome, noticed = self.try_out(tree, mutant)
            with self.lock:
                result = {"key": mutant.key, "outcome": outcome, "by": noticed,
                          "fingerprint": self.fingerprints[mutant.component]}
                self.results[mutant.key] = result
                output.write(json.dumps(result) + "\n")
                output.flush()
                self.show_progress(total - len(todo), total)

    def try_out(self, tree, mutant):
        target = tree.path / mutant.path
        original = target.read_text()
        target.write_text(original[: mutant.begin] + mutant.replacement + original[mutant.end:])
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

    def show_progress(self, done, total):
        counts = collections.Counter(result["outcome"] for result in self.results.values())
        left = (time.monotonic() - self.begun) / done * (total - done)
        progress(done, f"{done}/{total}: {counts['noticed']} noticed, {counts['survived']} survived, "
                       f"{counts['refused']} refused by the compiler, {left / 60:.0f} min left")


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


def explanations():
    """Why a mutant is equal to the original, by path, line before and line after.

    The file has blocks of four lines with an empty line between them: the path, "- " and the line, "+ " and
    the changed line, the reason. Lines that begin with "#" are comments.
    """
    known = {}
    if EXPLAINED.exists():
        text = "\n".join(line for line in EXPLAINED.read_text().splitlines() if not line.startswith("#"))
        for block in re.split(r"\n\s*\n", text.strip()):
            if block:
                path, before, after, *reason = block.splitlines()
                known[path, before.removeprefix("- "), after.removeprefix("+ ")] = " ".join(reason)
    return known


def report(trial, wanted):
    """The table and the survivors; returns whether enough was noticed."""
    known = explanations()
    lines = [f"{'component':<12}{'mutants':>9}{'noticed':>9}{'equal':>9}{'survived':>9}{'share':>9}"]
    survivors, enough = [], True
    for component in COMPONENTS:
        outcomes = [(m, trial.results[m.key]["outcome"]) for m in trial.mutants
                    if m.component == component and m.key in trial.results]
        tried = [(m, outcome) for m, outcome in outcomes if outcome != "refused"]
        if not outcomes:
            continue
        if not tried:
            lines.append(f"{component:<12}{0:>9}   none of {len(outcomes)} compiles: read {WORK}/tree-0/log.txt")
            enough = False
            continue
        left = [m for m, outcome in tried if outcome == "survived"]
        equal = sum((m.path, m.before, m.after) in known for m in left)
        noticed = len(tried) - len(left)
        share = 100 * noticed / max(1, len(tried) - equal)
        enough = enough and share >= wanted
        lines.append(f"{component:<12}{len(tried):>9}{noticed:>9}{equal:>9}{len(left) - equal:>9}{share:>8.1f}%")
        survivors += left
    for m in survivors:
        lines += ["", f"{m.path}:{m.line}: {m.kind}", f"- {m.before}", f"+ {m.after}"]
        lines.append(known.get((m.path, m.before, m.after), "not noticed by any test"))
    text = "\n".join(lines) + "\n"
    (WORK / "report.txt").write_text(text)
    print(text, end="")
    return enough


def say(text):
    print(text, file=sys.stderr, flush=True)


def progress(done, text):
    if sys.stderr.isatty():
        print(f"\r\033[K{text}", end="", file=sys.stderr, flush=True)
    elif done % 20 == 0:
        say(text)


def end_progress():
    if sys.stderr.isatty():
        print(file=sys.stderr)


def arguments():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--component", choices=COMPONENTS, action="append", help="only this one; may be repeated")
    parser.add_argument("--file", action="append", default=[], help="only sources whose path contains this text")
    parser.add_argument("--limit", type=int, default=150,
                        help="a sample of so many of each component; 0 for all (default: 150)")
    parser.add_argument("--seed", type=int, default=1, help="chooses the sample (default: 1)")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="copies to work in (default: one a processor)")
    parser.add_argument("--build-seconds", type=int, default=300, help="at most for one build (default: 300)")
    parser.add_argument("--at-least", type=float, default=95, metavar="PER_CENT",
                        help="share that has to be noticed in each component (default: 95)")
    parser.add_argument("--fresh", action="store_true", help="forget what earlier runs found")
    parser.add_argument("--list", action="store_true", help="only list the mutants")
    return parser.parse_args()


def main():
    wanted = arguments()
    mutants = chosen_mutants(wanted.component or list(COMPONENTS), 0 if wanted.file else wanted.limit, wanted.seed)
    if wanted.file:
        mutants = [m for m in mutants if any(text in m.path for text in wanted.file)]
    if wanted.list:
        for m in mutants:
            print(f"{m.path}:{m.line}: {m.kind}\n- {m.before}\n+ {m.after}")
        say(f"{len(mutants)} mutants")
        return 0
    if not mutants:
        say("mutants.py: nothing to change: no source has that name")
        return 1
    trial = Trial(mutants, max(1, wanted.jobs), wanted.build_seconds)
    if wanted.fresh:
        trial.results_file.unlink(missing_ok=True)
    try:
        trial.prepare()
        trial.resume()
        trial.run()
    except Failure as failure:
        say(f"mutants.py: {failure}")
        return 1
    except KeyboardInterrupt:
        trial.stopped = True
        for group in list(groups):
            kill_group(group)
        end_progress()
        say("mutants.py: interrupted; call it again to go on")
        return 1
    return 0 if report(trial, wanted.at_least) else 1


if __name__ == "__main__":
    sys.exit(main())
