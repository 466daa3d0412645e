#!/usr/bin/env bash
# A service that is listed but does not run is waited for by whoever asks for it: the program does not ask, and where it
# dies in the middle of a call the watchdog ends the program, with a record that says what is not known.
source "$(dirname "$0")/lib.sh"

run 0 set Acc offset 0.25 -0.5 0.125 --speed max
for fault in sensors-dead hub-dead; do
  run 3 calibrate Acc --speed max --fault $fault
  has out 'why: the sensor (test )?service does not answer.*; nothing was run'
  run 3 sensors --speed max --fault $fault
  has err '^sensorcal: the sensor (test )?service does not answer'
done

# Side by side, since each waits out the watchdog's patience.
dies() { "$sensorcal" "${@:3}" --phone "$1" --speed "${speed:-max}" --fault "$2" >"$1.out" 2>"$1.err" || echo "exit code $?" >>"$1.err"; }
echo '{"format": "sensorcal.plan/1", "name": "two", "steps": [{"group": "g", "steps": [{"calibrate": "Acc"}, {"calibrate": "Bar"}]}]}' >two.json
for name in one two three; do cp -r phone $name; done
dies one hub-dead:1 get Acc offset &
dies two hub-dead:3 calibrate Acc --json &
dies three hub-dead:6 calibrate Acc --json &
speed=1 dies four hub-dead:18 run two.json --serial A --fault drift:Acc,1 --json &
wait
called='a service that dies'
has one.err 'is gone|does not answer' '^exit code 3$'
for name in two three; do
  has $name.err '^exit code 3$'
  json $name.out 'd["verdict"] == "error"' 'any("does not come back" in r["text"] for r in d["steps"][1]["attempts"][0]["reasons"])' \
    'any(any(w in r["text"] for w in ("not put back", "not known", "is gone")) for r in d["steps"][1]["attempts"][0]["reasons"])'
done
# What the first one's end sent before it hung is not the other's, which was under way beside it.
json four.out 'd["steps"][0]["attempts"][0]["hub"][-1]["command"] == "set-acc-offset"' \
  'd["steps"][1]["attempts"][0]["hub"][-1]["command"] == "get-bar-offset"' \
  '[any("enter setAMGOffset_api" in l["text"] for l in s["attempts"][0]["log"]) for s in d["steps"]] == [True, False]'

# Ctrl-C works meanwhile.
"$sensorcal" calibrate Acc --phone one --speed max --fault hub-dead:3 --log log >out 2>err &
until [ -s log ]; do sleep 0.05; done  # before it watches for it a shell's job ignores SIGINT
sleep 1
kill -INT $!  # what hangs is waited for, for two seconds
code=0
wait $! || code=$?
[ $code = 130 ] || fail "Ctrl-C: exit code $code"
