#!/usr/bin/env bash
# Installs every build, test and tool dependency from Debian packages.
# Idempotent: packages already present are skipped, so a warm machine costs one dpkg query.
set -euo pipefail

packages=(
  cmake g++ make pkg-config
  libopencv-dev qtbase5-dev libeigen3-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  nlohmann-json3-dev libcli11-dev
  clang libclang-rt-14-dev
  python3 python3-matplotlib
  python3-dev pybind11-dev python3-numpy python3-pytest python3-dask python3-distributed
  doxygen
  dpkg-dev file lintian
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: all dependencies present"
  exit 0
fi

echo "install-deps: installing ${missing[*]}"
SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update
$SUDO apt-get install -y --no-install-recommends "${missing[@]}"
