#!/bin/sh
# Lets libFuzzer drive each target for some seconds, from its corpus, its past crashes and its
# dictionary.
#
#   tools/fuzz.sh build/fuzz 30
#
# What it learns stays in build/fuzz/found/NAME and is used the next time. A crash is kept in
# build/fuzz/crashes/NAME; with its fix, it moves to fuzz/regressions/NAME under a telling name.
set -eu

build=$1
seconds=$2
here=$(dirname "$0")/../fuzz

for target in "$build"/fuzz/*_fuzz; do
  name=$(basename "$target" _fuzz)
  found=$build/found/$name
  crashes=$build/crashes/$name
  log=$build/$name.log
  mkdir -p "$found" "$crashes"
  set -- "$found" "$here/corpus/$name"
  [ ! -d "$here/regressions/$name" ] || set -- "$@" "$here/regressions/$name"
  [ ! -f "$here/dictionaries/$name.dict" ] || set -- "$@" -dict="$here/dictionaries/$name.dict"
  if ! "$target" -max_total_time="$seconds" -timeout=10 -artifact_prefix="$crashes/" \
    "$@" >"$log" 2>&1; then
    tail -n 60 "$log"
    echo "$name: failed; the input is in $crashes" >&2
    exit 1
  fi
  echo "$name: $(sed -n 's/^Done //p' "$log")"
done
