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
    --cwd)
      mapfile -t COMPREPLY < <(compgen -d -- "$current")
      compopt -o filenames 2>/dev/null
      ;;
    --user) mapfile -t COMPREPLY < <(compgen -u -- "$current") ;;
    -p | --port) mapfile -t COMPREPLY < <(compgen -W 51000 -- "$current") ;;
    -[coqt] | --connections | --queueTimeout | --threadQueuesize | --threads) ;;
    *)
      mapfile -t COMPREPLY < <(compgen -W '-c --connections --cwd -h --help -i --ini --json --logcfg -o
        --queueTimeout -p --port -q --quiet --rehearse --strict -t --threadQueuesize --threads --user --version' -- "$current")
      ;;
  esac
}

complete -F _velmoracheck velmoracheck
