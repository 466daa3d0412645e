#!/usr/bin/env bash
# A calibration passes only when fresh samples say so; else the hub holds what it held. Where what it held cannot be read,
# or a service is gone, the exit code is that of a phone out of reach.
source "$(dirname "$0")/lib.sh"

# The hub holds no offset: nothing was written, or zeros were written back.
no_offset() {
  run 0 hub state --json
  json out "[any(s['values']) for s in d['stored'] if (s['tag'], s['name']) == ('Acc', 'offset')] == [False]"
}

run 1 calibrate Acc --speed max --fault wrong-handle:Acc
has out 'failed  calibrate Acc ' 'why: not verified: only 0 of 50 fresh samples came, and events of other sensors' \
  'try: the sensor service mixes its sensors up' "the hub's old values were put back"
no_offset

run 3 calibrate Acc Gyr --speed max --json --fault hub-vanish:2
json out 'd["steps"][1]["verdict"] == "error"' \
  'any("nothing was changed" in r["text"] for r in d["steps"][1]["attempts"][0]["reasons"])' 'len(d["steps"]) == 3'
no_offset

# The sensor service goes in mid-run: the hub is still there, and gets its old values back.
cat >plan.json <<'PLAN'
{"format": "sensorcal.plan/1", "name": "vanishes", "steps": [{"calibrate": "Acc"}]}
PLAN
run 3 run plan.json --speed max --json --fault sensors-vanish:6
json out 'd["verdict"] == "error"' 'd["steps"][0]["attempts"][0]["reasons"][0]["code"] == "service.gone"' 'd["steps"][0]["attempts"][0]["put_back"]'
run 3 calibrate Acc --speed max --fault sensors-vanish:3
run 3 watch Acc --seconds 1 --speed max --fault sensors-vanish:1
