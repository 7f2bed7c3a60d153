#!/usr/bin/env bash
# Checks an installed copy of the library and tools under PREFIX (a cmake --install prefix,
# or usr/ of unpacked Debian packages) the way its users meet it: a host project builds
# against it through find_package and through pkg-config, both run, and functions-cli runs
# from PREFIX/bin with a clean environment (no LD_LIBRARY_PATH, no PATH). The version of the
# CMake package, the pkg-config file, the headers, the loaded library, its SONAME and
# functions-cli --version must all be the project's.
# Usage: scripts/check-install.sh PREFIX [--demo]   (--demo also runs functions-cli demo)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
prefix=$(cd "$1" && pwd)
demo=${2:-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

version=$(sed -n 's/^project(Functions VERSION \([0-9.]*\).*/\1/p' "$root/CMakeLists.txt")
library=$(find "$prefix" -name 'libFunctions.so.*.*.*' | head -n 1)
libdir=$(dirname "$library")
fail() { echo "check-install: $*" >&2; exit 1; }

soname=$(readelf -d "$library" | sed -n 's/.*Library soname: \[\(.*\)\]/\1/p')
[ "$soname" = "libFunctions.so.${version%%.*}" ] || fail "SONAME $soname, version $version"

echo "== consumer through find_package(Functions $version)"
cmake -S "$root/tests/consumer" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$prefix" \
  -DFUNCTIONS_EXPECTED_VERSION="$version" > /dev/null
cmake --build "$work/cmake" > /dev/null
env -i "$work/cmake/consumer"

echo "== consumer through pkg-config"
export PKG_CONFIG_PATH=$libdir/pkgconfig
[ "$(pkg-config --modversion Functions)" = "$version" ] || fail "pkg-config version $(pkg-config --modversion Functions)"
# shellcheck disable=SC2046 # the flags are separate words
c++ -std=c++17 -fPIC -DFUNCTIONS_EXPECTED_VERSION="\"$version\"" "$root/tests/consumer/consumer.cpp" \
  -o "$work/consumer-pkgconfig" $(pkg-config --cflags --libs Functions) -Wl,-rpath,"$libdir"
env -i "$work/consumer-pkgconfig"

echo "== functions-cli from $prefix/bin"
cli=$prefix/bin/functions-cli
# The run path must lead to this prefix's library, not to another copy on the system.
loaded=$(env -i ldd "$cli" | sed -n 's/.*libFunctions\.so\.[0-9]* => \(.*\) (.*/\1/p')
[ "$(readlink -f "$loaded")" = "$(readlink -f "$library")" ] || fail "functions-cli loads '$loaded', not $library"
[ "$(env -i "$cli" --version)" = "functions-cli $version" ] || fail "functions-cli --version says '$(env -i "$cli" --version)'"
env -i "$cli" tools > /dev/null
if [ "$demo" = "--demo" ]; then
  (cd "$work" && env -i "$cli" demo --out "$work/demo" > "$work/demo.log") || { cat "$work/demo.log"; fail "demo failed"; }
  tail -n 1 "$work/demo.log"
fi
site=$prefix/lib/python3/dist-packages
if [ -d "$site/functions" ]; then
  echo "== the Python module from $site"
  module=$(find "$site/functions" -name '_functions*.so' | head -n 1)
  loaded=$(env -i ldd "$module" | sed -n 's/.*libFunctions\.so\.[0-9]* => \(.*\) (.*/\1/p')
  [ "$(readlink -f "$loaded")" = "$(readlink -f "$library")" ] || fail "the Python module loads '$loaded', not $library"
  said=$(cd "$work" && env -i PYTHONPATH="$site" /usr/bin/python3 -c \
    "import functions; assert functions.fit_line([(0, 1), (2, 5)])[1] > 0.89 and functions.tools(); print(functions.__version__)")
  [ "$said" = "$version" ] || fail "functions.__version__ is '$said'"
fi
echo "check-install: $prefix works (version $version)"
