#!/usr/bin/env bash
# Has podman run the container of the pod that the manifests describe, with their configuration: it serves, confined as
# they say, and ends when it is told to. Podman's own way to play manifests needs control groups and limits that not
# every machine lets it have; resources, probes and what replaces a pod are not tried.
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
# Its storage copies the image's whole tree for a container, which a slow disk takes a while for.
podman() { timeout 300 podman "${options[@]}" "$@"; }
port=$(free_port)
CONTAINERS_CONF=$(realpath "$(dirname "$0")/podman.conf")
export CONTAINERS_CONF

# What the manifests ask for, in podman's words, a word a line.
/usr/bin/python3 - "$manifests" "$scratch/configuration" >"$scratch/words" <<'CODE'
import pathlib
import sys
import yaml

manifests, folder = sys.argv[1:]
found = {one['kind']: one for one in yaml.safe_load_all(open(manifests))}
pathlib.Path(folder).mkdir(mode=0o755)
for name, text in found['ConfigMap']['data'].items():
    (pathlib.Path(folder) / name).write_text(text)
spec = found['Deployment']['spec']['template']['spec']
pod, container = spec['securityContext'], spec['containers'][0]
own, mount = container['securityContext'], container['volumeMounts'][0]
print('--user', f'{pod["runAsUser"]}:{pod["runAsGroup"]}', sep='\n')
for capability in own['capabilities']['drop']:
    print('--cap-drop', capability, sep='\n')
if own['readOnlyRootFilesystem']:
    print('--read-only', '--read-only-tmpfs=false', sep='\n')
if not own['allowPrivilegeEscalation']:
    print('--security-opt', 'no-new-privileges', sep='\n')
print('--volume', f'{folder}:{mount["mountPath"]}:{"ro" if mount["readOnly"] else "rw"}', sep='\n')
CODE
mapfile -t words <"$scratch/words"
chmod 755 "$scratch"
sed -i "s/^port = .*/port = $port/" "$scratch/configuration/velmora.ini"

name=velmoraserviced-$$
take_down() { podman rm --force --time 0 "$name" >/dev/null 2>&1 || true; }
trap 'take_down; clean_up' EXIT
# The health check of the image would want systemd for its times; a cluster has probes instead.
podman run --detach --name "$name" --no-healthcheck "${words[@]}" "localhost/velmoraserviced:$tag" \
  >"$scratch/said" 2>&1 </dev/null || fail "podman: $(<"$scratch/said")"
serves() { curl -fsS -o /dev/null --max-time 2 "http://127.0.0.1:$port/healthz" 2>/dev/null; }
until_true serves || fail "it does not serve: $(podman logs "$name" 2>&1)"
# What keeps the log may be later than the daemon.
has_logged() {
  log=$(podman logs "$name") && [[ $log == *"$1"* ]]
}
threads=$(sed -n 's/^threads = //p' "$scratch/configuration/velmora.ini")
until_true has_logged "threads         : $threads" || fail "its log lacks the threads: $log"
contains "$log" "port            : $port"

process=$(podman inspect --format '{{.State.Pid}}' "$name")
status=$(<"/proc/$process/status")
contains "$status" $'Uid:\t10001\t10001\t10001\t10001'
contains "$status" $'CapEff:\t0000000000000000'
contains "$status" $'CapBnd:\t0000000000000000'
contains "$status" $'NoNewPrivs:\t1'
contains "$status" $'Seccomp:\t2'
grep -qE ' / / ro[, ]| / ro[, ]' "/proc/$process/mountinfo" || fail "its root can be written: $(<"/proc/$process/mountinfo")"

podman stop --time 60 "$name" >"$scratch/said" 2>&1 || fail "it cannot be stopped: $(<"$scratch/said")"
[[ $(podman inspect --format '{{.State.ExitCode}}' "$name") == 143 ]] || fail 'TERM did not end it'
echo 'the container of the pod serves and ends as it should'
