#!/usr/bin/env bash
# Builds the Debian package from the files that git tracks and has lintian look at it. The package lies in
# build/package afterwards; its path is the last line. The same revision makes the same bytes, wherever, whenever and
# by whomever it is built.
#
# usage: scripts/package.sh [--arch ARCHITECTURE]
#
#   --arch ARCHITECTURE   amd64 or arm64; without it this machine's. For arm64 on another machine that architecture is
#                         added to those that dpkg may install
set -euo pipefail

# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
help_if_asked "$@"

native=$(dpkg --print-architecture)
arch=$native
case "${1-}" in
  --arch)
    arch=${2:?--arch needs a name}
    shift 2
    ;;
esac
(($# == 0)) || die "unknown argument '$1': see --help"
[[ $arch == "$native" || $arch == arm64 ]] || die "'$arch' cannot be built here: $native and arm64 can"

version=$(version_of_project)
packages=package
[[ $arch == "$native" ]] || packages=arm64
"$root/scripts/deps.sh" "$packages"

place="$root/build/package"
tree="$place/velmoraserver-$version"
log="$place/build.log"
rm -rf "$tree" "$place"/*_"$arch".{deb,changes,buildinfo}
mkdir -p "$tree"
copy_package_sources "$tree"
VELMORA_BUILD_ID=$(revision) DEB_BUILD_OPTIONS="parallel=$(nproc)"
export VELMORA_BUILD_ID DEB_BUILD_OPTIONS

say "building the package for $arch (progress in build/package/build.log)"
(cd "$tree" && dpkg-buildpackage --build=binary --no-sign --host-arch "$arch") >"$log" 2>&1 || {
  tail -n 30 "$log" >&2
  die "building failed: read build/package/build.log"
}

# Root builds in clean places only; the findings are the same.
as_root=()
((EUID)) || as_root=(--allow-root)
lintian --pedantic --fail-on error,warning,pedantic "${as_root[@]}" "$place/velmoraserver_${version}_$arch.deb"
rm -rf "$tree"
printf '%s\n' "$place/velmoraserver_${version}_$arch.deb"
