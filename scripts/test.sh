#!/usr/bin/env bash
# Usage: scripts/test.sh [PRESET] [CMAKE_ARGS...]
# Installs what is missing (setup.sh), then configures, builds and tests one preset
# (release, debug, asan or m32; default release) in build/PRESET. Extra arguments go to the
# configure step, e.g. -DTARN_BUILD_BENCH=OFF.
set -euo pipefail

cd "$(dirname "${BASH_SOURCE[0]}")/.."
preset=${1:-release}
shift $(($# > 0 ? 1 : 0))

./scripts/setup.sh
cmake --preset "$preset" "$@"
cmake --build --preset "$preset"
ctest --preset "$preset"
