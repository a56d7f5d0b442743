#!/usr/bin/env python3
"""Makes tables of a benchmark run, in Markdown.

usage: scripts/bench_tables.py RESULTS [--markdown FILE]

RESULTS is the folder that scripts/bench.sh fills. Prints the tables, or with --markdown puts them between
the marks "<!-- run: NAME -->" and "<!-- end -->" of FILE and leaves the rest of it alone.

Times are the best of the run; the spread is how far the worst repetition lies above the best.
"""

import argparse
import collections
import json
import math
import os
import pathlib
import platform
import re
import subprocess
import sys

# The goal of a question: a ratio to the floor that our own result is to keep. None: no bound of that kind.
GOALS = {
    "dropped": ("a message without a rule, 18 others in the table", 6.0),
    "console-null": ("a console line into /dev/null", 1.25),
    "console-pipe": ("a console line into a pipe", 1.25),
    "caller": ("a line for a file, cost to the caller", 1.15),
    "callers-2": ("the same with 2 callers", 1.3),
    "callers-4": ("the same with 4 callers", None),
    "callers-8": ("the same with 8 callers", None),
    "writer": ("the writer, a line of a file", 1.0),
    "rotation": ("rotation of a 10 MB file", 1.1),
    "front-end": ("the front end's start: construct, declare, parse nine elements, read", 18.0),
    "ten-thousand": ("10,000 elements", 4.0),
}
OURS = ("vlog", "argvparser")
PACKAGES = (
    "g++ libc6 libbenchmark-dev libspdlog-dev libgoogle-glog-dev liblog4cplus-dev libboost-log-dev "
    "libboost-program-options-dev libcli11-dev libcxxopts-dev libargparse-dev libzxing-dev wrk"
).split()


class Samples:
    """The repetitions of one benchmark: seconds an item."""

    def __init__(self):
        self.values = []

    def add(self, value):
        self.values.append(value)

    @property
    def best(self):
        return min(self.values)

    @property
    def spread(self):
        return max(self.values) / self.best - 1


def results_of(path):
    if not path.exists() or path.stat().st_size == 0:
        sys.exit(f"bench_tables.py: {path} is missing or empty: scripts/bench.sh writes it")
    return path.read_text(encoding="utf-8")


def runs_of(path):
    return [run for run in json.loads(results_of(path))["benchmarks"] if run["run_type"] == "iteration"]


def lines_of(path):
    return [json.loads(line) for line in results_of(path).splitlines()]


def table(header, rows):
    lines = ["| " + " | ".join(header) + " |", "|" + "---|" * len(header)]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rows])


def time_text(seconds):
    for unit, size in (("ns", 1e-9), ("us", 1e-6), ("ms", 1e-3)):
        if seconds < 1000 * size:
            return f"{seconds / size:.3g} {unit}"
    return f"{seconds:.3g} s"


def verdict(value, goal):
    return "met" if value <= goal else f"missed by {(value / goal - 1) * 100:.0f} %"


def questions(runs):
    """question -> name -> Samples, of the runs that say how many items a second they did."""
    found = collections.defaultdict(lambda: collections.defaultdict(Samples))
    for run in runs:
        question, name = run["name"].split("/")[:2]
        if question in GOALS and "items_per_second" in run:
            found[question][name].add(1 / run["items_per_second"])
    return found


def comparison(results, program):
    rows = []
    found = questions(runs_of(results / f"{program}.json"))
    for question, (text, goal) in GOALS.items():
        if question not in found:
            continue
        by_name = found[question]
        floor = by_name["floor"].best
        for name in sorted(by_name, key=lambda n: (n != "floor", n not in OURS, by_name[n].best)):
            ratio = by_name[name].best / floor
            judged = ""
            if name in OURS:
                judged = f"{goal:g}: {verdict(ratio, goal)}" if goal else against_spdlog(by_name, name)
                if "spdlog" in by_name and question.startswith("console"):
                    beside = by_name[name].best / by_name["spdlog"].best
                    judged += f"; {beside:.2f} x spdlog, 1.05: {verdict(beside, 1.05)}"
            rows.append((text if name == "floor" else "", name, time_text(by_name[name].best),
                         f"{by_name[name].spread * 100:.0f} %", f"{ratio:.2f}", judged))
    return table(("what is timed", "who", "best", "spread", "ratio to the floor", "goal"), rows)


