#!/usr/bin/env python3
"""Prints CHANGELOG.md in the form in which a Debian package has it.

usage: scripts/debian-changelog.py VERSION DATE <CHANGELOG.md

  VERSION  what its first heading has to be about
  DATE     the day of what is not released, as 2026-11-21; a release has its own in its heading
"""

import datetime
import email.utils
import re
import sys
import textwrap

MAINTAINERS = "Velmora maintainers <maintainers@velmora.example>"


def wrapped(item):
    return textwrap.fill(" ".join(item.split()), 78, initial_indent="  * ", subsequent_indent="    ")


def entry(version, date, text):
    """One version's; `text` is what stands below its heading."""
    noon = datetime.datetime.combine(datetime.date.fromisoformat(date), datetime.time(12), datetime.timezone.utc)
    lines = [f"velmoraserver ({version}) bookworm; urgency=medium"]
    for part in re.split(r"^### ", text, flags=re.MULTILINE)[1:]:
        title, *items = re.split(r"\n+- ", part.rstrip())
        lines += ["", f"  [ {title} ]", *map(wrapped, items)]
    lines += ["", f" -- {MAINTAINERS}  {email.utils.format_datetime(noon)}", ""]
    return "\n".join(lines)


def main():
    if len(sys.argv) != 3:
        asked = sys.argv[1:] in (["-h"], ["--help"])
        print(__doc__.strip(), file=sys.stdout if asked else sys.stderr)
        return 0 if asked else 2
    version, today = sys.argv[1:]
    sections = re.split(r"^## ([\d.]+)(?:, unreleased| - (.*))\n", sys.stdin.read(), flags=re.MULTILINE)[1:]
    versions = sections[::3]
    if versions[:1] != [version]:
        found = f"with {versions[0]}" if versions else "with no version that can be read"
        print(f"debian-changelog: CHANGELOG.md begins {found}, not with {version}", file=sys.stderr)
        return 1
    dates = [date or today for date in sections[1::3]]
    print("\n".join(map(entry, versions, dates, sections[2::3])), end="")
    return 0


if __name__ == "__main__":
    sys.exit(main())
