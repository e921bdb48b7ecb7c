#!/usr/bin/env bash
# Installs what is needed, builds the runtime and runs the example application
# on the embedded default.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake --preset default >/dev/null
cmake --build --preset default -j"$(nproc)" --target udm_example
./build/default/stage/bin/udm_example
