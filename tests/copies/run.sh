#!/usr/bin/env bash
# Tries copies of the daemon behind a real HAProxy: copies that die, hang, crash and are restarted under load. Installs
# what is missing first (Debian 12).
#
# usage: tests/copies/run.sh [--full [arguments of kills.py] | unittest arguments]
#
# "tests/copies/run.sh -k killed" runs the tests with "killed" in their names. With --full, instead of the tests, 50
# copies are killed for each number of copies, size of image and kind of client, which takes half an hour: the table is
# that of docs/scale.md. Its other figures: tests/copies/throughput.py. Copies on several hosts are left out without
# root.
set -euo pipefail

# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/common.sh"
help_if_asked "$@"

"$root/scripts/deps.sh" copies
build release --target velmoraserviced velmoracheck
export PATH="$PATH:/usr/sbin" PYTHONDONTWRITEBYTECODE=1
cd "$root/tests/copies"
if [[ ${1-} == --full ]]; then
  exec ./kills.py "${@:2}"
fi
timeout --foreground 1800 python3 -m unittest discover -p '*_test.py' -v "$@"
(($#)) || timeout --foreground 900 ./throughput.py --check --seconds 1 --rounds 2 --sizes 0
