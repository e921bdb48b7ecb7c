#!/usr/bin/env bash
# Installs every Debian package the build, the tests, the benchmarks, the
# fuzz targets (clang, libFuzzer, llvm-symbolizer) and the tour (the KiCad
# demo projects) need.
# Safe to run again: apt-get skips what is already there.
set -euo pipefail
export DEBIAN_FRONTEND=noninteractive
SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi

packages=(
  build-essential cmake ninja-build ccache pkg-config git
  libboost-dev libboost-locale-dev
  libspdlog-dev libfmt-dev
  libsqlite3-dev sqlite3
  libpq-dev postgresql
  libpugixml-dev nlohmann-json3-dev libsodium-dev libarchive-dev
  libcli11-dev pybind11-dev python3-dev libgraphviz-dev
  python3-pytest
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  kicad-demos
  clang libclang-rt-14-dev llvm
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ "${#missing[@]}" -gt 0 ]; then
  $SUDO apt-get update -q
  $SUDO apt-get install -y -q --no-install-recommends "${missing[@]}"
fi
