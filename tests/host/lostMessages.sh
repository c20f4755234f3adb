#!/usr/bin/env bash
# lostMessages.sh HOST PLUGIN: messages that cannot be written are lost, and nothing else happens.
set -euo pipefail
trap 'echo "line $LINENO fails"' ERR
cd "$(mktemp -d)"
trap 'rm -rf "$PWD"' EXIT
echo "A 10 9 8 0 1" >file # one sample is missing, which export reports
for stream in "2>/dev/full" "2>&-"; do
  eval "'$1' export file --plugin '$2' -o out $stream"
  [ "$(wc -l <out)" -eq 9 ]
  status=0
  eval "'$1' list missing --plugin '$2' $stream" || status=$?
  [ $status -eq 1 ]
done
# Nor is a closed pipe an error: SIGPIPE ends the program, as it ends others.
echo "A 10 99999 99999 0 1" >long
{ "$1" export long --plugin "$2" 2>&1 || echo $? >&2; } 2>status | head -1 >first
[ "$(cat first status)" = $'stream,time_s,value\n141' ]
if "$1" --help >/dev/full 2>&1; then false; fi # lost help is an error
