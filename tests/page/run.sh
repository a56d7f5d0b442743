#!/usr/bin/env bash
# Tries the engine's page in headless Chromium, against the daemon as it is built. Installs what is missing first
# (Debian 12).
#
# usage: tests/page/run.sh [--screenshot] [TEST...]
#
#   --screenshot   makes docs/page.png anew instead
#   TEST           runs only these, such as Reading.test_dropped_image_is_read
set -euo pipefail

# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/common.sh"
help_if_asked "$@"

arguments=("$@")
case "${1-}" in
  --screenshot) arguments=(--screenshot "$root/docs/page.png") ;;
esac

"$root/scripts/deps.sh" page
build run --target velmoraserviced

# The system’s own Python has the packages. The bound is for a machine that is busy with other things as well.
exec timeout --kill-after=10 900 /usr/bin/python3 -B "$root/tests/page/page_test.py" \
  "$root/build/run/bin/velmoraserviced" "${arguments[@]}"
