#!/usr/bin/env bash
# Starts scripts/run.sh with the installed programs in the place of a build: it serves with numbers for this machine,
# and shows what the checker finds in the file that its reader edits.
# usage: run-script.sh PREFIX SOURCE
set -euo pipefail
# shellcheck source=tests/packaging/common.sh
source "$(dirname "$0")/common.sh"
scratch

tree="$scratch/sources"
mkdir -p "$tree/build" "$tree/scripts"
cp -R "$2/config" "$tree/"
cp -R "$1" "$tree/build/run"
cp "$2"/scripts/{run,common}.sh "$tree/scripts/"
# Nothing is to be installed or built.
printf '#!/bin/sh\n' >"$tree/scripts/deps.sh"
chmod +x "$tree/scripts/deps.sh"
echo 'build() { :; }' >>"$tree/scripts/common.sh"
port=$(free_port)
sed -i "s/^port = .*/port = $port/" "$tree/config/velmora.ini"

# go: starts it, ends it once it has said its last line, and puts what it said into $said.
go() {
  # Emptied here: the child that comes up below may be later than the first look for what it says.
  : >"$scratch/output"
  "$tree/scripts/run.sh" >"$scratch/output" 2>&1 &
  started=($!)
  until_true grep -q -e '^or look at ' -e '^run.sh:' "$scratch/output" || fail "it does not serve: $(<"$scratch/output")"
  kill "${started[0]}" || true
  wait "${started[0]}" || true
  started=()
  said=$(<"$scratch/output")
}

go
contains "$said" "connections     : $((48 * $(nproc)))"
contains "$said" "threads         : $(nproc)"
contains "$said" "http://127.0.0.1:$port/v1/recognize"
[[ $said != *velmora.ini:* ]] || fail "the shipped file has findings: $said"

# A number that somebody has set stays, and a key that nobody knows is named where it stands.
sed -i -e 's/^connections = 1$/connections = 7/' -e 's/^threads = 1$/thread = 1/' "$tree/config/velmora.ini"
line=$(grep -n '^thread = ' "$tree/config/velmora.ini" | cut -d : -f 1)
go
contains "$said" 'connections     : 7'
contains "$said" "config/velmora.ini:$line: error: unknown key 'thread': did you mean 'threads'?"
