#!/usr/bin/env bash
# Measures start, memory and idle costs of the daemon beside two hosts that were written for the comparison.
# Prints lines of JSON on standard output: one a program and round, and last what the idle programs cost.
#
# usage: benchmarks/start/measure.sh [--once] BUILD_TREE
#
#   --once   one start of each and a second of one that is idle: shows that it works, measures nothing
set -euo pipefail

# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/common.sh"

rounds=${ROUNDS:-11} runs=10 idle=${IDLE_SECONDS:-20}
if [[ ${1-} == --once ]]; then
  rounds=1 runs=1 idle=0
  shift
fi
tree=$(cd "${1:?the build tree is missing}" && pwd)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# host NAME PROGRAM ENGINE: a tree in which the program, stripped as it is installed, finds that engine.
host() {
  mkdir -p "$work/$1/bin" "$work/$1/lib"
  strip -o "$work/$1/bin/program" "$2"
  strip -o "$work/$1/lib/libvelmoraLight.so" "$3"
}
host thin "$tree/benchmarks/thin/bin/thin_host" "$tree/benchmarks/thin/lib/libvelmoraLight.so"
host full "$tree/benchmarks/full/bin/full_host" "$tree/benchmarks/full/lib/libvelmoraLight.so"
host daemon-thin "$tree/bin/velmoraserviced" "$tree/benchmarks/thin/lib/libvelmoraLight.so"
host daemon-standin "$tree/bin/velmoraserviced" "$tree/lib/libvelmoraLight.so"
mkdir "$work/daemon-standin/lib/velmora"
strip -o "$work/daemon-standin/lib/velmora/velmoralight-reader" "$tree/lib/velmora/velmoralight-reader"

# Each program takes it again. Below those that the kernel hands out.
mapfile -t ports < <(shuf -i 20000-31999 -n 100)
port=$(free_port "${ports[@]}")
printf '[default]\nport = %d\nconnections = 4\nthreads = 1\nthreadQueuesize = 10\nqueueTimeout = 0\n' "$port" \
  >"$work/velmora.ini"
# With the line of the start, two of the logger's: sixteen lines and one.
printf '%s;INFO;SIMPLE_TS;[STDOUT];0\n' VELMORASRV LOGGER >"$work/vlog.cfg"

# probe NAME RUNS IDLE_SECONDS
probe() {
  local arguments=("$work/velmora.ini") result
  [[ $1 != daemon-* ]] || arguments=(-i "$work/velmora.ini")
  result=$(env -i VL_LOGCFG="$work/vlog.cfg" "$tree/bin/start_probe" "$port" "$2" "$3" "$work/$1/bin/program" \
    "${arguments[@]}")
  printf '{"name": "%s", "size": %d, "result": %s}\n' "$1" "$(stat -c %s "$work/$1/bin/program")" "$result"
}

names=(thin full daemon-thin daemon-standin)
for ((round = 0; round < rounds; ++round)); do
  for name in $(shuf -e "${names[@]}"); do
    probe "$name" "$runs" 0
  done
done
if ((idle == 0)); then
  names=(daemon-thin) idle=1
fi
for name in "${names[@]}"; do
  probe "$name" 1 "$idle"
done
