#!/usr/bin/env bash
# Runs the store's tests on a PostgreSQL server. Where none is installed that is a failure on CI, and a skip elsewhere.
set -euo pipefail
if ! "$2" available; then [ -n "${CI:-}" ] && exit 1 || exit 77; fi
export SENSORCAL_TEST_POSTGRESQL=1
exec "$1" --gtest_filter='*/postgresql'
