#!/bin/bash
# Runs the benchmarks of a program twice each, as shortly as they can be and among one another: they work, in any order.
# usage: run_once.sh PROGRAM
set -euo pipefail
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
export OXBASE_SYSTEM=$scratch/system TMPDIR=$scratch
mkdir "$OXBASE_SYSTEM"
"$1" --benchmark_min_time=0.001 --benchmark_repetitions=2 --benchmark_enable_random_interleaving=true \
  --benchmark_report_aggregates_only=true --benchmark_format=json >"$scratch/results" </dev/null
! grep '"error_message"' "$scratch/results"