def against_spdlog(by_name, name):
    if "spdlog-async" not in by_name:
        return "as spdlog-async, which is not installed"
    return "as spdlog-async: " + verdict(by_name[name].best / by_name["spdlog-async"].best, 1.0)


def latency(results):
    best = collections.defaultdict(lambda: collections.defaultdict(list))
    for run in runs_of(results / "logger_benchmark.json"):
        question, name = run["name"].split("/")[:2]
        if question == "caller-latency":
            for key in ("p50_ns", "p99_ns", "p999_ns"):
                best[name][key].append(run[key])
    rows = []
    for name, values in best.items():
        judged = f"p99 below 1000 ns: {verdict(min(values['p99_ns']), 1000)}" if name in OURS else ""
        rows.append((name, *(f"{min(values[key]):.0f}" for key in ("p50_ns", "p99_ns", "p999_ns")), judged))
    return table(("who", "p50, ns", "p99, ns", "p99.9, ns", "goal"), rows)


def allocations(results):
    found = {run["name"].split("/")[1]: run for run in runs_of(results / "logger_allocations.json")}
    columns = ("allocations_a_first_line", "allocations_a_line")
    return table(("line for", "one of the first 160", "a later one"),
                 [(name, *(f"{run[column]:.2f}" for column in columns)) for name, run in found.items()])


def growth(results):
    """The exponent of each family of benchmarks that was run with several sizes."""
    families = collections.defaultdict(lambda: collections.defaultdict(Samples))
    for program in ("argvparser_benchmark", "vlog_config_benchmark"):
        for run in runs_of(results / f"{program}.json"):
            match = re.fullmatch(r"(.+)/(\d+)", run["name"])
            if match:
                unit = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1}[run["time_unit"]]
                families[match[1]][int(match[2])].add(run["cpu_time"] * unit)
    rows = []
    for name, by_size in families.items():
        sizes = sorted(by_size)
        if len(sizes) > 1:
            small, large = sizes[0], sizes[-1]
            exponent = math.log(by_size[large].best / by_size[small].best) / math.log(large / small)
            rows.append((name, f"{small:,} to {large:,}", time_text(by_size[large].best), f"{exponent:.2f}",
                         f"1.1: {verdict(exponent, 1.1)}"))
    return table(("what", "sizes", "largest", "exponent", "goal"), rows)


def configuration(results):
    rates = collections.defaultdict(list)
    for run in runs_of(results / "vlog_config_benchmark.json"):
        question, name = run["name"].split("/")[:2]
        if question == "configuration":
            rates[name].append(run["bytes_per_second"])
    fastest = max(rates.get("floor", [0]))
    names = {"floor": "memchr", "getline": "std::getline", "vlog": "loadFromString"}
    return table(("how", "MB/s", "times memchr's time"),
                 [(names[name], f"{max(values) / 1e6:.0f}", f"{fastest / max(values):.1f}")
                  for name, values in sorted(rates.items(), key=lambda item: -max(item[1]))])


def start(results):
    times, idle, sizes = collections.defaultdict(list), {}, {}
    for line in lines_of(results / "start.jsonl"):
        times[line["name"]].append(line["result"]["start_us"])
        sizes[line["name"]] = line["size"]
        if "rss_kb" in line["result"]:
            idle[line["name"]] = line["result"]
    if not idle:
        return "Not measured."
    rows = []
    for name in ("thin", "daemon-thin", "full", "daemon-standin"):
        cost = idle[name]
        base, limits = {"daemon-thin": ("thin", (1.5, 1.3, 2)), "daemon-standin": ("full", (1.6, 2, 3))}.get(name, (name, None))
        ratios = (min(times[name]) / min(times[base]), cost["rss_kb"] / idle[base]["rss_kb"],
                  cost["private_kb"] / idle[base]["private_kb"])
        judged = ""
        if limits:
            parts = zip(("start", "resident", "private"), ratios, limits)
            judged = "; ".join(f"{what} {limit:g}: {verdict(ratio, limit)}" for what, ratio, limit in parts)
            judged += f"; wake-ups 5.1: {verdict(cost['wakeups_a_second'], 5.1)}; size 330,000: {verdict(sizes[name], 330000)}"
            judged += f"; threads as {base}: {verdict(cost['threads'], idle[base]['threads'])}"
        rows.append((name, f"{min(times[name]) / 1e3:.2f} ms ({ratios[0]:.2f})", f"{cost['rss_kb']} kB ({ratios[1]:.2f})",
                     f"{cost['private_kb']} kB ({ratios[2]:.2f})", str(cost["threads"]), f"{cost['wakeups_a_second']:.2f}",
                     f"{cost['cpu_us_a_second']:.0f} us", f"{sizes[name]:,}", judged))
    return table(("who", "start", "resident", "private", "threads", "wake-ups a second", "CPU a second", "program, bytes", "goal"), rows)


