#!/usr/bin/env bash
# Has the release script tag a checkout of its own: it refuses when a gate is red or was not tried, or a file is at
# another version, and tags when all is well.
# usage: tag.sh SOURCE
set -euo pipefail
# shellcheck source=tests/packaging/common.sh
source "$(dirname "$0")/common.sh"
scratch

export GIT_CONFIG_GLOBAL=/dev/null GIT_AUTHOR_NAME=a GIT_AUTHOR_EMAIL=a@b.example GIT_COMMITTER_NAME=a \
  GIT_COMMITTER_EMAIL=a@b.example
tree="$scratch/sources"
mkdir -p "$tree"/{scripts,.ci}
cd "$tree"
cp "$1"/scripts/{tag,common}.sh scripts/
cp "$1/.gitignore" "$1/CMakeLists.txt" .
version=$(sed -n 's/^project(velmora VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)
printf '# Changelog\n\n## %s - 2026-11-21\n' "$version" >CHANGELOG.md
# gates STATUS [TEXT]: what .ci/run shall end with, and say, when it is asked for all gates.
gates() {
  printf '#!/bin/sh\necho "%s"\n[ "$*" = --all ] && exit %s\nexit 2\n' "${2-}" "$1" >.ci/run
  chmod +x .ci/run
  commit
}
commit() { git add -A && git commit --quiet --allow-empty -m 'A change'; }
# refuses WHY: it sets no tag, and says why.
refuses() {
  local said
  if said=$(scripts/tag.sh 2>&1); then fail "it tags, though: $1"; fi
  contains "$said" "$1"
  [[ -z $(git tag) ]] || fail "there is a tag, though: $1"
}

git init --quiet
gates 1 'one gate fails'
refuses 'a gate is red'
gates 0 '===== Debian package: NOT TRIED'
refuses 'a gate could not be tried'
gates 0
echo >>CMakeLists.txt
refuses 'not all is committed'
git checkout --quiet CMakeLists.txt
for heading in "$version, unreleased" '0.9.9 - 2026-11-21'; do
  sed -i "s/^## .*/## $heading/" CHANGELOG.md
  commit
  refuses "CHANGELOG.md begins with '$heading', not with '$version - ' and the day"
  git revert --no-edit HEAD >/dev/null
done

scripts/tag.sh >"$scratch/said" 2>&1 || fail "it does not tag: $(<"$scratch/said")"
[[ $(git tag) == "v$version" && $(git rev-parse "v$version^{commit}") == $(git rev-parse HEAD) ]] ||
  fail "its tags: $(git tag)"
if scripts/tag.sh >"$scratch/said" 2>&1; then fail 'it tags twice'; fi
contains "$(<"$scratch/said")" 'is there already'
