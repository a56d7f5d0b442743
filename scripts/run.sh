#!/usr/bin/env bash
# Builds what is missing and runs the daemon in the foreground until Ctrl-C, with config/velmora.ini and
# config/vlog.cfg. Where the first has the defaults of "connections" and "threads", it serves with numbers for this
# machine's cores. Installs what is missing first (Debian 12).
#
# usage: scripts/run.sh
set -euo pipefail

# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
help_if_asked "$@"

case "${1-}" in
  '') ;;
  *) die "unknown argument '$1': only --help is known" ;;
esac

# What the daemon reads: a copy of config/velmora.ini, line by line, with numbers for this machine.
ini="$root/build/run/velmora.ini"
write_ini() {
  local cores
  cores=$(nproc)
  sed -e "s/^connections = 1\$/connections = $((48 * cores))/" -e "s/^threads = 1\$/threads = $cores/" \
    "$root/config/velmora.ini" >"$ini"
}
# check: what the checker finds, with the names of the files that one would mend. It is for the daemon to refuse.
check() {
  { VL_LOGCFG="$root/config/vlog.cfg" bin/velmoracheck --quiet --ini "$ini" || true; } |
    sed -e "s|^$ini:|config/velmora.ini:|" -e "s|^$root/||" >&2
}

daemon=
# shellcheck disable=SC2317 # reached through the traps
stop() {
  trap - INT TERM HUP EXIT
  if [[ -n $daemon ]]; then
    kill "$daemon" 2>/dev/null || true
    wait "$daemon" 2>/dev/null || true
  fi
  exit "$1"
}
trap 'stop $?' EXIT
trap 'stop 130' INT
trap 'stop 143' TERM
trap 'stop 129' HUP

"$root/scripts/deps.sh" run
build run --target velmoraserviced --target velmoracheck
write_ini
port=$(port_of "$root/build/run/bin/velmoracheck" "$ini")
[[ -n $port ]] || die 'config/velmora.ini cannot be read: restore it'
! port_is_taken "$port" || die "port $port is taken: end what listens there, or set another port in config/velmora.ini"

# Relative names in vlog.cfg count from here.
cd "$root/build/run"
check
VL_LOGCFG="$root/config/vlog.cfg" bin/velmoraserviced --ini "$ini" &
daemon=$!

for ((i = 0; i < 1200; ++i)); do
  kill -0 "$daemon" 2>/dev/null || break
  if answers "$port"; then
    printf '\nServing. Try, in another terminal (Ctrl-C here ends it):\n\n'
    printf '  curl --data-binary @%s http://127.0.0.1:%s/v1/recognize\n\n' "$(printf %q "$root/config/sample.png")" "$port"
    printf 'or look at http://127.0.0.1:%s/ in a browser.\n\n' "$port"
    wait "$daemon" || true
    daemon=
    die "the daemon has ended; what it said last stands above and in build/run/velmoraserviced.log"
  fi
  sleep 0.05
done
kill -0 "$daemon" 2>/dev/null && die "the daemon does not answer on port $port: look at the lines above"
daemon=
die "the daemon did not start: the engine says why above; most often the port or a number in config/velmora.ini"
