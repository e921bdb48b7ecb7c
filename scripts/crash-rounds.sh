#!/usr/bin/env bash
# Crash rounds for as long as asked: a writer killed at random moments, the
# repository checked after each kill, on SQLite and on a throwaway
# PostgreSQL server. The test command runs a few rounds; this runs many.
# Usage: scripts/crash-rounds.sh [ROUNDS] [SEED]   (default: 200 rounds, a random seed)
set -euo pipefail
cd "$(dirname "$0")/.."
rounds="${1:-200}"
seed="${2:-$((RANDOM * 32768 + RANDOM))}"
cmake --preset default >/dev/null
cmake --build --preset default --target crash_test crash_writer
if [ -z "${VQKUDM_TEST_PG:-}" ]; then
  eval "$(bash scripts/pg-test-server.sh start)"
  trap 'bash scripts/pg-test-server.sh stop' EXIT
fi
echo "crash rounds: $rounds per store, VQKUDM_CRASH_SEED=$seed"
VQKUDM_CRASH_ROUNDS="$rounds" VQKUDM_CRASH_SEED="$seed" build/default/tests/crash_test
