#!/usr/bin/env bash
# A calibration that fails ends with 1, one that could not judge the phone with 3; both say what was measured, what the limit is, and what to try.
source "$(dirname "$0")/lib.sh"

run 1 calibrate Acc Gyr --speed max --json --fault enable-refused:Acc
json out 'd["verdict"] == "failed"' '[s["verdict"] for s in d["steps"]] == ["passed", "failed", "passed"]' \
  '"enabled" in d["steps"][1]["attempts"][0]["reasons"][0]["text"] and d["steps"][1]["attempts"][0]["measurements"] == []'
run 3 calibrate Acc --fault queue-refused
has out 'error  calibrate Acc ' '  why: the sensor service gave no event queue$'

# Real time-outs, side by side: a phone held tilted while walking, and a sensor that says nothing.
tilted() { "$sensorcal" calibrate Acc --phone a --speed max --replay "Acc=$recordings/walk_tilted_accelerometer.csv,$1"; }
silent() { "$sensorcal" calibrate Acc --phone b --fault silent:Acc; }
(code=0; tilted columns=t,_,x,y,z,time=ns >tilted 2>&1 || code=$?; echo "exit code $code" >>tilted) &
(code=0; silent >silent 2>&1 || code=$?; echo "exit code $code" >>silent) &
wait
called='calibrate Acc'
has tilted 'failed  calibrate Acc ' 'restarts: 0 for variance, 19 for bias' '  try: ' '^exit code 1$' \
  '  why: .*last y: mean 6\.[0-9]+ m/s\^2 is above the limit of 2 m/s\^2$'
has silent 'failed  calibrate Acc  5\.[0-9]+ s$' '  why: ' '  try: ' '^exit code 1$'
