#!/usr/bin/env bash
# Measures the stand-in engine at work: requests a second and their latency at 1, 2 and 4 readers beside the
# bare recognition in a loop, whether 10,000 requests on one connection make the daemon grow, and the latency of
# small pictures alone with one reader and beside a client with large ones with two, with what daemon and readers
# have in memory.
# Prints lines of JSON on standard output.
#
# usage: benchmarks/standin/measure.sh [--once] BUILD_TREE [SECONDS]
#
#   --once    one load of a second and 100 requests: shows that it works, measures nothing
#   SECONDS   of each load; 5 without
set -euo pipefail

# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/common.sh"

workers_in_turn=(1 2 4 1 2 4 1 2 4) kept_requests=10000 pairs=3
if [[ ${1-} == --once ]]; then
  workers_in_turn=(1) kept_requests=100 pairs=1
  set -- "$2" 1
fi

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
tree=$(cd "${1:?the build tree is missing}" && pwd)
seconds=${2:-5}
IMAGE=$here/../../config/sample.png
export IMAGE
command -v wrk >/dev/null || {
  echo 'measure: wrk is missing' >&2
  exit 1
}

daemon=
stop() {
  [[ -z $daemon ]] || {
    kill -KILL "$daemon" 2>/dev/null || true
    wait "$daemon" 2>/dev/null || true
  }
  daemon=
}
trap stop EXIT

# start WORKERS: a daemon with so many workers, on a port that is free.
start() {
  port=$(free_port {22000..22999})
  "$tree/bin/velmoraserviced" -p "$port" -c 64 -t "$1" -q 100 >/dev/null &
  daemon=$!
  for ((try = 0; try < 1200; ++try)); do
    ! (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null || return 0
    sleep 0.05
  done
  echo 'measure: the daemon does not listen' >&2
  return 1
}

# Loop and load in turn, so that what else the machine does meets both.
for workers in "${workers_in_turn[@]}"; do
  rate=$("$tree/bin/recognition_loop" "$workers" "$seconds" "$IMAGE")
  printf '{"name": "loop", "workers": %d, "rate": %s}\n' "$workers" "$rate"
  start "$workers"
  # Two requests a worker keep the queues filled; one thread of wrk is enough for them.
  result=$(wrk -t 1 -c "$((2 * workers))" -d "${seconds}s" -s "$here/recognize.lua" "http://127.0.0.1:$port" |
    tail -n 1)
  printf '{"name": "load", "workers": %d, "result": %s}\n' "$workers" "$result"
  stop
done

start 1
python3 "$here/keep_alive.py" "$port" "$daemon" "$IMAGE" "$kept_requests"
stop

for ((pair = 0; pair < pairs; ++pair)); do
  start 1
  python3 "$here/beside_large.py" "$port" "$daemon" "$IMAGE" "$seconds"
  stop
  start 2
  python3 "$here/beside_large.py" "$port" "$daemon" "$IMAGE" "$seconds" large
  stop
done
