#!/usr/bin/env bash
# What names the version names the one of CMakeLists.txt.
# usage: one-version.sh SOURCE VERSION
set -euo pipefail
# shellcheck source=tests/packaging/common.sh
source "$(dirname "$0")/common.sh"
cd "$1"

# named FILE EXPRESSION: what sed finds there, each once; nothing else but the version.
named() {
  local found
  found=$(sed -nE "$2" "$1" | sort -u)
  [[ $found == "$version" ]] || fail "$1 names '$found', CMakeLists.txt $version"
}
version=$2
named packaging/kubernetes/kustomization.yaml 's/^ *newTag: //p'
named docs/containers.md 's/.*velmoraserviced:([0-9]+\.[0-9]+\.[0-9]+).*/\1/p'
named docs/kubernetes.md 's/.*velmoraserviced:([0-9]+\.[0-9]+\.[0-9]+).*/\1/p'
named docs/operating.md 's/.*velmoraserver_([0-9.]+)_.*/\1/p'
