#!/usr/bin/env bash
# Builds the whole test suite under the address + undefined-behaviour sanitizers and under
# the thread sanitizer, each in its own build directory (build-address, build-thread), and
# runs it through ctest; any sanitizer report fails its test.
# Usage: scripts/check.sh [address|thread]...   (default: both, in that order)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
jobs=$(nproc)
sanitizers=("$@")
if [ ${#sanitizers[@]} -eq 0 ]; then sanitizers=(address thread); fi

bash "$root/scripts/install-deps.sh"

for sanitizer in "${sanitizers[@]}"; do
  build=${BUILD_DIR:-$root/build}-$sanitizer
  echo "== $sanitizer sanitizer build in $build"
  # The benchmarks are left out: their timings mean nothing instrumented, and the accuracy
  # study's test is built with the tests.
  cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DFUNCTIONS_SANITIZER="$sanitizer" \
    -DFUNCTIONS_BUILD_BENCH=OFF > /dev/null
  cmake --build "$build" -j"$jobs"
  ctest --test-dir "$build" --output-on-failure -j"$jobs"
done
echo "check.sh: all passed (${sanitizers[*]})"
