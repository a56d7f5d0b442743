#!/usr/bin/env python3
"""Makes tables of a benchmark run, in Markdown.

usage: scripts/bench_tables.py RESULTS [--markdown FILE]

RESULTS is the folder that scripts/bench.sh fills. Prints the tables, or with --markdown puts those that FILE has
marks for between these, "<!-- run: NAME -->" and "<!-- end -->", and leaves the rest of it alone.

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

# What is asked, and the goals of our own result: the ratio to the floor and that to spdlog; None where there is none.
GOALS = {
    "dropped": ("message without a rule", 6.0, None),
    "console-null": ("console line, /dev/null", 1.25, 1.05),
    "console-pipe": ("console line, pipe", 1.25, 1.05),
    "caller": ("line for a file, to its caller", 1.15, None),
    "callers-2": ("the same, 2 callers", 1.3, None),
    "callers-4": ("the same, 4 callers", None, 1.0),
    "callers-8": ("the same, 8 callers", None, 1.0),
    "writer": ("line for a file, to the writer", 1.0, None),
    "rotation": ("rotation, 10 MB", 1.1, None),
    "front-end": ("parser, nine elements", 18.0, None),
    "ten-thousand": ("parser, 10,000 elements", 4.0, None),
}
# Those of the table that sums up.
SUMMARY = ("dropped", "console-null", "console-pipe", "caller", "callers-2", "writer", "rotation", "front-end", "ten-thousand")
OURS = ("vlog", "argvparser")
PACKAGES = "g++ libc6 libspdlog-dev libgoogle-glog-dev libcli11-dev libzxing-dev".split()


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
    return "\n".join([" | ".join(header), "|".join(["---"] * len(header))] + [" | ".join(row).rstrip() for row in rows])


def time_text(seconds):
    for unit, size in (("ns", 1e-9), ("us", 1e-6), ("ms", 1e-3)):
        if seconds < 1000 * size:
            return f"{seconds / size:.3g} {unit}"
    return f"{seconds:.3g} s"


def verdict(value, goal):
    return "met" if value <= goal else f"{(value / goal - 1) * 100:.1f} % over"


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
    for question, (text, *_) in GOALS.items():
        if question not in found:
            continue
        by_name = found[question]
        floor = by_name["floor"].best
        for name in sorted(by_name, key=lambda n: (n != "floor", n not in OURS, by_name[n].best)):
            ratio = by_name[name].best / floor
            judged = judgement(question, by_name, name) if name in OURS else ""
            rows.append((text if name == "floor" else '"', name, time_text(by_name[name].best),
                         f"{by_name[name].spread * 100:.0f} %", f"{ratio:.2f}", judged))
    return table(("what is timed", "who", "best", "spread", "ratio to the floor", "goal"), rows)


def judgement(question, by_name, name):
    """Each goal of a question, and whether it is met."""
    _, to_floor, to_spdlog = GOALS[question]
    judged = []
    if to_floor:
        judged.append(f"{to_floor:g}: {verdict(by_name[name].best / by_name['floor'].best, to_floor)}")
    peer = next((peer for peer in ("spdlog", "spdlog-async") if peer in by_name), None)
    if to_spdlog and peer:
        judged.append(f"{to_spdlog:g} x {peer}: {verdict(by_name[name].best / by_name[peer].best, to_spdlog)}")
    return "; ".join(judged)


def summary(results):
    """Our own results alone, each with its floor and the quickest of the others, and the daemon's start."""
    found = questions(runs_of(results / "logger_benchmark.json")) | questions(runs_of(results / "parser_benchmark.json"))
    rows = []
    for question in SUMMARY:
        by_name = found[question]
        ours = next(name for name in by_name if name in OURS)
        other = min((name for name in by_name if name not in ("floor", ours)), key=lambda n: by_name[n].best, default=None)
        rows.append((GOALS[question][0], time_text(by_name[ours].best), time_text(by_name["floor"].best),
                     f"{by_name[ours].best / by_name['floor'].best:.2f}", judgement(question, by_name, ours),
                     f"{time_text(by_name[other].best)} ({other})" if other else ""))
    least = collections.defaultdict(lambda: math.inf)
    for line in lines_of(results / "start.jsonl"):
        least[line["name"]] = min(least[line["name"]], line["result"]["start_us"] / 1e6)
    ours, floor = least["daemon-standin"], least["full"]
    rows.append(("start, until it listens", time_text(ours), time_text(floor), f"{ours / floor:.2f}",
                 f"1.6: {verdict(ours / floor, 1.6)}", ""))
    return table(("what", "here", "floor", "ratio", "goal for it", "quickest other"), rows)


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
        goals = []
        if limits:
            goals = [(f"{what} {limit:g}", ratio, limit) for what, ratio, limit in zip(("start", "resident", "private"), ratios, limits)]
            goals += [("wake-ups 5.1", cost["wakeups_a_second"], 5.1), ("size 330,000", sizes[name], 330000),
                      (f"threads as {base}", cost["threads"], idle[base]["threads"])]
        missed = [f"{goal}: {verdict(value, limit)}" for goal, value, limit in goals if value > limit]
        judged = "; ".join(missed) if missed else f"all {len(goals)} met" if goals else ""
        rows.append((name, f"{min(times[name]) / 1e3:.2f} ms ({ratios[0]:.2f})", f"{cost['rss_kb']} kB ({ratios[1]:.2f})",
                     f"{cost['private_kb']} kB ({ratios[2]:.2f})", judged))
    return table(("who", "start", "resident", "private", "goals"), rows)