def standin(results):
    loops, loads, kept = collections.defaultdict(list), collections.defaultdict(list), None
    for line in lines_of(results / "standin.jsonl"):
        if line["name"] == "keep-alive":
            kept = line
        elif "rate" in line:
            loops[line["workers"]].append(line["rate"])
        else:
            loads[line["workers"]].append(line["result"])
    rows = []
    for workers, results_of_loads in sorted(loads.items()):
        load = max(results_of_loads, key=lambda result: result["requests"] / result["seconds"])
        loop, rate = max(loops[workers]), load["requests"] / load["seconds"]
        cost = loop / rate - 1
        judged = "" if workers == 1 else ("15 %: met" if cost <= 0.15 else f"15 %: missed by {cost * 100 - 15:.0f} points")
        if load["errors"]:
            judged = "none without errors"
        rows.append((str(workers), f"{loop:.0f}", f"{rate:.0f}", f"{cost * 100:.0f} %",
                     *(f"{load[key] / 1e3:.2f} ms" for key in ("p50_us", "p99_us", "p999_us")), str(load["errors"]), judged))
    text = table(("workers", "loop, 1/s", "requests, 1/s", "cost", "p50", "p99", "p99.9", "errors", "goal"), rows)
    if kept:
        text += (f"\n\n{kept['requests']:,} requests on one connection: {kept['before_kb']} kB resident before, "
                 f"{kept['after_kb']} kB after (not above 1.02 times as much: "
                 f"{verdict(kept['after_kb'] / kept['before_kb'], 1.02)}).")
    return text


def machine(_results):
    with open("/proc/cpuinfo", encoding="ascii") as cpuinfo:
        processor = re.search(r"model name\s*: (.*)", cpuinfo.read())
    listed = subprocess.run(["dpkg-query", "-W", "-f=${Package} ${Version}\n", *PACKAGES], capture_output=True, text=True,
                            check=False).stdout.split("\n")
    rows = [("processors", f"{len(os.sched_getaffinity(0))} x {processor[1] if processor else platform.machine()}"),
            ("kernel", f"{platform.system()} {platform.release()}")]
    rows += [tuple(line.split(" ", 1)) for line in listed if len(line.split(" ", 1)) == 2 and line.split(" ", 1)[1]]
    return table(("what", "which"), rows)


TABLES = {
    "machine": machine,
    "logger": lambda results: comparison(results, "logger_benchmark"),
    "latency": latency,
    "allocations": allocations,
    "parser": lambda results: comparison(results, "parser_benchmark"),
    "growth": growth,
    "configuration": configuration,
    "start": start,
    "standin": standin,
}


def main():
    parser = argparse.ArgumentParser(description="Makes tables of a benchmark run, in Markdown.")
    parser.add_argument("results", type=pathlib.Path)
    parser.add_argument("--markdown", type=pathlib.Path, metavar="FILE")
    arguments = parser.parse_args()
    tables = {name: make(arguments.results) for name, make in TABLES.items()}
    if arguments.markdown is None:
        for name, text in tables.items():
            print(f"\n{name}\n\n{text}")
        return
    document = arguments.markdown.read_text(encoding="utf-8")
    for name, text in tables.items():
        block = re.compile(rf"(<!-- run: {name} -->\n).*?(<!-- end -->)", re.DOTALL)
        if not block.search(document):
            parser.error(f"{arguments.markdown} has no block for {name}")
        document = block.sub(lambda match, text=text: f"{match[1]}{text}\n{match[2]}", document)
    arguments.markdown.write_text(document, encoding="utf-8")


main()
