#!/usr/bin/env bash
# lostMessages.sh HOST PLUGIN: messages that cannot be written are lost, and nothing else happens.
cd "$(mktemp -d)" || exit 1
trap 'rm -rf "$PWD"' EXIT
echo "A 10 9 8 0 1" >file # one sample is missing, which export reports
for stream in "2>/dev/full" "2>&-"; do
  eval "'$1' export file --plugin '$2' -o out $stream" || exit 1
  [ "$(wc -l <out)" -eq 9 ] || exit 1
  eval "'$1' list missing --plugin '$2' $stream" && exit 1
  [ $? -eq 1 ] || exit 1
done
! "$1" --help >/dev/full 2>&1 # lost help is an error
