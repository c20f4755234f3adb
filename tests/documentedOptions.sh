#!/usr/bin/env bash
# documentedOptions.sh HOST MAN COMPLETION: both know each subcommand's options, and no others.
set -euo pipefail
host=$1 man=$2 completion=$3
options() { grep -oE -- '--[a-z][a-z-]*' | sort -u | grep -vxF -e --help; }
. "$completion"
status=0
commands=$("$host" --help | sed -n '/^Subcommands/,$ s/^  \([a-z]*\) .*/\1/p')
for command in ${commands:?}; do
  expected=$("$host" "$command" --help | sed '/^Example/,$d' | options)
  COMP_WORDS=(ox-wp-host "$command" --) COMP_CWORD=2
  _ox_wp_host
  sed 's/\\-/-/g' "$man" | sed -n "/^\.SS $command\$/,/^\.S[SH] /p" | options |
    diff <(echo "$expected") - || { echo "^ $command in the manual page" >&2; status=1; }
  printf '%s\n' "${COMPREPLY[@]}" | options |
    diff <(echo "$expected") - || { echo "^ $command in the completion" >&2; status=1; }
done
exit "$status"
