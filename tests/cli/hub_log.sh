#!/usr/bin/env bash
# `--hub-log` keeps every message as one JSON object; `hub log` prints such a file.
source "$(dirname "$0")/lib.sh"

run 0 calibrate Gyr --speed max --hub-log hub.jsonl
grep set-gyr-offset hub.jsonl | tail -n 1 >last.json
json last.json 'd["code"] == 2 and d["command"] == "set-gyr-offset" and d["tag"] == "Gyr" and d["sensor_type"] == 4' \
  '[(w["word"], type(w["float"])) for w in d["request"]] == [(0, float), (1, float), (2, float)]' \
  'd["answered"] and d["reply"] == [{"word": 0, "int": 0}]' 'd["time"].endswith("Z")'
run 0 hub log hub.jsonl
[ "$(wc -l <out)" = "$(wc -l <hub.jsonl)" ] || fail "not one line a message"
has out '^[0-9:.]{12}  Gyr +3 get-gyr-offset +-  ->  w0=0f w1=0f w2=0f$' \
  '^[0-9:.]{12}  Gyr +2 set-gyr-offset +w0=-?[0-9.e-]+f w1=-?[0-9.e-]+f w2=-?[0-9.e-]+f  ->  w0=0$'

run 2 hub log no-such.jsonl
has err '^sensorcal: no-such\.jsonl: No such file'
for line in 'no JSON' '[]' '{"code": "2"}' '{"code": 2}'; do
  { cat last.json && echo "$line"; } >other.jsonl
  run 2 hub log other.jsonl
  has err '^sensorcal: other\.jsonl:2: '
done
