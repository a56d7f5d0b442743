#!/usr/bin/env bash
# Runs fuzz targets with libFuzzer, each from its seeds in fuzz/corpus/TARGET. What it finds on the way stays
# in build/fuzz/found/TARGET; an input that fails is kept there too, as crash-*, and ends the run with status 1.
#
# usage: scripts/fuzz.sh TARGET|all [SECONDS]
#
#   TARGET    one of the names that are printed when it is left out
#   SECONDS   how long to run each target; 60 without it
set -euo pipefail

# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
help_if_asked "$@"

mapfile -t targets < <(cd "$root/fuzz/corpus" && printf '%s\n' *)
for target in "$root"/fuzz/*_fuzz.cpp; do
  target=$(basename "$target" .cpp)
  [[ " ${targets[*]} " == *" $target "* ]] || die "$target has no seeds in fuzz/corpus/$target"
done
case "${1-}" in
  '') die "name a target: all ${targets[*]}" ;;
  all) chosen=("${targets[@]}") ;;
  *)
    [[ " ${targets[*]} " == *" $1 "* ]] || die "no target '$1': all ${targets[*]}"
    chosen=("$1")
    ;;
esac
seconds=${2:-60}
[[ $seconds =~ ^[1-9][0-9]*$ ]] || die "'$seconds' is not a number of seconds"

"$root/scripts/deps.sh" fuzz
build fuzz --target fuzzers

# run TARGET: one target for its time, and a line about it.
run() {
  local target=$1 found="$root/build/fuzz/found/$1" log="$root/build/fuzz/$1.log"
  mkdir -p "$found"
  setpriv --pdeathsig KILL "$root/build/fuzz/bin/$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
    -print_final_stats=1 -artifact_prefix="$found/" "$found" "$root/fuzz/corpus/$target" >"$log" 2>&1 || {
    tail -n 40 "$log" >&2
    die "$target failed: mend it, and put the input from build/fuzz/found/$target into fuzz/corpus/$target"
  }
  printf '%s: %s runs in %d s, nothing found\n' "$target" \
    "$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")" "$seconds"
}

# One target a core at a time.
slots=$(nproc)
failed=0
stop_all() {
  local job
  for job in $(jobs -p); do
    kill -KILL "$job" 2>/dev/null || true
  done
}
trap stop_all EXIT
for target in "${chosen[@]}"; do
  if ((slots == 0)); then
    wait -n || failed=1
    slots=1
  fi
  run "$target" &
  slots=$((slots - 1))
done
while wait -n || { (($? != 127)) && failed=1; }; do :; done
((failed == 0))
