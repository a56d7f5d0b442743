#!/usr/bin/env bash
# Builds the Debian package from the files that git tracks and has lintian look at it. The package lies in
# build/package afterwards; its path is the last line.
#
# usage: scripts/package.sh
set -euo pipefail

# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
help_if_asked "$@"

case "${1-}" in
  '') ;;
  *) die "unknown argument '$1': there is none but --help" ;;
esac

"$root/scripts/deps.sh" package

version=$(sed -n 's/^project(velmora VERSION \([0-9.]*\).*/\1/p' "$root/CMakeLists.txt")
packaged=$(sed -n '1s/.*(\(.*\)).*/\1/p' "$root/packaging/debian/changelog")
[[ $packaged == "$version" ]] || die "packaging/debian/changelog is at $packaged, CMakeLists.txt at $version"

place="$root/build/package"
tree="$place/velmoraserver-$version"
log="$place/build.log"
rm -rf "$tree" "$place"/*.deb "$place"/*.changes "$place"/*.buildinfo
mkdir -p "$tree"
(cd "$root" && git ls-files -z | xargs -0 cp --parents -t "$tree")
cp -R "$tree/packaging/debian" "$tree/debian"

say "building the package (progress in build/package/build.log)"
(cd "$tree" && DEB_BUILD_OPTIONS="parallel=$(nproc)" dpkg-buildpackage --build=binary --no-sign) >"$log" 2>&1 || {
  tail -n 30 "$log" >&2
  die "building failed: read build/package/build.log"
}

# Root builds in clean places only; the findings are the same.
as_root=()
((EUID)) || as_root=(--allow-root)
lintian --pedantic --fail-on error,warning,pedantic "${as_root[@]}" "$place/velmoraserver_${version}_"*.deb
rm -rf "$tree"
printf '%s\n' "$place/velmoraserver_${version}_"*.deb
