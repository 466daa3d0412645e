#!/usr/bin/env bash
# The last screen of a small terminal says whose phone it was, what came of it, and of a bad one what to try.
source "$(dirname "$0")/lib.sh"

steps=$(printf ', {"calibrate": "%s", "repeat": 2, "on_failure": "go on"}' Acc Acc2 Gyr Gyr2 Lux Lux_F Lux_B Lux_sec)
echo '{"format": "sensorcal.plan/1", "name": "many", "steps": ['"${steps:2}"']}' >plan.json

# at_the_end CODE ARGUMENTS...: the screen as it stands at the end.
at_the_end() {
  NO_COLOR=1 on_terminal "$1" 80 100 "${@:2}"
  sed -i 's/.*\r//; s/\x1b\[K//g' out
  tail -n 24 out >screen
}

at_the_end 0 run plan.json --speed max --serial SN77
has screen '^serial SN77: PASSED in [0-9.]+ s$'
at_the_end 1 run plan.json --speed max --serial SN77 --fault enable-refused
has screen '^serial SN77: FAILED in [0-9.]+ s$' '^  \[1\] calibrate Acc: .*enabled' '^    try: ' '^  [1-7] steps more did not pass$'
at_the_end 0 run plan.json --speed max
has screen '^no serial number: PASSED in [0-9.]+ s$'
