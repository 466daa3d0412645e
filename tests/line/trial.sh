#!/usr/bin/env bash
# Runs a line, kills stations and takes the server away meanwhile, and counts the phones in the store.
#   trial.sh SENSORCAL sqlite|postgresql PHONES STATIONS [OPTION...]    options of `sensorcal line`
set -euo pipefail
sensorcal=$(realpath "$1")
kind=$2
phones=$3
stations=$4
shift 4
control=$(realpath "$(dirname "$0")/../support/postgresql")

work=$(mktemp -d /tmp/sensorcal-test-XXXXXX)
line=
server= # its folder; the server runs as another user
clean_up() {
  [ -z "$line" ] || kill "$line" 2>/dev/null || true
  [ -z "$server" ] || "$control" stop "$server" immediate || true
  rm -rf "$work" "$server"
}
trap clean_up EXIT
trap 'exit 1' INT TERM
cd "$work"

fail() {
  echo "line trial, $kind: $*" >&2
  cat out err >&2 || true
  exit 1
}

if [ "$kind" = postgresql ]; then
  # Without a server there is nothing to try: a failure on CI, a skip elsewhere.
  if ! "$control" available; then [ -n "${CI:-}" ] && exit 1 || exit 77; fi
  server=$(mktemp -d /tmp/sensorcal-test-XXXXXX)
  "$control" start "$server"
  store="postgresql:///store?host=$server&user=tester"
  psql=$(ls /usr/lib/postgresql/*/bin/psql | sort -V | tail -1)
  ask() { "$psql" -h "$server" -U tester -d store -At -c "$1"; }
else
  store=$work/runs.db
  ask() { python3 -c 'import sqlite3, sys; print(*sqlite3.connect(sys.argv[1], timeout=20).execute(sys.argv[2]).fetchone(), sep="|")' "$store" "$1"; }
fi

# Waits until so many phones are in the store.
reach() {
  local have=0
  until [ "$have" -ge "$1" ]; do
    kill -0 "$line" 2>/dev/null || fail "it ended before $1 phones were stored"
    sleep 0.05
    have=$(ask 'SELECT COUNT(*) FROM run' 2>/dev/null || echo 0)
  done
}

kills=0
# A fast line may be over before its last station is to be killed.
kill_one() {
  local children=()
  { read -ra children <"/proc/$line/task/$line/children"; } 2>/dev/null || true
  [ ${#children[@]} -gt 0 ] || return 0
  kill -KILL "${children[$1 % ${#children[@]}]}"
  kills=$((kills + 1))
}

spool=()
[ "$kind" = sqlite ] || spool=(--spool spools)
"$sensorcal" line --phones "$phones" --stations "$stations" --seed 1000 --store "$store" "${spool[@]}" --json "$@" \
  >out 2>err </dev/null &
line=$!
reach $((phones / 6))
kill_one 0
[ $kills = 1 ] || fail "no station to kill"
reach $((phones / 3))
if [ "$kind" = postgresql ]; then
  "$control" stop "$server" immediate
  sleep 1
  kill_one 1
  sleep 1
  "$control" start "$server"
  reach $((phones / 2))
fi
kill_one 2
code=0
wait "$line" || code=$?
line=
[ "$code" = 0 ] || fail "it ended with code $code"

python3 - "$phones" "$kills" <<'PYTHON' || fail "other figures than wanted"
import json
import sys

phones, kills = map(int, sys.argv[1:])
d = json.load(open('out'))
assert d['schema'] == 'sensorcal.line/1' and d['phones'] == phones, d
assert d['passed'] + d['failed'] == phones and d['given_up'] == d['waiting'] == 0, d
# A station that is killed when its work is over is not started again.
assert 1 <= d['restarts'] <= kills and d['failed'] < d['passed'], d
print(f"{phones} phones, {d['failed']} failed, {d['seconds']} s, {d['runs_per_second']} a second, {kills} stations killed, {d['restarts']} restarted")
PYTHON

first=$(printf 'P%010d' 1000) last=$(printf 'P%010d' $((1000 + phones - 1)))
found=$(ask "SELECT COUNT(*), COUNT(DISTINCT serial), COUNT(DISTINCT id), MIN(serial), MAX(serial) FROM run WHERE verdict IN (0, 1, 2)")
[ "$found" = "$phones|$phones|$phones|$first|$last" ] || fail "in the store: $found"
# Each run is whole.
steps=$(ask 'SELECT COUNT(*), COUNT(DISTINCT run) FROM step')
each=$(ask 'SELECT COUNT(*) FROM step WHERE run = (SELECT MAX(no) FROM run)')
[ "$steps" = "$((phones * each))|$phones" ] || fail "steps and runs with steps: $steps, $each each"
[ "$kind" = sqlite ] || [ "$(ls spools | grep -c '\.db$')" = "$stations" ] || fail "spools: $(ls spools)"
echo "in the store: each of the phones $first to $last once"

# Interrupted, it ends at once and says so.
"$sensorcal" line --phones 1000000 --stations "$stations" --store "$store" "${spool[@]}" --json >out 2>err </dev/null &
line=$!
reach $((phones + stations))
kill -TERM "$line"
SECONDS=0
wait "$line" || code=$?
line=
[ "$SECONDS" -lt 20 ] || fail "interrupted, it went on for $SECONDS s"
[ "$code" = 130 ] && grep -q '"interrupted" : true' out || fail "interrupted, it ended with code $code"
