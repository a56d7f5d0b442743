#!/usr/bin/env bash
# Hands the revision in, as who builds outside a checkout does: it is taken as it is, and refused when it is none.
# usage: build-id.sh CMAKE SOURCE COMPILER
set -euo pipefail
# shellcheck source=tests/packaging/common.sh
source "$(dirname "$0")/common.sh"
scratch

configure() {
  "$1" -S "$2" -B "$scratch/build" -G Ninja -DCMAKE_CXX_COMPILER="$3" -DVELMORA_BUILD_TESTS=OFF \
    -DVELMORA_BUILD_BENCHMARKS=OFF -DVELMORA_BUILD_ID="$4" >"$scratch/log" 2>&1
}
configure "$@" 0a1b2c3 || fail "$(<"$scratch/log")"
contains "$(<"$scratch/build/src/velmoraserver/app/velmora_build_id.h")" '#define VELMORA_BUILD_ID "0a1b2c3"'
for wrong in 0a1b2c 0a1b2c34 0A1B2C3 v1.0.0x; do
  if configure "$@" "$wrong"; then fail "'$wrong' is taken for a revision"; fi
  contains "$(<"$scratch/log")" "VELMORA_BUILD_ID is '$wrong', and not seven hexadecimal digits"
done
