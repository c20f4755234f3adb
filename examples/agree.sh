#!/usr/bin/env bash
# agree.sh PLUGIN OTHER_PLUGIN RECORDING STREAMS LOADER [PYTHON STREAMS.PY]
# The examples print the same. They say why a file is declined, and that samples are missing.
set -euEo pipefail
plugin=$1 other=$2 recording=$3 streams=$4 loader=$5
trap 'echo "line $LINENO failed"; cat said' ERR
echo "A 10 9 8 0 1" >short # one sample is missing
says() { # REASON HOST...: the reason for the declined file, then the stream with a missing sample
  local status=0
  "${@:2}" "$other" missing short >out 2>said || status=$?
  [ "$status" -eq 1 ]
  tr '\n' ' ' <said | grep -q "^missing: .*$1.* A"
  grep -q "^A .* 1$" out
}
"$streams" "$plugin" "$recording" >c
[ -s c ]
says "no streams.*declined" "$streams"
"$loader" "$plugin" "$recording" "$recording" | diff <(cut -d ' ' -f 1,2,5,6 c c) -
says "no streams" "$loader"
[ $# -gt 5 ] || exit 0
"${@:6}" "$plugin" "$recording" | diff c -
says "no streams.*declined" "${@:6}"
