#!/usr/bin/env bash
# Pages and files from a record: in a file, from a pipe, from a store. What is no record is refused.
source "$(dirname "$0")/lib.sh"

cat >plan.json <<'PLAN'
{"format": "sensorcal.plan/1", "name": "shown", "steps": [
  {"fixture": {"up": "flat"}}, {"calibrate": "Acc", "on_failure": "go on"}, {"verify": "Acc", "limits": {"noise": "1 g"}}]}
PLAN
run 1 run plan.json --speed max --serial S7 --fault motion:Acc --store runs.db --store-samples --json \
  --html run.html --junit run.xml --csv run
cp out record.json
json record.json 'd["schema"] == "sensorcal.run/2"' 'd["plan"]["bytes"] == open("plan.json").read()' \
  'd["plan"]["sha256"] == __import__("hashlib").sha256(open("plan.json", "rb").read()).hexdigest()' \
  'all("text" in r for s in d["steps"] for a in s["attempts"] for r in a["reasons"] + a["hints"])'

# A file gives what the run itself gave, and so does a pipe.
run 0 show record.json --html show.html --junit show.xml --csv show
has out 'FAILED  shown' '2\. .*: failed' 'residual|noise|restart'
for made in html xml; do cmp run.$made show.$made || fail "the $made file differs"; done
diff -r run show || fail "the CSV files differ"
input=record.json run 0 show - --junit piped.xml --json
cmp out record.json && cmp run.xml piped.xml || fail "what was piped differs"

# A store keeps less, and the page says so.
id=$(python3 -c 'import json; print(json.load(open("record.json"))["id"])')
run 0 show "$id" --store runs.db --html kept.html --junit kept.xml --csv kept
has kept.html '<h2>Not kept</h2>' 'Not kept: log lines' 'FAILED' 'S7' 'data-window="window-2-1"'
lacks kept.html '<summary>[0-9]+ log lines'
cmp run/measurements.csv kept/measurements.csv || fail "the store gives other values"
python3 - <<'PYTHON' || fail "JUnit files differ in more than the store says"
import xml.etree.ElementTree as tree
cases = [[(c.get('name'), c.get('time'), c.find('failure') is not None and c.find('failure').text)
          for c in tree.parse(f).iter('testcase')] for f in ('run.xml', 'kept.xml')]
assert cases[0] == cases[1] and len(cases[0]) == 3, cases
PYTHON
run 0 show "$id" --store runs.db --json
json out "d[\"id\"] == \"$id\"" 'd["verdict"] == "failed"' 'd["steps"][1]["attempts"][0]["window"]["samples"]'

# The first form.
run 0 show "$recordings/../records/run1.json" --html first.html
has first.html 'K&lt;7' 'FAILED'

# What is no record is refused with the place, and leaves nothing.
head -c 3000 record.json >half.json
sed 's/"verdict" : "failed"/"verdict" : "fine"/' record.json >other.json
echo '{"schema": "sensorcal.run/9"}' >newer.json
for file in half.json other.json newer.json plan.json missing.json; do
  run 2 show $file --html none.html
  has err "$file: "
  [ ! -e none.html ] || fail "a page of $file"
done
[ "$(wc -l <err)" = 1 ] || fail 'more than a line'
run 2 show other.json
has err 'other.json: verdict: wanted is one of passed'
run 2 show "$id"
has err "^sensorcal: $id: a run's id is looked up in a store; say which one with --store\$"
run 2 show runs.db
has err '^sensorcal: runs.db: is a store, no record; `sensorcal show ID --store runs.db` shows a run of it$'
run 2 show 019ab69d-cc00-7000-8000-000000000001 --store runs.db
has err 'no run'
run 2 show record.json --html no/such/folder/page.html
