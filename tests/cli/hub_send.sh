#!/usr/bin/env bash
# `hub send` sends any message; a word with a point or an f is a float, one without is an integer.
source "$(dirname "$0")/lib.sh"

run 0 hub send Acc set-acc-offset 0.5 -0.25f 1e-3 --seed 1
has out 'Acc +0 set-acc-offset +w0=0\.5f w1=-0\.25f w2=0\.001f  ->  w0=0$'
run 0 hub send 1 1 --json
json out 'd["message"]["sensor_type"] == 1 and d["message"]["code"] == 1 and d["message"]["request"] == []' \
  '[w["float"] for w in d["message"]["reply"]] == [0.5, -0.25, 0.001]'
run 0 hub send Prx set-prx -1 350 -1
run 0 get Prx far --json
json out 'd["stored"][0]["values"] == [350]'
# The bits of a word are those of the number given: an integer is no float.
run 0 hub send Acc set-acc-offset 1065353216 0 0
run 0 get Acc offset --json
json out 'd["stored"][0]["values"] == [1, 0, 0]'
# A code that the hub does not know.
run 0 hub send Acc 99
has out '99 .*->  w0=-1$'

for words in '5x' '1.0.0' '99999999999'; do
  run 2 hub send Acc set-acc-offset "$words"
  has err "word $words: "
done
run 2 hub send Acc no-such-command
has err "no-such-command'; known are .*set-acc-offset"
run 2 hub send Acc 0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17
has err '16 words'
