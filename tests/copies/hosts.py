"""Hosts on one machine: network name spaces, each with an address of its own, on a switch that can cut one off.

Nothing of it has a name outside: a host is a process that holds its network, and goes with this one. Needs root."""

import os
import re
import shutil
import subprocess

import harness
from harness import ROOT, end, until

RECIPE = (ROOT / "docs" / "scale.md").read_text()


def can_be_made():
    """Whether this machine lets this process make networks."""
    return os.geteuid() == 0 and shutil.which("keepalived") is not None and subprocess.run(
        ["unshare", "--net", "ip", "link", "add", "name", "probe", "type", "bridge"], check=False,
        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode == 0


def block_with(text):
    """The block of docs/scale.md that has this text in it."""
    blocks = [block for block in re.findall(r"```\n(.*?)```", RECIPE, re.DOTALL) if text in block]
    assert len(blocks) == 1, f"{len(blocks)} blocks have '{text}' in them"
    return blocks[0]


class Network:
    """A network name space."""

    def __init__(self):
        self.process = harness.start(["unshare", "--net", "sleep", "infinity"])
        own = os.readlink("/proc/self/ns/net")
        until(lambda: os.readlink(f"/proc/{self.process.pid}/ns/net") != own, what="a network of its own")

    def inside(self, *command):
        """The command, to be run in this network."""
        return ["nsenter", "--net", "--target", str(self.process.pid), *map(str, command)]

    def run(self, *command):
        subprocess.run(self.inside(*command), check=True)

    def end(self):
        end(self.process)


class Switch(Network):
    """What hosts are connected to."""

    def __init__(self):
        super().__init__()
        self.run("ip", "link", "add", "name", "bridge", "type", "bridge")
        self.run("ip", "link", "set", "bridge", "up")


class Host(Network):
    """With the interface eth0, at a port of the switch, and loopback."""

    def __init__(self, switch, address):
        super().__init__()
        self.switch = switch
        self.address = address
        self.port = "port" + address.rsplit(".", 1)[1]
        switch.run("ip", "link", "add", "name", self.port, "type", "veth", "peer", "name", "eth0", "netns",
                   self.process.pid)
        switch.run("ip", "link", "set", self.port, "master", "bridge", "up")
        self.run("ip", "link", "set", "lo", "up")
        self.run("ip", "link", "set", "eth0", "up")
        self.run("ip", "address", "add", f"{address}/24", "dev", "eth0")

    def cut_off(self):
        self.switch.run("ip", "link", "set", self.port, "down")

    def connect_again(self):
        self.switch.run("ip", "link", "set", self.port, "up")

    def has_address(self, address):
        said = subprocess.run(self.inside("ip", "-oneline", "address", "show", "dev", "eth0"), check=True,
                              stdout=subprocess.PIPE, text=True).stdout
        return f" {address}/" in said


def write_settings(folder, letter):
    """The INI files of a host's copies, as the recipe has the shell write them."""
    script = block_with("host=a").replace("host=a", f"host={letter}").replace("/etc/velmoraserver", str(folder))
    subprocess.run(["sh", "-ec", f"systemctl() {{ :; }}\n{script}"], check=True)


class HostCopy:
    """One of the copies that the recipe's server lines name, as its host runs it."""

    def __init__(self, folder, host, name):
        bind = re.search(r"^Environment=(VELMORA_LIGHT_BIND)=(.*)$", block_with("IPAddressAllow"), re.MULTILINE)
        with open(folder / f"{name}.out", "ab") as output:
            self.process = harness.start(host.inside(harness.DAEMON, "--ini", folder / f"{name}.ini"), cwd=folder,
                                         env={"PATH": os.environ["PATH"], "VL_LOGCFG": "", bind[1]: bind[2]},
                                         stdout=output, stderr=output)

    def end(self):
        end(self.process)
