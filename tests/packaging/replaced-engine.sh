#!/usr/bin/env bash
# Starts the installed daemon from a folder that is not its own, with the engine in lib/ replaced by another.
# usage: replaced-engine.sh PREFIX ENGINE
set -euo pipefail
# shellcheck source=tests/packaging/common.sh
source "$(dirname "$0")/common.sh"
scratch

cp -R "$1" "$scratch/moved"
cp "$2" "$scratch/moved/lib/libvelmoraLight.so"
mkdir "$scratch/elsewhere"
cd "$scratch/elsewhere"
env -i ENGINE_DOUBLE_RECORD="$scratch/record" VL_LOGCFG= \
  ../moved/bin/velmoraserviced --ini ../moved/velmora.ini >"$scratch/output" &
started+=($!)

until_true grep -q '^create' "$scratch/record" 2>/dev/null || fail "no call: $(cat "$scratch/output")"
expected='create port=51000 conns=1 threads=1 threadQueueSize=10 queueTimeout=0'
grep -qxF "$expected" "$scratch/record" || fail "the engine was called with: $(<"$scratch/record")"
[[ $(readlink "/proc/${started[0]}/exe") == "$scratch/moved/bin/velmoraserviced" ]] || fail 'another program runs'
grep -qF "$scratch/moved/lib/libvelmoraLight.so" "/proc/${started[0]}/maps" || fail 'another engine is loaded'
