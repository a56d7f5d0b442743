#!/usr/bin/env bash
# The five examples of vlog.cfg(5) are rules as they stand: the daemon loads each, and the checker finds nothing
# in it but what an excerpt has to lack.
# usage: log-examples.sh PREFIX
set -euo pipefail
# shellcheck source=tests/packaging/common.sh
source "$(dirname "$0")/common.sh"
scratch

awk -v to="$scratch/example" '
  /^\.Sh/ { examples = /EXAMPLES/ }
  /^\.Ed/ { inside = 0 }
  inside { print >(to number) }
  examples && /^\.Bd -literal/ { inside = 1; ++number }' "$1/share/man/man5/vlog.cfg.5"
cd "$scratch"
[[ $(echo example?) == 'example1 example2 example3 example4 example5' ]] || fail "examples: $(echo example*)"

for example in example?; do
  # For what the daemon says of the file itself.
  printf 'LOGGER;INFO;SIMPLE;[STDOUT];0\n' >>"$example"
  said=$(VL_LOGCFG="$example" "$1/bin/velmoraserviced" --ini missing.ini)
  contains "$said" "Loaded config file: $example - status: OK"
  said=$("$1/bin/velmoracheck" --quiet --logcfg "$example" --ini "$1/velmora.ini" || true)
  ! grep -E "^$example:[0-9]+: error" <<<"$said" || fail "$example: $said"
done
