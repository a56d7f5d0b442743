#!/usr/bin/python3
"""Runs the commands of one page as they stand in it, on a machine as its reader has it; or looks at the list of those
that are not run here.

usage: commands_test.py CHECKOUT PAGE
       commands_test.py CHECKOUT --list PAGE...  whether all pages with commands are among these, and the list is exact
"""

import codecs
import os
import pathlib
import re
import select
import signal
import sys
import time
import tomllib

import machine
from page import Command, File, pages_of, steps_of
from serving import answers

PATIENCE = 900  # seconds for one command: the first one builds


def known(checkout):
    with open(checkout / "tests/docs/commands.toml", "rb") as file:
        return tomllib.load(file)


def fail(text):
    print(text, file=sys.stderr)
    sys.exit(1)


# ----- The list

def check_list(checkout, pages):
    faults = []
    of_pages = known(checkout)
    there = {str(path.relative_to(checkout)): path for path in pages_of(checkout)}
    faults += [f"{name} has commands that no test runs" for name in there.keys() - set(pages)]
    faults += [f"{name} has no commands" for name in set(pages) - there.keys()]
    for name, of_page in of_pages.items():
        commands = {step.one_line for step in steps_of(there[name]) if isinstance(step, Command)} if name in there else set()
        for text, how in of_page.get("commands", {}).items():
            if text not in commands:
                faults.append(f"{name} has no command '{text}' any more")
            faults += faults_of(checkout, name, text, how)
    declared = (checkout / "scripts/deps.sh").read_text(encoding="utf-8").split()
    faults += [f"{name}: {package} is not among the packages of scripts/deps.sh" for name, path in there.items()
               for package in installed_by(steps_of(path), of_pages.get(name, {})) if package not in declared]
    if faults:
        fail("\n".join(sorted(faults)))
    print(f"{len(there)} pages")


def faults_of(checkout, name, text, how):
    if set(how) - {"never", "gate", "as", "serves", "status", "instead"}:
        yield f"{name}: '{text}': unknown: {how}"
    if "gate" in how and how.get("as", text) not in (checkout / how["gate"]).read_text(encoding="utf-8"):
        yield f"{name}: '{text}' is not in {how['gate']}"


# ----- The commands

class Terminal:
    """A shell into which the commands are typed one after the other; `serving` is what stays in the foreground."""

    def __init__(self, there):
        self.there = there
        self.shell = there.terminal()
        self.serving = None

    def type(self, text, patience=PATIENCE):
        """What the command prints, and its status."""
        self.shell.stdin.write(f"{{ {text}\n}} </dev/null; printf '\\n[status %d]\\n' $?\n")
        self.shell.stdin.flush()
        said, end = "", time.monotonic() + patience
        # A piece may end within a character.
        text_of = codecs.getincrementaldecoder("utf-8")("replace")
        while not (done := re.search(r"\n\[status (\d+)\]\n\Z", said)):
            ready, _, _ = select.select([self.shell.stdout], [], [], max(0, end - time.monotonic()))
            piece = os.read(self.shell.stdout.fileno(), 65536) if ready else b""
            if not piece:
                fail(f"'{text}' does not end; it says:\n{said}")
            said += text_of.decode(piece)
        return said[: done.start()], int(done[1])

    def write(self, file):
        """Into the folder where the reader is."""
        folder, _ = self.type("pwd")
        (self.there.root / folder.strip()[1:] / file.name).write_text(file.text, encoding="utf-8")

    def serve(self, text, port):
        """In a terminal of its own, until the port answers."""
        self.interrupt()
        log = self.there.place / "serving.log"
        with open(log, "w", encoding="utf-8") as output:
            self.serving = self.there.terminal(output)
        self.serving.stdin.write(f"{text}\n")
        self.serving.stdin.close()
        end = time.monotonic() + PATIENCE
        while not answers(port):
            if self.serving.poll() is not None or time.monotonic() > end:
                fail(f"'{text}' does not serve; it says:\n{log.read_text(encoding='utf-8', errors='replace')}")
            time.sleep(0.1)

    def interrupt(self):
        """Ctrl-C there."""
        if self.serving:
            os.killpg(self.serving.pid, signal.SIGINT)
            self.serving.wait(PATIENCE)
            self.serving = None


def check_output(text, shown, said):
    """Each line that the page shows is printed, in this order; numbers may differ, and "..." is any lines."""
    def plain(line):
        return re.sub(r"\d+(\.\d+)?", "0", line).strip()

    printed = iter([plain(line) for line in said.splitlines()])
    for line in shown:
        if line.strip() != "..." and plain(line) not in printed:
            fail(f"'{text}' does not print\n{line}\nbut\n{said}")


def is_installation(text):
    return re.match(r"(sudo )?apt(-get)? install [a-z]", text) is not None


def installed_by(steps, of_page):
    """The packages that the page's reader installs."""
    commands = [step.text for step in steps if isinstance(step, Command) and is_installation(step.text)
                and "never" not in of_page.get("commands", {}).get(step.text, {})]
    return [word for text in commands for word in text.split("install ")[1].split() if re.fullmatch(r"[a-z0-9.+-]+", word)]


def run_page(checkout, name):
    of_page = known(checkout).get(name, {})
    steps = steps_of(checkout / name)
    packages = None
    if of_page.get("machine", "run") != "all":
        # What build/run may have been configured with is no help to a page.
        packages = ["systemd", "ccache", *machine.packages_of(checkout, "run"), *installed_by(steps, of_page)]
    there = machine.Machine(checkout, packages)
    try:
        ran = follow(steps, of_page, Terminal(there))
    finally:
        there.leave()
    print(f"{name}: {ran} commands as they stand")


def follow(steps, of_page, terminal):
    """Does what the page says; returns how many commands that were."""
    for text in of_page.get("before", []):
        said, status = terminal.type(text)
        if status != 0:
            fail(f"'{text}', which comes before the page, ends with {status}:\n{said}")
    ran = 0
    for step in steps:
        if isinstance(step, File):
            terminal.write(step)
            continue
        how = of_page.get("commands", {}).get(step.one_line, {})
        if "never" in how or "gate" in how or is_installation(step.text):
            continue
        ran += 1
        print(f"$ {step.text}", flush=True)
        if "serves" in how:
            terminal.serve(step.text, how["serves"])
            continue
        said, status = terminal.type(how.get("instead", step.text))
        if status != how.get("status", 0):
            fail(f"'{step.text}' ends with {status}:\n{said}")
        check_output(step.text, step.output, said)
    terminal.interrupt()
    return ran


def main():
    checkout = pathlib.Path(sys.argv[1]).resolve()
    if sys.argv[2] == "--list":
        check_list(checkout, sys.argv[3:])
        return
    machine.enter()
    run_page(checkout, sys.argv[2])


main()
