#!/usr/bin/env bash
# Runs the daemon with the stand-in engine under load for a while, troubles it, and counts what is lost.
#
# One daemon serves four honest clients all the time, and one who sends pictures that were made to hurt: that
# take seconds or much memory to read, or promise what they do not have. A second one serves two, is killed and started again every few
# seconds, and finds garbage around its settings at each third start. Their log files rotate at 10 KB, in a
# directory that is moved away and back every few seconds, at each fourth start for as long as the start takes.
#
# Ends with a table: requests sent and answered, lines of the log expected and found, and the resident size,
# threads, descriptors and readers of the first daemon. Ends with status 1 when a request of that one is not
# answered as it should be, a line is not found that was written while the directory was there, a daemon ends
# by itself, its resident size grows by more than 5 % after the warm-up (one minute, or the first quarter of a
# shorter run) or that of its readers by more than 25 %, or threads, descriptors or readers are not as many as
# before when the clients have gone. What the daemons wrote stays in build/soak.
#
# usage: scripts/soak.sh [MINUTES]
#
#   MINUTES   5 without it
set -euo pipefail

# shellcheck source=scripts/common.sh
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
help_if_asked "$@"

minutes=${1:-5}
[[ $minutes =~ ^[1-9][0-9]{0,2}$ ]] || die "'$minutes' is not a number of minutes from 1 to 999"
(($# <= 1)) || die "one argument, the number of minutes, and not $#"

"$root/scripts/deps.sh" soak
build run --target velmoraserviced
exec python3 -B "$root/scripts/soak" "$minutes" "$root"
