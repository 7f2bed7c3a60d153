#!/usr/bin/env bash
# Builds the Debian packages with CPack (cmake/Packaging.cmake: the runtime library
# libfunctionsN, libfunctions-dev, functions-tools) and checks them as a line computer would
# receive them: lintian finds no error, and from the packages unpacked into a scratch root
# (dpkg-deb -x) a host project builds and runs and functions-cli runs by itself
# (scripts/check-install.sh). The packages are left in PACKAGE_DIR (default
# BUILD_DIR/packages).
#
# The packages are made from the release build in BUILD_DIR (default build/, the one
# scripts/test.sh builds and tests), so they hold the very binaries the tests ran and cost
# no second compile. That build's own prefix is not /usr, so the packages install the
# library into /usr/lib rather than Debian's multiarch directory; the dynamic linker,
# pkg-config and CMake all search both.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$root/build}
packages=${PACKAGE_DIR:-$build/packages}

bash "$root/scripts/install-deps.sh"

cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release > /dev/null
cmake --build "$build" -j"$(nproc)"
rm -rf "$packages"
(cd "$build" && cpack -B "$packages" > "$build/cpack.log") || { cat "$build/cpack.log"; exit 1; }
rm -rf "$packages/_CPack_Packages"

debs=("$packages"/*.deb)
for deb in "${debs[@]}"; do
  printf '%s  %s bytes\n  Depends: %s\n' "$(basename "$deb")" "$(stat -c %s "$deb")" \
    "$(dpkg-deb -f "$deb" Depends)"
done

echo "== lintian"
# Errors fail; warnings are shown.
status=0
lintian --fail-on error --display-level '>=warning' --tag-display-limit 0 "${debs[@]}" \
  > "$build/lintian.log" 2>&1 || status=$?
# Lintian only advises against running as root.
grep -v 'running with root privileges' "$build/lintian.log" || true
[ "$status" -eq 0 ] || { echo "package.sh: lintian reports errors"; exit 1; }

echo "== unpacked packages"
unpacked=$(mktemp -d)
trap 'rm -rf "$unpacked"' EXIT
for deb in "${debs[@]}"; do dpkg-deb -x "$deb" "$unpacked"; done
bash "$root/scripts/check-install.sh" "$unpacked/usr"
echo "package.sh: ${#debs[@]} packages in $packages"
