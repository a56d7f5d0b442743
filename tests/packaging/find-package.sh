#!/usr/bin/env bash
# Builds a small program with find_package(velmora) against the installed libraries, and runs it.
# usage: find-package.sh CMAKE PREFIX CONSUMER COMPILER
set -euo pipefail
# shellcheck source=tests/packaging/common.sh
source "$(dirname "$0")/common.sh"
scratch

"$1" -S "$3" -B "$scratch/build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH="$2" \
  -DCMAKE_CXX_COMPILER="$4" -DCMAKE_EXPORT_COMPILE_COMMANDS=ON >"$scratch/log" || fail "$(<"$scratch/log")"
"$1" --build "$scratch/build" >"$scratch/log" || fail "$(<"$scratch/log")"
output=$("$scratch/build/consumer" --say 'hello, consumer')
[[ $output == $'[CONSUMER : 0x0007 : INFO] -> hello, consumer\r' ]] || fail "it says '$output'"

# The project's own warnings and checks are its own business.
if grep -qE -- '-Werror|-Wconversion|_FORTIFY_SOURCE' "$scratch/build/compile_commands.json"; then
  fail 'options of the project reach its users'
fi
# Nothing of this tree is needed to use the libraries.
if grep -rlF "$(cd "$3/../../.." && pwd)/" "$2/lib/cmake"; then
  fail 'the CMake package names the source tree'
fi
