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

# serves PORT: whether the daemon there says that it is well.
ask() {
  (
    exec 3<>"/dev/tcp/127.0.0.1/$1" &&
      printf 'GET /healthz HTTP/1.1\r\nHost: here\r\nConnection: close\r\n\r\n' >&3 && timeout "$patience" cat <&3
  ) 2>/dev/null
}
serves() { [[ $(ask "$1") == *'200 OK'* ]]; }
