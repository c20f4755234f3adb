# Completion of ox-wp-host's command line for bash.

_ox_wp_host() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
  local commands="list export plot watch check" choices="" formats="" files=yes

  # Before the subcommand, and where list is left out.
  local options="--help --version"
  local list="--help --stream --samples --format --plugin"
  [ "$COMP_CWORD" -eq 1 ] || options=$list formats="table json csv"
  case ${COMP_WORDS[1]} in
    list) options=$list formats="table json csv" ;;
    export) options="--help --stream --output --split --format --plugin" formats="csv f64" ;;
    plot) options="--help --stream --output --from --to --plugin" ;;
    watch) options="--help --stream --interval --plugin" ;;
    check) options="--help --list --rule --time-limit" ;;
  esac

  case $before in
    --format) choices=$formats files= ;;
    --stream | --interval | --rule | --time-limit | --from | --to) files= ;;
    --plugin | --output | -o | --split) ;;
    *)
      case $word in
        -*) choices=$options files= ;;
        *) [ "$COMP_CWORD" -ne 1 ] || choices=$commands ;;
      esac
      ;;
  esac

  mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$word"; [ -z "$files" ] || compgen -f -- "$word")
  [ -z "$files" ] || compopt -o filenames 2>/dev/null
}
complete -F _ox_wp_host ox-wp-host
