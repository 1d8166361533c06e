#!/usr/bin/env bash
# Usage: bench/summary.sh [BUILD_DIR] [REPETITIONS]
# Runs engine_bench (each benchmark REPETITIONS times, default 5; each repetition times its path
# and its baseline in alternating batches) and prints one line per target, the median ratio of
# the path to its baseline:
#   engine-bench: <name> ratio=<r> limit=<l>
# then the times, allocations and memory behind them. Exits 1 when a ratio is above its limit.
set -euo pipefail

build=${1:-$(dirname "$0")/../build/release}
reps=${2:-5}
bin="$build/bench/engine_bench"
[[ -x $bin ]] || {
  echo "summary.sh: $bin is not built (cmake --build --preset release --target engine_bench)" >&2
  exit 2
}
out=$(mktemp)
trap 'rm -f "$out" "$out.err"' EXIT
# One core for the whole run when taskset is there: no migration between the two sides.
pin=()
command -v taskset >/dev/null && pin=(taskset -c "$(($(nproc) - 1))")
"${pin[@]}" "$bin" --benchmark_repetitions="$reps" --benchmark_report_aggregates_only=true \
  --benchmark_out="$out" --benchmark_out_format=json >/dev/null 2>"$out.err" ||
  { cat "$out.err" >&2; exit 2; }
python3 - "$out" <<'PY'
import json, sys

runs = json.load(open(sys.argv[1]))["benchmarks"]
failed = sorted({b["run_name"] for b in runs if b.get("error_occurred")})
if failed:
    sys.exit("engine-bench: failed: " + ", ".join(failed) + ": " +
             "; ".join(sorted({b.get("error_message", "") for b in runs if b.get("error_occurred")})))
med = {b["run_name"].split("/")[0]: b for b in runs if b.get("aggregate_name") == "median"}
targets = [
    ("changed-entry", "BM_ChangedEntry", 3),
    ("unchanged-entry", "BM_UnchangedEntry", 2),
    ("direct-warm-restart-kept", "BM_DirectWarmRestartKept", 10),
    ("direct-warm-restart-empty", "BM_DirectWarmRestartEmpty", 30),
    ("hash-warm-restart-kept", "BM_HashWarmRestartKept", 15),
    ("hash-warm-restart-empty", "BM_HashWarmRestartEmpty", 40),
    ("lpm-warm-restart-kept", "BM_LpmWarmRestartKept", 40),
    ("lpm-warm-restart-empty", "BM_LpmWarmRestartEmpty", 50),
    ("lpm14-programming-to-90pct", "BM_LpmStrideProgramming<Lpm14Table>", 150),
    ("lpm26-programming-to-90pct", "BM_LpmStrideProgramming<Lpm26Table>", 150),
    ("lpm32-programming-to-90pct", "BM_LpmStrideProgramming<Lpm32Table>", 150),
]
over = []
for name, bench, limit in targets:
    ratio = med[bench]["ratio"]
    print(f"engine-bench: {name} ratio={ratio:.2f} limit={limit}")
    if ratio > limit:
        over.append(name)
for name, bench, _ in targets:
    b = med[bench]
    unit = "call" if "Entry" in bench else "entry" if "Programming" in bench else "row"
    print(f"engine-bench: {name} {b['path_ns']:.1f} ns per {unit}, baseline {b['baseline_ns']:.1f} ns, "
          f"heap allocations per batch {b['allocs_per_batch']:.0f}")
print(f"engine-bench: bytes per installed entry: arp {med['BM_DirectWarmRestartKept']['bytes_per_entry']:.0f}, "
      f"hashed 3x8192 half full {med['BM_HashWarmRestartKept']['bytes_per_entry']:.0f}")
for name, bench, _ in targets:
    if "Programming" in bench:
        b = med[bench]
        print(f"engine-bench: {name} {b['entries_per_s']:.0f} entries per second, "
              f"{b['moves_per_entry']:.3f} moves per entry")
if over:
    sys.exit("engine-bench: over the limit: " + ", ".join(over))
PY
