#!/usr/bin/env bash
# The script that holds a service's start back: tells a process that listens from one that has gone, one that
# does not listen, and one whose port somebody else listens on.
# usage: wait-until-serving.sh PREFIX
set -euo pipefail
# shellcheck source=tests/packaging/common.sh
source "$(dirname "$0")/common.sh"
scratch

wait_for="$1/lib/velmora/wait-until-serving"
port=$(free_port)
printf '[default]\nport = %s\nconnections = 4\n' "$port" >"$scratch/one.ini"

# status COMMAND...: its exit status, and what it says in $scratch/said.
status() {
  local result=0
  "$@" >"$scratch/said" 2>&1 || result=$?
  printf '%s\n' "$result"
}

VL_LOGCFG='' "$1/bin/velmoraserviced" --ini "$scratch/one.ini" >"$scratch/output" 2>&1 &
started+=($!)
[[ $(status "$wait_for" "${started[0]}" "$patience") == 0 ]] || fail "serving, but: $(<"$scratch/said")"
(exec 3<>"/dev/tcp/127.0.0.1/$port") || fail 'said to serve before the port was open'
[[ $(status "$wait_for" "${started[0]}" 08) == 0 ]] || fail "08 seconds are no time: $(<"$scratch/said")"

# The port is taken: this one ends with status 0, and the other one's port is not taken for its own.
VL_LOGCFG='' "$1/bin/velmoraserviced" --ini "$scratch/one.ini" >"$scratch/output" 2>&1 &
second=$!
[[ $(status "$wait_for" "$second" "$patience") == 1 ]] || fail "ended, but status 0: $(<"$scratch/said")"
contains "$(<"$scratch/said")" "process $second has ended"
wait "$second" || fail 'a failed start ends with status 0'

sleep infinity &
started+=($!)
[[ $(status "$wait_for" $! 1) == 1 ]] || fail 'a process without a port counts as serving'
contains "$(<"$scratch/said")" 'does not listen on any TCP port after 1 s'

[[ $(status "$wait_for") == 2 && $(status "$wait_for" x) == 2 && $(status "$wait_for" 1 x) == 2 ]] ||
  fail 'called wrongly, but the status is not 2'

contains "$("$wait_for" --help)" 'usage: wait-until-serving PID [SECONDS]'
