#!/usr/bin/env bash
# Looks whether README, CONTRIBUTING and docs/, the manual included, keep to a number of words.
# usage: words.sh CHECKOUT MOST
set -euo pipefail
cd "$1"
words=$(cat README.md CONTRIBUTING.md docs/*.md docs/*.[0-9] | wc -w)
echo "$words words of $2"
((words <= $2))
