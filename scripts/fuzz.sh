#!/usr/bin/env bash
# Builds the fuzz preset and fuzzes its targets for as long as asked, each in
# turn, keeping what they find in build/fuzz/fuzz-work/<target>/: corpus/
# (new inputs; later runs start from them) and artifacts/ (failing inputs).
# Usage: scripts/fuzz.sh [TARGET] [SECONDS]   (default: every target, 60 s each)
# TARGET is one of the folders of fuzz/corpus; FUZZ_JOBS=N fuzzes in N processes.
set -euo pipefail
cd "$(dirname "$0")/.."

all=()
for dir in fuzz/corpus/*/; do all+=("$(basename "$dir")"); done
targets=("${all[@]}")
if [ $# -gt 0 ] && ! [[ "$1" =~ ^[0-9]+$ ]]; then
  if [ ! -d "fuzz/corpus/$1" ]; then
    echo "fuzz.sh: no fuzz target \"$1\"; the targets are: ${all[*]}" >&2
    exit 2
  fi
  targets=("$1")
  shift
fi
seconds="${1:-60}"

bash scripts/install-deps.sh
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j"$(nproc)"

failed=()
for target in "${targets[@]}"; do
  echo "== fuzz_${target}: ${seconds} s"
  cmake -DFUZZER="build/fuzz/fuzz/fuzz_${target}" -DWORK="build/fuzz/fuzz-work/${target}" \
    -DSEEDS="fuzz/corpus/${target}" -DREGRESSIONS="fuzz/regressions/${target}" \
    -DSECONDS="$seconds" -DJOBS="${FUZZ_JOBS:-1}" -P fuzz/RunFuzzer.cmake || failed+=("$target")
done
if [ "${#failed[@]}" -gt 0 ]; then
  echo "fuzz.sh: failing inputs found by: ${failed[*]} (see build/fuzz/fuzz-work/<target>/artifacts)" >&2
  exit 1
fi
