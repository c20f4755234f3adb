# Completion of ox-wp-host's command line for bash.

_ox_wp_host() {
  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
  local options="--help --version" choices="" formats="" files=yes

  case ${COMP_WORDS[1]} in
    list) options="--help --stream --samples --format --plugin" formats="table json csv" ;;
    export) options="--help --stream --output --split --format --plugin" formats="csv f64" ;;
    plot) options="--help --stream --output --from --to --plugin" ;;
    check) options="--help --rule --time-limit" ;;
  esac

  case $before in
    --format) choices=$formats files= ;;
    --stream | --rule | --time-limit | --from | --to) files= ;;
    --plugin | --output | -o | --split) ;;
    *)
      case $word in
        -*) choices=$options files= ;;
        *) [ "$COMP_CWORD" -ne 1 ] || choices="list export plot check" files= ;;
      esac
      ;;
  esac

  mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$word"; [ -z "$files" ] || compgen -f -- "$word")
  [ -z "$files" ] || compopt -o filenames 2>/dev/null
}
complete -F _ox_wp_host ox-wp-host
