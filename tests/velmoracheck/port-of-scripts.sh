#!/usr/bin/env bash
# The scripts take from an INI file the port that the daemon takes.
# usage: port-of-scripts.sh CHECKER COMMON
set -euo pipefail
checker=$1
# shellcheck source=scripts/common.sh
source "$2"

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# takes PORT TEXT: a file of this text names the port.
takes() {
  local port
  printf '%b' "$2" >"$scratch/velmora.ini"
  port=$(port_of "$checker" "$scratch/velmora.ini")
  [[ $port == "$1" ]] || die "port '$port' instead of '$1' of: $2"
}
takes 6000 '[default]\nport = 6000\n'
takes 6000 '[default]\nport: 6000\n'
takes 8080 '[default]\nport = 0x1F90\n'
takes 8 '[default]\nport = 010\n'
takes 6000 '[other]\nport = 1\n[default]\nport = 6000\n'
takes 51000 '[other]\nport = 1\n'
takes 99999 '[default]\nport = 99999\n'
takes -5 '[default]\nport = -5\n'
rm "$scratch/velmora.ini"
[[ -z $(port_of "$checker" "$scratch/velmora.ini") ]] || die 'a port of a file that is missing'
