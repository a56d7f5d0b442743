#!/usr/bin/env bash
# systemd's own checks of the installed units: nothing to say about them, and an exposure of at most 0.9, where 0.8
# is the price of being a TCP server. The template is the single unit but for what an instance has of its own.
# usage: unit.sh PREFIX DROPIN
set -euo pipefail
# shellcheck source=tests/packaging/common.sh
source "$(dirname "$0")/common.sh"
scratch

units="$1/lib/systemd/system"
unit="$units/velmoraserviced.service"
template="$units/velmoraserviced@.service"

# is_sound UNIT WHAT: systemd accepts it without a word.
is_sound() {
  local said
  said=$(MANPATH="$prefix/share/man" systemd-analyze verify "$1" 2>&1) || fail "verify fails $2: $said"
  [[ -z $said ]] || fail "verify says $2: $said"
}
# is_confined UNIT: its exposure.
is_confined() {
  local exposure
  exposure=$(systemd-analyze security --offline=true --no-pager "$1" | sed -n 's/.*Overall.*: \([0-9.]*\) .*/\1/p')
  [[ $exposure =~ ^[0-9]+\.[0-9]$ ]] || fail "no exposure level: '$exposure'"
  ((10#${exposure/./} <= 9)) || fail "the exposure of $1 is $exposure, more than 0.9"
}
prefix=$1

# A template is looked at as one of its instances.
mkdir "$scratch/units"
cp "$units"/velmoraserviced* "$scratch/units/"
cp "$template" "$scratch/units/velmoraserviced@copy1.service"
is_sound "$unit" 'of the unit'
is_sound "$scratch/units/velmoraserviced@copy1.service" 'of the template'
is_sound "$scratch/units/velmoraserviced.target" 'of the target'
is_confined "$unit"
is_confined "$scratch/units/velmoraserviced@copy1.service"

# The units name the prefix, and no other place of the daemon's.
[[ $1 == /opt/velmoraserver ]] || ! grep -q /opt/velmoraserver "$units"/* || fail 'a unit names another prefix'

# What an instance has of its own, and nothing else.
directives() { grep -vE '^(#|$)' "$1"; }
expected=$(directives "$unit" | sed -e "s| --ini $1/velmora.ini$| --ini /etc/velmoraserver/%i.ini|" \
  -e 's/^Description=.*/& %i/' -e '/^Documentation=/a PartOf=velmoraserviced.target' \
  -e 's@^\(LogsDirectory\|WorkingDirectory\)=.*@&/%i@' -e 's/^WantedBy=.*/WantedBy=velmoraserviced.target/')
difference=$(diff <(printf '%s\n' "$expected") <(directives "$template")) || fail "the template differs: $difference"

# With the drop-in in place, it is still a unit without a fault.
mkdir "$scratch/velmoraserviced.service.d"
cp "$unit" "$scratch/"
cp "$2" "$scratch/velmoraserviced.service.d/"
is_sound "$scratch/velmoraserviced.service" 'with the drop-in'

# Lines that must be there: what the daemon's exit status does not tell.
for line in Restart=always RestartPreventExitStatus=255 LogsDirectory=velmoraserver User=velmora \
  "Environment=VL_LOGCFG=$1/vlog.cfg" StandardOutput=journal MemoryMax=768M LimitNOFILE=2048 OOMPolicy=continue; do
  grep -qxF "$line" "$unit" || fail "'$line' is missing"
done
