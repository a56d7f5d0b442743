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

# The checkout's own, also where somebody else owns it, and where a hook of another one builds it.
export GIT_CONFIG_GLOBAL=/dev/null GIT_CONFIG_SYSTEM=/dev/null
mkdir "$scratch/other"
git init --quiet "$scratch/other"
if git -C "$2" rev-parse --quiet --verify HEAD >/dev/null 2>&1 && [[ -e $2/.git ]]; then
  revision=$(git -C "$2" rev-parse HEAD)
  git clone --quiet --shared "$2" "$scratch/checkout"
  (cd "$2" && git ls-files -z CMakeLists.txt cmake src | xargs -0 cp --parents -t "$scratch/checkout")
  ((EUID)) || chown -R nobody: "$scratch/checkout"
  rm -r "$scratch/build"
  (unset VELMORA_BUILD_ID && GIT_DIR="$scratch/other/.git" configure "$1" "$scratch/checkout" "$3" '') ||
    fail "$(<"$scratch/log")"
  contains "$(<"$scratch/build/src/velmoraserver/app/velmora_build_id.h")" "#define VELMORA_BUILD_ID \"${revision:0:7}\""
fi
