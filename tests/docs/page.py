"""The commands of a page, in their order, as its reader would type them."""

import dataclasses
import os
import pathlib
import re
import subprocess

# What a command begins with where it stands in a sentence or a comment.
PROGRAMS = ("apt|cmake|ctest|curl|dpkg-divert|g\\+\\+|haproxy|journalctl|kubectl|man|namei|podman|systemctl|velmoracheck|"
            "velmoraserviced|(?:build|scripts|tests)/[\\w./-]+|\\.ci/run")
IN_A_SENTENCE = re.compile(rf"(?:{PROGRAMS}) \S.*|(?:scripts|tests)/[\w/-]+\.(?:sh|py)|\.ci/run")
SHELL = ("", "sh", "console")


@dataclasses.dataclass
class Command:
    text: str
    output: list = dataclasses.field(default_factory=list)  # the lines that the page shows

    @property
    def one_line(self):
        return re.sub(r"\s*\\?\n\s*", " ", self.text)


@dataclasses.dataclass
class File:
    name: str
    text: str


def steps_of(path):
    """The Commands of a page, and the Files that it tells to write."""
    text = path.read_text(encoding="utf-8")
    if path.suffix == ".md":
        return list(markdown(text))
    if re.fullmatch(r"\.[1-9]", path.suffix):
        return [Command(line.removeprefix(".Dl ")) for line in text.splitlines() if re.match(r"\.Dl [a-zA-Z]", line)
                and " Ns " not in line]
    return list(comments(text))


def markdown(text):
    for language, block, sentence in re.findall(r"^```(.*)\n((?s:.*?))^```$|`([^`\n]+)`", text, re.MULTILINE):
        if sentence:
            if IN_A_SENTENCE.fullmatch(sentence):
                yield Command(sentence)
        elif language in SHELL and not looks_like_a_file(block):
            yield from console(block) if "\n$ " in "\n" + block else shell(block)
        else:
            named = re.match(r"(?://|#) (\S+\.\w+)\n", block)
            if named:
                yield File(named[1], block)


def looks_like_a_file(block):
    """A unit, a script, a Containerfile, or a part of a configuration with sections."""
    return re.match(r"\[|#!|\s|[A-Z]+ |.*\{\n", block) is not None


def shell(block):
    command = ""
    for line in block.splitlines():
        command += line
        if is_whole(command):
            # A comment alone is no command.
            if command.strip() and not command.lstrip().startswith("#"):
                yield Command(re.sub(r"\s+# .*", "", command) if "\n" not in command else command)
            command = ""
        else:
            command += "\n"


def is_whole(command):
    """Whether the shell would not wait for more: a quote, a document or a loop to be closed."""
    said = subprocess.run(["bash", "-n"], input=command + "\n", capture_output=True, text=True, check=False,
                          env=os.environ | {"LC_ALL": "C.UTF-8"})
    return said.returncode == 0 and not said.stderr and not command.endswith("\\")


def console(block):
    command = None
    for line in block.splitlines():
        if line.startswith("$ "):
            if command:
                yield command
            command = Command(line.removeprefix("$ "))
        elif command:
            command.output.append(line)
    if command:
        yield command


def comments(text):
    """Of a configuration file or a script: in back quotes, indented, or after "with:" and the like."""
    paragraphs = [""]
    for line in text.splitlines():
        if re.match(r"# ?\S", line) and paragraphs[-1]:
            paragraphs[-1] += line.removeprefix("#")
        else:
            paragraphs.append(line if line.startswith("#") and line != "#" else "")
    for line in paragraphs:
        indented = re.match(r"# {3,}(\S+(?: \S+)*)", line)
        found = [indented[1]] if indented else re.findall(r"`([^`]+)`|(?:with|then): (.*)", line)
        for candidate in found:
            candidate = candidate if isinstance(candidate, str) else candidate[0] or candidate[1]
            if IN_A_SENTENCE.fullmatch(candidate):
                yield Command(candidate)


def pages_of(root):
    """Everything that a reader may take a command from."""
    wanted = [root / "README.md", root / "CONTRIBUTING.md"]
    listed = subprocess.run(["git", "-C", root, "ls-files", "docs", "packaging"], check=True, capture_output=True, text=True)
    wanted += [root / name for name in listed.stdout.splitlines() if pathlib.Path(name).suffix != ".png"]
    return [path for path in wanted if path.exists() and steps_of(path)]
