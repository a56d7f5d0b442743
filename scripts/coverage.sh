#!/usr/bin/env bash
# Runs the tests in a build that counts what they execute, and shows which lines of vlib, parseargs and the
# daemon they reach: a report in build/coverage/report/index.html, and one line here. Ends with status 1
# when fewer lines than wanted are reached.
#
# usage: scripts/coverage.sh [--at-least PER_CENT] [ctest arguments]
#
#   --at-least PER_CENT   98 without it
#
# What follows goes to ctest: "scripts/coverage.sh -R VFile" shows what the tests of VFile reach.
set -euo pipefail

# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
help_if_asked "$@"

wanted=98
case "${1-}" in
  --at-least)
    wanted=${2:?--at-least needs a number}
    [[ $wanted =~ ^[0-9]+$ ]] || die "'$wanted' is not a number of per cent"
    shift 2
    ;;
esac

"$root/scripts/deps.sh" coverage
build coverage
cd "$root"
tree=build/coverage

# What earlier runs counted.
find "$tree" -name '*.gcda' -delete
say 'running the tests'
ctest --preset coverage "$@" >"$tree/tests.log" 2>&1 || {
  grep -E '^ *[0-9]+ - |tests passed' "$tree/tests.log" >&2
  die "tests failed: read $tree/tests.log"
}

say 'collecting what they reached'
rm -rf "$tree/report"
mkdir -p "$tree/report"
# Branches that only an exception takes are the compiler's, not the source's.
gcovr --root . --object-directory "$tree" --filter 'src/service/' --filter 'src/velmoraserver/' \
  --exclude-throw-branches --exclude-unreachable-branches \
  --html-details "$tree/report/index.html" --txt "$tree/report/lines.txt" \
  --json-summary "$tree/report/summary.json" --print-summary "$tree" >"$tree/report/gcovr.log" 2>&1 || {
  tail -n 20 "$tree/report/gcovr.log" >&2
  die "gcovr failed: read $tree/report/gcovr.log"
}
read -r percent reached total < <(
  sed -n 's/^lines: \([0-9.]*\)% (\([0-9]*\) out of \([0-9]*\))$/\1 \2 \3/p' "$tree/report/gcovr.log"
)
printf '%s %% of the lines are reached (%s of %s, wanted: %s %%): %s/report/index.html\n' \
  "$percent" "$reached" "$total" "$wanted" "$tree"
((reached * 100 >= total * wanted)) || die "too few; $tree/report/lines.txt lists what is missing"
