#!/usr/bin/env python3
"""Compares the checker with the daemon on random INI files, command lines and log configurations.

usage: check-difference.py [--count N] [--seconds N] [--seed N] [--build DIR]

  --count N    so many of each of the three (10000)
  --seconds N  stop after this time, whatever the count
  --seed N     the first of the numbers that the random ones are made from (the time)
  --build DIR  the build with velmoraserviced, velmoracheck and the engine's double (build/release)

The daemon runs with an engine that records its five numbers and creates no server, so that it ends
at once. For a log configuration the daemon's files are compared with those that come of its lines
by the rules which the checker tells. Exit status 0 without a difference, else 1; what differed is
kept in a folder that is named.
"""

import argparse
import json
import os
import pathlib
import random
import re
import shutil
import subprocess
import sys
import tempfile
import time

KEYS = ["connections", "port", "threads", "threadQueuesize", "queueTimeout"]
RECORDED = {"connections": "conns", "threadQueuesize": "threadQueueSize"}


class Programs:
    """The daemon and the checker, in a folder of their own."""

    def __init__(self, build, folder):
        self.build, self.folder = build, folder
        self.environment = {
            "LD_LIBRARY_PATH": str(build / "tests/engine_double"),
            "ENGINE_DOUBLE_RECORD": str(folder / "calls"),
            "ENGINE_DOUBLE_FAIL": "1",
            "ENGINE_DOUBLE_VERSION": "0 0 0",
        }
        # Of a build with sanitizers.
        self.environment |= {name: value for name, value in os.environ.items() if name.endswith("SAN_OPTIONS")}
        self.revision = self.run("velmoracheck", ["--version"]).stdout.decode().split()[-1]

    def run(self, name, arguments, **more):
        command = [str(self.build / "bin" / name), *arguments]
        return subprocess.run(command, cwd=self.folder, env=self.environment | more, timeout=120,
                              stdin=subprocess.DEVNULL, capture_output=True, check=False)

    def numbers_of_the_daemon(self, arguments):
        """What reaches the engine; None when nothing does."""
        record = self.folder / "calls"
        record.unlink(missing_ok=True)
        self.run("velmoraserviced", arguments, VL_LOGCFG="")
        found = re.search(r"create (.*)", record.read_text() if record.exists() else "")
        if not found:
            return None
        taken = dict(item.split("=") for item in found[1].split())
        return [int(taken[RECORDED.get(key, key)]) for key in KEYS]

    def report(self, arguments):
        """What the checker says as JSON; None when it was called wrongly."""
        outcome = self.run("velmoracheck", ["--json", *arguments])
        return json.loads(outcome.stdout) if outcome.returncode in (0, 1) else None

    def numbers_of_the_checker(self, arguments):
        report = self.report(["--logcfg", "", *arguments])
        if report is None or report["settings"] is None:
            return None
        return [setting["value"] for setting in report["settings"]]


# --- Random texts ---------------------------------------------------------------------------------


def number(rng):
    return rng.choice([
        lambda: str(rng.randint(-5, 70000)), lambda: hex(rng.randint(0, 70000)),
        lambda: "0" + oct(rng.randint(0, 70000))[2:], lambda: "09" + str(rng.randint(0, 9)),
        lambda: str(rng.randint(-2**66, 2**66)), lambda: str(rng.randint(-2**33, 2**33)),
        lambda: str(rng.randint(1, 99)) + rng.choice(["s", " # x", ";x", " ; x", "//", ".5", "e3", "K"]),
        lambda: rng.choice(["", "abc", "-", "+", "0x", "+7", "- 7", "--7", "\t8", "'9'", "\u00e4"]),
    ])()


def spelt(rng, word):
    return rng.choice([str, str, str, str.upper, str.capitalize,
                       lambda text: text[:-1], lambda text: " " + text])(word)


def ini_line(rng):
    key, blank = spelt(rng, rng.choice(KEYS)), rng.choice(["", " ", "\t", "  "])
    return rng.choice([
        lambda: key + blank + rng.choice("==:") + blank + number(rng),
        lambda: key + blank + rng.choice("==:") + blank + number(rng),
        lambda: key + " = " + number(rng) + rng.choice([" ; comment", ";", " #", " " * 190 + "port = 7"]),
        lambda: rng.choice(["[default]", "[Default]", "[other]", "[default", " [default]",
                            "[default] port = 3", "[]", "[default];x"]),
        lambda: rng.choice(["; comment", "# comment", "", " ", "junk", "=5", "= ", ":", "\ufeff[default]"]),
        lambda: " " + number(rng),
        lambda: ";" + "x" * rng.randint(190, 210) + key + "=" + number(rng),
    ])()


