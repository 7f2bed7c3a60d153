#!/usr/bin/env bash
# Installs what is missing, builds everything, runs every test through ctest, then checks
# the installation: installs into a scratch prefix, builds a consumer project against it and
# runs the installed functions-cli from there (scripts/check-install.sh).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$root/build}
jobs=$(nproc)

bash "$root/scripts/install-deps.sh"

cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release
cmake --build "$build" -j"$jobs"
ctest --test-dir "$build" --output-on-failure -j"$jobs"

# Installed as a user would install it, into a scratch prefix; the installed programs must
# find the installed library by themselves.
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install "$build" --prefix "$prefix" > /dev/null
bash "$root/scripts/check-install.sh" "$prefix" --demo
echo "test.sh: all passed"
