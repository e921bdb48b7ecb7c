#!/usr/bin/env bash
# Redraws the pictures in docs/images with udm itself, from the repositories
# the tour (scripts/udm-tour.sh) leaves behind.
#
#   scripts/docs-images.sh [UDM]   (default: build/default/stage/bin/udm)
set -euo pipefail
cd "$(dirname "$0")/.."
udm=$(realpath "${1:-build/default/stage/bin/udm}")
images=$(realpath docs/images)
work=$(mktemp -d "${TMPDIR:-/tmp}/udm-images.XXXXXX")
trap 'rm -rf "$work"' EXIT

bash scripts/udm-tour.sh "$udm" /usr/share/kicad/demos "$work" >/dev/null
cd "$work/team"
export NORVEL_VQK_UDMRT_DB_DIR="$work/registry"
"$udm" log demos/pic_programmer --svg "$images/history.svg" --html "$images/history.html"
"$udm" tree demos/pic_programmer --svg "$images/structure.svg" --html "$images/structure.html"
