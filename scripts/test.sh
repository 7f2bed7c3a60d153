#!/usr/bin/env bash
# Installs what is missing, builds everything, runs every test through ctest, then checks
# the packaging: installs into a scratch prefix and builds a consumer project against it.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$root/build}
jobs=$(nproc)

bash "$root/scripts/install-deps.sh"

cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release
cmake --build "$build" -j"$jobs"
ctest --test-dir "$build" --output-on-failure -j"$jobs"

prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install "$build" --prefix "$prefix" > /dev/null
libdir=$(dirname "$(find "$prefix" -name 'libFunctions.so*' | head -n 1)")

echo "== consumer through find_package(Functions)"
cmake -S "$root/tests/consumer" -B "$build/consumer" -DCMAKE_PREFIX_PATH="$prefix" > /dev/null
cmake --build "$build/consumer" > /dev/null
LD_LIBRARY_PATH="$libdir" "$build/consumer/consumer"

echo "== consumer through pkg-config"
PKG_CONFIG_PATH="$libdir/pkgconfig" c++ -std=c++17 -fPIC "$root/tests/consumer/consumer.cpp" \
  -o "$build/consumer/consumer-pkgconfig" $(PKG_CONFIG_PATH="$libdir/pkgconfig" pkg-config --cflags --libs Functions)
LD_LIBRARY_PATH="$libdir" "$build/consumer/consumer-pkgconfig"
site="$prefix/lib/python3/dist-packages"
if [ -d "$site/functions" ]; then
  echo "== the Python module from the installed tree"
  (cd / && PYTHONPATH="$site" /usr/bin/python3 -c \
    "import functions; assert functions.fit_line([(0, 1), (2, 5)])[1] > 0.89; print('functions', functions.__version__)")
fi
echo "test.sh: all passed"
