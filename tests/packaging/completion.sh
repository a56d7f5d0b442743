#!/usr/bin/env bash
# Drives the completion as the shells do: bash loads it by the program's name, zsh compiles and runs it.
# usage: completion.sh PREFIX
set -euo pipefail
# shellcheck source=tests/packaging/common.sh
source "$(dirname "$0")/common.sh"
scratch
mkdir "$scratch/folder"
touch "$scratch/my log.cfg" "$scratch/my.ini"
cd "$scratch"

# complete_in_bash WORD...: what bash-completion offers for the last word, a line each.
complete_in_bash() {
  XDG_DATA_DIRS="$prefix/share" bash --norc -c '
    source /usr/share/bash-completion/bash_completion
    __load_completion "$1" || exit 1
    COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMP_LINE="$*" COMP_POINT=${#COMP_LINE}
    read -r _ _ function _ < <(complete -p "$1")
    "$function" "$1" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
    printf "%s\n" "${COMPREPLY[@]}"' bash "$@"
}
prefix=$1

# expect EXPECTED WORD...
expect() {
  local expected=$1 offered
  shift
  offered=$(complete_in_bash "$@" | sort | tr '\n' '|')
  [[ $offered == "$expected|" ]] || fail "for '$*' bash offers $offered, not $expected|"
}
expect '--port' velmoraserviced --po
expect '--threadQueuesize|--threads' velmoraserviced --th
expect 'folder|my log.cfg|my.ini' velmoraserviced --ini ''
expect 'my.ini' velmoraserviced --ini = my.
expect '51000' velmoraserviced -p ''
expect '' velmoraserviced -t ''
expect 'my log.cfg' velmoracheck --logcfg 'my l'
expect '--queueTimeout|--quiet' velmoracheck --qu
expect '--strict' velmoracheck --s

# Every long option that a program's help names is offered, and no other.
for program in velmoraserviced velmoracheck; do
  known=$({ "$prefix/bin/$program" --help || true; } | grep -oE -- '(^|, | )--[A-Za-z]+ ?' | tr -d ' ,' | sort -u)
  known=$(grep -vxF -- '--port=' <<<"$known")
  offered=$(complete_in_bash "$program" -- | sort)
  [[ $offered == "$known" ]] || fail "$program: bash offers $offered, the help names $known"
  for option in $known; do
    grep -qE -- "$option(=|\[|\}|')" "$prefix/share/zsh/site-functions/_$program" || fail "zsh does not offer $option"
  done
done

# zsh: each file compiles, and its completion system takes it for its program.
for program in velmoraserviced velmoracheck; do
  file="$prefix/share/zsh/site-functions/_$program"
  zsh -n "$file" || fail "zsh does not understand $file"
  taken=$(zsh -f -c "fpath=('$prefix/share/zsh/site-functions' \$fpath); autoload -Uz compinit
    compinit -u -d '$scratch/dump'; print \$_comps[$program]")
  [[ $taken == "_$program" ]] || fail "zsh completes $program with '$taken'"
done

# In a group of short options none takes a value, and zsh would offer all of them there.
if grep -E '^_arguments .*-s' "$prefix"/share/zsh/site-functions/_*; then
  fail 'zsh groups short options'
fi
