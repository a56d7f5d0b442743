#!/usr/bin/env bash
# Prints packaging/haproxy/haproxy.cfg for other places: what scripts/many.sh and the tests run is what is shipped,
# but for the address, the socket, the copies, and the user and log of the system's own HAProxy.
#
# usage: scripts/haproxy-config.sh [--from FILE] ADDRESS SOCKET COPY...
#
#   --from FILE   another configuration to begin with
#   ADDRESS       where clients connect, as 127.0.0.1:51000
#   SOCKET        path of HAProxy's own socket
#   COPY          NAME=ADDRESS=MAXCONN, as copy1=127.0.0.1:51001=3
set -euo pipefail

# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
help_if_asked "$@"

template="$root/packaging/haproxy/haproxy.cfg"
if [[ ${1-} == --from ]]; then
  template=${2:?--from needs a file}
  shift 2
fi
(($# >= 3)) || die 'it takes an address, a socket and at least one copy: see --help'
address=$1
socket=$2
shift 2

servers=
for copy in "$@"; do
  IFS='=' read -r name place maxconn rest <<<"$copy"
  [[ -n $name && $place == *:* && $maxconn =~ ^[0-9]+$ && -z ${rest-} ]] || die "'$copy' is not NAME=ADDRESS=MAXCONN"
  servers+="    server $name $place maxconn $maxconn"$'\n'
done

sed -E -e '/^ +(log|user|group|option httplog)( |$)/d' -e "s|^( +bind ).*|\\1$address|" -e "s|^( +stats socket )[^ ]+|\\1$socket|" \
  -e '/^ +server /d' "$template"
printf '%s' "$servers"
