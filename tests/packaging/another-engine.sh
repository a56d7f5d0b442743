#!/usr/bin/env bash
# Builds the daemon against an engine installed elsewhere that says nothing of its name, then against another one that
# calls itself by a name with a version, and installs it.
# usage: another-engine.sh CMAKE SOURCE COMPILER
set -euo pipefail
# shellcheck source=tests/packaging/common.sh
source "$(dirname "$0")/common.sh"
scratch
cmake=$1 source=$2 compiler=$3

cat >"$scratch/engine.cpp" <<'CODE'
#include "velmora_light_api_server.h"

#include <cstdio>

VelmoraLightServer* velmoraLightServer_create(VelmoraLightServerConfig*) {
    std::puts("engine " NAME);
    return nullptr;
}
int velmoraLightServer_destroy(VelmoraLightServer*) { return 0; }
int velmoraLight_getVersion(int*, int*, int*) { return 0; }
const char* velmoraLight_getBuildSHA1(void) { return ""; }
CODE

# engine NAME [compiler's arguments]: one that is installed in $scratch/NAME, and says its name.
engine() {
  mkdir -p "$scratch/$1/lib" "$scratch/$1/include"
  cp "$source/src/velmoralight_standin/include/velmora_light_api_server.h" "$scratch/$1/include"
  "$compiler" -shared -fPIC -DNAME="\"$1\"" -I "$scratch/$1/include" -o "$scratch/$1/lib/libvelmoraLight.so" "${@:2}" \
    "$scratch/engine.cpp"
}
# build_against NAME: as a user does who has no preset for it.
build_against() {
  "$cmake" -S "$source" -B "$scratch/build" -G Ninja -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_CXX_COMPILER="$compiler" -DVELMORA_BUILD_TESTS=OFF -DVELMORA_BUILD_BENCHMARKS=OFF \
    -DVELMORA_LIGHT_DIR="$scratch/$1" >"$scratch/log" || fail "$(<"$scratch/log")"
  "$cmake" --build "$scratch/build" >"$scratch/log" || fail "$(tail -n 20 "$scratch/log")"
}
# runs_with NAME TREE: whether the daemon of a tree runs, with that engine.
runs_with() { [[ $(VL_LOGCFG='' "$2/bin/velmoraserviced" -p 1 2>&1) == *"engine $1"* ]]; }

engine one
engine two -Wl,-soname,libvelmoraLight.so.2
build_against one
mv "$scratch/one" "$scratch/moved"
ln -sf "$scratch/moved/lib/libvelmoraLight.so" "$scratch/build/lib/libvelmoraLight.so"
runs_with one "$scratch/build" || fail 'the daemon looks for the engine where it was when the daemon was built'
mv "$scratch/moved" "$scratch/one"
build_against two
runs_with two "$scratch/build" || fail 'what was built does not run with the second engine'
"$cmake" --install "$scratch/build" --component Runtime --prefix "$scratch/installed" >"$scratch/log" ||
  fail "$(<"$scratch/log")"
rm -r "$scratch/two" "$scratch/build"
runs_with two "$scratch/installed" || fail 'what was installed does not run with the second engine'
