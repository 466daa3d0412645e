#!/usr/bin/env bash
# The application for a real phone has neither the options and commands of simulated ones nor those of the station: it
# refuses them before it does anything, and its help lists none.
source "$(dirname "$0")/../../cli/lib.sh"
export SENSOR_CAL_ROOT=$work  # should it write after all

echo '{"format": "sensorcal.plan/1", "name": "p", "steps": [{"calibrate": "Gyr"}]}' >plan.json
while IFS='|' read -r command option; do
  # shellcheck disable=SC2086
  run 2 $command $option
  has err '^sensorcal: (unknown (option|command) |.* was not expected)'
  run 0 ${command%% *} --help
  lacks out "^ +${option%% *}\\b"
done <<'ROWS'
sensors|--phone other
sensors|--profile reference
sensors|--seed 1
calibrate Gyr|--speed max
sensors|--fixture simulated
calibrate Gyr|--replay Gyr=rest.csv
calibrate Gyr|--fault help
calibrate Gyr|--hub-log hub.jsonl
run plan.json|--record recording
run plan.json|--html page.html
run plan.json|--junit run.xml
run plan.json|--csv values
run plan.json|--store runs.db
hub|state
ROWS
for made in recording page.html run.xml values runs.db; do
  [ ! -e $made ] || fail "$made was begun all the same"
done

run 2 sensors --world lux=bright
has err '^sensorcal: --world lux=bright: give a number of lux'
run 3 sensors
has err '^sensorcal: the sensor service does not answer'
run 0 --help
has out '--world'
lacks out '--profile' '--fault' '^ +(man|completion|show|stats|history|sync|grr|line|replay|reboot|factory-reset) '
