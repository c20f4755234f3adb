#!/usr/bin/env bash
# dependencies.sh SOURCE: where nothing is installed, ./dev asks for the packages of the README's table.
set -euo pipefail
cd "$1"
bin=$(mktemp -d)
trap 'rm -rf "$bin"' EXIT
for tool in bash cat dirname find mktemp nproc readlink rm sed; do ln -s "$(type -P "$tool")" "$bin"; done
asked=$(PATH=$bin ./dev test 2>&1 | sed -n '/Debian calls$/{n;s/^ *//;p}') || true
diff <(sed -n "/Debian's packages |$/,/^$/s/.*\`\(.*\)\`.*/\1/p" README.md | tr ' ' '\n' | sort) \
  <(tr ' ' '\n' <<<"$asked" | sort)
