#!/usr/bin/env bash
# Installs what is missing (setup.sh), builds tarnctl in the release preset and runs its
# built-in demo (`tarnctl run`); extra arguments go to the configure step.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
./scripts/setup.sh

# Runs a step with its output kept back, shown only when the step fails.
quietly() {
  local log
  log=$(mktemp)
  if ! "$@" >"$log" 2>&1; then
    cat "$log" >&2
    rm -f "$log"
    return 1
  fi
  rm -f "$log"
}

echo "building tarnctl (preset release, build/release)..." >&2
quietly cmake --preset release "$@"
quietly cmake --build --preset release --target tarnctl
./build/release/tools/tarnctl/tarnctl run
