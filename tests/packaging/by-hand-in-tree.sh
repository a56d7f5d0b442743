# Commands for boot-tree.sh, in a tree with a build installed by hand: what the page for operators has one type works.
# shellcheck shell=bash

bash -euxo pipefail /root/commands || fail 'a command of the page fails'
for port in 21001 21002; do
  serves "$port" || fail "nothing serves on port $port"
done
for unit in velmoraserviced velmoraserviced.target velmoraserviced@copy1 velmoraserviced@copy2; do
  systemctl is-enabled -q "$unit" || fail "$unit is not enabled"
done
