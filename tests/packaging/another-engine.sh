#!/usr/bin/env bash
# Builds the daemon against an engine installed elsewhere, then against another one that calls itself by a name with a
# version, and installs it.
# usage: another-engine.sh CMAKE SOURCE ENGINE COMPILER
set -euo pipefail
# shellcheck source=tests/packaging/common.sh
source "$(dirname "$0")/common.sh"
scratch
cmake=$1 source=$2 engine=$3 compiler=$4

for name in one two; do
  mkdir -p "$scratch/$name/lib" "$scratch/$name/include"
  cp "$source/src/velmoralight_standin/include/velmora_light_api_server.h" "$scratch/$name/include"
done
cp "$engine" "$scratch/one/lib/libvelmoraLight.so"
cat >"$scratch/two.cpp" <<'CODE'
#include "velmora_light_api_server.h"

#include <cstdio>

VelmoraLightServer* velmoraLightServer_create(VelmoraLightServerConfig*) {
    std::puts("engine two");
    return nullptr;
}
int velmoraLightServer_destroy(VelmoraLightServer*) { return 0; }
int velmoraLight_getVersion(int*, int*, int*) { return 0; }
const char* velmoraLight_getBuildSHA1(void) { return ""; }
CODE
"$compiler" -shared -fPIC -fvisibility=default -I "$scratch/two/include" -Wl,-soname,libvelmoraLight.so.2 \
  -o "$scratch/two/lib/libvelmoraLight.so" "$scratch/two.cpp"

# configure ENGINE: as a user does who has no preset for it.
configure() {
  "$cmake" -S "$source" -B "$scratch/build" -G Ninja -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_CXX_COMPILER="$compiler" -DVELMORA_BUILD_TESTS=OFF -DVELMORA_BUILD_BENCHMARKS=OFF \
    -DVELMORA_LIGHT_DIR="$scratch/$1" >"$scratch/log" || fail "$(<"$scratch/log")"
}
# says_two DAEMON: whether it runs, with the second engine.
says_two() { [[ $(VL_LOGCFG='' "$1" -p 1 2>&1) == *'engine two'* ]]; }

configure one
configure two
"$cmake" --build "$scratch/build" >"$scratch/log" || fail "$(tail -n 20 "$scratch/log")"
says_two "$scratch/build/bin/velmoraserviced" || fail 'what was built does not run with the second engine'
"$cmake" --install "$scratch/build" --component Runtime --prefix "$scratch/installed" >"$scratch/log" ||
  fail "$(<"$scratch/log")"
rm -r "$scratch/two" "$scratch/build"
says_two "$scratch/installed/bin/velmoraserviced" || fail 'what was installed does not run with the second engine'
