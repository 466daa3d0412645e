#!/usr/bin/env bash
# `--replay` puts a recording in a sensor's place; how its phone moved shows in the result.
source "$(dirname "$0")/lib.sh"

cp "$recordings"/*.csv .
run 0 calibrate Acc --speed max --json --replay Acc=rest_accelerometer.csv
json out 'd["results"][0]["passed"]' 'any("31 duplicate times" in r for r in d["remarks"])' \
  'all(abs(a["mean"] - wanted) < 0.01 for a, wanted in zip(d["results"][0]["axes"], (0.082, -0.054, 0.121)))'

# Level, but moving: it passes the library's wide limits, and is refused all the same.
run 1 calibrate Acc --speed max --replay Acc=walk_level_accelerometer.csv
has out '^Acc  FAILED' 'why: z: the samples scatter by 1\.[0-9]+ m/s\^2' "the hub's old values were written back"

run 0 calibrate Acc --speed max --json --replay Acc=tumble_accelerometer_g.csv,unit=g,sign=-
json out 'd["results"][0]["events"] == 753' 'd["results"][0]["restarts"]["variance"] > 0' \
  'd["results"][0]["restarts"]["bias"] + d["results"][0]["restarts"]["variance"] == 14'

# g taken for m/s^2 is told, not mended.
run 0 sensors --replay Acc=tumble_accelerometer_g.csv
has out 'note: .*looks like g: give unit=g' 'note: .*the sign is opposite'
