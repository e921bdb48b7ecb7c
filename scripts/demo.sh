#!/usr/bin/env bash
# Installs what is needed, builds udm and takes it on a tour of the KiCad
# demo projects (scripts/udm-tour.sh), printing each command as it goes.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake --preset default >/dev/null
cmake --build --preset default -j"$(nproc)" --target udm
bash scripts/udm-tour.sh build/default/stage/bin/udm /usr/share/kicad/demos
