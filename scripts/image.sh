#!/usr/bin/env bash
# Builds the container image "velmoraserviced" from the files that git tracks, with buildah, tries it, and has podman
# run the container of packaging/kubernetes. It lies in build/image/velmoraserviced.tar afterwards, for "podman load" or
# "docker load". The base image is made with debootstrap where it is not in the local storage, so no image registry is
# asked. Needs root and a package mirror, which is that of this machine's apt.
#
# usage: scripts/image.sh [--tree DIR] [--keep]
#
#   --tree DIR   a minimal Debian 12 tree for the base image (debootstrap --variant=minbase)
#   --keep       leave the storage in build/image too, so that the next build finds its base image
set -euo pipefail

# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
help_if_asked "$@"

model=
keep=
while (($#)); do
  case "$1" in
    --tree)
      model=$(realpath "${2:?--tree needs a folder}")
      shift
      ;;
    --keep) keep=yes ;;
    *) die "unknown argument '$1': see --help" ;;
  esac
  shift
done
((EUID == 0)) || die 'needs root: it makes file systems of other users'
"$root/scripts/deps.sh" image
# From whichever source it came: Debian's package and that of others hold the same file.
command -v kubectl >/dev/null || "$root/scripts/deps.sh" kubectl

base=docker.io/library/debian:bookworm-slim
version=$(version_of_project)
revision=$(revision)
place="$root/build/image"
log="$place/log"
archive="$place/velmoraserviced.tar"
mkdir -p "$place"
rm -rf "$place/context" "$place/tree" "$archive"

# With a storage of its own: no daemon, no kernel file system, nothing of the machine's own images.
storage=(--storage-driver vfs --root "$place/storage" --runroot "$place/run")
buildah() { command buildah "${storage[@]}" "$@"; }
clean_up() {
  buildah rm --all >/dev/null 2>&1 || true
  rm -rf "$place/context" "$place/tree"
  [[ -n $keep ]] || rm -rf "$place/storage" "$place/run"
}
trap clean_up EXIT

# logged WHAT COMMAND...: what the command says goes to the log, and its end is shown when it fails.
logged() {
  local what=$1
  shift
  say "$what"
  "$@" >"$log" 2>&1 || {
    tail -n 30 "$log" >&2
    die "$what: failed; all that was said stands in build/image/log"
  }
}

import_base() {
  local container
  container=$(buildah from scratch)
  buildah copy --quiet "$container" "$model" /
  buildah commit --quiet "$container" "$base"
  buildah rm "$container"
}
if ! buildah inspect --type image "$base" >/dev/null 2>&1; then
  if [[ -z $model ]]; then
    model="$place/tree"
    logged 'making a Debian tree' debootstrap --variant=minbase --include=ca-certificates bookworm "$model" \
      "$(debian_mirror)"
  fi
  logged 'importing the tree as the base image' import_base
fi

mkdir "$place/context"
copy_tracked_files "$place/context"
# The format with a health check; every layer kept would be a copy of the whole tree.
logged 'building the image' buildah bud --isolation chroot --format docker --layers=false --pull-never \
  --build-arg "VELMORA_BUILD_ID=$revision" --file "$place/context/packaging/Containerfile" \
  --tag velmoraserviced --tag "velmoraserviced:$version" "$place/context"

say 'running it as a runtime would'
container=$(buildah from --pull-never velmoraserviced)
buildah inspect --type image velmoraserviced >"$place/inspected"
"$root/tests/packaging/image.sh" "$(buildah mount "$container")" "$revision" <"$place/inspected"
buildah rm "$container" >/dev/null

say 'running the container of packaging/kubernetes'
kubectl kustomize "$root/packaging/kubernetes" >"$place/manifests.yaml"
"$root/tests/packaging/check-manifests.py" <"$place/manifests.yaml"
"$root/tests/packaging/pod.sh" "$place/manifests.yaml" "$version" "${storage[@]}"

logged 'saving it' buildah push "localhost/velmoraserviced:$version" \
  "docker-archive:$archive:localhost/velmoraserviced:$version"

say 'running the commands of the pages'
"$root/tests/docs/containers_test.py" "$root"
say "image: all of it is as it should be; podman load -i build/image/velmoraserviced.tar"
