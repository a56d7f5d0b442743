# Completion for velmoracheck, for bash.                                                -*- shell-script -*-

_velmoracheck() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  COMPREPLY=()
  # "--ini=f" comes as three words, where "=" breaks words.
  [[ $current == = ]] && current=
  [[ $previous == = ]] && previous=${COMP_WORDS[COMP_CWORD - 2]}
  case $previous in
    -i | --ini | --logcfg)
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      compopt -o filenames 2>/dev/null
      ;;
    -p | --port) mapfile -t COMPREPLY < <(compgen -W 51000 -- "$current") ;;
    -[coqt] | --connections | --queueTimeout | --threadQueuesize | --threads) ;;
    *)
      mapfile -t COMPREPLY < <(compgen -W '-c --connections -h --help -i --ini --json --logcfg -o
        --queueTimeout -p --port -q --quiet --strict -t --threadQueuesize --threads' -- "$current")
      ;;
  esac
}

complete -F _velmoracheck velmoracheck