def standin(results):
    by_name = collections.defaultdict(list)
    for line in lines_of(results / "standin.jsonl"):
        by_name[line["name"]].append(line)
    loops, loads = collections.defaultdict(list), collections.defaultdict(list)
    for line in by_name["loop"]:
        loops[line["workers"]].append(line["rate"])
    for line in by_name["load"]:
        loads[line["workers"]].append(line["result"])
    rows = []
    for workers, results_of_loads in sorted(loads.items()):
        load = max(results_of_loads, key=lambda result: result["requests"] / result["seconds"])
        loop, rate = max(loops[workers]), load["requests"] / load["seconds"]
        cost = loop / rate - 1
        judged = "" if workers == 1 else ("15 %: met" if cost <= 0.15 else f"15 %: {cost * 100 - 15:.0f} points over")
        if load["errors"]:
            judged = "none without errors"
        rows.append((str(workers), f"{loop:.0f}", f"{rate:.0f}", f"{cost * 100:.0f} %",
                     *(f"{load[key] / 1e3:.2f} ms" for key in ("p50_us", "p99_us")), judged))
    text = table(("readers", "loop, 1/s", "requests, 1/s", "cost", "p50", "p99", "goal"), rows)
    for kept in by_name["keep-alive"]:
        text += (f"\n\n{kept['requests']:,} requests on one connection: {kept['before_kb']} kB resident before, "
                 f"{kept['after_kb']} kB after (1.02 times: "
                 f"{verdict(kept['after_kb'] / kept['before_kb'], 1.02)}).")
    if by_name["alone"] and by_name["beside"]:
        text += "\n\n" + beside_large(by_name["alone"], by_name["beside"])
    return text


def beside_large(alone, beside):
    """Small pictures with one reader, and with two beside a client with large ones; and what is in memory then."""
    best, best_beside = (min(line["p99"] for line in lines) for lines in (alone, beside))
    last = beside[-1]
    sizes = [last["daemon"], max(last["readers"], key=lambda reader: reader["private"])]
    daemon, reader = (f"{size['resident']} kB ({size['private']} private)" for size in sizes)
    return (f"p99 of small pictures, one reader: {best:.2f} ms; two, beside a client with 12 megapixels: "
            f"{best_beside:.2f} ms (3 times: {verdict(best_beside / best, 3)}); then resident: daemon {daemon}, "
            f"reader {reader}.")


def machine(_results):
    with open("/proc/cpuinfo", encoding="ascii") as cpuinfo:
        processor = re.search(r"model name\s*: (.*)", cpuinfo.read())
    listed = subprocess.run(["dpkg-query", "-W", "-f=${Package} ${Version}\n", *PACKAGES], capture_output=True, text=True,
                            check=False).stdout.split("\n")
    what = [f"{len(os.sched_getaffinity(0))} x {processor[1] if processor else platform.machine()}",
            f"{platform.system()} {platform.release()}", *dict.fromkeys(line for line in listed if " " in line.strip())]
    return ", ".join(what) + "."


TABLES = {
    "summary": summary,
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
    for name in re.findall(r"<!-- run: (.*) -->", document):
        if name not in tables:
            parser.error(f"{arguments.markdown} asks for a table {name}, which there is not")
        block = re.compile(rf"(<!-- run: {name} -->\n).*?(<!-- end -->)", re.DOTALL)
        document = block.sub(lambda match, text=tables[name]: f"{match[1]}{text}\n{match[2]}", document)
    arguments.markdown.write_text(document, encoding="utf-8")


main()
