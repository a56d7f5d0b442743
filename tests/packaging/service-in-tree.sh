# Commands for boot-tree.sh, in a tree with the package installed: what the unit promises, seen from inside.
# shellcheck shell=bash

property() { systemctl show -P "$1" velmoraserviced; }
is() { [[ $(property "$1") == "$2" ]]; }
log=/var/log/velmoraserver/velmoraserviced.log
config=/opt/velmoraserver

# Room for what the checks below do to it; TERM's clean end is tried without waiting for a restart.
mkdir -p /run/systemd/system/velmoraserviced.service.d
printf '[Service]\nRestartSec=200ms\n' >/run/systemd/system/velmoraserviced.service.d/quick.conf
systemctl daemon-reload

systemctl is-enabled -q velmoraserviced || fail 'it is not enabled'
systemctl restart velmoraserviced || fail 'it does not start'
serves 51000 || fail 'started, but it does not serve'
[[ $(stat -c %U "/proc/$(property MainPID)") == velmora ]] ||
  fail 'it does not run as its own user'
grep -q '^Seccomp:[[:space:]]*2' "/proc/$(property MainPID)/status" || fail 'no system calls are filtered'
grep -qE '^CapEff:[[:space:]]*0+$' "/proc/$(property MainPID)/status" || fail 'it has privileges'
until_true grep -qs 'Velmora Service' "$log" || fail 'its log file is missing'
journalctl --sync
is_in_journal() { [[ $(journalctl -u velmoraserviced --no-pager) == *'Velmora Service'* ]]; }
until_true is_in_journal || fail 'the journal lacks its lines'

# It comes back after whatever end.
first=$(property MainPID)
kill -KILL "$first"
is_restarted() { [[ $(property MainPID) != "$first" ]] && systemctl is-active -q velmoraserviced; }
until_true is_restarted || fail 'it is not restarted after KILL'
serves 51000 || fail 'restarted, but it does not serve'

# It rotates: a file near its limit goes to its backup at the next lines.
systemctl stop velmoraserviced || fail 'it does not stop'
is Result success || fail 'a stop counts as a failure'
head -c 9999990 /dev/zero | tr '\0' 'x' >"$log"
systemctl start velmoraserviced || fail 'it does not start with a full log'
is_rotated() { [[ -f $log.bkp && $(stat -c %s "$log") -lt 100000 ]]; }
until_true is_rotated || fail 'it does not rotate'

# A taken port: the daemon ends with status 0, and systemctl says that the start has failed.
systemctl stop velmoraserviced
systemd-run -q --unit=squatter /opt/velmoraserver/bin/velmoraserviced --port 51000
until_true serves 51000 || fail 'nothing squats on the port'
if systemctl start velmoraserviced 2>/dev/null; then
  fail 'started, though its port is taken'
fi
until_true is ActiveState failed || fail 'it is not failed in the end'
journalctl --sync
[[ $(journalctl -b -u velmoraserviced --no-pager) == *'Start request repeated too quickly'* ]] ||
  fail 'it did not give up because of its start limit'
systemctl stop squatter
systemctl reset-failed velmoraserviced

# A broken configuration: the checker ends the start.
cp "$(readlink -f "$config/velmora.ini")" /run/velmora.ini.kept
sed -i 's/^threads =/thread =/' "$(readlink -f "$config/velmora.ini")"
if systemctl start velmoraserviced 2>/dev/null; then
  fail 'started with a broken key'
fi
systemctl stop velmoraserviced
systemctl reset-failed velmoraserviced
cat /run/velmora.ini.kept >"$(readlink -f "$config/velmora.ini")"

# A command line that is not understood is not tried again.
printf '[Service]\nExecStart=\nExecStart=/opt/velmoraserver/bin/velmoraserviced --unknown\n' \
  >/run/systemd/system/velmoraserviced.service.d/wrong.conf
systemctl daemon-reload
if systemctl start velmoraserviced 2>/dev/null; then
  fail 'started with a wrong command line'
fi
until_true is ActiveState failed || fail 'a wrong command line is tried again'
is NRestarts 0 || fail "a wrong command line was tried again $(property NRestarts) times"
rm -r /run/systemd/system/velmoraserviced.service.d
systemctl daemon-reload
systemctl reset-failed velmoraserviced

systemctl start velmoraserviced || fail 'it does not start any more'
systemctl stop velmoraserviced
[[ $(systemd-analyze verify /lib/systemd/system/velmoraserviced.service --man=no 2>&1) == '' ]] || fail 'verify has findings'
