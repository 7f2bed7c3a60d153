#!/usr/bin/env bash
# Installs what is missing, builds the command-line tool and runs the demo on its built-in
# synthetic scene. Pictures go to the folder given as first argument (default demo-out/).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$root/build}
out=${1:-demo-out}

bash "$root/scripts/install-deps.sh"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release > /dev/null
cmake --build "$build" -j"$(nproc)" --target functions-cli
"$build/apps/functions-cli" demo --out "$out"
