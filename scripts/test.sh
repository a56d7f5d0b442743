#!/usr/bin/env bash
# Builds everything and runs all tests. Installs what is missing first (Debian 12).
#
# usage: scripts/test.sh [--preset PRESET] [ctest arguments]
#
#   --preset PRESET   release (the default), debug, asan or tsan
#
# What follows goes to ctest: "scripts/test.sh -R VLog" runs the tests with VLog in their names.
set -euo pipefail

# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
help_if_asked "$@"

preset=release
case "${1-}" in
  --preset)
    preset=${2:?--preset needs a name}
    shift 2
    ;;
esac
case $preset in
  release | asan) packages="test" ;;
  debug | tsan) packages=clang ;;
  *) die "no preset '$preset' has tests: release, debug, asan and tsan have" ;;
esac

"$root/scripts/deps.sh" "$packages"
build "$preset"
cd "$root"
exec ctest --preset "$preset" "$@"
