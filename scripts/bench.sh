#!/usr/bin/env bash
# Builds the benchmarks, runs them, and prints tables: ours beside hand-written floors and the peers that are
# installed, as ratios. Takes some minutes; on a quiet machine the figures mean something.
#
# usage: scripts/bench.sh [--markdown FILE] [--quick]
#
#   --markdown FILE   puts the tables into FILE, docs/performance.md for one, instead of printing them
#   --quick           a few seconds of each: shows that all of it works
#
# What was measured stays in build/bench. The environment variable MIN_TIME is what a repetition measures at
# least, in seconds (0.03 without it); a busy machine gets through sooner with less.
set -euo pipefail

# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
help_if_asked "$@"

markdown=()
repetitions=9 min_time=${MIN_TIME:-0.03} load_seconds=3
export ROUNDS=11 IDLE_SECONDS=20 # rounds of ten starts each; how long the idle programs are watched
while (($#)); do
  case $1 in
    --markdown)
      markdown=(--markdown "$(realpath "${2:?--markdown needs a file}")")
      [[ -f ${markdown[1]} ]] || die "$2 is not there"
      shift 2
      ;;
    --quick)
      repetitions=1 min_time=0.01 load_seconds=1 ROUNDS=1 IDLE_SECONDS=2
      shift
      ;;
    *) die "unknown argument '$1'" ;;
  esac
done

"$root/scripts/deps.sh" bench
programs=(logger_benchmark logger_allocations parser_benchmark argvparser_benchmark vlog_config_benchmark)
# A tree that was made before the peers were installed looks for them again.
[[ ! -f $root/build/release/build.ninja ]] || (cd "$root" && cmake --preset release >/dev/null)
build release --target "${programs[@]}" start_probe thin_host full_host recognition_loop velmoraserviced
tree=$root/build/release results=$root/build/bench
rm -rf "$results"
mkdir -p "$results"

steps=$((${#programs[@]} + 2)) step=0 running=
# A group of its own: what it has started goes with it.
trap '[[ -z $running ]] || kill -- "-$running" 2>/dev/null || true' EXIT

# run NAME COMMAND...: runs it with its output in build/bench/NAME.log, and shows for how long.
run() {
  local name=$1 begin=$SECONDS
  shift
  step=$((step + 1))
  [[ -t 2 ]] || say "[$step/$steps] $name"
  set -m
  "$@" &
  running=$!
  set +m
  while kill -0 "$running" 2>/dev/null; do
    [[ ! -t 2 ]] || printf '\r\033[K[%d/%d] %s %d s' "$step" "$steps" "$name" "$((SECONDS - begin))" >&2
    sleep 0.5
  done
  wait "$running" || {
    running=
    tail -n 5 "$results/$name.log" >&2
    die "$name failed: read build/bench/$name.log"
  }
  running=
  [[ ! -t 2 ]] || printf '\r\033[K' >&2
}

measured() { "${@:2}" >"$results/$1.jsonl" 2>"$results/$1.log"; }

benchmarked() {
  "$tree/bin/$1" --benchmark_enable_random_interleaving=true --benchmark_repetitions="$repetitions" \
    --benchmark_min_time="$min_time" --benchmark_out="$results/$1.json" --benchmark_out_format=json \
    >"$results/$1.log" 2>&1
}

for program in "${programs[@]}"; do
  run "$program" benchmarked "$program"
done
run start measured start "$root/benchmarks/start/measure.sh" "$tree"
run standin measured standin "$root/benchmarks/standin/measure.sh" "$tree" "$load_seconds"

"$root/scripts/bench_tables.py" "$results" "${markdown[@]}"
((${#markdown[@]} == 0)) || say "the tables are in ${markdown[1]}"
