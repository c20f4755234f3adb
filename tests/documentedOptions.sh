#!/usr/bin/env bash
# documentedOptions.sh HOST MAN COMPLETION: both know each subcommand's options, and no others.
# Of the help only names are read, since a library lays it out. A word in it is a subcommand if it has a
# help of its own.
set -euo pipefail
options() { grep -oE -- '--[a-z][a-z-]*' | sort -u | grep -vxF -e --help; }
. "$3"
found=()
for command in $("$1" --help | grep -oE '[a-z]+' | sort -u); do
  help=$("$1" "$command" --help 2>/dev/null) && grep -qF "ox-wp-host $command " <<<"$help" || continue
  found+=("$command")
  COMP_WORDS=(ox-wp-host "$command" --) COMP_CWORD=2
  _ox_wp_host
  sections="/^\.SS $command\$/,/^\.S[SH] /p" # and where the common options are
  [[ $help != *--plugin* ]] || sections+=";/^\.SH COMMON/,/^\.SH [^C]/p"
  sed 's/\\-/-/g' "$2" | sed -n "$sections" | options | diff <(options <<<"$help") -
  printf '%s\n' "${COMPREPLY[@]}" | options | diff <(options <<<"$help") -
done
diff <(printf '%s\n' "${found[@]}") <(sed -n 's/^\.SS //p' "$2" | sort)
