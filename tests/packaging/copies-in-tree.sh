# Commands for boot-tree.sh, in a tree with the package installed: what the template unit and its target promise.
# shellcheck shell=bash

for number in 1 2; do
  printf '[default]\nport = 2100%s\nconnections = 8\n' "$number" >"/etc/velmoraserver/copy$number.ini"
done
systemctl stop velmoraserviced
systemctl is-enabled -q velmoraserviced.target || fail 'the target is not enabled'
systemctl enable -q velmoraserviced@copy1 velmoraserviced@copy2 || fail 'instances cannot be enabled'

# The start of the target returns when that of what it wants is through.
systemctl start velmoraserviced.target
for number in 1 2; do
  serves "2100$number" || fail "copy$number does not serve"
  systemctl is-active -q "velmoraserviced@copy$number" || fail "copy$number serves, but is not active"
  process=$(systemctl show -P MainPID "velmoraserviced@copy$number")
  [[ $(stat -c %U "/proc/$process") == velmora ]] || fail "copy$number does not run as its own user"
  grep -q '^Seccomp:[[:space:]]*2' "/proc/$process/status" || fail "copy$number: no system calls are filtered"
  until_true grep -qs 'Velmora Service' "/var/log/velmoraserver/copy$number/velmoraserviced.log" ||
    fail "copy$number has no log file of its own"
done

systemctl restart velmoraserviced@copy1 || fail 'one alone cannot be restarted'
serves 21001 || fail 'restarted, but it does not serve'
serves 21002 || fail 'the other one was restarted with it'

systemctl stop velmoraserviced.target
is_stopped() { [[ $(systemctl is-active "velmoraserviced@copy$1") == inactive ]]; }
for number in 1 2; do
  until_true is_stopped "$number" || fail "copy$number goes on without the target"
done
