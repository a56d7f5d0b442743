# Shared by the scripts of this folder; sourced, never run.
# shellcheck shell=bash

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# say TEXT...: a line about what goes on.
say() { printf '%s\n' "$*" >&2; }

# die TEXT...: ends the script with one line that says what to do.
die() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

# help: the comment at the head of the calling script.
help() { sed -n '2,/^set /{s/^# \{0,1\}//;/^set /d;p}' "$0"; }

# help_if_asked "$@": ends the script with its help when that is among its arguments.
help_if_asked() {
  local argument
  for argument; do
    case $argument in
      -h | --help)
        help
        exit 0
        ;;
    esac
  done
}

# version_of_project: its number, from the one place that says it.
version_of_project() { sed -n 's/^project(velmora VERSION \([0-9.]*\) .*/\1/p' "$root/CMakeLists.txt"; }

# revision: what is checked out, in seven hexadecimal digits; nothing outside a checkout.
revision() { git -C "$root" rev-parse HEAD 2>/dev/null | cut -c 1-7 || true; }

# copy_tracked_files FOLDER: what git tracks, as it lies here.
copy_tracked_files() { (cd "$root" && git ls-files -z | xargs -0 cp --parents -t "$1"); }

# copy_package_sources FOLDER: these as a Debian package is built from them.
copy_package_sources() {
  copy_tracked_files "$1"
  cp -R "$1/packaging/debian" "$1/debian"
  "$root/scripts/debian-changelog.py" "$(version_of_project)" "$(git -C "$root" log -1 --format=%cs)" \
    <"$1/CHANGELOG.md" >"$1/debian/changelog"
}

# debian_mirror: the mirror of Debian itself, from either form of apt's sources.
debian_mirror() {
  local mirror
  # The names are apt's to replace.
  # shellcheck disable=SC2016
  mirror=$(apt-get indextargets --format '$(ORIGIN)|$(CODENAME)|$(SITE)|$(REPO_URI)' |
    sed -n 's/^Debian|bookworm|[^|]*|//p')
  [[ -n $mirror ]] || die 'no mirror of Debian 12 among the sources of apt: run apt-get update'
  printf '%s\n' "${mirror%%$'\n'*}"
}

# port_of CHECKER INI: the port that the daemon takes from a file; nothing when the file cannot be read. The checker
# finds whatever else is wrong there, which is the daemon's to say.
port_of() {
  { "$1" --json --ini "$2" || true; } | sed -n '/^ *"name": "port",$/{n;s/^ *"value": \(-\{0,1\}[0-9]*\),$/\1/p;}'
}

# port_is_taken PORT: whether something on this machine listens on it.
port_is_taken() { (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null; }

# free_port PORT...: the first of these that can be listened on. One that nobody listens on may yet be the near end of
# a connection, and stays taken for a minute after that: the system hands out ports from 32768 on for those.
free_port() {
  python3 -c '
import socket, sys
for port in map(int, sys.argv[1:]):
    with socket.socket() as probe:
        probe.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        try:
            probe.bind(("127.0.0.1", port))
        except OSError:
            continue
        print(port)
        sys.exit()
sys.exit("no port is free among " + " ".join(sys.argv[1:]))' "$@"
}

# answers PORT: whether a daemon, or what stands before it, serves there. From another address: while nothing listens, a
# connection from the same one can get the port itself as its near end, and then nothing can listen there for a while.
answers() { curl -fsS -o /dev/null --interface 127.0.0.2 --max-time 2 "http://127.0.0.1:$1/healthz" 2>/dev/null; }

# build PRESET [cmake --build arguments]: configures where that has not been done, and builds. What the
# tools say goes to a log; progress is shown on a terminal, and the end of the log when something fails.
build() {
  local preset=$1 tree="$root/build/$1" log="$root/build/$1.log"
  shift
  mkdir -p "$root/build"
  if [[ ! -f $tree/build.ninja ]]; then
    say "configuring build/$preset"
    (cd "$root" && cmake --preset "$preset") >"$log" 2>&1 || {
      tail -n 20 "$log" >&2
      die "configuring failed: read build/$preset.log, remove build/$preset, try again"
    }
  fi
  say "building build/$preset"
  (cd "$root" && NINJA_STATUS='[%f/%t] ' cmake --build --preset "$preset" "$@") 2>&1 | tee "$log" | show_build || {
    # More of them than are shown, or none, is no reason to end before the next line.
    grep -E -A 5 'error:|FAILED|undefined reference' "$log" | head -n 30 >&2 || true
    die "the build failed: read build/$preset.log"
  }
}

# One line in place on a terminal, every hundredth step elsewhere.
show_build() {
  local line
  while IFS= read -r line; do
    [[ $line =~ ^\[([0-9]+)/([0-9]+)\] ]] || continue
    if [[ -t 2 ]]; then
      printf '\r\033[K%.*s' "$((${COLUMNS:-80} - 1))" "$line" >&2
    elif ((BASH_REMATCH[1] % 100 == 0 || BASH_REMATCH[1] == BASH_REMATCH[2])); then
      say "${BASH_REMATCH[0]}"
    fi
  done
  [[ ! -t 2 ]] || printf '\r\033[K' >&2
}
