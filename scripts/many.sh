#!/usr/bin/env bash
# Builds what is missing and runs copies of the daemon behind HAProxy in the foreground until Ctrl-C. A copy that ends
# is started again. Their INI and log files are written to build/many. Installs what is missing first (Debian 12).
# HAProxy is at port 51000 if that is free, else at the first free one from 21001 on, as the copies are.
#
# usage: scripts/many.sh [--preset PRESET] [COPIES]
#
#   --preset PRESET   the build to run: run (the default), release or debug
#   COPIES            how many, 1 to 64 (3)
set -euo pipefail

# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
help_if_asked "$@"

preset=run
case "${1-}" in
  --preset)
    preset=${2:?--preset needs a name}
    shift 2
    ;;
esac
count=${1:-3}
if ! [[ $# -le 1 && $count =~ ^[1-9][0-9]?$ && $count -le 64 ]]; then
  die "'$*' is not one number from 1 to 64"
fi

# One worker each: more copies, not larger ones. The other two numbers are those of packaging/haproxy/haproxy.cfg,
# which has the rule for them.
threads=1
maxconn=3
connections=$((16 * maxconn))

started=()
# shellcheck disable=SC2317 # reached through the traps
stop() {
  trap - INT TERM HUP EXIT
  if ((${#started[@]})); then
    kill "${started[@]}" 2>/dev/null || true
    wait "${started[@]}" 2>/dev/null || true
  fi
  exit "$1"
}
trap 'stop $?' EXIT
trap 'stop 130' INT
trap 'stop 143' TERM
trap 'stop 129' HUP

"$root/scripts/deps.sh" many
PATH="$PATH:/usr/sbin"
build "$preset" --target velmoraserviced velmoracheck
bin="$root/build/$preset/bin"
place="$root/build/many"
mkdir -p "$root/build"
exec {lock}>"$root/build/many.lock"
flock --nonblock "$lock" || die 'it is running already, in this folder'
rm -rf "$place"
mkdir -p "$place"
cd "$place"

# await_serving PID PORT WHAT LOG: whether what is started serves; if not, the end of what it said is shown.
await_serving() {
  local end=$((SECONDS + 60))
  while ((SECONDS < end)); do
    kill -0 "$1" 2>/dev/null || break
    ! answers "$2" || return 0
    sleep 0.05
  done
  tail -n 5 "$4" >&2
  say "$3 does not serve; above is what it said last, all of it in build/many/$4"
  return 1
}

write_settings() {
  local name=$1 port=$2
  mkdir "$name"
  cat >"$name.ini" <<END
[default]
port = $port
connections = $connections
threads = $threads
threadQueuesize = 10
queueTimeout = 0
END
  sed 's/\[STDOUT\], //; s/; 0, /; /' "$root/config/vlog.cfg" >"$name.vlog.cfg"
  (cd "$name" && "$bin/velmoracheck" --strict --quiet --logcfg "../$name.vlog.cfg" --ini "../$name.ini") ||
    die "the configuration of $name has a fault: see above"
}

# keep_serving NAME PORT: starts a copy, and again whenever it ends; ends itself when the first start fails. What bash
# says of a process that was killed has a line number of this script, and no name: it goes unseen.
keep_serving() {
  local name=$1 port=$2 first=yes daemon
  trap 'kill "$daemon"; wait "$daemon"; exit' TERM
  while :; do
    (cd "$name" && VL_LOGCFG="../$name.vlog.cfg" exec "$bin/velmoraserviced" --ini "../$name.ini") >>"$name.out" 2>&1 &
    daemon=$!
    if await_serving "$daemon" "$port" "$name" "$name.out" 2>&"$terminal"; then
      printf '%-7s http://127.0.0.1:%s  process %s, log build/many/%s/velmoraserviced.log\n' \
        "$name" "$port" "$daemon" "$name" | tee "$name.serves"
      first=
    else
      kill "$daemon" || true
      [[ -z $first ]] || exit 1
      sleep 5
    fi
    wait "$daemon" || true
    say "$name has ended (process $daemon); starting it again" 2>&"$terminal"
  done
} 2>/dev/null

exec {terminal}>&2
servers=()
say "starting $count copies"
for ((number = 1; number <= count; ++number)); do
  port=$(free_port {21001..21999})
  write_settings "copy$number" "$port"
  keep_serving "copy$number" "$port" &
  started+=($!)
  until [[ -s copy$number.serves ]]; do
    kill -0 $! 2>/dev/null || exit 1
    sleep 0.05
  done
  servers+=("copy$number=127.0.0.1:$port=$maxconn")
done

# Chosen last: the questions to the copies are connections, and their near ends may be where 51000 lies.
front=$(free_port 51000 {21001..21999})
"$root/scripts/haproxy-config.sh" "127.0.0.1:$front" "$place/haproxy.sock" "${servers[@]}" >haproxy.cfg
haproxy -c -q -dW -f haproxy.cfg || die 'HAProxy does not accept build/many/haproxy.cfg'
# Its buffers stay with it, as the drop-in for its unit has it.
mapfile -t large_buffers < <(sed -n 's/^Environment=//p' "$root/packaging/haproxy/large-buffers.conf")
env "${large_buffers[@]}" haproxy -db -dW -f haproxy.cfg >haproxy.out 2>&1 &
balancer=$!
started+=("$balancer")
await_serving "$balancer" "$front" HAProxy haproxy.out || exit 1

printf '\nServing. The page:              http://127.0.0.1:%s/\n' "$front"
printf "HAProxy's statistics:           http://127.0.0.1:%s/haproxy\n" "$front"
printf 'Try, in another terminal (Ctrl-C here ends all of it):\n\n'
printf '  curl --data-binary @%s http://127.0.0.1:%s/v1/recognize\n\n' "$(printf %q "$root/config/sample.png")" "$front"

wait "$balancer" || true
die 'HAProxy has ended; what it said stands in build/many/haproxy.out'
