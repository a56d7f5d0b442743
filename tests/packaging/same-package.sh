#!/usr/bin/env bash
# Builds a package once more: in another folder, later, as another user with another umask, time zone, language and
# host name. It has to be the same, byte by byte. Needs root.
# usage: same-package.sh PACKAGE
set -euo pipefail
# shellcheck source=tests/packaging/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/common.sh"
scratch

((EUID == 0)) || fail 'needs root: it builds as another user'
package=$(realpath "$1")
tree="$scratch/quite/another/folder/sources"
mkdir -p "$tree"
copy_package_sources "$tree"
chown -R nobody:nogroup "$scratch"
build_id=$(revision)

# shellcheck disable=SC2016
unshare --uts setpriv --reuid=nobody --regid=nogroup --clear-groups env -i -C "$tree" \
  PATH="$PATH" HOME="$scratch" USER=nobody TZ=Pacific/Kiritimati LC_ALL=C.UTF-8 VELMORA_BUILD_ID="$build_id" \
  DEB_BUILD_OPTIONS="parallel=$(nproc)" \
  sh -c 'umask 077 && exec dpkg-buildpackage --build=binary --no-sign' >"$scratch/log" 2>&1 ||
  fail "the second build fails: $(tail -n 20 "$scratch/log")"

again="$scratch/quite/another/folder/$(basename "$package")"
if ! cmp "$package" "$again"; then
  diff <(dpkg-deb --contents "$package") <(dpkg-deb --contents "$again") || true
  dpkg-deb --raw-extract "$package" "$scratch/first"
  dpkg-deb --raw-extract "$again" "$scratch/second"
  fail "two packages: $(diff -rq "$scratch/first" "$scratch/second" || true)"
fi
echo 'another folder, time, user, umask, time zone, language and host name: the same package'
