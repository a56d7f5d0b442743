#!/usr/bin/env bash
# Tags what is checked out as the release that CMakeLists.txt names, "v1.0.0" for 1.0.0, once all gates have passed on a
# clean checkout of it. It refuses while anything is not committed, while CHANGELOG.md does not begin with that version
# and the day of its release ("## 1.0.0 - 2026-11-21"), when a gate fails, and when one could not be tried. Nothing is
# pushed.
#
# usage: scripts/tag.sh
set -euo pipefail

# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
help_if_asked "$@"
(($# == 0)) || die "unknown argument '$1': only --help is known"

cd "$root"
version=$(version_of_project)
tag="v$version"
[[ -z $(git status --porcelain) ]] || die 'not all is committed: see git status'
! git rev-parse --quiet --verify "refs/tags/$tag" >/dev/null || die "$tag is there already: a release is made once"
newest=$(sed -n '/^## /{s/^## //p;q}' CHANGELOG.md)
[[ $newest == "$version - "* ]] || die "CHANGELOG.md begins with '$newest', not with '$version - ' and the day"

clean=$(mktemp -d)
trap 'rm -rf "$clean"' EXIT
git clone --quiet --no-hardlinks "$root" "$clean/sources"
say "running all gates in a clean checkout; what they say goes to build/tag.log"
mkdir -p build
(cd "$clean/sources" && .ci/run --all) >build/tag.log 2>&1 || {
  tail -n 20 build/tag.log >&2
  die 'a gate is red: no tag'
}
! grep -F 'NOT TRIED' build/tag.log >&2 || die 'a gate could not be tried: no tag'
git tag --annotate --message "Release $version" "$tag"
say "$tag is there; to publish it: git push origin $tag"
