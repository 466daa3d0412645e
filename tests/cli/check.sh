#!/usr/bin/env bash
# `sensorcal check` passes a good phone, names what a faulty sensor misses, and reads recordings.
source "$(dirname "$0")/lib.sh"

# A barometer is as far off as its phone's seed draws; within a hectopascal once it is calibrated.
run 1 check --seed 1 --speed max
has out '^Bar +absolute accuracy +1\.9[0-9]* hPa +at most 1 hPa +7\.3\.5 Barometer +failed$' \
  '^\[8/8\] failed  check Bar' '^  why: absolute accuracy 1\.9[0-9]* hPa is above the limit of 1 hPa \(7\.3\.5 Barometer\)$' \
  '^  try: calibrate it' '^FAILED$'
lacks out $'\033'
run 0 calibrate Bar --speed max
run 0 check --speed max --json
json out 'd["verdict"] == "passed"' \
  '{s["tag"] for s in d["sensors"]} == {"Acc", "Acc2", "Gyr", "Gyr2", "16", "MagCal", "Mag", "Bar"}' \
  'all(m["section"] for s in d["sensors"] for m in s["attempts"][0]["measurements"] if m["low"] or m["high"])' \
  '[m["high"] for m in d["sensors"][0]["attempts"][0]["measurements"] if m["name"] == "noise"] == [0.05] * 3'
[ -s err ] && fail "progress without a terminal"

# misses FAULT MEASUREMENT: the accelerometer misses the limit, and JSON says why and what to try.
misses() {
  run 1 check Acc --json --fault "$1" --speed max
  json out "any(m['name'] == '$2' and m['verdict'] == 'failed' for m in d['sensors'][0]['attempts'][0]['measurements'])" \
    "any(r['arguments'][0] == '$2' for r in d['sensors'][0]['attempts'][0]['reasons']) and d['sensors'][0]['attempts'][0]['hints']" 'd["verdict"] == "failed"'
}
misses late 'first sample'
misses duplicate jitter
misses stuck 'changes between samples'
misses motion:Acc noise
misses nan noise
misses nan 'values that are no numbers'
misses out-of-range "values beyond the sensor\\'s own range"
run 1 check Acc --json --fault silent:Acc --speed max
json out '[r["code"] for r in d["sensors"][0]["attempts"][0]["reasons"]] == ["sensor.silent"]'

# In real time, side by side. Five at a time are told, whatever else a machine that stalls makes of the delays; it parts and
# joins bursts, so that about as many are wanted.
real() { # real NAME ARGUMENTS...
  cp -r phone "$1.phone"
  "$sensorcal" check Acc --phone "$1.phone" "${@:2}" >"$1" 2>&1 </dev/null || echo "exit code $?" >>"$1"
}
real late --fault late &
real delay --fault burst:Acc,32 --period 10 &
real burst --fault burst &
wait
called='check Acc, in real time'
has late '^Acc +first sample .* failed$' '^exit code 1$'
has delay '^Acc +delay .* failed$' '^exit code 1$'
has burst 'note: events come about [3-8] at a time'
run 1 check Acc --speed max --fault wrong-handle
has out 'note: [0-9]+ events named another sensor'
run 1 check Acc --speed max --fault enable-refused
has out '^  why: the sensor could not be enabled'
run 3 check Acc --fault sensors-absent
run 2 check Acc --seconds 2
run 2 check Acc Gyr --reference 1013
has err '^sensorcal: --reference: Acc is no barometer'

cp "$recordings"/*.csv .
verdicts() { echo "[m['verdict'] for m in d['sensors'][0]['attempts'][0]['measurements'] if m['name'].startswith('$1')]"; }
run 1 check Acc --speed max --replay Acc=walk_level_accelerometer.csv --json
json out "$(verdicts noise) == ['failed'] * 3" "$(verdicts rate) == []" "$(verdicts gaps) == ['passed']" 'any(n.startswith("rate") for n in d["sensors"][0]["attempts"][0]["notes"])'
run 1 check Acc --speed max --period 20 --replay Acc=rest_accelerometer.csv --json
json out "$(verdicts noise) == ['passed'] * 3" "$(verdicts jitter) == ['failed']"
run 0 check Bar --speed max --fault drift:Acc --reference 1013.25
