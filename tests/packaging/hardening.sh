#!/usr/bin/env bash
# Reads the ELF headers and the code of the installed programs and of the engine.
# usage: hardening.sh PREFIX SOURCE BUILD
set -euo pipefail
# shellcheck source=tests/packaging/common.sh
source "$(dirname "$0")/common.sh"

# hardened FILE: what holds for programs and libraries.
hardened() {
  local header segments dynamic symbols
  header=$(readelf --wide --file-header "$1")
  segments=$(readelf --wide --program-headers "$1")
  dynamic=$(readelf --wide --dynamic "$1")
  symbols=$(readelf --wide --dyn-syms "$1")
  contains "$header" 'Type:                              DYN'
  contains "$segments" GNU_RELRO
  contains "$dynamic" BIND_NOW
  contains "$symbols" __stack_chk_fail
  grep -qE '__(vsn?|sn?|f|v?f?)printf_chk|__mem(cpy|move|set)_chk|__(read|recv)_chk' <<<"$symbols" ||
    fail "$1: no checked function of the C library"
  ! grep -qE '^ +(LOAD|GNU_STACK) .* (RWE|R?W?E?W E) ' <<<"$segments" || fail "$1: written and executed: $segments"
  ! grep -qE 'GNU_STACK .* RWE' <<<"$segments" || fail "$1: the stack is executable"
  # Code has pages of its own: the first segment, with the headers, is for reading alone.
  [[ $(grep -m 1 ' LOAD ' <<<"$segments") =~ \ R\ +0x ]] || fail "$1: the headers are executable: $segments"
  if [[ $(uname -m) == x86_64 ]]; then
    (($(objdump -d --no-show-raw-insn "$1" | grep -c endbr64) > 20)) || fail "$1: no control-flow protection"
  fi
  # Released files tell nothing of the machine that they were built on.
  ! strings -a "$1" | grep -F -e "$2" -e "$3" || fail "$1: names the build's folders"
}

for program in "$1"/bin/*; do
  hardened "$program" "$2" "$3"
  contains "$(readelf --wide --dynamic "$program")" 'Flags: NOW PIE'
done
hardened "$1/lib/libvelmoraLight.so" "$2" "$3"

exported=$(nm --dynamic --defined-only --format=posix "$1/lib/libvelmoraLight.so" | cut -d ' ' -f 1 | LC_ALL=C sort)
[[ $exported == $'velmoraLightServer_create\nvelmoraLightServer_destroy\nvelmoraLight_getBuildSHA1\nvelmoraLight_getVersion' ]] ||
  fail "the engine exports: $exported"
