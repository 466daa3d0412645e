#!/usr/bin/env bash
# `--replay` puts a recording in a sensor's place; how its phone moved shows in the result.
source "$(dirname "$0")/lib.sh"

cp "$recordings"/*.csv .
run 0 calibrate Acc --speed max --json --replay Acc=rest_accelerometer.csv
offsets='[m["value"] for m in d["steps"][-1]["attempts"][0]["measurements"] if m["name"] == "offset"]'
json out 'd["verdict"] == "passed"' 'any("31 duplicate times" in r for r in d["remarks"])' \
  "all(abs(v - wanted) < 0.01 for v, wanted in zip($offsets, (0.082, -0.054, 0.121)))"

# Level, but moving: it passes the library's wide limits, and is refused all the same.
run 1 calibrate Acc --speed max --replay Acc=walk_level_accelerometer.csv
has out 'failed  calibrate Acc ' 'why: z: run noise 1\.[0-9]+ m/s\^2 is above' "the hub's old values were put back"

run 0 calibrate Acc --speed max --json --replay Acc=tumble_accelerometer_g.csv,unit=g,sign=-
json out 'len(d["steps"][-1]["attempts"][0]["window"]["samples"]) == 753' \
  'd["steps"][-1]["attempts"][0]["restarts"]["variance"] > 0' \
  'sum(d["steps"][-1]["attempts"][0]["restarts"].values()) == 14'

# g taken for m/s^2 is told, not mended.
run 0 sensors --replay Acc=tumble_accelerometer_g.csv
has out 'note: .*looks like g: give unit=g' 'note: .*the sign is opposite'
