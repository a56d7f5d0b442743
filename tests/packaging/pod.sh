#!/usr/bin/env bash
# Has podman play the pod of the manifests with their configuration: it serves, confined as they say, and ends when it is
# told to. Podman knows neither services nor what replaces a pod, and resources and probes are left out, as a machine
# may allow neither: these parts are not tried.
# usage: pod.sh MANIFESTS TAG [option of podman...]
set -euo pipefail
# shellcheck source=tests/packaging/common.sh
source "$(dirname "$0")/common.sh"

# The runtime wants control groups of the second version alone, also where the system has both.
if [[ ${IN_OWN_MOUNTS-} != yes && $(stat -f -c %T /sys/fs/cgroup) != cgroup2fs ]]; then
  # shellcheck disable=SC2016
  IN_OWN_MOUNTS=yes exec unshare --mount sh -c \
    'umount -R /sys/fs/cgroup && mount -t cgroup2 cgroup2 /sys/fs/cgroup && exec "$@"' sh "$0" "$@"
fi
scratch

manifests=$1 tag=$2
options=("${@:3}")
podman() { command podman "${options[@]}" "$@"; }
port=$(free_port)
name=velmoraserviced-velmoraserviced
export CONTAINERS_CONF="$scratch/containers.conf"
limit=$(ulimit -Hn)
cat >"$CONTAINERS_CONF" <<CONF
[containers]
cgroups = "disabled"
default_ulimits = ["nofile=$limit:$limit"]
[engine]
cgroup_manager = "cgroupfs"
events_logger = "file"
CONF

# The pod on this host's network, with a port that is free here.
/usr/bin/python3 - "$manifests" "$tag" "$port" >"$scratch/pod.yaml" <<'CODE'
import sys
import yaml

manifests, tag, port = sys.argv[1:]
found = {one['kind']: one for one in yaml.safe_load_all(open(manifests))}
settings = found['ConfigMap']['data']
settings['velmora.ini'] = settings['velmora.ini'].replace('port = 51000', f'port = {port}')
spec = found['Deployment']['spec']['template']['spec']
spec['hostNetwork'] = True
spec['restartPolicy'] = 'Never'
container = spec['containers'][0]
container['image'] = f'localhost/velmoraserviced:{tag}'
container['imagePullPolicy'] = 'Never'
for unknown in ('ports', 'livenessProbe', 'readinessProbe', 'resources', 'lifecycle'):
    del container[unknown]
pod = {'apiVersion': 'v1', 'kind': 'Pod', 'metadata': {'name': 'velmoraserviced'}, 'spec': spec}
yaml.safe_dump_all([found['ConfigMap'], pod], sys.stdout)
CODE

take_down() { podman kube down "$scratch/pod.yaml" >"$scratch/down" 2>&1 || cat "$scratch/down" >&2; }
trap 'take_down; clean_up' EXIT
podman kube play --network host "$scratch/pod.yaml" >"$scratch/said" 2>&1 || fail "podman: $(<"$scratch/said")"
serves() { curl -fsS -o /dev/null --max-time 2 "http://127.0.0.1:$port/healthz" 2>/dev/null; }
until_true serves || fail "it does not serve: $(podman logs "$name" 2>&1)"
log=$(podman logs "$name")
contains "$log" "port            : $port"
contains "$log" "threads         : $(sed -n 's/.*threads = \([0-9]*\)$/\1/p' "$scratch/pod.yaml")"

process=$(podman inspect --format '{{.State.Pid}}' "$name")
status=$(<"/proc/$process/status")
contains "$status" $'Uid:\t10001\t10001\t10001\t10001'
contains "$status" $'CapEff:\t0000000000000000'
contains "$status" $'CapBnd:\t0000000000000000'
contains "$status" $'NoNewPrivs:\t1'
contains "$status" $'Seccomp:\t2'
grep -qE ' / / ro[, ]' "/proc/$process/mountinfo" || fail "its root can be written: $(head -n 3 "/proc/$process/mountinfo")"

podman stop --time 10 "$name" >"$scratch/said" 2>&1 || fail "it cannot be stopped: $(<"$scratch/said")"
[[ $(podman inspect --format '{{.State.ExitCode}}' "$name") == 143 ]] || fail 'TERM did not end it'
echo 'the pod serves and ends as it should'
