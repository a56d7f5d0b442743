#!/usr/bin/python3
"""Runs the commands of the pages about containers as they stand in them, with the image that scripts/image.sh has saved:
those that commands.toml says this program runs. Each container has the machine's network, and none has control groups,
since not every machine lets podman have them. Needs root.

usage: containers_test.py CHECKOUT
"""

import os
import pathlib
import subprocess
import sys
import tempfile
import time
import tomllib

from page import Command, steps_of
from serving import answers

PAGES = ["docs/containers.md", "docs/kubernetes.md"]
PATIENCE = 300  # seconds for one command
INSIDE = "VELMORA_CONTAINERS_INSIDE"
# The runtime wants control groups of the second version alone, also where the system has both.
NAME_SPACES = """[ "$(stat -f -c %T /sys/fs/cgroup)" = cgroup2fs ] ||
{ umount -R /sys/fs/cgroup && mount -t cgroup2 cgroup2 /sys/fs/cgroup; } && ip link set lo up && exec "$@\""""


def fail(text):
    print(text, file=sys.stderr)
    sys.exit(1)


def commands_of(checkout, page):
    """As they stand there, those that are run here."""
    with open(checkout / "tests/docs/commands.toml", "rb") as file:
        listed = tomllib.load(file)[page]["commands"]
    for step in steps_of(checkout / page):
        how = listed.get(step.one_line, {}) if isinstance(step, Command) else {"never": "a file"}
        if "never" not in how and ("gate" not in how or how.get("as") == pathlib.Path(__file__).name):
            yield step.text


def wait_until_served():
    end = time.monotonic() + PATIENCE
    while time.monotonic() < end:
        if answers(51000):
            return
        time.sleep(0.05)
    fail("it does not serve")


class Reader:
    """A folder that looks like a checkout to the pages' commands, and a podman whose storage is in it."""

    def __init__(self, checkout, place):
        self.folder = place / "checkout"
        self.folder.mkdir()
        for name in ("build", "config", "packaging"):
            (self.folder / name).symlink_to(checkout / name)
        podman = place / "bin/podman"
        podman.parent.mkdir()
        podman.write_text(f"#!/bin/sh\nexec /usr/bin/podman --storage-driver vfs --root {place}/storage --runroot {place}/run \"$@\"\n",
                          encoding="utf-8")
        podman.chmod(0o755)
        # Nobody looks at a container's health by himself here: that is systemd's, by podman's wish.
        self.environment = os.environ | {"PATH": f"{podman.parent}:{os.environ['PATH']}", "DISABLE_HC_SYSTEMD": "true",
                                         "CONTAINERS_CONF": str(checkout / "tests/packaging/podman.conf")}

    def type(self, text):
        done = subprocess.run(["bash", "-c", text], cwd=self.folder, env=self.environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=PATIENCE, check=False)
        if done.returncode != 0:
            fail(f"'{text}' ends with {done.returncode}:\n{done.stdout}")

    def follow(self, text):
        print(f"$ {text}", flush=True)
        if text.startswith("podman build"):
            # Any library will do; the image's own is one.
            self.type("podman create --name engine velmoraserviced:1.0.0 && podman cp engine:/opt/velmoraserver/lib/libvelmoraLight.so . && "
                      "podman rm engine")
        if text.startswith("podman run -p"):
            self.instead_of_the_other(text)
            return
        if text.startswith("podman healthcheck"):
            # It gives the daemon two seconds, which a busy machine may take away from it.
            text = f"for try in {{1..60}}; do {text} && exit; done; exit 1"
        self.type(text)
        if text.startswith("podman run -d"):
            wait_until_served()

    def instead_of_the_other(self, text):
        """What stays in the foreground, on the same port."""
        self.type("podman stop velmoraserviced")
        self.type(text.replace("podman run", "podman run -d"))
        wait_until_served()
        self.type("podman rm --force --time 0 --latest && podman start velmoraserviced")
        wait_until_served()

    def leave(self):
        self.type("podman rm --force --all --time 0")


def main():
    checkout = pathlib.Path(sys.argv[1]).resolve()
    if INSIDE not in os.environ:
        os.environ[INSIDE] = "1"
        os.execvp("unshare", ["unshare", "--mount", "--net", "sh", "-c", NAME_SPACES, "sh", sys.executable, "-B", *sys.argv])
    with tempfile.TemporaryDirectory() as place:
        reader = Reader(checkout, pathlib.Path(place))
        for page in PAGES:
            commands = list(commands_of(checkout, page))
            try:
                for text in commands:
                    reader.follow(text)
            finally:
                reader.leave()
            print(f"{page}: {len(commands)} commands as they stand")


main()
