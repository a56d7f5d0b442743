#!/bin/sh
# Runs a program that finds a file of one's choice, or none, as /opt/velmoraserver/velmora.ini, without
# touching the file that is there: in a mount namespace of its own, and a user namespace where one is needed
# for that. All else under /opt stays visible. Ends with status 1 and a message where the machine allows no
# namespaces.
#
# usage: with_default_ini.sh FILE|none PROGRAM [ARGUMENT...]
set -eu
PATH=/usr/sbin:/usr/bin:/sbin:/bin

# Puts an empty directory over $1 and binds into it what was there, except for the entry $2.
cover() {
  mount -t tmpfs none /mnt
  mkdir /mnt/before
  mount --rbind "$1" /mnt/before
  mount -t tmpfs none "$1"
  for entry in /mnt/before/*; do
    name=${entry##*/}
    if [ "$name" = "$2" ]; then
      continue
    elif [ -L "$entry" ]; then
      cp -P "$entry" "$1/$name"
    elif [ -d "$entry" ]; then
      mkdir "$1/$name"
      mount --rbind "$entry" "$1/$name"
    elif [ -f "$entry" ]; then
      : >"$1/$name"
      mount --bind "$entry" "$1/$name"
    fi
  done
  umount -l /mnt # uncovers what is below it; the bindings stay
}

if [ "$1" != --inside ]; then
  if unshare --mount true 2>/dev/null; then
    exec unshare --mount "$0" --inside "$@"
  fi
  exec unshare --user --map-root-user --mount "$0" --inside "$@"
fi

file=$2
shift 2
if [ -d /opt/velmoraserver ]; then
  cover /opt/velmoraserver velmora.ini
else
  cover /opt velmoraserver
  mkdir /opt/velmoraserver
fi
if [ "$file" != none ]; then
  cp "$file" /opt/velmoraserver/velmora.ini
fi
# Changing namespaces forgets the signal that ends a program with its parent.
exec setpriv --pdeathsig KILL "$@"
