#!/usr/bin/env bash
# Builds a small program against the installed libraries, with find_package(velmora) and with pkg-config, and runs it.
# usage: find-package.sh CMAKE PREFIX CONSUMER COMPILER
set -euo pipefail
# shellcheck source=tests/packaging/common.sh
source "$(dirname "$0")/common.sh"
scratch

"$1" -S "$3" -B "$scratch/build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH="$2" \
  -DCMAKE_CXX_COMPILER="$4" -DCMAKE_EXPORT_COMPILE_COMMANDS=ON >"$scratch/log" || fail "$(<"$scratch/log")"
"$1" --build "$scratch/build" >"$scratch/log" || fail "$(<"$scratch/log")"
# says_hello PROGRAM
says_hello() {
  local output
  output=$("$1" --say 'hello, consumer')
  [[ $output == $'[CONSUMER : 0x0007 : INFO] -> hello, consumer\r' ]] || fail "$1 says '$output'"
}
says_hello "$scratch/build/consumer"

# The project's own warnings and checks are its own business.
if grep -qE -- '-Werror|-Wconversion|_FORTIFY_SOURCE' "$scratch/build/compile_commands.json"; then
  fail 'options of the project reach its users'
fi
# Nothing of this tree is needed to use the libraries.
if grep -rlF "$(cd "$3/../../.." && pwd)/" "$2/lib/cmake"; then
  fail 'the CMake package names the source tree'
fi

# The files of pkg-config go with the tree when that is moved.
cp -R "$2" "$scratch/moved"
export PKG_CONFIG_LIBDIR="$scratch/moved/lib/pkgconfig"
version=$(pkg-config --modversion velmora-vlib velmora-argvparser | sort -u)
expected=$(sed -n 's/^set(PACKAGE_VERSION "\(.*\)")$/\1/p' "$2/lib/cmake/velmora/velmoraConfigVersion.cmake")
[[ $expected == [0-9]* && $version == "$expected" ]] || fail "pkg-config has version $version, CMake $expected"
# shellcheck disable=SC2162 # a blank in a path is behind a backslash
read -a flags < <(pkg-config --cflags --libs velmora-vlib velmora-argvparser)
"$4" -std=c++20 -o "$scratch/consumer" "$3/consumer.cpp" "${flags[@]}"
says_hello "$scratch/consumer"
if grep -rlF -e "$2" -e "$(cd "$3/../../.." && pwd)/" "$PKG_CONFIG_LIBDIR"; then
  fail 'a file of pkg-config names the tree it was installed to'
fi
