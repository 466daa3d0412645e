#!/usr/bin/env bash
# The application for a real phone refuses what only a simulated one has, by its name and before it does anything.
source "$(dirname "$0")/../../cli/lib.sh"
export SENSOR_CAL_ROOT=$work  # should it write after all

refuses() { # NAME ARGUMENTS...
  local name=$1
  shift
  run 2 "$@"
  has err "^sensorcal: $name: only a simulated phone has that, and this sensorcal is built for a real one\$"
}
echo '{"format": "sensorcal.plan/1", "name": "p", "steps": [{"calibrate": "Gyr"}]}' >plan.json
refuses --phone sensors --phone other
refuses --profile sensors --profile reference
refuses --seed sensors --seed 1
refuses --speed calibrate Gyr --speed max
refuses '--fixture simulated' sensors --fixture simulated
refuses --replay calibrate Gyr --replay Gyr=rest.csv
refuses --fault calibrate Gyr --fault help
refuses --hub-log calibrate Gyr --hub-log hub.jsonl
refuses --record run plan.json --record recording
[ ! -e recording ] || fail 'a recording was begun all the same'

run 2 sensors --world lux=bright
has err '^sensorcal: --world lux=bright: give a number of lux'
run 3 sensors --speed 1
has err '^sensorcal: the sensor service does not answer'
run 0 --help
has out '--world'
lacks out '--profile' '--fault' '^ +(reboot|factory-reset|line|grr) '
