#!/usr/bin/env bash
# The plug-in exports its entry point and nothing else, and stays loaded, since libmseed keeps pointers
# into it.
set -euo pipefail
trap 'echo "line $LINENO fails"' ERR
"$NM" -D --defined-only "$1" | awk '{ print $3 }' | diff <(echo ox_wp_plugin_initialize) -
"$READELF" -d "$1" | grep NODELETE >/dev/null
