# Goes between common.sh and the commands for boot-tree.sh: what they share in the tree.
# shellcheck shell=bash
# shellcheck disable=SC2154 # common.sh stands before it

fail() {
  printf 'in the tree: %s\n' "$*" >&2
  systemctl status --no-pager 'velmoraserviced*' >&2 || true
  journalctl --sync || true
  journalctl -b --no-pager -n 40 >&2 || true
  exit 1
}

# serves PORT: whether the daemon there says that it is well. Nobody is asked where nothing listens: a connection to such
# a port can get that port itself as its near end, and then nothing can listen there for a while.
listens() { grep -qsi ":$(printf %04X "$1") [0-9A-F:]* 0A " /proc/net/tcp /proc/net/tcp6; }
ask() {
  (
    exec 3<>"/dev/tcp/127.0.0.1/$1" &&
      printf 'GET /healthz HTTP/1.1\r\nHost: here\r\nConnection: close\r\n\r\n' >&3 && timeout "$patience" cat <&3
  ) 2>/dev/null
}
serves() { listens "$1" && [[ $(ask "$1") == *'200 OK'* ]]; }
