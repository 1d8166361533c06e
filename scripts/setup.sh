#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the benchmarks need, only those missing.
# Runs as root, or through sudo when it is available. Safe to run again: it installs nothing twice.
set -euo pipefail

packages=(
  g++               # compiler (GCC 12 on Debian 12)
  g++-multilib      # -m32 builds (the m32 preset)
  cmake             # 3.25 or newer, for the presets
  ninja-build       # the generator of every preset
  googletest        # GoogleTest sources, built per preset so -m32 works
  libgtest-dev
  libgmock-dev
  libbenchmark-dev  # Google Benchmark, for bench/
  python3           # the benchmark scripts summarise their results with it
  libcli11-dev      # CLI11, command-line parsing of tools/tarnctl
  nlohmann-json3-dev  # JSON output of tools/tarnctl
  clang             # the fuzz targets (scripts/fuzz.sh, preset fuzz)
  libclang-rt-14-dev  # libFuzzer and the sanitizer runtimes of clang 14
)

installed() {
  dpkg -s "$1" 2>/dev/null | grep -q '^Status: install ok installed$'
}

missing=()
for p in "${packages[@]}"; do
  installed "$p" || missing+=("$p")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

if ! command -v apt-get >/dev/null 2>&1; then
  echo "setup.sh: apt-get not found; install these packages by hand: ${missing[*]}" >&2
  exit 1
fi

as_root=()
if [[ $(id -u) -ne 0 ]]; then
  if ! command -v sudo >/dev/null 2>&1; then
    echo "setup.sh: not root and no sudo; install these packages as root: ${missing[*]}" >&2
    exit 1
  fi
  # Without a terminal (CI) sudo must not wait for a password it can never get.
  if [[ -t 0 ]]; then as_root=(sudo); else as_root=(sudo -n); fi
fi

echo "setup.sh: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -qq
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
  apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
