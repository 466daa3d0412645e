#!/usr/bin/env bash
# What a store's runs begin to say is told once, as a line, as JSON, and to a command that gets no text of a run but on its
# standard input.
source "$(dirname "$0")/lib.sh"

echo '{"format": "sensorcal.plan/1", "name": "p", "steps": [{"calibrate": "Acc"}]}' >plan.json
run 0 run plan.json --speed max --json --station north --serial A
mv out good.json
run 1 run plan.json --speed max --json --station north --serial A --fault motion:Acc,0.5
mv out bad.json
# 600 good phones of two stations, then bad ones of the one.
BEGAN=$(date -ud "$(date -ud yesterday +%F)" +%s)000  # one day holds them all
export BEGAN
cat >make.py <<'PYTHON'
import copy
import json
import os
import sys

template = json.load(open(sys.argv[3]))
began = int(os.environ['BEGAN'])
for number in range(int(sys.argv[1]), int(sys.argv[2])):
    record = copy.deepcopy(template)
    record['id'] = f'{began + number * 60000:012x}-7000-8000-{number:012x}'
    record['id'] = record['id'][:8] + '-' + record['id'][8:]
    record['serial'] = f"$(touch broken)'{number}"
    record['station'] = 'north' if number % 2 and sys.argv[3] == 'good.json' else 'south'
    print(json.dumps(record))
PYTHON
python3 make.py 0 600 good.json >good.jsonl
run 0 store import good.jsonl --store runs.db
has out '^600 runs stored'
run 0 stats --store runs.db --watch --every 0
[ -s out ] && fail 'something is told of a line that does not change'

"$sensorcal" stats --store runs.db --watch --every 0.1 --json --on-alert 'cat >>called; exit 3' >lines 2>problems &
watcher=$!
trap 'kill $watcher 2>>problems || true; rm -rf "$work"' EXIT
# later FILE COUNT: FILE has so many lines soon.
later() {
  for _ in $(seq 100); do [ "$(wc -l <"$1")" -ge "$2" ] && return; sleep 0.1; done
  fail "$1: not $2 lines: $(cat "$1")"
}
touch called
sleep 0.3
python3 make.py 600 620 bad.json >bad.jsonl
run 0 store import bad.jsonl --store runs.db
later called 2
later problems 2
sleep 0.5
kill $watcher
wait $watcher || true
cmp lines called || fail 'the command got something else'
[ -e broken ] && fail 'a text of a run was a command'
grep -q '^sensorcal: --on-alert .*: ended with 3$' problems || fail "the command's end is not told: $(cat problems)"
python3 - <<'PYTHON' || fail "not the alerts: $(cat lines)"
import json
import sys

alerts = {alert['kind']: alert for alert in map(json.loads, open('lines'))}
sys.exit(set(alerts) != {'yield', 'station'} or len(open('lines').readlines()) != 2 or
         alerts['station']['about'] != 'plan p at station south' or len(alerts['station']['phones']) < 6 or
         not alerts['station']['phones'][0].startswith('$(touch broken)'))
PYTHON

# One that takes its time does not hold up the watch, and ends with it.
"$sensorcal" stats --store runs.db --watch --every 0.1 --on-alert 'echo $$ >>pids; sleep 100' >lines 2>problems &
watcher=$!
later lines 2
touch pids
later pids 1
called='stats --watch'
ends 130 INT $watcher
[ "$(wc -l <pids)" = 1 ] || fail 'two were called at once'
kill -0 "$(cat pids)" 2>>problems && fail 'the command goes on'
run 1 stats --store runs.db --watch --every 0 --on-alert 'sleep 0.2; cat >>all; echo words >&2; exit 4'
[ "$(wc -l <all)" = 2 ] || fail 'not called for both'
has err '^sensorcal: --on-alert .*: ended with 4: words$'

run 1 stats --store runs.db --watch --every 0
has out '^yield: first-pass yield of plan p: ' '^station: first-pass yield of plan p at station south: .*; phones '

# Runs that pile up.
away="postgresql:///line?host=$work/nowhere"
run 0 run plan.json --speed max --serial B --store "$away" --spool spool.db
run 1 stats --store runs.db --until 2025-01-01 --watch --every 0 --spool spool.db --waiting 1
has out '^spool: 1 runs wait in spool.db'
run 0 stats --store runs.db --until 2025-01-01 --watch --every 0 --spool spool.db
run 2 stats --store runs.db --watch --spool nofile.db
run 2 stats --store runs.db --every 5
run 2 stats --store nofile.db --watch

# A station's page says the same.
cat >station.json <<'JSON'
{"format": "sensorcal.station/1", "station": "south", "store": "sqlite:runs.db", "plan": "plan.json", "port": 0}
JSON
"$sensorcal" station station.json >address 2>problems &
watcher=$!
later address 1
python3 - "$(grep -o 'http://[^ ]*' address)" <<'PYTHON' || fail "the station does not tell it"
import json
import sys
import time
import urllib.request

for _ in range(100):
    alerts = json.load(urllib.request.urlopen(sys.argv[1] + 'state'))['alerts']
    if {alert['code'] for alert in alerts} >= {'alert-yield', 'alert-station'}:
        sys.exit(0 if any('plan p at station south' in alert['arguments'] for alert in alerts) else 1)
    time.sleep(0.1)
sys.exit(1)
PYTHON
