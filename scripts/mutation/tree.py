"""A copy of the sources with a build of its own, and how a command is run in bounds."""

import os
import pathlib
import re
import resource
import shutil
import signal
import subprocess

ROOT = pathlib.Path(__file__).resolve().parents[2]
WORK = ROOT / "build" / "mutants"
FIRST_BUILD_SECONDS = 3600
BUILD_SECONDS = 300  # of one change

# The groups of processes that run now.
groups = set()


class Failure(Exception):
    """A reason to give up, in one line."""


def limit_process():
    """In the child: bounds on what a change can make a program eat."""
    resource.setrlimit(resource.RLIMIT_AS, (8 << 30, 8 << 30))
    resource.setrlimit(resource.RLIMIT_FSIZE, (1 << 30, 1 << 30))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def kill_group(group):
    try:
        os.killpg(group, signal.SIGKILL)
    except ProcessLookupError:
        pass


def run(command, log, seconds, **popen_arguments):
    """Runs a command as a group of its own; returns its status, none when the time was over."""
    with open(log, "wb") as output:
        process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT,
                                   start_new_session=True, **popen_arguments)
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


class Tree:
    def __init__(self, number):
        self.path = WORK / f"tree-{number}"
        self.build = self.path / "build"
        self.temporary = self.path / "tmp"
        self.log = self.path / "log.txt"

    def prepare(self, engine, programs):
        """Copies the sources and builds the programs as they are."""
        self.copy_sources()
        status = run(
            ["cmake", "-G", "Ninja", "-S", self.path, "-B", self.build, "-DCMAKE_CXX_COMPILER=g++",
             "-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS_DEBUG=-O0 -w",
             "-DVELMORA_BUILD_BENCHMARKS=OFF", f"-DVELMORA_LIGHT_DIR={engine}",
             "-DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST"], self.log, 300)
        if status != 0:
            raise Failure(f"configuring failed: read {self.log}")
        if not self.make(programs, FIRST_BUILD_SECONDS):
            raise Failure(f"the build fails without any change: read {self.log}")

    def copy_sources(self):
        listed = subprocess.run(
            ["git", "-C", ROOT, "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
            check=True, stdout=subprocess.PIPE).stdout.decode().split("\0")
        wanted = {name for name in listed if name and (ROOT / name).is_file()}
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

    def make(self, programs, seconds=BUILD_SECONDS):
        return run(["ninja", "-C", self.build, "-j1", *programs], self.log, seconds) == 0

    def test(self, program, seconds):
        """Nothing when the tests pass, otherwise what was noticed."""
        shutil.rmtree(self.temporary, ignore_errors=True)
        self.temporary.mkdir(parents=True)
        # In a folder of its own: what a changed program leaves there is no trouble to the next one.
        status = run([self.build / "bin" / program, "--gtest_fail_fast", "--gtest_brief=1"], self.log, seconds,
                     env=dict(os.environ, TMPDIR=str(self.temporary)), cwd=self.temporary, preexec_fn=limit_process)
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
