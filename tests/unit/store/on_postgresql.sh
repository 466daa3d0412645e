#!/usr/bin/env bash
# Runs the store's tests on a PostgreSQL server. Where none is installed that is a failure on CI, and a skip elsewhere.
set -euo pipefail
if ! "$2" available; then [ -n "${CI:-}" ] && exit 1 || exit 77; fi
# In memory where there is room: a database is hundreds of files. A socket's path is short.
parent=/tmp
[ ! -w /dev/shm ] || [ "$(df --output=avail -BM /dev/shm | tr -dc 0-9)" -lt 500 ] || parent=/dev/shm
SENSORCAL_TEST_POSTGRESQL=$(mktemp -d $parent/sensorcal-test-XXXXXX)
export SENSORCAL_TEST_POSTGRESQL
# Whatever ends the tests ends the server.
trap '"$2" stop "$SENSORCAL_TEST_POSTGRESQL" immediate || true; rm -rf "$SENSORCAL_TEST_POSTGRESQL"' EXIT
trap 'exit 1' INT TERM
"$1" --gtest_filter='*/postgresql*'
