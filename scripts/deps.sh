#!/usr/bin/env bash
# Installs what is needed, by package name (Debian 12). Quick and silent when nothing is missing.
#
# usage: scripts/deps.sh [run|test|package|many|copies|image|ci]
#
#   run       what scripts/run.sh needs: to build the daemon and to talk to it
#   test      that, and what scripts/test.sh needs (the default)
#   package   what scripts/run.sh needs, and scripts/package.sh and scripts/package-test.sh
#   many      what scripts/many.sh needs: what scripts/run.sh needs, and HAProxy
#   copies    that, and what tests/copies/run.sh needs
#   image     what scripts/image.sh needs: a builder of container images
#   ci        all of the first three, and the other compiler and the checkers of .ci/run
set -euo pipefail

run_packages=(
  cmake curl g++ git libboost-dev libinih-dev libpng-dev libturbojpeg0-dev libzxing-dev ninja-build
  nlohmann-json3-dev pkg-config
)
test_packages=(
  "${run_packages[@]}" bash-completion binutils libbenchmark-dev libgmock-dev libgtest-dev man-db mandoc
  qrencode systemd zint zsh
)
package_packages=("${run_packages[@]}" debhelper debootstrap dpkg-dev lintian)
many_packages=("${run_packages[@]}" haproxy)
copies_packages=("${test_packages[@]}" "${many_packages[@]}" hey python3 socat tini)
image_packages=(buildah ca-certificates crun curl debootstrap git python3)
ci_packages=(
  "${test_packages[@]}" "${package_packages[@]}" clang-14 clang-format clang-tidy gcovr libclang-rt-14-dev python3
  shellcheck
)

die() {
  printf 'deps: %s\n' "$*" >&2
  exit 1
}

case "${1-test}" in
  run) packages=("${run_packages[@]}") ;;
  test) packages=("${test_packages[@]}") ;;
  package) packages=("${package_packages[@]}") ;;
  many) packages=("${many_packages[@]}") ;;
  copies) packages=("${copies_packages[@]}") ;;
  image) packages=("${image_packages[@]}") ;;
  ci) packages=("${ci_packages[@]}") ;;
  -h | --help)
    sed -n '2,/^set /{s/^# \{0,1\}//;/^set /d;p}' "$0"
    exit 0
    ;;
  *) die "unknown set '$1': run, test, package, many, copies, image or ci" ;;
esac

if ! command -v apt-get >/dev/null; then
  die "no apt here; install what these Debian packages hold: ${packages[*]}"
fi

missing=()
installed=$(dpkg-query -W -f='${Package} ${db:Status-Status}\n' "${packages[@]}" 2>/dev/null || true)
for package in "${packages[@]}"; do
  grep -qx "$package installed" <<<"$installed" || missing+=("$package")
done
((${#missing[@]})) || exit 0

as_root=()
if ((EUID != 0)); then
  command -v sudo >/dev/null || die "not root and no sudo; have somebody install: ${missing[*]}"
  as_root=(sudo)
fi

log=$(mktemp)
trap 'rm -f "$log"' EXIT

# Shows apt's own progress reports: on a terminal in place, elsewhere a line for every 20 per cent.
show_progress() {
  local what=$1 shown=-1 percent
  while IFS=: read -r _ _ percent _; do
    percent=${percent%%.*}
    [[ $percent =~ ^[0-9]+$ ]] || continue
    if [[ -t 2 ]]; then
      printf '\r%s %3d %%' "$what" "$percent" >&2
    elif ((percent / 20 > shown)); then
      shown=$((percent / 20))
      printf '%s %d %%\n' "$what" "$percent" >&2
    fi
  done
  [[ ! -t 2 ]] || printf '\n' >&2
}

# The descriptors are arranged inside, since sudo passes on no more than the first three: 3 is apt's progress,
# all else that it says goes to the log.
apt() {
  local what=$1
  shift
  "${as_root[@]}" bash -c 'exec 3>&1 1>&2 </dev/null
    DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8 exec apt-get -y -o APT::Status-Fd=3 "$@"' apt "$@" \
    2>>"$log" | show_progress "$what" || {
    tail -n 5 "$log" >&2
    die "apt-get $1 failed (above: the end of what it said); mend that and run this again"
  }
}

printf 'deps: installing %d packages: %s\n' "${#missing[@]}" "${missing[*]}" >&2
apt 'deps: package lists' update
apt 'deps: installing' install --no-install-recommends "${missing[@]}"
