#!/usr/bin/env bash
# The script that a container's health is asked with: finds the port where the daemon finds it, and tells an
# answer from none.
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

# healthy NAME TEXT: the daemon is found through an INI file of this text, of which the daemon itself would take the
# same port, as the checker tells.
checker="$1/bin/velmoracheck"
healthy() {
  local report
  printf '%b' "$2" >"$scratch/asked.ini"
  report=$("$checker" --json --ini "$scratch/asked.ini" || true)
  contains "$(tr -d ' \n' <<<"$report")" "\"name\":\"port\",\"value\":$port,"
  # It gives the daemon two seconds, which a busy machine may take away from it.
  until_true "$check" "$scratch/asked.ini" 2>"$scratch/said" || fail "not found through the port $1"
}
healthy 'as it is' "[default]\nport = $port\n"
healthy 'in capitals' "[Default]\nPORT:$port ; of the server\n"
healthy 'in hexadecimal' "[default]\nport=$(printf '0x%x' "$port")\n"
healthy 'in octal' "[default]\nport=$(printf '0%o' "$port")\n"
healthy 'beside that of another section' "[other]\nport = 1\n[default]\nport = $port\n"
healthy 'beside a later one' "[default]\nport = $port\nport = 1\n"
healthy 'after a byte order mark' "\xEF\xBB\xBF[default]\nport = $port\n"
healthy 'after an empty one' "[default]\nport =\nport = $port\n"
healthy 'after one that is a comment' "[default]\nport = ; none\nport = $port\n"
healthy 'in the line below its key' "[default]\nport =\n  $port\nthreads = 1\n"
healthy 'with a sign' "[default]\nport = +$port\n"
healthy 'with text after it' "[default]\nport = ${port}th\n"
healthy 'with a line end of two characters' "[default]\r\nport = $port\r\n"
healthy 'beside an indented one of the key above' "[default]\nthreads = 1\n  port = 1\nport = $port\n"
healthy 'indented below its section' "[default]\n  port = $port\n"
healthy 'beside one after a section in its line' "[default] port = 1\nport = $port\n"
healthy 'beside one in a comment' "[default]\n; port = 1\n# port = 2\nport = $port\n"
healthy 'beside one behind a comment in its key' "[default]\npo ;port = 1\nport = $port\n"
healthy 'below a section that is not closed' "[default]\n[other\nport = $port\n"
healthy 'below a section that is closed in a comment' "[default]\n[other ; ]\nport = $port\n"
healthy 'in the rest of a line that is too long' "[default]\n;$(printf '%0198d' 0)port = $port\n"

# unhealthy WHAT INI: it ends with status 1 and says what stands in the message.
unhealthy() {
  local result=0
  "$check" "$2" 2>"$scratch/said" || result=$?
  [[ $result == 1 ]] || fail "status $result: $2"
  contains "$(<"$scratch/said")" "$1"
}
printf '[default]\nport = %s\n' "$(free_port)" >"$scratch/free.ini"
unhealthy 'no answer of 200 from port ' "$scratch/free.ini"
unhealthy 'cannot be read' "$scratch/missing.ini"

contains "$("$check" --help)" 'usage: health-check [INI]'
