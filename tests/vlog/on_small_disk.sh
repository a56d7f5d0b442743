#!/bin/sh
# on_small_disk.sh PROGRAM
#
# Runs a test program with VELMORA_TEST_SMALL_DISK naming an empty disk of 64 KiB that only it sees
# and that goes with it. Exit status 77 where the system does not let its users mount one.
set -eu

if ! unshare --user --map-root-user --mount true 2>/dev/null; then
    echo "no mounts in a namespace of one's own: skipped"
    exit 77
fi
disk=$(mktemp -d)
trap 'rmdir "$disk"' EXIT
# shellcheck disable=SC2016 # the inner shell expands these
unshare --user --map-root-user --mount sh -c '
    mount -t tmpfs -o size=64k small-disk "$1" || exit 77
    VELMORA_TEST_SMALL_DISK=$1
    export VELMORA_TEST_SMALL_DISK
    exec "$2"' sh "$disk" "$1"
