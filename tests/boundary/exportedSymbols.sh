#!/usr/bin/env bash
# The plug-in exports its entry point and nothing else.
set -euo pipefail
symbols=$("$NM" -D --defined-only "$1" | awk '{ print $3 }')
if [ "$symbols" != ox_wp_plugin_initialize ]; then
  printf 'exported by %s:\n%s\n' "$1" "$symbols" >&2
  exit 1
fi
