#!/usr/bin/env bash
# Goes through a gate in a checkout of its own as .ci/run does: it is left out where it passed on the same files, and
# not where one of them is another, is new or is gone, where it failed, and where none is to be left out.
# usage: gates.sh SOURCE
set -euo pipefail
# shellcheck source=tests/packaging/common.sh
source "$(dirname "$0")/common.sh"
gates=$(realpath "$1/.ci/gates.sh")
scratch

tree="$scratch/sources"
mkdir -p "$tree"/{.ci,looked-at,not-looked-at}
cd "$tree"
export GIT_CONFIG_GLOBAL=/dev/null
git init --quiet
echo one | tee looked-at/a looked-at/b >not-looked-at/c
git add .

# go [ALL] [COMMAND...]: one run, which has a gate for looked-at; prints what it said. The command is true without one.
go() {
  local all=${1-} state="$scratch/state" status=0
  shift || true
  mkdir "$state"
  # shellcheck disable=SC2016
  bash -c 'set -euo pipefail; all=$1 scratch=$2; source "$3"; shift 3; if_changed "the gate" looked-at "$@"
    if_changed "another gate" "looked-at not-looked-at" true; sort "$scratch/passed" >.ci/passed' \
    - "$all" "$state" "$gates" "${@:-true}" || status=$?
  rm -r "$state"
  return "$status"
}
left_out='===== the gate: left out, since it passed on the same files'
runs() {
  local said
  said=$(go "$@" 2>&1) || fail "a run fails: $said"
  [[ $said != *"$left_out"* ]] || fail "it is left out ($what)"
  contains "$said" '===== the gate ('
}
is_left_out() { contains "$(go 2>&1)" "$left_out"; }

what='nothing is known'
runs
is_left_out
echo two >not-looked-at/c
is_left_out
what='a file has changed'
echo two >looked-at/a
runs
what='there is a new file'
echo three >looked-at/d
git add .
runs
is_left_out
what='a file is gone'
git rm --quiet --force looked-at/d
runs
what='none is to be left out'
runs yes
is_left_out

echo four >looked-at/a
if go '' false >/dev/null; then fail 'a run passes whose gate failed'; fi
what='it has failed on these files'
runs
