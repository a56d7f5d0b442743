# Shared by the tests of this folder; sourced, never run.
# shellcheck shell=bash

# fail TEXT...: ends the test with what was expected and is not so.
fail() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

# contains TEXT PART: whether PART stands in TEXT, else the test fails and shows TEXT.
contains() { [[ $1 == *"$2"* ]] || fail "'$2' is missing in: $1"; }

# Seconds that anything may take on a machine with other things to do.
patience=120

# until_true COMMAND...: waits for the command to succeed.
until_true() {
  local end=$((SECONDS + patience))
  until "$@"; do
    ((SECONDS < end)) || return 1
    sleep 0.05
  done
}

# scratch: a folder in $scratch that goes with the test, and the processes in $started that end with it.
started=()
scratch() {
  # As the kernel names it: what /proc says of a program in it is compared.
  scratch=$(realpath "$(mktemp -d)")
  trap clean_up EXIT
}
clean_up() {
  ((${#started[@]} == 0)) || kill "${started[@]}" 2>/dev/null || true
  rm -rf "$scratch"
}

# free_port: a TCP port that can be listened on. One that nobody listens on may yet be the near end of a connection.
free_port() {
  python3 -c '
import random, socket
while True:
    port = random.randrange(20000, 32000)
    with socket.socket() as probe:
        try:
            probe.bind(("127.0.0.1", port))
        except OSError:
            continue
    print(port)
    break'
}
