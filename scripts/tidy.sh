#!/usr/bin/env bash
# Runs clang-tidy over the sources of src/ with the repository's configuration. Silent but for findings.
#
# usage: scripts/tidy.sh [PATTERN]
#
#   PATTERN   a regular expression; only the sources whose paths match are looked at
set -euo pipefail

# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
help_if_asked "$@"

pattern=${1:-.}
(($# <= 1)) || die "one pattern, and not $#"
cd "$root"
mapfile -t sources < <(find src -name '*.cpp' | LC_ALL=C sort | grep -E -- "$pattern")
((${#sources[@]})) || die "no source matches '$pattern'"

"$root/scripts/deps.sh" tidy
tree=build/tidy
# As the other compiler sees them. The tests are not looked at, and what they need is not wanted.
[[ -f $tree/compile_commands.json ]] || cmake --preset tidy >/dev/null

# What clang-tidy says about suppressed warnings in other people's headers is left out.
printf '%s\0' "${sources[@]}" |
  xargs -0 -n 1 -P "$(nproc)" clang-tidy -p "$tree" --quiet 2> >(grep -v 'warnings generated' >&2)
printf 'clang-tidy: %d sources, no findings\n' "${#sources[@]}"
