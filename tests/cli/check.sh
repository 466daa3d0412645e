#!/usr/bin/env bash
# `sensorcal check` passes a good phone, names what a faulty sensor misses, and reads recordings.
source "$(dirname "$0")/lib.sh"

# A barometer is as far off as its phone's seed draws; within a hectopascal once it is calibrated.
run 1 check --seed 1 --speed max
has out '^Bar +absolute accuracy +1\.9[0-9]* hPa +at most 1 hPa +7\.3\.5 Barometer +failed$' \
  '^Bar: absolute accuracy: .* hPa, allowed at most 1 hPa \(section 7\.3\.5 Barometer\)$' '^  try: calibrate it'
lacks out $'\033'
run 0 calibrate Bar --speed max
run 0 check --speed max --json
json out 'd["verdict"] == "passed"' \
  '{s["tag"] for s in d["sensors"]} == {"Acc", "Acc2", "Gyr", "Gyr2", "16", "MagCal", "Mag", "Bar"}' \
  'all(l["section"] and l["name"] for s in d["sensors"] for l in s["limits"])' \
  '[l for l in d["sensors"][0]["limits"] if l["key"] == "noise"][0]["high"] == 0.05'
[ -s err ] && fail "progress without a terminal"

# misses FAULT KEY OPTION...: the accelerometer misses the limit, and JSON says with which value.
misses() {
  run 1 check Acc --json --fault "$1" "${@:3}"
  json out "any(l['key'] == '$2' and l['verdict'] == 'failed' and 'worst' in l and l['hint'] for l in d['sensors'][0]['limits'])" \
    'd["verdict"] == "failed"'
}
misses late first_sample --speed max
misses silent:Acc first_sample --speed max
misses duplicate jitter --speed max
misses stuck live --speed max
misses motion:Acc noise --speed max
misses nan noise --speed max
misses nan not_finite --speed max
misses out-of-range out_of_range --speed max

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
has burst 'Acc: note: events come about [3-8] at a time'
run 1 check Acc --speed max --fault wrong-handle
has out 'note: [0-9]+ events named another sensor'
run 1 check Acc --speed max --fault enable-refused
has out '^Acc: the sensor could not be enabled'
run 3 check Acc --fault sensors-absent
run 2 check Acc --seconds 2

cp "$recordings"/*.csv .
run 1 check Acc --speed max --replay Acc=walk_level_accelerometer.csv --json
json out '[l["verdict"] for l in d["sensors"][0]["limits"] if l["key"] == "noise"] == ["failed"]' \
  '[l["verdict"] for l in d["sensors"][0]["limits"] if l["key"] == "rate"] == ["skipped"]'
run 1 check Acc --speed max --period 20 --replay Acc=rest_accelerometer.csv --json
json out '[l["verdict"] for l in d["sensors"][0]["limits"] if l["key"] == "noise"] == ["passed"]' \
  '[l["verdict"] for l in d["sensors"][0]["limits"] if l["key"] == "jitter"] == ["failed"]'
run 0 check Bar --speed max --fault drift:Acc --reference 1013.25
