#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (library and targets instrumented for address
# and undefined behaviour) and runs each, one after the other, for SECONDS (default 60).
# The growing corpus of each target is kept in the build directory between runs; inputs
# that crash or break an invariant are saved there as crash-* files (copy them into
# fuzz/regressions/TARGET once fixed). Exits non-zero when any target found something.
# Usage: scripts/fuzz.sh [SECONDS] [TARGET...]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
seconds=${1:-60}
shift || true
build=${FUZZ_BUILD_DIR:-$root/build-fuzz}

bash "$root/scripts/install-deps.sh"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER=clang++ \
  -DFUNCTIONS_BUILD_FUZZ=ON -DFUNCTIONS_BUILD_TESTS=OFF -DFUNCTIONS_BUILD_BENCH=OFF \
  -DFUNCTIONS_BUILD_APPS=OFF > /dev/null
cmake --build "$build" -j"$(nproc)"

targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  for program in "$build"/fuzz/fuzz_*; do targets+=("$(basename "$program")"); done
fi

export ASAN_OPTIONS=detect_leaks=1:detect_stack_use_after_return=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
failed=()
for target in "${targets[@]}"; do
  corpus=$build/corpus/$target
  artifacts=$build/artifacts/$target
  mkdir -p "$corpus" "$artifacts"
  # Inputs that once found something are kept in the tree and run first, every time.
  regressions=()
  if [ -d "$root/fuzz/regressions/$target" ]; then regressions=("$root/fuzz/regressions/$target"); fi
  log=$build/artifacts/$target.log
  echo "== $target for ${seconds}s"
  # Inputs are decoded into images of at most 48 x 48, so 4 KiB covers every byte a
  # target reads; a single input running 10 s counts as a hang.
  if "$build/fuzz/$target" -max_total_time="$seconds" -max_len=4096 -timeout=10 -rss_limit_mb=2048 \
      -print_final_stats=1 -artifact_prefix="$artifacts/" "$corpus" "${regressions[@]}" > "$log" 2>&1; then
    grep -E '^stat::number_of_executed_units' "$log" | sed "s/^/   /"
  else
    failed+=("$target")
    tail -n 40 "$log"
  fi
done

if [ ${#failed[@]} -ne 0 ]; then
  echo "fuzz.sh: findings in ${failed[*]} (inputs under $build/artifacts)"
  exit 1
fi
echo "fuzz.sh: ${#targets[@]} targets, ${seconds}s each, nothing found"
