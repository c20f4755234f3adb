#!/usr/bin/env bash
# documentedOptions.sh HOST MAN COMPLETION: both know each subcommand's options, and no others.
set -euo pipefail
options() { grep -oE -- '--[a-z][a-z-]*' | sort -u | grep -vxF -e --help; }
. "$3"
for command in $("$1" --help | sed -n '/^Subcommands/,$ s/^  \([a-z]*\) .*/\1/p'); do
  expected=$("$1" "$command" --help | sed '/^Example/,$d' | options)
  COMP_WORDS=(ox-wp-host "$command" --) COMP_CWORD=2
  _ox_wp_host
  sed 's/\\-/-/g' "$2" | sed -n "/^\.SS $command\$/,/^\.S[SH] /p" | options | diff <(echo "$expected") -
  printf '%s\n' "${COMPREPLY[@]}" | options | diff <(echo "$expected") -
done
[ -n "$expected" ]
