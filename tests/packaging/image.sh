#!/usr/bin/env bash
# Runs the container image as a runtime would, by what its configuration says: as its user, with a folder mounted as
# /etc/velmoraserver, its entry point as process 1 of a PID namespace. Needs root.
# usage: image.sh ROOT REVISION <INSPECTED, where ROOT is the image's file system, REVISION what is built, in seven
# digits, and INSPECTED what "buildah inspect" says
set -euo pipefail
# shellcheck source=tests/packaging/common.sh
source "$(dirname "$0")/common.sh"
scratch

rootfs=$1 revision=$2
configuration=$(cat)
# said EXPRESSION: what the image's configuration says, a line each.
said() {
  python3 -c 'import json, sys
found = eval(sys.argv[2], {}, {"image": json.loads(sys.argv[1])["Docker"]["config"]})
print("\n".join(found) if isinstance(found, list) else found)' "$configuration" "$1"
}

[[ $(said 'image["User"]') == 10001:10001 ]] || fail "its user is '$(said 'image["User"]')'"
[[ $(said 'list(image["ExposedPorts"])') == 51000/tcp ]] || fail "it exposes $(said 'list(image["ExposedPorts"])')"
[[ $(said 'image["Entrypoint"][0]') == /usr/bin/tini ]] || fail "process 1 is $(said 'image["Entrypoint"][0]')"
mapfile -t environment < <(said 'image["Env"]')
mapfile -t command < <(said 'image["Entrypoint"] + image["Cmd"]')
[[ $(said 'image["Healthcheck"]["Test"][0]') == CMD ]] || fail 'it has no health check'
mapfile -t health_check < <(said 'image["Healthcheck"]["Test"][1:]')
[[ ${health_check[-1]} == 51000 ]] || fail "its health check asks port ${health_check[-1]}"

# Here another port, since the network is this machine's; who mounts a file with one names it to the check, too.
port=$(free_port)
health_check[-1]=$port
mkdir "$scratch/configuration"
printf '[default]\nport = %s\nconnections = 8\n' "$port" >"$scratch/configuration/velmora.ini"
cp "$rootfs/etc/velmoraserver/vlog.cfg" "$scratch/configuration/"
chmod 755 "$scratch" "$scratch/configuration"

# run_inside COMMAND...: with the folder mounted and everything else read-only.
run_inside() {
  # shellcheck disable=SC2016
  exec unshare --mount --pid --fork --kill-child=KILL sh -c '
    mount --bind "$1" "$1" && mount --bind "$2" "$1/etc/velmoraserver" && mount -o remount,bind,ro "$1" &&
      mount -t proc proc "$1/proc" && shift 2 && exec "$@"' inside "$rootfs" "$scratch/configuration" \
    chroot --userspec=10001:10001 "$rootfs" env -i "${environment[@]}" "$@"
}

run_inside "${command[@]}" >"$scratch/output" 2>&1 </dev/null &
outside=$!
# unshare lets TERM pass by, and its own promise to kill its child ends where the child becomes another user.
end_container() {
  local inside=
  read -r inside _ <"/proc/$outside/task/$outside/children" || true
  kill -KILL "$outside" ${inside:+"$inside"} || true
}
trap 'end_container 2>/dev/null; clean_up' EXIT
serves() { curl -fsS -o /dev/null --max-time 2 "http://127.0.0.1:$port/healthz" 2>/dev/null; }
until_true serves || fail "it does not serve: $(<"$scratch/output")"
contains "$(<"$scratch/output")" "port            : $port"
contains "$(<"$scratch/output")" "BUILD           :${revision:-0000000}"
# The kernel ends the list without a line feed.
read -r first _ <"/proc/$outside/task/$outside/children" || [[ -n $first ]] || fail 'process 1 has ended'
[[ $(stat -c %U "/proc/$first") != root ]] || fail 'process 1 is root'
[[ $(<"/proc/$first/comm") == tini ]] || fail "process 1 is $(<"/proc/$first/comm")"

is_healthy() { (run_inside "${health_check[@]}"); }
until_true is_healthy 2>/dev/null || fail 'its health check does not find it healthy'
kill -TERM "$first"
is_gone() { ! kill -0 "$outside" 2>/dev/null; }
until_true is_gone || fail 'TERM to process 1 does not end it'
! is_healthy 2>/dev/null || fail 'its health check finds it healthy, though it has ended'
