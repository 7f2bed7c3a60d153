#!/usr/bin/env bash
# Builds the accuracy study, runs it and regenerates docs/accuracy.md with its tables and
# plots (docs/accuracy/: one CSV per study and the PNG plots). Placements per setting:
# first argument, default 500. The build directory is BUILD_DIR (default build/).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$root/build}
placements=${1:-500}
out=$root/docs/accuracy

bash "$root/scripts/install-deps.sh"
# Debian's interpreter: its python3-matplotlib is the one install-deps.sh provides, whatever
# python3 comes first on PATH.
python=/usr/bin/python3
[ -x "$python" ] || python=python3

cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release > /dev/null
cmake --build "$build" -j"$(nproc)" --target functions-accuracy

rm -rf "$out"
mkdir -p "$out"
"$build/bench/accuracy/functions-accuracy" --out "$out" --placements "$placements"
"$python" "$root/bench/accuracy/report.py" "$out" "$root/docs/accuracy.md" "$placements"
echo "accuracy.sh: wrote docs/accuracy.md and docs/accuracy/"
