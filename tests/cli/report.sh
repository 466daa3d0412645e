#!/usr/bin/env bash
# `report` knows which sensor each character stands for, and which ones the phone's report leaves out.
source "$(dirname "$0")/lib.sh"

flags=persist.vendor.sensor.cali_sensor
# FAULTS|the report|the last position|those that are left out
while IFS='|' read -r faults text last left_out; do
  # shellcheck disable=SC2086
  run 1 report --json --profile reference --seed 3 $faults
  json out "d['report'] == '$text'" "d['positions'][-1]['position'] == $last" \
    "[p['position'] for p in d['positions'] if 'leaves it out' in p['why']] == [$left_out]"
done <<ROWS
--fault property:$flags=x0|000|10|1, 4, 5, 6, 7, 8, 9, 10
--fault no-property:$flags|0000|10|4, 5, 6, 7, 8, 9, 10
--fault property:$flags=11111x1|000000|10|5, 7, 8, 9, 10
--fault property:$flags=111111111111|00000000000|10|
--fault property:$flags=111111111111 --fault property:persist.vendor.display.under.cct=1|000000000000|11|
--fault property:$flags=111111111111 --fault property:persist.vendor.goodix.cct_support=1|000000000000|11|
--fault property:$flags=1111 --fault property:persist.vendor.goodix.cct_support=1|0000|11|4, 5, 6, 7, 8, 9, 10, 11
ROWS
