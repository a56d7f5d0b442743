#!/usr/bin/env bash
# Cross-builds for 64-bit ARM and runs the tests of vlib, the parser and the daemon under qemu-user, then builds the
# Debian package for that architecture. Adds the architecture to those that dpkg may install. The kernel is told of
# qemu-user within name spaces of this script alone, so nothing else of the machine changes.
#
# Not tried: the engine and the checker, real hardware, the package's installation. The emulator is one of user
# programs: what the kernel does is done by this machine's.
#
# usage: scripts/arm64.sh [--no-package]
#
#   --no-package   only the tests
set -euo pipefail

# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
help_if_asked "$@"

# What runs inside the name spaces: programs for this architecture are started by the emulator from here on.
if [[ ${1-} == --with-emulator ]]; then
  shift
  mount -t binfmt_misc binfmt_misc /proc/sys/fs/binfmt_misc
  magic='\x7fELF\x02\x01\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\xb7\x00'
  mask='\xff\xff\xff\xff\xff\xff\xff\x00\xff\xff\xff\xff\xff\xff\xff\xff\xfe\xff\xff\xff'
  printf '%s' ":qemu-aarch64:M::$magic:$mask:$(command -v qemu-aarch64):POCF" >/proc/sys/fs/binfmt_misc/register
  exec "$@"
fi

package=yes
case "${1-}" in
  '') ;;
  --no-package) package= ;;
  *) die "unknown argument '$1': see --help" ;;
esac
[[ $(uname -m) != aarch64 ]] || die 'this machine is one itself: scripts/test.sh tries it without an emulator'

"$root/scripts/deps.sh" arm64
folders=(vos vutils vlog parseargs service daemon)
targets=("${folders[@]/#/tests/}")
build arm64 --target "${targets[@]/%//all}"

# What the emulator does otherwise than a kernel: it is the program that runs (so its file is busy, and not the
# tested one), has a descriptor and a thread of its own, uses this machine's numbers for system calls, and loses the
# other threads of a process that forks. A small disk is another script's to mount.
otherwise=(CanAppendTo.IsFalseForAProgramThatIsRunning IsWritableFile.ARunningProgramIsNotWhoeverAsks
  DaemonFault.OfAThreadThatCannotBeStartedLosesNoLineOfAFailedStart
  DaemonFault.OfThreeClosedStandardStreamsLosesNoLineOfTheFile DaemonTest.LooksUpOnceASecondWhileItServes
  'VLogFullDisk.*' 'VLogProcess.*')
filter=$(IFS=: && printf '%s' "-${otherwise[*]}")

# Whole programs: a process for each test would be the emulator's start, more than a thousand times. Those that start
# threads thousands of times would take it minutes.
tried="$root/build/arm64/tried"
mkdir -p "$tried"
for program in "$root"/build/arm64/bin/*_test; do
  [[ $program != *_stress_test ]] || continue
  printf 'add_test([=[%s]=] [=[%s]=] --gtest_brief=1 "--gtest_filter=%s")\n' "$(basename "$program")" "$program" "$filter"
done >"$tried/CTestTestfile.cmake"
unshare --user --map-root-user --mount "$0" --with-emulator \
  ctest --test-dir "$tried" --output-on-failure --no-tests=error --timeout 600 -j "$(nproc)"

[[ -z $package ]] || "$root/scripts/package.sh" --arch arm64
