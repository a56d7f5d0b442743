# How .ci/run goes through its gates; sourced there, never run. It needs $scratch, a folder, and $all, which is empty
# where gates may be left out.
# shellcheck shell=bash
: "${scratch:?}" "${all?}"

# gate NAME COMMAND...: runs it under its name, and keeps what it took: on the clock and of the processors.
gate() {
  local name=$1 begin=$SECONDS begin_used
  shift
  used
  begin_used=$used
  printf '\n===== %s (%d s since the start)\n' "$name" "$SECONDS"
  "$@"
  used
  printf '%5d s, processors %5d s: %s\n' "$((SECONDS - begin))" "$((used - begin_used))" "$name" >>"$scratch/took"
}
# used: sets $used to the seconds of the processors that this shell's commands have taken, its own way of saying it.
used() {
  local file="$scratch/times.$BASHPID"
  times >"$file"
  used=$(awk 'NR == 2 { for (i = 1; i <= 2; ++i) { split($i, part, /[ms]/); sum += 60 * part[1] + part[2] } }
    END { printf "%d", sum }' "$file")
}

# if_changed NAME "PATH..." COMMAND...: the gate, unless what git tracks there is what the gate last passed on. What is
# to be written to .ci/passed once all gates have passed goes to $scratch/passed.
if_changed() {
  local name=$1 paths sum
  read -ra paths <<<"$2"
  sum=$(git ls-files -z -- "${paths[@]}" | xargs -0 sha256sum | sha256sum | cut -c 1-32)
  shift 2
  if [[ -z $all ]] && grep -qxF "$sum $name" .ci/passed; then
    printf '\n===== %s: left out, since it passed on the same files\n' "$name"
  else
    gate "$name" "$@"
  fi
  printf '%s %s\n' "$sum" "$name" >>"$scratch/passed"
}