def ini_file(rng):
    lines = ["[default]"] if rng.random() < 0.8 else []
    lines += [ini_line(rng) for _ in range(rng.randint(0, 9))]
    return rng.choice(["\n", "\n", "\r\n"]).join(lines) + rng.choice(["\n", ""])


def command_line(rng):
    words = []
    short = dict(zip(KEYS, "cptqo"))
    for _ in range(rng.randint(0, 5)):
        key, value = rng.choice(KEYS), number(rng)
        words += rng.choice([
            [f"--{key}", value], [f"--{key}={value}"], [f"-{short[key]}", value], [f"-{short[key]}={value}"],
            [f"-{short[key]}"], [f"-{rng.choice('cptqo')}{rng.choice('cptqo')}"],
            ["-i", "random.ini"], ["--ini=random.ini"], ["--ini", ""], ["random.ini"], ["--", value]])
    return words


def log_rule(rng):
    topic = rng.choice(["VELMORASRV"] * 4 + ["LOGGER"] * 2 + ["VELMORA SRV", "LOGER", "*", "velmorasrv"])
    level = rng.choice(["INFO"] * 5 + ["CRITICAL"] * 2 + ["WARN", "info", "INFO,DEBUG", "IN FO"])
    form = rng.choice(["SIMPLE", "SIMPLE_TS", "FULL", "simple", "X"])
    names = ["a.log", "b.log", "[STDOUT]", "c .log", "./d.log", "no/x.log", "[stdout]"]
    files = ",".join(rng.sample(names, rng.randint(1, 3)))
    # Limits that a few lines fill: with one that only some lines exceed, the digits of numbers count.
    sizes = ["0", "40", "100", "200", "400", "1K", "2 K", "1KB", "900", "1m", "-5", "1000000000", "x", "10M", "1MK"]
    size = ",".join(rng.choice(sizes) for _ in range(rng.randint(1, 3)))
    fields = [topic, level, form, files, size]
    if rng.random() < 0.04:
        fields.pop()
    blank = rng.choice(["", " ", "\t"])
    return (blank + ";" + blank).join(fields)


def log_file(rng):
    lines = [rng.choice([lambda: log_rule(rng)] * 6 + [lambda: "# comment", lambda: "", lambda: "A;B"])()
             for _ in range(rng.randint(1, 5))]
    return rng.choice(["\n", "\n", "\r\n"]).join(lines) + "\n"


# --- The log, as the checker's rules have it --------------------------------------------------------

STAMP = r"\d{4}:\d\d:\d\d \d\d:\d\d:\d\d\.\d{6}"
PREFIX = {
    "SIMPLE": rb"\[%s *: 0x[0-9A-F]{4} : %s\] -> ",
    "SIMPLE_TS": rb"\[" + STAMP.encode() + rb" : %s *: 0x[0-9A-F]{4} : %s\] -> ",
    "FULL": rb"\[" + STAMP.encode() + rb" : \d+ : %s *: 0x[0-9A-F]{4} : %s : [a-z/_]+ : \d+\] -> ",
}


def own_lines(ini, build):
    """The daemon's lines in their order: topic, level, source, number, message."""
    start, control = "velmoraserver/app/velmoraserviced/velmoraserviced", "velmoraserver/app/common/velmoraservice"
    ruler = "-" * 40
    lines = [("LOGGER", "INFO", "vlog", 100, "Loaded config file: random.cfg - status: OK"),
             ("LOGGER", "INFO", "vlog", 100, "VLib log session started"),
             ("VELMORASRV", "INFO", start, 102, f"Start parser file : {ini}")]
    if ini == "missing.ini":
        return [*lines, ("VELMORASRV", "CRITICAL", start, 106, f"Error to open file {ini}")]
    said = [(74, ruler), (75, "Velmora Light Info"), (77, "\tVelmora Version: 0.0.0"),
            (78, "\tVelmora BuildInfo: unknown"), (79, ruler), (60, ruler), (61, "Velmora Service"),
            (62, f"\tBUILD           :{build}"), (63, "\tconnections     : 1"), (64, "\tport            : 51000"),
            (65, "\tthreads         : 1"), (66, "\tthreadQueuesize : 10"), (67, "\tqueueTimeout    : 0"), (68, ruler)]
    return lines + [("VELMORASRV", "INFO", control, at, message) for at, message in said]


