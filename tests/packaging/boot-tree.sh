#!/usr/bin/env bash
# Boots the systemd of a Debian tree in name spaces of its own (processes, mounts, network with a loopback
# interface alone), runs commands in it, and ends it with everything that runs there. Needs root.
#
# usage: boot-tree.sh TREE <commands
set -euo pipefail
# shellcheck source=tests/packaging/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

# What runs inside the name spaces until systemd takes over: process 1, and the tree as root.
enter() {
  local tree=$1 device
  mount --make-rprivate /
  mount --bind "$tree" "$tree"
  mount -t proc proc "$tree/proc"
  mount -t sysfs sysfs "$tree/sys"
  mount -t cgroup2 cgroup2 "$tree/sys/fs/cgroup"
  mount -t tmpfs tmpfs "$tree/run"
  mount -t tmpfs -o mode=755 tmpfs "$tree/dev"
  for device in null zero full random urandom tty; do
    touch "$tree/dev/$device"
    mount --bind "/dev/$device" "$tree/dev/$device"
  done
  ln -s /proc/self/fd "$tree/dev/fd"
  mkdir -p "$tree/dev/pts" "$tree/dev/shm" "$tree/run/host"
  mount -t devpts -o newinstance,ptmxmode=0666,mode=620 devpts "$tree/dev/pts"
  ln -s pts/ptmx "$tree/dev/ptmx"
  cd "$tree"
  pivot_root . run/host
  umount -l /run/host
  exec env -i container=other PATH=/usr/sbin:/usr/bin:/sbin:/bin \
    /lib/systemd/systemd --unit=multi-user.target --show-status=no --log-target=journal
}

if [[ ${1-} == --enter ]]; then
  enter "$2"
fi

((EUID == 0)) || fail 'needs root'
tree=$(realpath "${1:?usage: boot-tree.sh TREE <commands}")
[[ -x $tree/lib/systemd/systemd ]] || fail "there is no systemd in $tree"

log=$(mktemp)
unshare --mount --pid --net --ipc --uts --cgroup --fork --kill-child=KILL "$0" --enter "$tree" \
  </dev/null >"$log" 2>&1 &
outside=$!
trap 'kill -KILL "$outside" 2>/dev/null || true; wait "$outside" 2>/dev/null || true; rm -f "$log"' EXIT

# The child of unshare is process 1 inside; systemd answers once it has a socket.
inside() { nsenter --target "$first" --all --root --wd "$@"; }
first=
# is_up_or_gone: systemd is through with starting, or has ended. What it says of a degraded system is no failure here.
is_up_or_gone() {
  kill -0 "$outside" 2>/dev/null || return 0
  read -r first _ <"/proc/$outside/task/$outside/children" || [[ -n $first ]] || return 1
  # Until it is systemd, its root is this machine's, whose own systemd would answer, and run the commands.
  [[ $(<"/proc/$first/comm") == systemd ]] || return 1
  state=$(inside systemctl is-system-running 2>/dev/null || true)
  [[ $state == running || $state == degraded ]]
}
state=
until_true is_up_or_gone 2>/dev/null || true
if [[ $state != running && $state != degraded ]]; then
  cat "$log" >&2
  fail "systemd did not come up: ${state:-no answer}"
fi
inside env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin bash -euo pipefail -s
