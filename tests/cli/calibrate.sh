#!/usr/bin/env bash
# `calibrate` makes fresh samples right, and a second process sees what the first one stored.
source "$(dirname "$0")/lib.sh"

run 0 calibrate Acc Acc2 Gyr Gyr2 --speed max --seed 3
has out '^Acc  passed  50 samples of 53 events, no restart, [0-9.]+ s$' '^Gyr2  passed ' 'm/s\^2$' 'rad/s$'
[ ! -s err ] || fail "something on stderr"

run 0 calibrate Acc Acc2 Gyr Gyr2 --speed max --json
cp out first
json first 'd["schema"] == "sensorcal.calibrate/1"' 'd["passed"] is True' 'd["phone"]["seed"] == "3"' 'd["remarks"] == []' \
  '[r["tag"] for r in d["results"]] == ["Acc", "Acc2", "Gyr", "Gyr2"]' \
  'all(r["passed"] and r["result"] == 0 and r["samples"] == 50 and r["events"] == 53 for r in d["results"])' \
  'all(r["restarts"] == {"bias": 0, "variance": 0, "zero_variance": 0} for r in d["results"])' \
  'all(r["unit"] == {"A": "m/s^2", "G": "rad/s"}[r["tag"][0]] for r in d["results"])' \
  'all([a["axis"] for a in r["axes"]] == ["x", "y", "z"] for r in d["results"])' \
  'all(abs(a["fresh_mean"] - a["truth"] - a["residual"]) < 1e-6 for r in d["results"] for a in r["axes"])' \
  'all(abs(a["residual"]) < {"A": 0.02, "G": 0.00035}[r["tag"][0]] for r in d["results"] for a in r["axes"])' \
  'all(0 < a["standard_deviation"] < 0.02 and 0 < a["fresh_standard_deviation"] < 0.02
       for r in d["results"] for a in r["axes"])' \
  'max(abs(a["mean"]) for a in d["results"][0]["axes"]) > 0.05'

run 0 get Acc offset --json
json out '[round(v, 6) for v in d[0]["values"]] ==
          [round(a["mean"], 6) for a in json.load(open("first"))["results"][0]["axes"]]'
run 0 hub state --json
json out 'd["Acc"]["offset"]["set"] and d["Acc"]["offset"]["unit"] == "m/s^2" and not d["Bar"]["offset"]["set"]' \
  '[round(v, 7) for v in d["Gyr2"]["offset"]["value"]] ==
   [round(a["mean"], 7) for a in json.load(open("first"))["results"][3]["axes"]]'
run 0 hub state
has out '^Acc +offset .* m/s\^2 +set$' '^Bar +offset +0 +hPa +default$'

# Reboot keeps it, factory reset drops it.
run 0 reboot
run 0 get Acc offset --json
json out 'd[0]["values"] != [0, 0, 0]'
run 0 factory-reset
run 0 get Acc offset --json
json out 'd[0]["values"] == [0, 0, 0]'
