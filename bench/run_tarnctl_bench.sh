#!/usr/bin/env bash
# Usage: bench/run_tarnctl_bench.sh [BUILD_DIR] [LINES] [RUNS]
# Replays a generated ARP change script (sets, changes and deletes; default 1,000,000 lines)
# through `tarnctl run --quiet` RUNS times (default 5) and prints the median lines per second.
# Build first: cmake --build --preset release --target tarnctl tarnctl_script_gen
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
build=${1:-build/release}
lines=${2:-1000000}
runs=${3:-5}

script=$(mktemp --suffix=.tarn)
trap 'rm -f "$script"' EXIT
"$build/bench/tarnctl_script_gen" "$lines" >"$script"

rates=()
for ((i = 0; i < runs; i++)); do
  start=$(date +%s.%N)
  "$build/tools/tarnctl/tarnctl" run --quiet "$script"
  end=$(date +%s.%N)
  rates+=("$(python3 -c "print(round($lines / ($end - $start)))")")
done
printf 'runs (lines/second): %s\n' "${rates[*]}"
python3 -c "import statistics, sys; print(f'median: {statistics.median(map(int, sys.argv[1:])):,.0f} lines/second for $lines lines')" "${rates[@]}"
