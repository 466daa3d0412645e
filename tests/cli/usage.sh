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
calibrate Mag|the library has no step 0 for Mag
calibrate Acc --world lux|--world lux: give KEY=VALUE
calibrate Acc --world mood=1|the world has no 'mood'
calibrate Acc --world up=sideways|the world's 'up' cannot be 'sideways'
calibrate Acc --fault burst:Acc,99|wants burst:\[SENSOR\[,COUNT\]\], a number from 1 to 32
set Acc offset -inf 0 0|-inf is no number
set Acc offset 0 -nan 0|-nan is no number
calibrate Bar --reference -inf|--reference: -inf is no number from 300 to 1100
calibrate Bar --reference nan|nan is no number from 300 to 1100
grr --alpha nan|nan is no number from 0 to 1
watch Acc --seconds -NaN|-NaN is no number from
channel Lux 0 -inf|-inf is no number from
sensors --fixture robot|robot not in
ROWS

# What is mistaken makes no phone.
for mistake in --world=mood=1 --fault=no-such --fault=burst:Acc,99; do
  run 2 sensors --phone none "$mistake"
  [ ! -e none ] || fail "$mistake made a phone"
done

# A phone keeps what it was made with.
run 0 sensors --phone kept --seed 1
run 2 sensors --phone kept --seed 2
has err '--seed 2: .*/kept was made with seed 1'
run 2 sensors --phone kept --profile tof
has err '--profile tof: .*/kept was made from reference'
