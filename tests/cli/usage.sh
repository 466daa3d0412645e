#!/usr/bin/env bash
# What is wrong on the command line ends with 2, names it, and says what would be right, in one line: the texts are in
# tests/data/approved/usage.txt.
source "$(dirname "$0")/lib.sh"

"$sensorcal" sensors --seed 1 >out 2>err
run 2
has err '^sensorcal: a command is missing; known are sensors, .* more; `sensorcal --help` lists all$'
run 0 get Acc offset --json
json out 'd["stored"][0]["values"] == [0, 0, 0]'

run 2 calibrate Mag
has err 'the library has no step 0 for Mag'
run 2 calibrate Acc --replay Acc=no-such.csv
has err 'no-such.csv'

# Keys, values and units of the world; a unit does what the bare number does.
run 0 --world help
has out '^up:  flat, face-down, tilted:DEGREES' '^lux:  a number of lux from 0 to 200000, or "dark"$' '^dark-box:  "on" or "off"$'
for lux in "200 lux" "0.2 klux" 200; do
  run 0 calibrate Lux --speed max --json --world "lux=$lux"
  json out "\"'lux': '200'\" in str(d)"
done

# With --json an error is JSON, too.
run 2 senors --json
json out 'd["schema"] == "sensorcal.error/1" and set(d["error"]) == {"code", "message"}' \
  'd["error"]["code"] == "usage"' 'd["error"]["message"].endswith("; did you mean sensors?")'
has err "^sensorcal: unknown command 'senors'"
run 3 sensors --json --fault sensors-absent
json out 'd["error"]["code"] == "unreachable"' 'len(d) == 2'

for text in '--fault help' --help 'sensors --help'; do
  # shellcheck disable=SC2086
  run 2 $text --json
  json out 'd["error"]["message"].endswith("help is text for people: leave --json out")'
done
run 2 sensors --nosuch
[ "$(grep -o -e '--seed' err | wc -l)" = 1 ] || fail 'options are listed twice'

# A command's help has what it takes.
run 0 stats --help
has out '--profile, --json'
lacks out '--world' '--phone'
run 0 report --help
has out '--world'

# What is mistaken makes no phone, and what only reads neither.
echo hello >text.json
echo '{"extends": "reference", "chps": []}' >keys.json
for mistake in --world=mood=1 --fault=no-such --fault=burst:Acc,99 --profile=text.json --profile=keys.json; do
  run 2 calibrate Acc --phone none "$mistake"
  [ "$(wc -l <err)" = 1 ] || fail 'more than a line'
  [ ! -e none ] || fail "$mistake made a phone"
done
for reads in sensors report judge "get Acc" "watch Acc" check collect backlight "hub state" reboot factory-reset; do
  # shellcheck disable=SC2086
  run 2 $reads --phone none
  has err "$work/none: there is no phone; give --profile or --seed"
  [ ! -e none ] || fail "$reads made a phone"
done
run 0 calibrate Acc --phone first --speed max

# A phone keeps what it was made with.
run 0 sensors --phone kept --seed 1
run 2 sensors --phone kept --seed 2
has err '--seed 2: .*/kept was made with seed 1'
run 2 sensors --phone kept --profile tof
has err '--profile tof: .*/kept was made from reference'
