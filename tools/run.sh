#!/bin/sh
# What `make run` shows: the GPUs of this machine as a table, or, where no GPU answers, a made-up
# lab.
#
#   tools/run.sh build/release/companion/tavrine
set -eu

tavrine=$1

if nvidia-smi -L >/dev/null 2>&1; then
  query=$("$tavrine" query gpus)
  printf 'The GPUs of this machine, as told by: %s\n\n' "$query"
  # A tool too old for one of the columns says so on its standard output, and fails.
  if ! output=$(sh -c "$query"); then
    printf 'That command failed:\n%s\n' "$output" >&2
    exit 1
  fi
  # Exit status 1 says that there were findings, which are shown; it is no failure here.
  printf '%s\n' "$output" | "$tavrine" parse gpus --table --findings || [ $? -eq 1 ]
else
  echo "No GPU answers on this machine: nvidia-smi is missing or fails."
  echo "So this is a made-up lab, as 'tavrine demo' shows it:"
  echo
  "$tavrine" demo
fi
