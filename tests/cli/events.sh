#!/usr/bin/env bash
# `run --events` tells a run line by line to the program that drives it, which gives the plan and the operator's answers.
source "$(dirname "$0")/lib.sh"

cat >plan.json <<'JSON'
{"format": "sensorcal.plan/1", "name": "told", "steps": [{"group": "a hand at the lamp may touch the phone", "steps": [
  {"fixture": {"up": "flat"}}, {"calibrate": "Acc", "limits": {"residual": "0.02 m/s^2"}}, {"fixture": {"lux": "200 lux"}}]}]}
JSON
cat >drive.py <<'PYTHON'
import json
import subprocess
import sys

# Answers: what is written for each prompt, {} is its number; "close" closes the stream.
answers, arguments = json.loads(sys.argv[1]), sys.argv[2:]
run = subprocess.Popen([*arguments, '--events'], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
run.stdin.write(json.dumps({'file': 'plan.json', 'plan': open('plan.json').read()}) + '\n')
run.stdin.flush()
lines = []
for line in run.stdout:
    event = json.loads(line)
    if event['event'] == 'sample':  # as many as the run is slow
        continue
    lines.append(event)
    if event['event'] != 'prompt':
        continue
    answer = answers.pop(0)
    if answer == 'close':
        run.stdin.close()
        continue
    run.stdin.write(answer.replace('{}', str(lines[-1]['prompt'])) + '\n')
    run.stdin.flush()
json.dump({'code': run.wait(), 'lines': lines}, open('out', 'w'))
PYTHON

# drive ANSWERS ARGUMENTS...
drive() {
  called="run --events $*"
  python3 drive.py "$1" "$sensorcal" run - --fixture operator --speed max "${@:2}" 2>err
}
done='{\"prompt\": {}, \"answer\": \"done\"}'
told='[l["event"] for l in d["lines"]]'

SENSORCAL_STORE=kept.db drive "[\"$done\", \"no answer\n{\\\"prompt\\\": 9, \\\"answer\\\": \\\"skip\\\"}\n$done\"]" --serial A1
json out 'd["code"] == 0 and d["lines"][0]["schema"] == "sensorcal.run-events/1" and d["lines"][0]["steps"] == 3' \
  "$told == ['begun', 'begins', 'prompt', 'answer', 'ended', 'begins', 'ended', 'begins', 'prompt', 'problem', 'problem', 'answer', 'ended', 'record']" \
  'd["lines"][2]["settings"] == {"up": "flat"} and d["lines"][2]["instructions"] == ["Lay the phone flat, screen up"]' \
  'd["lines"][5]["tag"] == "Acc" and d["lines"][6]["verdict"] == "passed"' \
  'd["lines"][-1]["exit_code"] == 0 and d["lines"][-1]["record"]["serial"] == "A1"' \
  'd["lines"][-1]["record"]["plan"]["name"] == "told" and d["lines"][-1]["record"]["steps"][1]["attempts"][0]["hub"]'
[ ! -e kept.db ] || fail 'a run with --events was stored'
run 0 get Acc offset --json
cp out acc.json

drive "[\"$done\"]" --fault motion:Acc,3
json out 'd["code"] == 1 and d["lines"][-1]["record"]["verdict"] == "failed"' \
  'd["lines"][6]["verdict"] == "failed" and d["lines"][6]["reasons"][0]["text"] and d["lines"][6]["hints"]'
drive '["{\"prompt\": {}, \"answer\": \"skip\"}"]'
json out 'd["code"] == 3 and d["lines"][-1]["record"]["verdict"] == "error"'

# The stream is closed, while it waits for an operator and in the middle of a step: nothing goes on, old values are back.
drive '["close"]'
json out 'd["code"] == 130 and d["lines"][-1]["record"]["verdict"] == "aborted"' \
  'd["lines"][-1]["record"]["steps"][0]["attempts"][0]["reasons"] == [{"code": "interrupted", "text": "interrupted"}]'
id=019a1b2c-0000-7000-8000-00000000000a
json=$(python3 -c 'import json, sys; print(json.dumps({"file": "p", "plan": open("plan.json").read(), "id": sys.argv[1]}))' $id)
code=0
{ echo "$json"; sleep 1.3; } | "$sensorcal" run - --events --speed 0.1 >lines 2>err || code=$?
[ $code = 130 ] || fail "closed in the middle: exit code $code"
has lines '"event":"sample","events":[0-9]+,"restarts":0,"step":2,"tag":"Acc","unit":"m/s\^2","values":\[-?[01]\.[^,]+,-?[01]\.[^,]+,-?[01]\.[^,]+\]'
events=$(grep -o '"event":"sample","events":[0-9]*' lines)
[ "$(uniq <<<"$events")" = "$events" ] || fail 'told again where nothing came'
tail -n 1 lines >out
json out 'd["event"] == "record" and d["record"]["id"] == "'$id'" and d["record"]["steps"][1]["verdict"] == "aborted"'
run 0 get Acc offset --json
cmp -s out acc.json || fail 'the offset changed'

for option in --json '--html x.html' '--record folder' '--store s.db'; do
  # shellcheck disable=SC2086
  run 2 run plan.json --events $option
  has err "^sensorcal: ${option%% *}: with --events nothing is written"
done
run 2 run -
has err '^sensorcal: PLAN -: a plan comes on standard input with --events alone$'
echo '{}' >order
input=order run 2 run - --events
json out 'd["event"] == "refused" and d["exit_code"] == 2 and "Wanted is" in d["text"]'
echo "${json/$id/7}" >order
input=order run 2 run - --events
json out 'd["event"] == "refused" and "is no id of a run" in d["text"]'
