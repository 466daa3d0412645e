#!/usr/bin/env bash
# Help of every command, and the version.
source "$(dirname "$0")/lib.sh"

run 0 --version
has out '^sensorcal [0-9]+\.[0-9]+\.[0-9]+, build [0-9a-f]{40}$' '^libsensor_cal [0-9.]+, build [0-9a-f]{40}$'
run 0 --help
has out '--phone' 'Exit codes: 0 passed, 1 failed' '3 an error: the phone could not be judged'
commands=$(sed -n '/^Subcommands:/,/^$/s/^  \([a-z-][a-z-]*\) .*/\1/p' out)
[ "$(wc -w <<<"$commands")" -ge 7 ] || fail "not the commands: $commands"
for command in $commands; do
  run 0 "$command" --help
  has out "^Usage: sensorcal $command" '^Examples:' "^  sensorcal $command"
  wide=$(grep -v '^  sensorcal ' out | grep -E '^.{81}' || true) # examples stay whole, to be copied
  [ -z "$wide" ] || fail "$command --help is wider than 80 columns: $wide"
done
run 0 --fault help
has out '^silent\[:SENSOR'
run 0 sensors --fault help
has out '^silent\[:SENSOR\]  the sensor delivers nothing$'
[ ! -e phone ] || fail "help made a phone"
