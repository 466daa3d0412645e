#!/usr/bin/env bash
# What is wrong on the command line ends with 2, names it, and says what would be right, in one line.
source "$(dirname "$0")/lib.sh"

"$sensorcal" sensors --seed 1 >out 2>err
while IFS='|' read -r arguments line; do
  # shellcheck disable=SC2086
  run 2 $arguments
  [ "$(cat err)" = "sensorcal: $line" ] || fail "sensorcal $arguments: not '$line'"
  [ ! -s out ] || fail "sensorcal $arguments: something on stdout"
done <<ROWS
senors|unknown command 'senors'; did you mean sensors?
hub sned|unknown command 'sned'; did you mean send?
sensors --sped max|unknown option '--sped'; did you mean --seed or --speed?
sensors Acc|'Acc' was not expected; \`sensorcal sensors --help\` tells more
calibrate|TAG is required; \`sensorcal calibrate --help\` tells more
calibrate acc|unknown sensor tag 'acc'; did you mean Acc?
calibrate Gry|unknown sensor tag 'Gry'; did you mean Gyr or Grv?
get 4294967297|a sensor's type number is at most 2147483647
get Acc ofset|Acc has no value 'ofset'; did you mean offset?
hub send Acc get-acc-ofset|unknown hub command 'get-acc-ofset'; did you mean get-acc-offset?
sensors --fixture operater|--fixture 'operater' is unknown; did you mean operator?
completion fish|SHELL 'fish' is unknown; known are bash, zsh
calibrate Acc --fault garbled:/nofile|fault garbled: $work/phone/nofile: cannot be opened: No such file or directory
calibrate Acc --fault motoin:Acc|unknown fault 'motoin'; did you mean motion?
calibrate Acc --fault motion:Gry|unknown sensor 'Gry'; did you mean Gyr or Grv?
calibrate Acc --fault hub-slow:x|fault 'hub-slow:x': wants hub-slow:MS, a number from 0 to 60000
calibrate Acc --fault burst:Acc,99|fault 'burst:Acc,99': wants burst[:SENSOR[,COUNT]], a number from 1 to 32
calibrate Acc --phone new --profile referense|there is no profile 'referense' and no file referense; did you mean reference?
calibrate Acc --speed 0|--speed 0: give a number above 0, or max
calibrate Acc --speed nan|--speed nan: give a number above 0, or max
calibrate Acc --seed -1|--seed -1: give a whole number, 0 or more
calibrate Acc --seed 99999999999999999999999|--seed 99999999999999999999999: give a whole number, 0 or more of 64 bits
calibrate Acc --param x|--param x: give a whole number
calibrate Acc --param|--param takes a value; \`sensorcal calibrate --help\` tells more
calibrate Acc --golden|--golden: Acc has no golden values; CCT_F_strm, CCT_B_strm, light stream have
calibrate 9999|there is no sensor type 9999; \`sensorcal sensors\` lists those of the phone
get Acc offset --count 2|--count: goes with channels, as golden and channel-scales have them; Acc offset has none
set Prx near 1 2|near takes 1 number, not 2
set Prx near 99999999999|99999999999: give a whole number from 0 to 65536 counts
set Acc offset 1 2|offset takes 3 numbers, not 2
set Acc offset 1 2 x|VALUES x: give a number
set Acc offset 1 2 nan|VALUES nan: give a number
set Acc offset 1 2 2.1|2.1: give a number from -2 to 2 m/s^2
set Gyr offset 0 -0.6 0|-0.6: give a number from -0.5 to 0.5 rad/s
set Bar offset 101|101: give a number from -100 to 100 hPa
set Lux scale 0|0: give a number from 0.001 to 1000 factor
set CCT_F_strm channel-scales 1 -1|-1: give a number from 0.001 to 1000 factor
set CCT_F_strm golden 1 20001|20001: give a number from 0 to 20000 counts
set CCT_B_strm golden 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16|give 1 to 15 values
set Prx far -1|-1: give a whole number from 0 to 65536 counts
set Prx near 4.5|4.5: give a whole number from 0 to 65536 counts
set Acc near 4|Acc has no value 'near'; known are offset, version
set Acc version 1|version can be read only
get 33171015 register|register can be written only
hub send Acc set-acc-offset 1|set-acc-offset takes 3 words, not 1: offset x y z, m/s^2 -> result
hub send Acc get-acc-offset 1|get-acc-offset takes 0 words, not 1: -> offset x y z, m/s^2
hub send Acc set-golden 5 1 2|set-golden takes 6 words, not 3: count, channels -> result
hub send Acc set-acc-offset 1.0.0 0 0|word 1.0.0: give a float (12.0, 12f)
hub send Acc set-prx 5x 0 0|word 5x: give an integer of 32 bits (12)
hub send Acc set-prx 1.0 0 0|word 1.0: give an integer of 32 bits (12)
hub send Acc 0 99999999999|word 99999999999: give an integer of 32 bits (12), or a float (12.0, 12f)
set Acc offset 1e99 0 0|1e+99: give a number from -2 to 2 m/s^2
set Acc offset -inf 0 0|VALUES -inf: give a number
sar 1 --register 99999 1|99999: give the register's number, a whole number from 0 to 65535
sar 1 --register -1 5|-1: give the register's number, a whole number from 0 to 65535
sar 1 --register 5|--register takes 2 in all, not 1; \`sensorcal sar --help\` tells more
sar 1 --register 5 6 7|--register takes 2 in all, not 3; \`sensorcal sar --help\` tells more
channel Lux 8 200|CHANNEL 8: give a whole number from 0 to 7
history A --store no --limit 1 --limit 2|--limit takes 1 in all, not 2; \`sensorcal history --help\` tells more
history A --store no --full=x|--full takes no value; \`sensorcal history --help\` tells more
channel Lux 1 5 --screen=2|--screen takes no value; \`sensorcal channel --help\` tells more
run plan.json --on-failure go|--on-failure 'go' is unknown; known is stop
history --run x --store no --limit 3|--run excludes --limit; \`sensorcal history --help\` tells more
stats --store no --until yesterday|--until yesterday: give a time, YYYY-MM-DD or YYYY-MM-DDTHH:MM[:SS], UTC
stats --store no --until 2026-01-01T10:3x|--until 2026-01-01T10:3x: give a time, YYYY-MM-DD or YYYY-MM-DDTHH:MM[:SS], UTC
stats --store no --until 2026-01-01T25:00|--until 2026-01-01T25:00: give a time, YYYY-MM-DD or YYYY-MM-DDTHH:MM[:SS], UTC
stats --store no --since 2026-02-01 --until 2026-01-01|--until 2026-01-01: is not after --since 2026-02-01
line --phones 2 --store l.db --patience 3|--spool and --patience go with a server; l.db is a file and needs none
line --phones 2 --store l.db --profile tfo|there is no profile 'tfo' and no file $work/tfo; did you mean tof?
grr r.csv --store a.db|grr: --store, --measurement, --profile and --seed do not go with a file
grr r.csv --phones 3|--phones requires --run; \`sensorcal grr --help\` tells more
grr --store a.db --seed 3|grr: --seed goes with --run
hub state --speed max|hub state takes of a phone's options --phone, --profile and --seed: nothing is sent to it
hub log .|.: Is a directory
grr nofile|nofile: No such file or directory
hub log x --phone y|hub log takes no option of a phone: it reads a file
calibrate Acc --param 4294967297|--param 4294967297: give a whole number of 32 bits
backlight -1|LEVEL -1: give a whole number from 0 to 8191
backlight foo|LEVEL foo: give a whole number from 0 to 8191
sar 3|CHIP 3: give a whole number from 1 to 2
stats --store no --outliers -1|--outliers -1: give a number above 0
stats --store no --outliers nan|--outliers nan: give a number above 0
history A --store no --limit -1|--limit -1: give a whole number, 0 or more
calibrate Bar --reference -inf|--reference -inf: give a number from 300 to 1100
grr --alpha nan|--alpha nan: give a number from 0 to 1
grr --low nan|--low nan: give a number
watch Acc --seconds -NaN|--seconds -NaN: give a number from 0.1 to 1000000
channel Lux 0 -inf|TARGET -inf: give a number from 0 to 1000000
line --phones 0|--phones 0: give a whole number from 1 to 1000000000
sensors --world lux|--world lux: give KEY=VALUE; \`--world help\` lists keys and values
sensors --world uup=flat|--world uup=flat: the fixture has no setting 'uup'; did you mean up?; \`--world help\` lists keys and values
sensors --world up=sideways|--world up=sideways: give flat, face-down, tilted:DEGREES, or a direction x,y,z; \`--world help\` lists keys and values
sensors --world lux=900000|--world lux=900000: give a number of lux from 0 to 200000, or "dark"; \`--world help\` lists keys and values
calibrate Acc --reference 1013|--reference: only the offset of Bar has one
run plan.json --spool x|--spool requires --store; \`sensorcal run --help\` tells more
run plan.json --store-samples|--store-samples requires --store; \`sensorcal run --help\` tells more
stats --store no --phone x|stats takes no --phone
history A --store no --world lux=1|history takes no --world
man --phone x|man takes no --phone
replay a --fault silent|replay takes no --fault
grr readings.csv --speed max|grr takes no --speed
report --phone typo|$work/typo: there is no phone; give --profile or --seed to make one, or calibrate
ROWS

run 0 get Acc offset --json
json out 'd["stored"][0]["values"] == [0, 0, 0]'

# Without a near one the first of those that are known, and what lists the others.
while IFS='|' read -r arguments line; do
  # shellcheck disable=SC2086
  run 2 $arguments
  has err "$line" && [ "$(wc -c <err)" -lt 240 ] || fail 'a long list'
done <<'ROWS'
calibrate Acc --fault motion:Foo99|unknown sensor 'Foo99'; known are Acc, Acc2, .* more; `sensorcal sensors` lists those of the phone$
calibrate Acc --fault xyzzy|unknown fault 'xyzzy'; known are sensors-absent, .* more; `--fault help` lists all$
calibrate Xyzzy|unknown sensor tag 'Xyzzy'; known are Acc, Acc2, .* more; `sensorcal sensors` lists those of the phone$
hub send Acc xyzzy|unknown hub command 'xyzzy'; known are set-acc-offset, .* more; `sensorcal hub send --help` lists all$
xyzzy|unknown command 'xyzzy'; known are sensors, .* more; `sensorcal --help` lists all$
|a command is missing; known are sensors, .* more; `sensorcal --help` lists all$
ROWS
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
