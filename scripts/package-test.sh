#!/usr/bin/env bash
# Tries the Debian package from its first installation to its purge, in a Debian tree made for that: boots the
# tree's systemd, has a broken configuration found, serves and logs under the unit's sandbox, upgrades over a
# changed file, and looks at what is left in the end; then the same without the package, by the commands of
# docs/operating.md. Needs root and a package mirror, which is that of this
# machine's apt.
#
# usage: scripts/package-test.sh [--tree DIR] [PACKAGE]
#
#   --tree DIR   a minimal Debian 12 tree to copy (debootstrap --variant=minbase); without it one is made
#   PACKAGE      the .deb; without it scripts/package.sh builds one
set -euo pipefail

# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
help_if_asked "$@"

model=
case "${1-}" in
  --tree)
    model=$(realpath "${2:?--tree needs a folder}")
    shift 2
    ;;
esac
((EUID == 0)) || die 'needs root: it makes a tree of its own and boots it'

package=${1-}
[[ -n $package ]] || package=$("$root/scripts/package.sh" | tail -n 1)
package=$(realpath "$package")
[[ -f $package ]] || die "no package: $package"
"$root/scripts/deps.sh" package

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
tree="$scratch/tree"
checks="$root/tests/packaging"

make_tree() {
  debootstrap --variant=minbase bookworm "$tree" "$(debian_mirror)" >"$scratch/log" 2>&1 || {
    tail -n 5 "$scratch/log" >&2
    die 'debootstrap failed'
  }
}

say 'making a Debian tree'
if [[ -n $model ]]; then
  cp -a "$model" "$tree"
else
  make_tree
fi
cp /etc/resolv.conf "$tree/etc/"

# With /proc, where the loader learns what folder a program lies in, and so where its engine is.
in_tree() {
  # shellcheck disable=SC2016
  DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8 unshare --mount \
    sh -c 'mount -t proc proc "$1/proc" && exec chroot "$@"' in_tree "$tree" "$@"
}
apt_in_tree() {
  in_tree apt-get -y -q -o APT::Sandbox::User=root --no-install-recommends "$@" >"$scratch/log" 2>&1 || {
    tail -n 20 "$scratch/log" >&2
    die "apt-get $1 failed in the tree"
  }
}
# What is in the tree, without what apt, dpkg and systemd keep for themselves: dpkg's copies of its lists too, which a
# tree makes that runs at midnight.
files_of_tree() {
  (cd "$tree" && find . -xdev \( -path ./proc -o -path ./sys -o -path ./run -o -path ./tmp -o -path ./var/backups \
    -o -path ./var/cache -o -path ./var/lib/apt -o -path ./var/lib/dpkg -o -path ./var/log/journal \
    -o -path ./var/lib/systemd \) -prune \
    -o -print | LC_ALL=C sort)
}

# The libraries that the package depends on stay when it goes, so they are installed before what is compared.
mkdir -p "$tree/root/packages"
cp "$package" "$tree/root/packages/first.deb"
mapfile -t libraries < <(dpkg-deb -f "$package" Depends | tr ',|' '\n' | sed 's/ *(.*//; s/ //g' |
  grep -vE '^(systemd-.*|)$')
apt_in_tree update
apt_in_tree install systemd-sysv "${libraries[@]}"
files_of_tree >"$scratch/before"

say 'installing'
apt_in_tree install /root/packages/first.deb
in_tree velmoracheck --quiet --logcfg /opt/velmoraserver/vlog.cfg >"$scratch/said" ||
  die "the configuration as installed has a fault: $(<"$scratch/said")"

say 'breaking one key and one log rule'
cp -a "$tree/etc/velmoraserver" "$scratch/etc"
sed -i 's/^threads =/thread =/' "$tree/etc/velmoraserver/velmora.ini"
sed -i '0,/^VELMORASRV ; INFO /s//VELMORASRV ; INFOS /' "$tree/etc/velmoraserver/vlog.cfg"
key_line=$(grep -n '^thread =' "$tree/etc/velmoraserver/velmora.ini" | cut -d : -f 1)
rule_line=$(grep -n 'INFOS' "$tree/etc/velmoraserver/vlog.cfg" | cut -d : -f 1)
if in_tree velmoracheck --quiet --logcfg /opt/velmoraserver/vlog.cfg >"$scratch/said"; then
  die "velmoracheck finds nothing wrong: $(<"$scratch/said")"
