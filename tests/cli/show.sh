#!/usr/bin/env bash
# Pages and files from a record, in a file or from a pipe, are those that the run itself gave.
source "$(dirname "$0")/lib.sh"

cat >plan.json <<'PLAN'
{"format": "sensorcal.plan/1", "name": "shown", "steps": [
  {"fixture": {"up": "flat"}}, {"calibrate": "Acc", "on_failure": "go on"}, {"verify": "Acc", "limits": {"noise": "1 g"}}]}
PLAN
run 1 run plan.json --speed max --serial S7 --fault motion:Acc,1 --json --html run.html --junit run.xml --csv run
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
