#!/bin/sh
# Lets libFuzzer drive each target for some seconds, from its corpus, its past crashes, real inputs and
# its dictionary.
#
#   tools/fuzz.sh build/fuzz 30
#
# What it learns stays in build/fuzz/found/NAME and is used the next time. A crash is kept in
# build/fuzz/crashes/NAME; with its fix, it moves to fuzz/regressions/NAME under a telling name.
set -eu

build=$1
seconds=$2
here=$(dirname "$0")/../fuzz

# The folder with real inputs for a target, below tests/golden; most of these are large, and libFuzzer
# takes their beginnings.
real_inputs() {
  case $1 in
    app_snapshot | gpu_server | json_reader | snapshot_disk_store) echo snapshot ;;
    cpu_thermal_parser) echo sensors/thermal ;;
    disk_io_parser) echo sensors/disks ;;
    gpu_process_stat_parser) echo gpu_processes ;;
    load_avg_parser) echo sensors/load ;;
    nvidia_smi_parser) echo nvidia_smi ;;
    process_stat_parser | redaction) echo processes ;;
    py_spy_dump_parser) echo stacks ;;
    recorder_line_parser) echo diagnosis ;;
    training_log_parser) echo training_log ;;
  esac
}

for target in "$build"/fuzz/*_fuzz; do
  name=$(basename "$target" _fuzz)
  found=$build/found/$name
  crashes=$build/crashes/$name
  log=$build/$name.log
  mkdir -p "$found" "$crashes"
  set -- "$found" "$here/corpus/$name"
  real=$(real_inputs "$name")
  [ -z "$real" ] || set -- "$@" "$here/../tests/golden/$real"
  [ ! -d "$build/fuzz/minimised/$name" ] || set -- "$@" "$build/fuzz/minimised/$name"
  [ ! -d "$here/regressions/$name" ] || set -- "$@" "$here/regressions/$name"
  [ ! -f "$here/dictionaries/$name.dict" ] || set -- "$@" -dict="$here/dictionaries/$name.dict"
  if ! "$target" -max_total_time="$seconds" -max_len=4096 -timeout=10 -artifact_prefix="$crashes/" \
    "$@" >"$log" 2>&1; then
    tail -n 60 "$log"
    echo "$name: failed; the input is in $crashes" >&2
    exit 1
  fi
  echo "$name: $(sed -n 's/^Done //p' "$log")"
done
