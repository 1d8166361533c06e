#!/bin/sh
# Runs arp_bench with five repetitions per benchmark and prints the median CPU time of each
# benchmark and the cost of the library relative to the bare hardware store.
# Usage: bench/run_arp_bench.sh [path/to/arp_bench] [extra benchmark flags...]
set -eu
bin=${1:-$(dirname "$0")/../build/release/bench/arp_bench}
[ $# -gt 0 ] && shift
out=$(mktemp)
trap 'rm -f "$out"' EXIT
"$bin" --benchmark_repetitions=5 --benchmark_report_aggregates_only=true \
  --benchmark_out="$out" --benchmark_out_format=json "$@"
python3 - "$out" <<'PY'
import json, sys

to_ns = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}
runs = json.load(open(sys.argv[1]))["benchmarks"]
failed = sorted({b["run_name"] for b in runs if b.get("error_occurred")})
medians = [b for b in runs if b.get("aggregate_name") == "median"]
median = {b["run_name"]: b["cpu_time"] * to_ns[b["time_unit"]] for b in medians}
per_row = {b["run_name"]: 1e9 / b["items_per_second"] for b in medians
           if b["run_name"] in ("BM_ArpSyncEntries", "BM_ArpColdStart")}
print("\nmedian CPU time per call (ns):")
for name, ns in median.items():
    print(f"  {name:32s} {ns:14.1f}")
ratios = [("entryIs changed / store write", "BM_ArpEntryIsChanged", "BM_StoreWriteBaseline"),
          ("handleEntry unchanged / read+compare", "BM_ArpHandleEntryUnchanged",
           "BM_StoreReadCompareBaseline")]
print("ratios:")
for label, num, den in ratios:
    ratio = f"{median[num] / median[den]:6.2f}" if num in median and den in median else "   n/a"
    print(f"  {label:38s} {ratio}")
for name, ns in per_row.items():
    print(f"  {name + ' per row (ns)':38s} {ns:6.1f}")
if failed:
    sys.exit("failed: " + ", ".join(failed))
PY
