#!/usr/bin/env bash
# What is wrong on the command line ends with 2, names it, and says what would be right.
source "$(dirname "$0")/lib.sh"

while IFS='|' read -r arguments names; do
  # shellcheck disable=SC2086
  run 2 $arguments
  has err "$names"
  [ ! -s out ] || fail "sensorcal $arguments: something on stdout"
done <<'ROWS'
|subcommand
no-such|subcommand
calibrate|TAG
calibrate acc|acc: did you mean Acc\?
calibrate Nose|unknown sensor tag Nose; known are Acc
calibrate 5x|unknown sensor tag 5x
calibrate Acc --speed 0|--speed 0: give a number above 0, or max
calibrate Acc --speed fast|--speed fast
calibrate Acc --speed nan|--speed nan
calibrate Acc --seed -1|--seed
calibrate Acc --param x|--param
calibrate Acc --fault no-such|no fault is called 'no-such'
calibrate Acc --fault hub-slow:x|hub-slow:x
calibrate Acc --phone new --profile no-such|no-such; shipped profiles: .*reference
calibrate Acc --replay Acc=no-such.csv|no-such.csv
calibrate Mag|Mag: there is no calibration
calibrate Acc --world lux|--world lux: give KEY=VALUE
calibrate Acc --world mood=1|the world has no 'mood'
calibrate Acc --world up=sideways|the world's 'up' cannot be 'sideways'
ROWS

# A phone keeps what it was made with.
run 0 sensors --phone kept --seed 1
run 2 sensors --phone kept --seed 2
has err '--seed 2: .*/kept was made with seed 1'
run 2 sensors --phone kept --profile tof
has err '--profile tof: .*/kept was made from reference'
