#!/usr/bin/env bash
# Renders the recipe examples' pictures and runs them: the demo plate at five poses
# (one with an oversize hole) through examples/recipes/plate.json, and a plate with two
# holes 100 mm apart seen through a distorted lens, after calibrating that lens from
# rendered chessboard views. Everything goes to the folder given as first argument
# (default recipe-demo/); nothing is written into the source tree.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$root/build}
out=${1:-recipe-demo}
cli="$build/apps/functions-cli"

cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release > /dev/null
cmake --build "$build" -j"$(nproc)" --target functions-cli > /dev/null

"$cli" demo --recipe-images "$out/plate/images" > /dev/null
"$cli" inspect --recipe "$root/examples/recipes/plate.json" --images "$out/plate/images" --out "$out/plate/results"

"$cli" demo --calibration-images "$out/lens" > /dev/null
"$cli" calibrate --images "$out/lens/boards" --board 9x6 --square 15 --plane board_01_on_plane.png \
  --out "$out/lens/cal.json" 2> /dev/null
cp "$root/examples/recipes/two_holes.json" "$out/lens/two_holes.json" # finds cal.json beside it
"$cli" inspect --recipe "$out/lens/two_holes.json" --images "$out/lens/two_holes_100mm.png" --out "$out/lens/results"