def length_of(line, form):
    topic, level, source, at, message = line
    length = len(f"[{topic:<8} : 0x0000 : {level}] -> {message}\r\n")
    length += 29 if form != "SIMPLE" else 0
    return length + (len(f" : {source} : {at}") + 18 if form == "FULL" else 0)


def expected_files(report, ini, build):
    """By name: the lines that are in each file in the end, as (topic, level, format, message)."""
    if report["log"]["source"] == "built-in":
        return {}
    rules = {(rule["topic"], rule["level"]): rule for rule in report["log"]["rules"]}
    files, sizes = {}, {}
    for line in own_lines(ini, build):
        rule = rules.get(line[:2])
        for place in rule["destinations"] if rule else []:
            name = os.path.normpath(place["name"])
            if place["name"] == "[STDOUT]" or "/" in name:
                continue
            length = length_of(line, rule["format"])
            if place["limit"] >= length and sizes.get(name, 0) > place["limit"] - length:
                files[name + ".bkp"], sizes[name + ".bkp"] = files[name], sizes[name]
                files[name], sizes[name] = [], 0
            files.setdefault(name, []).append((line[0], line[1], rule["format"], line[4]))
            sizes[name] = sizes.get(name, 0) + length
    return files


def as_expected(content, lines):
    pattern = b"".join(PREFIX[form] % (topic.encode(), level.encode()) + re.escape(message).encode() + b"\r\n"
                       for topic, level, form, message in lines)
    return re.fullmatch(pattern, content) is not None


# --- The three comparisons: each returns what differs, or None ---------------------------------------


def compare_ini(programs, rng):
    (programs.folder / "random.ini").write_bytes(ini_file(rng).encode())
    arguments = ["--ini", "random.ini"]
    mine, theirs = programs.numbers_of_the_checker(arguments), programs.numbers_of_the_daemon(arguments)
    return None if mine == theirs else f"checker {mine}, daemon {theirs}: random.ini"


def compare_command_line(programs, rng):
    (programs.folder / "random.ini").write_bytes(ini_file(rng).encode())
    arguments = command_line(rng)
    mine, theirs = programs.numbers_of_the_checker(arguments), programs.numbers_of_the_daemon(arguments)
    return None if mine == theirs else f"checker {mine}, daemon {theirs}: {arguments}"


def logs(folder):
    return [*folder.glob("*.log*"), *folder.glob("[[]stdout]*")]


def compare_log(programs, rng):
    for path in logs(programs.folder):
        path.unlink()
    (programs.folder / "random.cfg").write_bytes(log_file(rng).encode())
    (programs.folder / "good.ini").write_text("[default]\nport = 51000\n")
    ini = rng.choice(["missing.ini", "good.ini", "good.ini"])
    report = programs.report(["--ini", ini, "--logcfg", "random.cfg"])
    expected = expected_files(report, ini, programs.revision)
    programs.run("velmoraserviced", ["--ini", ini], VL_LOGCFG="random.cfg")
    found = {path.name: path.read_bytes() for path in logs(programs.folder)}
    if found.keys() != expected.keys():
        return f"checker {sorted(expected)}, daemon {sorted(found)}: random.cfg"
    for name, lines in expected.items():
        if not as_expected(found[name], lines):
            return f"{name}: checker {lines}, daemon {found[name]}: random.cfg"
    return None


def main():
    root = pathlib.Path(__file__).resolve().parent.parent
    parser = argparse.ArgumentParser(usage=__doc__.strip().split("\n\n", 1)[1], add_help=True)
    parser.add_argument("--count", type=int, default=10000)
    parser.add_argument("--seconds", type=float, default=float("inf"))
    parser.add_argument("--seed", type=int, default=int(time.time()))
    parser.add_argument("--build", type=pathlib.Path, default=root / "build/release")
    options = parser.parse_args()
    folder = pathlib.Path(tempfile.mkdtemp(prefix="check-difference-"))
    programs = Programs(options.build.resolve(), folder)
    comparisons = {"INI files": compare_ini, "command lines": compare_command_line, "log configurations": compare_log}
    end = time.monotonic() + options.seconds
    done = 0
    while done < options.count and time.monotonic() < end:
        for name, compare in comparisons.items():
            difference = compare(programs, random.Random(f"{name} {options.seed + done}"))
            if difference:
                print(f"check-difference: {name}, seed {options.seed + done}: {difference} in {folder}")
                return 1
        done += 1
    shutil.rmtree(folder)
    print(f"{done} of each ({', '.join(comparisons)}) without a difference, seed {options.seed}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
