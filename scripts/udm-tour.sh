#!/usr/bin/env bash
# A session with `udm` on real files, printed as it goes: the KiCad demo
# projects imported as a tree, found, changed, reused, exported and imported.
#
#   scripts/udm-tour.sh UDM [DEMOS] [WORKDIR]
#
# UDM is the udm binary; DEMOS the KiCad demo projects (default
# /usr/share/kicad/demos, Debian package kicad-demos); WORKDIR where the two
# repositories go (default: a new directory under the system's temporary
# directory). The repositories are registered in WORKDIR/registry only.
set -euo pipefail

udm_binary=$(realpath "${1:?usage: udm-tour.sh UDM [DEMOS] [WORKDIR]}")
demos=$(realpath "${2:-/usr/share/kicad/demos}")
work=${3:-$(mktemp -d "${TMPDIR:-/tmp}/udm-tour.XXXXXX")}
mkdir -p "$work"
work=$(realpath "$work")
[ -d "$demos" ] || { echo "udm-tour: no KiCad demo projects at $demos (apt-get install kicad-demos)" >&2; exit 1; }
export NORVEL_VQK_UDMRT_DB_DIR="$work/registry"

if [ -t 1 ]; then bold=$'\033[1m' plain=$'\033[0m'; else bold="" plain=""; fi
step() { printf '\n%s== %s%s\n' "$bold" "$*" "$plain"; }
# Prints the command as a user would type it, then runs it.
udm() {
  local shown="$ udm" arg
  for arg in "$@"; do
    case "$arg" in
      *[!A-Za-z0-9_./@=:-]*) shown+=" \"$arg\"" ;;
      *) shown+=" $arg" ;;
    esac
  done
  printf '%s\n' "$shown"
  "$udm_binary" "$@"
}

step "A repository for the team, in the current directory like git init"
mkdir -p "$work/team"
cd "$work/team"
udm init

step "The demo projects as a tree of folder items holding their files, in one check-in"
udm import-tree --dry-run "$demos" | tail -n 1
udm import-tree "$demos" -m "KiCad demo projects"
udm ls demos | head -n 8

step "Find a project by query"
udm query "name like 'pic*' and cdef = 'UDMLMFoldertype'"

step "Change the schematic's revision letter and check it in as a new revision"
udm checkout demos/pic_programmer -m "schematic revision 3"
udm get demos/pic_programmer "$work/edit" >/dev/null
sed -i 's/(rev "2")/(rev "3")/' "$work/edit/pic_programmer.kicad_sch"
udm add-file demos/pic_programmer "$work/edit/pic_programmer.kicad_sch"
udm status
udm checkin demos/pic_programmer -m "Schematic revision 3"

step "complex_hierarchy reuses pic_programmer's libraries instead of copying them"
udm checkout demos/complex_hierarchy
udm link demos/complex_hierarchy demos/pic_programmer/libs
udm checkin demos/complex_hierarchy -m "Uses the pic_programmer libraries"
udm where-used demos/pic_programmer/libs

step "The history of pic_programmer, and its schematic as first imported"
udm show demos/pic_programmer | sed -n '/^  revision /p'
udm get demos/pic_programmer@0 "$work/first" >/dev/null
printf 'revision 0 holds %s\n' "$(grep -m 1 -o '(rev "[^"]*")' "$work/first/pic_programmer.kicad_sch")"

step "Export the project to a package and import it into a second repository"
udm export demos/pic_programmer -o "$work/pic_programmer.tar.gz"
mkdir -p "$work/lab"
cd "$work/lab"
udm init
udm import "$work/pic_programmer.tar.gz"
udm tree pic_programmer --depth 1

step "Nothing left checked out in the team's repository"
cd "$work/team"
udm status

printf '\nThe repositories are in %s; to go on exploring:\n' "$work"
printf '  export NORVEL_VQK_UDMRT_DB_DIR=%s\n  cd %s/team && %s help\n' "$work/registry" "$work" "$udm_binary"
