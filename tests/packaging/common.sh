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
  scratch=$(mktemp -d)
  trap clean_up EXIT
}
clean_up() {
  ((${#started[@]} == 0)) || kill "${started[@]}" 2>/dev/null || true
  rm -rf "$scratch"
}

# free_port: a TCP port that nothing listens on now.
free_port() {
  local port
  while :; do
    port=$((20000 + RANDOM % 12000))
    (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null || break
  done
  printf '%s\n' "$port"
}
