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

# run TARGET: one target for its time, and a line about it. One that ends with status 3 on the way has met what it does
# not answer for, and goes on from what it has found.
run() {
  local target=$1 found="$root/build/fuzz/found/$1" log="$root/build/fuzz/$1.log" end=$((SECONDS + seconds))
  local status=3 starts=0 runs=0 count=0 left
  mkdir -p "$found"
  # What is left is asked for once: 0 would be for ever. An input that takes a minute hangs, also on a busy machine.
  while ((left = end - SECONDS, status == 3 && left > 0 && count >= 0)); do
    status=0 starts=$((starts + 1))
    setpriv --pdeathsig KILL "$root/build/fuzz/bin/$target" -max_total_time="$left" -timeout=60 \
      -rss_limit_mb=2048 -artifact_prefix="$found/" "$found" "$root/fuzz/corpus/$target" >"$log" 2>&1 || status=$?
    count=$(sed -n 's/^#\([0-9]*\)\t.*/\1/p' "$log" | tail -n 1)
    runs=$((runs + ${count:=-1}))
  done
  ((count >= 0 && (status == 0 || status == 3))) || {
    tail -n 40 "$log" >&2
    die "$target failed: mend it, and put the input from build/fuzz/found/$target into fuzz/corpus/$target"
  }
  printf '%s: %d runs in %d s and %d starts, nothing found\n' "$target" "$runs" "$seconds" "$starts"
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
