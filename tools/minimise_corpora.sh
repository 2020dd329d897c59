#!/bin/sh
# Keeps, of all that fuzzing has found in a build, the small inputs that each reach what no other does,
# in fuzz/minimised.tar.xz.
#
#   tools/minimise_corpora.sh build/fuzz
set -eu

build=$1
here=$(dirname "$0")/../fuzz
kept=$(mktemp -d)
trap 'rm -rf "$kept"' EXIT

for target in "$build"/fuzz/*_fuzz; do
  name=$(basename "$target" _fuzz)
  mkdir -p "$kept/minimised/$name" "$build/found/$name" "$build/fuzz/minimised/$name"
  "$target" -set_cover_merge=1 -max_len=600 "$kept/minimised/$name" "$here/corpus/$name" \
    "$build/fuzz/minimised/$name" "$build/found/$name" >"$build/$name.log" 2>&1
  echo "$name: $(find "$kept/minimised/$name" -type f | wc -l) inputs"
done
# The same inputs make the same archive.
tar --create --xz --file "$here/minimised.tar.xz" --directory "$kept" --sort=name --owner=0 --group=0 \
  --numeric-owner --mtime=@0 minimised
