#!/bin/sh
# What `make run` shows: the GPUs of this machine as a table, or, where no GPU answers, the tables
# of outputs that were recorded on other machines.
#
#   tools/run.sh build/release/companion/tavrine
set -eu

tavrine=$1
captures=$(dirname "$0")/../tests/golden/nvidia_smi

# Exit status 1 says that there were findings, which are shown; it is no failure here.
table() { "$tavrine" parse gpus --table --findings "$@" || [ $? -eq 1 ]; }

if nvidia-smi -L >/dev/null 2>&1; then
  query=$("$tavrine" query gpus)
  printf 'The GPUs of this machine, as told by: %s\n\n' "$query"
  # A tool too old for one of the columns says so on its standard output, and fails.
  if ! output=$(sh -c "$query"); then
    printf 'That command failed:\n%s\n' "$output" >&2
    exit 1
  fi
  printf '%s\n' "$output" | table
else
  echo "No GPU answers on this machine: nvidia-smi is missing or fails."
  echo "So these are recorded captures, real outputs of other machines:"
  for capture in "$captures"/*.csv; do
    printf '\n%s\n' "${capture##*/}"
    table "$capture"
  done
fi
