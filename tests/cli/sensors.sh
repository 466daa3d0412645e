#!/usr/bin/env bash
# `sensors` lists every sensor of the phone with its tag and record, and what the probes say.
source "$(dirname "$0")/lib.sh"

run 0 sensors --seed 1
[ "$(grep -Ec '^[0-9]+ +[0-9]+ ' out)" = 26 ] || fail "not 26 sensors"
has out '^1 +1 +Acc +0 +sim_imu accelerometer +simulated$' '^3 +16 +- +3 ' '^5 +268369924 +Gyr2 +7 ' \
  '^11 +5 +Lux +- ' '^12 +33171007 +- +9 ' 'calibrates its own crosstalk +yes' 'is an RGB chip +no'

run 0 sensors --json
json out 'len(d["sensors"]) == 26' 'd["phone"]["profile"] == "reference"' \
  '[s["record"] for s in d["sensors"] if s["tag"] in ("Acc", "Acc2", "Gyr", "Gyr2", "Lux")] == [0, 1, 4, 7, None]' \
  'd["probes"] == {"rgb_light": 0, "proximity_hardware_crosstalk": 1, "proximity_time_of_flight": 0, "time_of_flight": 1}'

# Other phones answer the probes in another way.
run 0 sensors --json --phone tof --profile tof
json out 'd["phone"]["profile"] == "tof"' 'd["probes"]["proximity_time_of_flight"] == 1'
