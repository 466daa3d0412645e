#!/usr/bin/env bash
# `hub send` sends any message. A command by name takes its own words; of a code a word with a point or an f is a float,
# one without is an integer.
source "$(dirname "$0")/lib.sh"

run 0 hub send Acc set-acc-offset 0.5 -0.25f 1e-3 --seed 1
has out 'Acc +0 set-acc-offset +w0=0\.5f w1=-0\.25f w2=0\.001f  ->  w0=0$'
run 0 hub send 1 1 --json
json out 'd["message"]["sensor_type"] == 1 and d["message"]["code"] == 1 and d["message"]["request"] == []' \
  '[w["float"] for w in d["message"]["reply"]] == [0.5, -0.25, 0.001]'
run 0 hub send Prx set-prx -1 350 -1
run 0 get Prx far --json
json out 'd["stored"][0]["values"] == [350]'
for command in 'set-acc-offset 1 0 2' '0 1065353216 0 2.0'; do
  # shellcheck disable=SC2086
  run 0 hub send Acc $command
  run 0 get Acc offset --json
  json out 'd["stored"][0]["values"] == [1, 0, 2]'
done

# What the hub does not do: it has no such code, or not for this sensor, or nothing to tell.
for refused in '99 ' 'set-bar-offset 1' 'sar-register 1 1' 'light-channel 1 1'; do
  # shellcheck disable=SC2086
  run 1 hub send Acc $refused
  has err '^sensorcal: the hub refused it: '
done
run 1 hub send Lux get-golden 5
run 0 hub send Gyr set-gyr-offset -0.5 -1 0 && run 0 hub send Gyr get-gyr-offset
has out 'w0=-0\.5f w1=-1f'

run 2 hub send Acc 0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17
has err '16 words'