fi
grep -q "velmora.ini:$key_line: error: .*'thread'.*did you mean 'threads'" "$scratch/said" ||
  die "velmoracheck does not name the broken key: $(<"$scratch/said")"
grep -q "vlog.cfg:$rule_line: error: .*'INFOS'.*did you mean 'INFO'" "$scratch/said" ||
  die "velmoracheck does not name the broken rule: $(<"$scratch/said")"
cp -a "$scratch/etc/." "$tree/etc/velmoraserver/"

# in_booted_tree NAME: the checks of that name, run by the tree's own systemd.
in_booted_tree() { cat "$checks"/{common,in-tree,"$1-in-tree"}.sh | "$checks/boot-tree.sh" "$tree"; }

say 'serving under systemd'
in_booted_tree service || die 'the service does not do as it should'

say 'serving as several copies under systemd'
in_booted_tree copies || die 'the copies do not do as they should'
in_booted_tree rebooted || die 'not all of it is back after a restart of the machine'
in_booted_tree no-copies || die 'the copies cannot be taken away'

say 'upgrading over a changed file'
dpkg-deb -R "$package" "$scratch/next"
sed -i 's/^Version: .*/&+next/' "$scratch/next/DEBIAN/control"
echo '; new in this version' >>"$scratch/next/etc/velmoraserver/velmora.ini"
(cd "$scratch/next" && find . -type f -not -path './DEBIAN/*' -printf '%P\0' | xargs -0 md5sum >DEBIAN/md5sums)
dpkg-deb --build --root-owner-group "$scratch/next" "$tree/root/packages/next.deb" >/dev/null
sed -i 's/^port = 51000/port = 51001/' "$tree/etc/velmoraserver/velmora.ini"
apt_in_tree install -o Dpkg::Options::=--force-confold /root/packages/next.deb
grep -qx 'port = 51001' "$tree/etc/velmoraserver/velmora.ini" || die 'the upgrade replaced a changed file'
grep -qx '; new in this version' "$tree/etc/velmoraserver/velmora.ini.dpkg-dist" ||
  die 'the upgrade did not leave the new file beside the changed one'
[[ $(in_tree readlink -f /opt/velmoraserver/velmora.ini) == /etc/velmoraserver/velmora.ini ]] ||
  die 'the daemon would not find its configuration after the upgrade'

say 'removing and purging'
apt_in_tree remove velmoraserver
[[ -f $tree/etc/velmoraserver/velmora.ini ]] || die 'removing took a configuration file'
[[ -L $tree/etc/systemd/system/velmoraserviced.target.wants/velmoraserviced@copy1.service ]] ||
  die 'removing took the enablement of a copy'
[[ ! -e $tree/opt/velmoraserver ]] || die "removing left: $(find "$tree/opt/velmoraserver")"
apt_in_tree purge velmoraserver
grep -qF 'rm -r /var/log/velmoraserver' "$scratch/log" || die 'purging keeps the logs without a word'
files_of_tree >"$scratch/after"
left=$(LC_ALL=C comm -13 "$scratch/before" "$scratch/after" | grep -vxE './root/packages/next.deb|./etc/.*-' || true)
logs=$'./var/log/velmoraserver\n./var/log/velmoraserver/velmoraserviced.log\n./var/log/velmoraserver/velmoraserviced.log.bkp'
[[ $left == "$logs" ]] || die "left behind, or logs gone: $left"

say 'installing without the package, as docs/operating.md says'
# block SECTION N: the commands of the Nth block in a section of that page.
block() {
  awk -v section="## $1" -v wanted="$2" '
    /^## / { inside = $0 == section }
    /^```/ && inside { within = !within; number += within; next }
    inside && within && number == wanted' "$root/docs/operating.md"
}
rm -r "$tree/var/log/velmoraserver"
build run
DESTDIR="$tree" cmake --install "$root/build/run" >"$scratch/log" || die "installing failed: $(<"$scratch/log")"
{
  block Install 3
  block 'Run several on one host' 1
  block 'Run several on one host' 2
} >"$tree/root/commands"
[[ $(grep -c systemctl "$tree/root/commands") -ge 4 ]] || die 'docs/operating.md lacks the commands'
in_booted_tree by-hand || die 'installed by hand, it does not do as docs/operating.md says'
in_booted_tree rebooted || die 'installed by hand, not all of it is back after a restart of the machine'

say 'package: all of it is as it should be'
