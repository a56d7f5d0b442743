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

"$root/scripts/deps.sh" ci
tree="$root/build/debug"
[[ -f $tree/compile_commands.json ]] || (cd "$root" && cmake --preset debug >/dev/null)

cd "$root"
mapfile -t sources < <(git ls-files 'src/*.cpp' | grep -E -- "$pattern")
((${#sources[@]})) || die "no source matches '$pattern'"

# What clang-tidy says about suppressed warnings in other people's headers is left out.
printf '%s\0' "${sources[@]}" |
  xargs -0 -n 1 -P "$(nproc)" clang-tidy -p "$tree" --quiet 2> >(grep -v 'warnings generated' >&2)
printf 'clang-tidy: %d sources, no findings\n' "${#sources[@]}"
