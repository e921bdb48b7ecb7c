#!/usr/bin/env bash
# A throwaway PostgreSQL cluster for the tests and benchmarks, on 127.0.0.1
# with password authentication, run as the postgres user when started by root.
#
#   scripts/pg-test-server.sh start   prints "export VQKUDM_TEST_PG=..." (eval it)
#   scripts/pg-test-server.sh stop    stops the cluster and removes its files
#   scripts/pg-test-server.sh down    stops the server, keeping its files (fault tests)
#   scripts/pg-test-server.sh up      starts it again, on the same port
#
# VQKUDM_TEST_PG is a libpq connection string for a role that may create
# databases; each test creates and drops its own database with it.
set -euo pipefail

state_file="${VQKUDM_PG_STATE:-/tmp/vqkudm-pg-test.state}"

bin_dir() {
  local dir
  dir=$(ls -d /usr/lib/postgresql/*/bin 2>/dev/null | sort -V | tail -n1)
  [ -x "$dir/initdb" ] || { echo "pg-test-server: no PostgreSQL server installed (initdb not found)" >&2; exit 1; }
  echo "$dir"
}

# Runs a server program as the cluster's owner.
as_owner() {
  if [ "$(id -u)" -eq 0 ]; then runuser -u postgres -- "$@"; else "$@"; fi
}

free_port() {
  local port
  for port in $(seq 55432 55532); do
    if ! (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; then echo "$port"; return; fi
  done
  echo "pg-test-server: no free port in 55432-55532" >&2
  exit 1
}

start() {
  [ ! -f "$state_file" ] || stop >/dev/null
  local bin data port password
  bin=$(bin_dir)
  data=$(mktemp -d /tmp/vqkudm-pg.XXXXXX)
  port=$(free_port)
  password="udm-test-$RANDOM$RANDOM"
  printf '%s\n' "$password" >"$data.pw"
  if [ "$(id -u)" -eq 0 ]; then chown postgres "$data" "$data.pw"; fi
  as_owner "$bin/initdb" -D "$data/db" -U postgres -A scram-sha-256 --pwfile="$data.pw" \
    -E UTF8 --locale=C.UTF-8 >"$data.log" 2>&1 ||
    { cat "$data.log" >&2; exit 1; }
  # Throwaway data: durability off makes creating a database per test cheap.
  cat >>"$data/db/postgresql.conf" <<EOF
listen_addresses = '127.0.0.1'
port = $port
unix_socket_directories = '$data'
fsync = off
synchronous_commit = off
full_page_writes = off
max_connections = 200
EOF
  as_owner "$bin/pg_ctl" -D "$data/db" -l "$data/db/server.log" -w -t 60 start >>"$data.log" 2>&1 ||
    { cat "$data.log" "$data/db/server.log" >&2; exit 1; }
  printf 'data=%q\nbin=%q\n' "$data" "$bin" >"$state_file"
  echo "export VQKUDM_TEST_PG='host=127.0.0.1 port=$port user=postgres password=$password dbname=postgres'"
}

stop() {
  [ -f "$state_file" ] || return 0
  local data bin
  # shellcheck disable=SC1090
  source "$state_file"
  as_owner "$bin/pg_ctl" -D "$data/db" -m immediate -w stop >/dev/null 2>&1 || true
  rm -rf "$data" "$data.pw" "$data.log" "$state_file"
}

# Stops or starts the server of the running cluster, which keeps its data.
control() {
  [ -f "$state_file" ] || { echo "pg-test-server: no cluster (run start first)" >&2; exit 1; }
  local data bin
  # shellcheck disable=SC1090
  source "$state_file"
  if [ "$1" = stop ]; then
    as_owner "$bin/pg_ctl" -D "$data/db" -m fast -w stop >>"$data.log" 2>&1
  else
    as_owner "$bin/pg_ctl" -D "$data/db" -l "$data/db/server.log" -w -t 60 start >>"$data.log" 2>&1
  fi || { cat "$data.log" >&2; exit 1; }
}

case "${1:-}" in
  start) start ;;
  stop) stop ;;
  down) control stop ;;
  up) control start ;;
  *) echo "usage: $0 start|stop|down|up" >&2; exit 2 ;;
esac
