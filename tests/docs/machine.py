"""A throwaway copy of this machine, as its owner has it who has installed only some packages.

It is an overlay over the root folder in a name space of its own: what a command does there, to /etc or to /opt, is gone
afterwards. The network is its own loopback. Everything runs inside "unshare" (see enter), so that nothing is left behind.
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

NOT_POSSIBLE = 77
INSIDE = "VELMORA_DOCS_INSIDE"
# What a program or its build would find of a package that is not there.
FOUND_BY_OTHERS = re.compile(r"/(usr/)?s?bin/|/usr/games/|/usr/include/|/usr/(lib|share)/.*(cmake|pkgconfig)/")


def enter():
    """Runs this program again in name spaces of its own; ends with 77 where nobody but root could, or root neither."""
    if INSIDE in os.environ:
        return
    command = ["unshare", "--mount", "--net", "--pid", "--fork", "--kill-child", "--mount-proc"]
    mount = ["mount", "-t", "tmpfs", "none", "/mnt"]
    if os.geteuid() != 0 or subprocess.run([*command, *mount], check=False, stderr=subprocess.DEVNULL).returncode != 0:
        print("needs root, and name spaces to mount in")
        sys.exit(NOT_POSSIBLE)
    os.environ[INSIDE] = "1"
    os.execvp("unshare", [*command, sys.executable, "-B", *sys.argv])


def run(*command):
    subprocess.run([str(part) for part in command], check=True)


class Machine:
    """With `packages` the checkout has nothing built but build/run, which stays; otherwise its build is as it is."""

    def __init__(self, checkout, packages):
        self.checkout = checkout
        run("ip", "link", "set", "lo", "up")
        self.place = pathlib.Path(tempfile.mkdtemp())  # goes with the name space, but for the empty folder
        run("mount", "-t", "tmpfs", "none", self.place)
        self.root = self.place / "root"
        self.lay_over("/", self.root)
        for name in ("dev", "sys"):
            run("mount", "--rbind", f"/{name}", self.root / name)
        run("mount", "-t", "proc", "none", self.root / "proc")
        for name in ("tmp", "run"):
            run("mount", "-t", "tmpfs", "none", self.root / name)
        here = self.root / checkout.relative_to("/")
        # On a disk of its own, or in /tmp, which is covered.
        if not (here / "CMakeLists.txt").exists():
            self.lay_over(checkout, here)
        if packages is not None:
            remove_others(self.root, packages)
            (checkout / "build/run").mkdir(parents=True, exist_ok=True)
            build = here / "build"
            run("mount", "-t", "tmpfs", "none", build)
            (build / "run").mkdir()
            run("mount", "--bind", checkout / "build/run", build / "run")

    def lay_over(self, below, target):
        upper = self.place / f"upper{len(list(self.place.iterdir()))}"
        work = upper.with_name(upper.name + "-work")
        for folder in (upper, work, target):
            folder.mkdir(parents=True, exist_ok=True)
        run("mount", "-t", "overlay", "none", f"-olowerdir={below},upperdir={upper},workdir={work}", target)

    def terminal(self, output=subprocess.PIPE):
        """A shell there, in a session of its own; its standard input takes what is typed."""
        environment = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin:/opt/velmoraserver/bin", "HOME": "/root", "LC_ALL": "C.UTF-8",
                       "SYSTEMD_OFFLINE": "1", "TERM": "dumb"}
        return subprocess.Popen(
            ["chroot", self.root, "bash", "--norc", "-c", 'cd "$1"; exec bash -s', "bash", self.checkout],
            stdin=subprocess.PIPE, stdout=output, stderr=subprocess.STDOUT, env=environment, text=True,
            start_new_session=True)

    def leave(self):
        """Unmounts all of it, so that the folder can go; what runs there still holds it open."""
        subprocess.run(["umount", "-l", self.place], check=False)
        shutil.rmtree(self.place, ignore_errors=True)


def remove_others(root, wanted):
    """Takes away the programs and headers of all packages but these, what they depend on, and Debian's own."""
    listed = subprocess.run(
        ["dpkg-query", "-W", "-f", "${Package}\t${Architecture}\t${Essential}\t${Priority}\t${Depends}, ${Pre-Depends}\t${Provides}\n"],
        check=True, capture_output=True, text=True).stdout
    depends, provided, here = {}, {}, set(wanted)
    for line in listed.splitlines():
        package, architecture, essential, priority, needs, provides = line.split("\t")
        if architecture == "arm64" and os.uname().machine != "aarch64":
            continue  # stands beside the one that is meant
        depends[package] = names(needs)
        for name in names(provides):
            provided.setdefault(name, package)
        if essential == "yes" or priority == "required":
            here.add(package)
    todo = list(here)
    while todo:
        for name in depends.get(todo.pop(), []):
            package = name if name in depends else provided.get(name)
            if package and package not in here:
                here.add(package)
                todo.append(package)
    files = set()
    kept = set()
    for path in pathlib.Path("/var/lib/dpkg/info").glob("*.list"):
        package = path.name.removesuffix(".list").split(":")[0]
        owned = {name for name in path.read_text(encoding="utf-8").splitlines() if FOUND_BY_OTHERS.match(name)}
        (kept if package in here else files).update(owned)
    for name in files - kept:
        path = root / name[1:]
        if not path.is_dir() or path.is_symlink():
            path.unlink(missing_ok=True)


def names(relations):
    return [re.split(r"[ (:|]", part.strip())[0] for part in relations.replace("|", ",").split(",") if part.strip()]


def packages_of(checkout, wanted):
    """What a set of scripts/deps.sh holds."""
    script = "source <(sed -n '/^declare -A sets/,/^$/p' scripts/deps.sh) && printf '%s\\n' ${sets[$1]}"
    said = subprocess.run(["bash", "-c", script, "bash", wanted], cwd=checkout, check=True, capture_output=True, text=True)
    return said.stdout.split()
