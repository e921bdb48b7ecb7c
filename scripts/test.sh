#!/usr/bin/env bash
# Installs what is needed, builds and runs the whole test suite with CTest.
# Usage: scripts/test.sh [preset...]   (default: "default asan fuzz")
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh

presets=("$@")
[ "${#presets[@]}" -gt 0 ] || presets=(default asan fuzz)
jobs=$(nproc)

# The PostgreSQL instances of the suite run on a throwaway local server.
eval "$(bash scripts/pg-test-server.sh start)"
trap 'bash scripts/pg-test-server.sh stop' EXIT

for preset in "${presets[@]}"; do
  echo "== ${preset}: configure and build"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j"$jobs"
  echo "== ${preset}: test"
  ctest --preset "$preset" -j"$jobs"
done
