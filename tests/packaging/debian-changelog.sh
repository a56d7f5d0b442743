#!/usr/bin/env bash
# Makes the package's changelog of one with two versions, and of the project's own.
# usage: debian-changelog.sh SOURCE VERSION
set -euo pipefail
# shellcheck source=tests/packaging/common.sh
source "$(dirname "$0")/common.sh"
scratch

changelog="$1/scripts/debian-changelog.py"
printf '%s\n' '# Changelog' '' 'For all.' '' '## 1.1.0, unreleased' '' '### Daemon' '- Something is' '  new.' '- And something else.' \
  '' '### Packages' "- $(printf 'word %.0s' {1..16})" '' '## 1.0.0 - 2026-11-21' '' '### Daemon' '- The first.' >"$scratch/two"
"$changelog" 1.1.0 2027-01-02 <"$scratch/two" >"$scratch/made"
diff - "$scratch/made" <<'EOF' || fail 'another changelog of two versions'
velmoraserver (1.1.0) bookworm; urgency=medium

  [ Daemon ]
  * Something is new.
  * And something else.

  [ Packages ]
  * word word word word word word word word word word word word word word word
    word

 -- Velmora maintainers <maintainers@velmora.example>  Sat, 02 Jan 2027 12:00:00 +0000

velmoraserver (1.0.0) bookworm; urgency=medium

  [ Daemon ]
  * The first.

 -- Velmora maintainers <maintainers@velmora.example>  Sat, 21 Nov 2026 12:00:00 +0000
EOF

if said=$("$changelog" 1.2.0 2027-01-02 <"$scratch/two" 2>&1); then fail 'it takes the changelog of another version'; fi
contains "$said" 'CHANGELOG.md begins with 1.1.0, not with 1.2.0'
if said=$("$changelog" 1.0.0 2027-01-02 </dev/null 2>&1); then fail 'it takes an empty changelog'; fi
contains "$said" 'CHANGELOG.md begins with no version that can be read'

"$changelog" "$2" 2026-11-21 <"$1/CHANGELOG.md" >"$scratch/own"
contains "$(<"$scratch/own")" "velmoraserver ($2) bookworm; urgency=medium"
