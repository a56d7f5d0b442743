#!/usr/bin/env bash
# systemd's own checks of the installed unit: nothing to say about it, and an exposure of at most 1.1, where 0.8
# is the price of being a TCP server.
# usage: unit.sh PREFIX DROPIN
set -euo pipefail
# shellcheck source=tests/packaging/common.sh
source "$(dirname "$0")/common.sh"
scratch

unit="$1/lib/systemd/system/velmoraserviced.service"
said=$(MANPATH="$1/share/man" systemd-analyze verify "$unit" 2>&1) || fail "verify fails: $said"
[[ -z $said ]] || fail "verify says: $said"

exposure=$(systemd-analyze security --offline=true --no-pager "$unit" | sed -n 's/.*Overall.*: \([0-9.]*\) .*/\1/p')
[[ $exposure =~ ^[0-9]+\.[0-9]$ ]] || fail "no exposure level: '$exposure'"
((10#${exposure/./} <= 11)) || fail "the exposure is $exposure, more than 1.1"

# The unit names the prefix, and no other place of the daemon's.
[[ $1 == /opt/velmoraserver ]] || ! grep -q /opt/velmoraserver "$unit" || fail 'the unit names another prefix'

# With the drop-in in place, it is still a unit without a fault.
mkdir "$scratch/velmoraserviced.service.d"
cp "$unit" "$scratch/"
cp "$2" "$scratch/velmoraserviced.service.d/"
said=$(MANPATH="$1/share/man" systemd-analyze verify "$scratch/velmoraserviced.service" 2>&1) ||
  fail "verify fails with the drop-in: $said"
[[ -z $said ]] || fail "verify says with the drop-in: $said"

# Lines that must be there: what the daemon's exit status does not tell.
for line in Restart=always RestartPreventExitStatus=255 LogsDirectory=velmoraserver User=velmora \
  "Environment=VL_LOGCFG=$1/vlog.cfg" StandardOutput=journal MemoryMax=1G LimitNOFILE=4096; do
  grep -qxF "$line" "$unit" || fail "'$line' is missing"
done
