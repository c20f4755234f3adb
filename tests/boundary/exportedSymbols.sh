#!/usr/bin/env bash
# The plug-in exports its entry point and nothing else.
set -euo pipefail
"$NM" -D --defined-only "$1" | awk '{ print $3 }' | diff <(echo ox_wp_plugin_initialize) -
