#!/usr/bin/env bash
# Looks whether the tests that a document names as `Suite.Name` are there, and that it names some.
# usage: named-tests.sh DOCUMENT TESTS
set -euo pipefail

# shellcheck disable=SC2016 # these are the document's own quotes
names=$(grep -oE '`[A-Z][A-Za-z0-9]*\.[A-Z][A-Za-z0-9]*`' "$1" | tr -d '`' | sort -u)
[[ -n $names ]] || {
  echo "$1 names no test"
  exit 1
}
missing=0
while IFS=. read -r suite name; do
  # The definition may be parted after the suite.
  if ! grep -rzqE "TEST(_F|_P)?\($suite,[[:space:]]+$name\)" "$2" --include='*_test.cpp'; then
    echo "$1: there is no test $suite.$name"
    missing=1
  fi
done <<<"$names"
exit "$missing"
