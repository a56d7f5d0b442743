#!/usr/bin/env bash
# The manual pages have no fault of form, and name what the programs and the code know: every option, default,
# key, environment variable, file and exit status.
# usage: manual.sh PREFIX SOURCE
set -euo pipefail
# shellcheck source=tests/packaging/common.sh
source "$(dirname "$0")/common.sh"

man8="$1/share/man/man8" man5="$1/share/man/man5"
page() { mandoc -T utf8 -O width=200 "$1" | col -bx; }
daemon=$(page "$man8/velmoraserviced.8")
checker=$(page "$man8/velmoracheck.8")
ini=$(page "$man5/velmora.ini.5")
log=$(page "$man5/vlog.cfg.5")

for file in "$man8"/*.8 "$man5"/*.5; do
  said=$(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings --local-file "$file" 2>&1 >/dev/null)
  [[ -z $said ]] || fail "man says of $file: $said"
  said=$(mandoc -T lint -W warning "$file") || fail "mandoc says: $said"
  [[ -z $said ]] || fail "mandoc says: $said"
done

# Options, as the programs print them.
help=$("$1/bin/velmoraserviced" --help || true)
mapfile -t options < <(grep -oE -- '(^|[ ,])--?[A-Za-z]+' <<<"$help" | tr -d ' ,' | sort -u)
((${#options[@]} == 14)) || fail "the daemon's help has ${#options[@]} labels: ${options[*]}"
for option in "${options[@]}"; do
  grep -qE -- "^ +(.*[ ,])?$option([ ,]|\$)" <<<"$daemon" || fail "velmoraserviced(8) lacks $option"
  grep -qE -- "^ +(.*[ ,])?$option([ ,]|\$)" <<<"$checker" || fail "velmoracheck(8) lacks $option"
done
help=$("$1/bin/velmoracheck" --help)
mapfile -t options < <(grep -oE -- '^ +(-[a-z], )?--[A-Za-z]+' <<<"$help" | grep -oE -- '--[A-Za-z]+' | sort -u)
((${#options[@]} >= 11)) || fail "the checker's help has ${#options[@]} options: ${options[*]}"
for option in "${options[@]}"; do
  grep -qE -- "^ +(.*[ ,])?$option([ ,]|\$)" <<<"$checker" || fail "velmoracheck(8) lacks $option"
done

# Defaults, as the code has them.
defaults=0
while read -r name value; do
  key=$name
  # The file and the command line spell it otherwise.
  [[ $name != threadQueueSize ]] || key=threadQueuesize
  grep -qE "^ +$key +$value " <<<"$ini" || fail "velmora.ini(5) lacks $key = $value"
  for text in "$daemon" "$checker"; do
    grep -A 2 -E -- "--$key " <<<"$text" | grep -E "default is ${value}[ ,.]" >/dev/null || fail "a page lacks the default of $key"
  done
  ((++defaults))
done < <(sed -nE 's/^inline constexpr int ([A-Za-z]+) = ([0-9]+);/\1 \2/p' "$2/src/velmoraserver/app/common/velmora_defaults.h")
((defaults == 5)) || fail "$defaults defaults in the code"

# The stand-in's bounds for the numbers, which the checker does not know.
bounds=0
while read -r value; do
  contains "$(tr -s '[:space:]' ' ' <<<"$checker")" " ${value//"'"/} "
  ((++bounds))
done < <(sed -nE "s/^ *int32_t max(Conns|Threads|ThreadQueueSize|QueueTimeout) = ([0-9']+);/\2/p" \
  "$2/src/velmoralight_standin/limits.h")
((bounds == 4)) || fail "$bounds bounds in the stand-in's code"

for word in VL_LOGCFG TZ VELMORA_LIGHT_BIND LD_LIBRARY_PATH; do contains "$daemon" "$word"; done
for word in VL_LOGCFG VELMORA_LIGHT_BIND NO_COLOR LD_LIBRARY_PATH; do contains "$checker" "$word"; done
for word in VL_LOGCFG TZ; do contains "$log" "$word"; done
for word in INFO DEBUG WARN NOTICE CRITICAL TRACE NONE SIMPLE SIMPLE_TS FULL '[STDOUT]' .bkp VELMORASRV LOGGER; do
  contains "$log" "$word"
done
for word in 'EXIT STATUS' ENVIRONMENT FILES SIGNALS SIGTERM SIGINT SIGHUP SIGUSR1; do contains "$daemon" "$word"; done

# A path under the prefix that a page names is there; .new is what an install over a changed file leaves.
mapfile -t named < <(grep -ohE '/opt/velmoraserver/[a-zA-Z.@/-]+[a-zA-Z]' <<<"$daemon$checker$ini$log" | sort -u)
((${#named[@]} >= 8)) || fail "paths named: ${named[*]}"
for path in "${named[@]}"; do
  [[ $path == *.new || -e $1${path#/opt/velmoraserver} ]] || fail "named, but not installed: $path"
done

# The numbers of exit statuses, each as an item of its list.
statuses() { sed -n '/^EXIT STATUS/,/^[A-RT-Z]/s/^     \([0-9][0-9]*\) .*/\1/p' <<<"$1" | tr '\n' ' '; }
[[ $(statuses "$daemon") == '0 127 255 ' ]] || fail "velmoraserviced(8) has the statuses $(statuses "$daemon")"
[[ $(statuses "$checker") == '0 1 2 ' ]] || fail "velmoracheck(8) has the statuses $(statuses "$checker")"
