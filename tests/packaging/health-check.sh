#!/usr/bin/env bash
# The script that a container's health is asked with: tells an answer from none.
# usage: health-check.sh PREFIX
set -euo pipefail
# shellcheck source=tests/packaging/common.sh
source "$(dirname "$0")/common.sh"
scratch

check="$1/lib/velmora/health-check"
port=$(free_port)
printf '[default]\nport = %s\nconnections = 4\n' "$port" >"$scratch/served.ini"
VL_LOGCFG='' "$1/bin/velmoraserviced" --ini "$scratch/served.ini" >"$scratch/output" 2>&1 &
started+=($!)
"$1/lib/velmora/wait-until-serving" "${started[0]}" "$patience"

# It gives the daemon two seconds, which a busy machine may take away from it.
until_true "$check" "$port" 2>"$scratch/said" || fail "a daemon that serves is not healthy: $(<"$scratch/said")"

# unhealthy STATUS WHAT PORT: it ends with this status and says what stands in the message.
unhealthy() {
  local result=0
  "$check" "$3" 2>"$scratch/said" || result=$?
  [[ $result == "$1" ]] || fail "status $result: $3"
  contains "$(<"$scratch/said")" "$2"
}
# Held, so that no other test's daemon comes to serve there just now; nobody listens.
coproc holder { exec python3 -c 'import socket, sys
with socket.socket() as held:
    held.bind(("127.0.0.1", 0))
    print(held.getsockname()[1], flush=True)
    sys.stdin.read()'; }
started+=("$holder_PID")
read -r other <&"${holder[0]}"
unhealthy 1 "no answer of 200 from port $other" "$other"
unhealthy 2 "'velmora.ini' is not a port" velmora.ini
unhealthy 2 "'' is not a port" ''

contains "$("$check" --help)" 'usage: health-check [PORT]'
