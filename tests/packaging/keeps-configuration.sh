#!/usr/bin/env bash
# Installs over configuration files that have been changed, are links, or are as they were.
# usage: keeps-configuration.sh CMAKE BUILD SOURCE
set -euo pipefail
# shellcheck source=tests/packaging/common.sh
source "$(dirname "$0")/common.sh"
scratch

install() { "$1" --install "$2" --prefix "$scratch/prefix" --component Configuration >/dev/null; }

install "$1" "$2"
cmp "$3/config/velmora.ini" "$scratch/prefix/velmora.ini" || fail 'the sample is not what is installed'
install "$1" "$2"
[[ ! -e $scratch/prefix/velmora.ini.new ]] || fail 'an unchanged file got a new one beside it'

echo 'port = 6000' >"$scratch/prefix/velmora.ini"
mv "$scratch/prefix/vlog.cfg" "$scratch/elsewhere"
ln -s "$scratch/gone" "$scratch/prefix/vlog.cfg"
install "$1" "$2"
[[ $(<"$scratch/prefix/velmora.ini") == 'port = 6000' ]] || fail 'a changed file was overwritten'
cmp "$3/config/velmora.ini" "$scratch/prefix/velmora.ini.new" || fail 'the new file is not beside the changed one'
[[ -L $scratch/prefix/vlog.cfg && ! -e $scratch/gone ]] || fail 'a link was followed or replaced'
cmp "$3/config/vlog.cfg" "$scratch/prefix/vlog.cfg.new" || fail 'the new file is not beside the link'

# The same below DESTDIR, as packagers install.
mkdir -p "$scratch/root$scratch/staged"
echo 'mine' >"$scratch/root$scratch/staged/vlog.cfg"
DESTDIR="$scratch/root" "$1" --install "$2" --prefix "$scratch/staged" --component Configuration >/dev/null
[[ $(<"$scratch/root$scratch/staged/vlog.cfg") == mine ]] || fail 'a changed file below DESTDIR was overwritten'
[[ -e $scratch/root$scratch/staged/vlog.cfg.new ]] || fail 'no new file below DESTDIR'
