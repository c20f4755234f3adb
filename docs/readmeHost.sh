#!/usr/bin/env bash
# readmeHost.sh HOST PLUGIN OX_WP_HOST RECORDING
# The README's host prints a whole buffer, all of a shorter recording, and fails for a missing file.
set -euo pipefail
readme_host=$1 plugin=$2 host=$3 recording=$4
short=$recording.short
head -c 512 "$recording" >"$short" # one record
samples=$("$host" list --format csv "$short" | awk -F, 'NR == 2 { print $5 }')
[ "$samples" -gt 0 ] && [ "$samples" -lt 1000 ]
[ "$("$readme_host" "$plugin" "$recording" | wc -l)" = 1000 ]
[ "$("$readme_host" "$plugin" "$short" | wc -l)" = "$samples" ]
if "$readme_host" "$plugin" "$recording.missing"; then exit 1; fi
if "$readme_host" "$plugin.missing" "$recording"; then exit 1; fi
