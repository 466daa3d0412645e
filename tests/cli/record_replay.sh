#!/usr/bin/env bash
# A run is recorded, and its replay gives the same record, page and exit code without the phone; a recording that was
# changed or cut does not pass for the run.
source "$(dirname "$0")/lib.sh"
export TMPDIR=$work/scratch
mkdir "$TMPDIR"

cat >plan.json <<'PLAN'
{"format": "sensorcal.plan/1", "name": "recorded", "steps": [
  {"fixture": {"up": "flat"}}, {"calibrate": "Acc", "on_failure": "go on"},
  {"verify": "Gyr", "limits": {"noise": "0.01 rad/s"}}]}
PLAN
run 0 run plan.json --speed max --seed 3 --serial A1 --record good --json
cp out good.json
run 1 run plan.json --speed max --fault motion:Gyr --record bad --json
cp out bad.json
# A recording is never written over.
run 2 run plan.json --record good
has err 'not an empty folder'
rm -r phone plan.json
before=$(find good bad -type f -exec sha256sum {} + | sort)

run 0 replay good --json --html good.html
cmp out good.json || fail "another record"
cmp out good/record.json || fail "not the kept record"
has good.html 'replay of the recording' 'Its record is the recorded one'
run 1 replay bad
has out 'replay: the same record'
[ "$before" = "$(find good bad -type f -exec sha256sum {} + | sort)" ] || fail "a replay changed its recording"
[ ! -e phone ] || fail "a replay made a phone"

# The phone is the recorded one.
run 2 replay good --fault silent

# What the hub answered was another: the record says so.
sed -i 's/"note":""/"note":"other"/' bad/tape.jsonl
run 4 replay bad
has err 'differs from the recorded one' 'hub\[[0-9]+\].note: recorded null, now "other"'
# A message that the run does not send.
sed -i '0,/"message":\[/s//"message":[77,/' bad/tape.jsonl
run 4 replay bad
has err 'leaves the recording at line [0-9]+' 'now came call'
# A run that was killed.
head -c 20000 good/tape.jsonl >cut && mv cut good/tape.jsonl
run 4 replay good
has err 'the recording is cut off: its last line'
sed -i 's,recording/1,recording/9,' good/run.json
run 2 replay good
has err 'recording/9'
run 2 replay .
has err 'not a recording'
[ -z "$(ls "$TMPDIR")" ] || fail "left behind: $(ls "$TMPDIR")"
