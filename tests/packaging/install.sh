#!/usr/bin/env bash
# Installs the build tree, as a fixture of the tests that look at what is installed.
# usage: install.sh CMAKE BUILD PREFIX
set -euo pipefail
rm -rf "$3"
"$1" --install "$2" --prefix "$3"
