# Commands for boot-tree.sh, in a tree whose service and two copies are enabled: all of them serve after the boot,
# without a word from anybody.
# shellcheck shell=bash

for port in 51000 21001 21002; do
  until_true serves "$port" || fail "after the boot nothing serves on port $port"
done
