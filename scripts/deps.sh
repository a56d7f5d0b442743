#!/usr/bin/env bash
# Installs what is needed, by package name (Debian 12). Quick and silent when nothing is missing.
#
# usage: scripts/deps.sh [SET]
#
#   arm64     what scripts/arm64.sh needs; adds that architecture to those that dpkg may install
#   run       what scripts/run.sh needs: to build the daemon and to talk to it
#   test      that, and what scripts/test.sh needs (the default), with the address sanitizer too
#   clang     that, and what the presets debug and tsan need: the other compiler
#   coverage  what scripts/test.sh and scripts/coverage.sh need
#   bench     what scripts/test.sh needs, and what scripts/bench.sh compares with
#   copies    what scripts/test.sh and scripts/many.sh need, and tests/copies/run.sh
#   fuzz      what scripts/run.sh needs, and scripts/fuzz.sh
#   image     what scripts/image.sh needs: a builder of container images, and what runs them
#   kubectl   what puts the manifests of packaging/kubernetes together, for those who have no kubectl
#   lint      what looks at the sources without building them: white space, shell scripts
#   many      what scripts/run.sh needs, and HAProxy and Python for scripts/many.sh
#   package   what scripts/run.sh needs, and scripts/package.sh and scripts/package-test.sh
#   page      what scripts/run.sh needs, and tests/page/run.sh: a browser and its driver
#   soak      what scripts/run.sh needs, and scripts/soak.sh
#   tidy      what scripts/run.sh needs, and scripts/tidy.sh
#   ci        all of that but arm64 and kubectl
set -euo pipefail

declare -A sets
sets[run]='cmake curl g++ git libboost-dev libinih-dev libpng-dev libseccomp-dev libturbojpeg0-dev libwebp-dev
  libzxing-dev ninja-build nlohmann-json3-dev pkg-config'
sets[test]="${sets[run]} bash-completion binutils iproute2 libbenchmark-dev libgmock-dev libgtest-dev man-db mandoc qrencode
  python3 systemd zint zsh"
sets[clang]="${sets[test]} clang-14 libclang-rt-14-dev"
sets[coverage]="${sets[test]} gcovr"
sets[bench]="${sets[test]} libboost-log-dev libboost-program-options-dev libcli11-dev libcxxopts-dev
  libgoogle-glog-dev liblog4cplus-dev libspdlog-dev python3 wrk"
sets[many]="${sets[run]} haproxy python3"
sets[copies]="${sets[test]} ${sets[many]} hey iproute2 keepalived openssl socat tini"
sets[fuzz]="${sets[run]} clang-14 libclang-rt-14-dev"
sets[image]='buildah ca-certificates crun curl debootstrap git podman python3 python3-kubernetes python3-yaml'
sets[lint]='clang-format git shellcheck'
sets[package]="${sets[run]} build-essential debhelper debootstrap dpkg-dev lintian python3"
sets[page]="${sets[run]} chromium chromium-driver python3-selenium qrencode"
sets[soak]="${sets[run]} python3"
sets[tidy]="${sets[run]} clang-14 clang-tidy"
sets[ci]="${sets[*]}"
sets[arm64]="${sets[package]} g++-aarch64-linux-gnu libboost-dev:arm64 libc6-dev:arm64 libgmock-dev:arm64
  libgtest-dev:arm64 libinih-dev:arm64 libpng-dev:arm64 libseccomp-dev:arm64 libstdc++-12-dev:arm64
  libturbojpeg0-dev:arm64 libwebp-dev:arm64 libzxing-dev:arm64 pkg-config:arm64 qemu-user"
sets[kubectl]='kubernetes-client'

die() {
  printf 'deps: %s\n' "$*" >&2
  exit 1
}

case "${1-}" in
  -h | --help)
    sed -n '2,/^set /{s/^# \{0,1\}//;/^set /d;p}' "$0"
    exit 0
    ;;
esac
wanted=${1:-test}
[[ -n ${sets[$wanted]-} ]] || die "unknown set '$wanted': scripts/deps.sh --help names them"
mapfile -t packages < <(tr -s ' ' '\n' <<<"${sets[$wanted]}" | sort -u)

if ! command -v apt-get >/dev/null; then
  die "no apt here; install what these Debian packages hold: ${packages[*]}"
fi

# Those of this machine's architecture without it, as above.
missing=()
native=$(dpkg --print-architecture)
installed=$(dpkg-query -W -f='${Package}:${Architecture} ${db:Status-Status}\n' "${packages[@]}" 2>/dev/null |
  sed -n -e "s/:$native installed\$//p" -e 's/:all installed$//p' -e 's/ installed$//p' || true)
for package in "${packages[@]}"; do
  grep -qxF "$package" <<<"$installed" || missing+=("$package")
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
# all else that it says goes to the log. Another apt, such as a machine's daily one, is waited for.
apt() {
  local what=$1
  shift
  "${as_root[@]}" bash -c 'exec 3>&1 1>&2 </dev/null
    DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8 exec apt-get -y -o APT::Status-Fd=3 -o DPkg::Lock::Timeout=300 \
    "$@"' apt "$@" 2>>"$log" | show_progress "$what" || {
    tail -n 5 "$log" >&2
    die "apt-get $1 failed (above: the end of what it said); mend that and run this again"
  }
}

if [[ $wanted == arm64 ]]; then
  "${as_root[@]}" dpkg --add-architecture arm64
fi
printf 'deps: installing %d packages: %s\n' "${#missing[@]}" "${missing[*]}" >&2
apt 'deps: package lists' update
apt 'deps: installing' install --no-install-recommends "${missing[@]}"
