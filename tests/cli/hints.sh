#!/usr/bin/env bash
# Whatever a phone's fault makes of a step, the record says why it failed and what to try.
source "$(dirname "$0")/lib.sh"

cat >plan.json <<'PLAN'
{"format": "sensorcal.plan/1", "name": "hints", "steps": [
  {"group": "all", "on_failure": "go on", "steps": [
    {"calibrate": "Acc", "on_failure": "go on"},
    {"verify": "Acc", "samples": 20, "limits": {"noise": "0.05 m/s^2"}, "on_failure": "go on"},
    {"calibrate": "CCT_F_strm", "golden": [800, 1200, 600, 2000, 400], "on_failure": "go on"},
    {"calibrate": "Lux", "param": 8, "on_failure": "go on"},
    {"fixture": {"dark-box": "on"}},
    {"calibrate": "Lux", "param": 13}]}
]}
PLAN

for fault in sensors-fail:12 queue-refused enable-refused hub-vanish:9 hub-fail nan wrong-handle:Acc brightness-missing \
  brightness-clamped:500 garbled:/mnt/vendor/nvcfg/sensor/lightSensorCali.json; do
  rm -rf phone
  called="run plan.json --fault $fault"
  "$sensorcal" run plan.json --speed max --json --fault "$fault" >out 2>err </dev/null && fail "sensorcal $called passed"
  json out 'd["verdict"] in ("failed", "error")' \
    'all(a["reasons"] and a["hints"] for s in d["steps"] for a in s["attempts"] if a["verdict"] in ("failed", "error"))'
done
