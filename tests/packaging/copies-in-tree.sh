# Commands for boot-tree.sh, in a tree with the package installed: what the template unit and its target promise.
# shellcheck shell=bash

fail() {
  printf 'copies: %s\n' "$*" >&2
  journalctl --sync || true
  journalctl -b --no-pager -n 40 >&2 || true
  exit 1
}
ask() {
  (
    exec 3<>"/dev/tcp/127.0.0.1/$1" &&
      printf 'GET /healthz HTTP/1.1\r\nHost: here\r\nConnection: close\r\n\r\n' >&3 && timeout 10 cat <&3
  ) 2>/dev/null
}
serves() { [[ $(ask "$1") == *'200 OK'* ]]; }
until_true() {
  local i
  for ((i = 0; i < 300; ++i)); do
    "$@" && return
    sleep 0.1
  done
  return 1
}

for number in 1 2; do
  printf '[default]\nport = 5200%s\nconnections = 8\n' "$number" >"/etc/velmoraserver/copy$number.ini"
done
systemctl stop velmoraserviced
systemctl is-enabled -q velmoraserviced.target || fail 'the target is not enabled'
systemctl enable -q velmoraserviced@copy1 velmoraserviced@copy2 || fail 'instances cannot be enabled'

# A start of the target does not wait for what it wants.
systemctl start velmoraserviced.target
for number in 1 2; do
  until_true serves "5200$number" || fail "copy$number does not serve"
  systemctl is-active -q "velmoraserviced@copy$number" || fail "copy$number serves, but is not active"
  process=$(systemctl show -P MainPID "velmoraserviced@copy$number")
  [[ $(stat -c %U "/proc/$process") == velmora ]] || fail "copy$number does not run as its own user"
  grep -q '^Seccomp:[[:space:]]*2' "/proc/$process/status" || fail "copy$number: no system calls are filtered"
  until_true grep -qs 'Velmora Service' "/var/log/velmoraserver/copy$number/velmoraserviced.log" ||
    fail "copy$number has no log file of its own"
done

systemctl restart velmoraserviced@copy1 || fail 'one alone cannot be restarted'
serves 52001 || fail 'restarted, but it does not serve'
serves 52002 || fail 'the other one was restarted with it'

systemctl stop velmoraserviced.target
is_stopped() { [[ $(systemctl is-active "velmoraserviced@copy$1") == inactive ]]; }
for number in 1 2; do
  until_true is_stopped "$number" || fail "copy$number goes on without the target"
done

systemctl disable -q velmoraserviced@copy1 velmoraserviced@copy2
rm -r /etc/velmoraserver/copy[12].ini /var/log/velmoraserver/copy[12]
