#!/usr/bin/env bash
# Usage: scripts/fuzz.sh [SECONDS] [TARGET...]
# Builds the libFuzzer targets (preset fuzz: clang with AddressSanitizer and
# UndefinedBehaviorSanitizer), replays the regression inputs kept in fuzz/regressions/TARGET,
# then runs each target for SECONDS (default 30) from its seed corpus fuzz/corpus/TARGET.
# Targets: value_text row_decode script hw_state profile (default: all). New inputs go to
# build/fuzz/corpus/TARGET, crashing inputs to build/fuzz/findings/TARGET-*; the run fails on one.
# FUZZ_SEED fixes libFuzzer's seed (CI sets it, so a brief run is reproducible); unset, each run
# draws its own.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
seconds=${1:-30}
shift $(($# > 0 ? 1 : 0))
targets=("$@")
[[ ${#targets[@]} -eq 0 ]] && targets=(value_text row_decode script hw_state profile)

./scripts/setup.sh
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz

export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1:abort_on_error=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
mkdir -p build/fuzz/findings
for t in "${targets[@]}"; do
  bin=build/fuzz/fuzz/fuzz_$t
  work=build/fuzz/corpus/$t
  mkdir -p "$work"
  if compgen -G "fuzz/regressions/$t/*" >/dev/null; then
    echo "fuzz: $t: regression inputs"
    "$bin" fuzz/regressions/"$t"/*
  fi
  echo "fuzz: $t: ${seconds}s"
  "$bin" -seed="${FUZZ_SEED:-0}" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=2048 -print_final_stats=1 \
    -artifact_prefix="build/fuzz/findings/$t-" "$work" "fuzz/corpus/$t"
done
