#!/bin/sh
# What `make run` shows: this machine, the demo lab where no GPU answers, and a recorded lab with all
# that can be told of it.
#
#   tools/run.sh build/release/companion/tavrine
set -eu

tavrine=$(realpath "$1")
examples=$(dirname "$0")/../examples/lab

heading() { printf '\n==== %s\n\n' "$1"; }

# Exit status 1 says that something was lost or did not answer, which is told; it is no failure here.
told() { "$@" || [ $? -eq 1 ]; }

heading "This machine, as 'tavrine collect' sees it"
# Whatever hosts the user has configured are left alone.
XDG_CONFIG_HOME=/nonexistent told "$tavrine" collect . | told "$tavrine" show -

if ! nvidia-smi -L >/dev/null 2>&1; then
  heading "No GPU answers here, so this is a made-up lab: 'tavrine demo'"
  "$tavrine" demo
fi

heading "A recorded lab: 'tavrine assemble examples/lab | tavrine show -'"
told "$tavrine" assemble "$examples" | told "$tavrine" show -

heading "What holds its runs back: 'tavrine diagnose examples/lab/*/runs/*/recorder.jsonl'"
cd "$examples"
told "$tavrine" diagnose */runs/*/recorder.jsonl
