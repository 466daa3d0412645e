#!/usr/bin/env bash
# A run is recorded, and its replay gives the same values, page and exit code without the phone; a recording that was
# changed or cut does not pass for the run.
source "$(dirname "$0")/lib.sh"
export TMPDIR=$work/scratch
mkdir "$TMPDIR"

cat >plan.json <<'PLAN'
{"format": "sensorcal.plan/1", "name": "recorded", "steps": [
  {"fixture": {"up": "flat"}}, {"calibrate": "Acc", "on_failure": "go on"},
  {"verify": "Gyr", "limits": {"noise": "0.01 rad/s"}}]}
PLAN
cat >plan2.json <<'PLAN'
{"format": "sensorcal.plan/1", "name": "one", "steps": [{"calibrate": "Acc"}]}
PLAN
run 0 run plan.json --speed max --seed 3 --serial A1 --record good --json
cp out good.json
run 1 run plan.json --speed max --fault motion:Gyr --record bad --json
cp out bad.json
# A recording is never written over.
run 2 run plan.json --record good
has err 'not an empty folder'
rm -r phone
before=$(find good bad -type f -exec sha256sum {} + | sort)

run 0 replay good --json --html good.html
cmp good.json good/record.json || fail "not the kept record"
json out 'd["verdict"] == "passed"' 'len(d["steps"][1]["attempts"][0]["window"]["samples"]) > 20'
has good.html 'replay of the recording' 'Its record is the recorded one'
run 1 replay bad
has out 'replay: the same record'
[ "$before" = "$(find good bad -type f -exec sha256sum {} + | sort)" ] || fail "a replay changed its recording"
[ ! -e phone ] || fail "a replay made a phone"

# The phone is the recorded one.
run 2 replay good --fault silent

# Damage shows, wherever it is.
cp -r bad damaged
sed -i '0,/"note":""/s//"note":"x"/' damaged/trace.jsonl
run 2 replay damaged
has err 'trace.jsonl:[0-9]+: the recording is damaged: its bytes are not those of its sum'
# A run that was killed.
for size in 20000 40000; do
  cp -r good cut
  head -c $size good/trace.jsonl >cut/trace.jsonl
  rm cut/record.json
  run 4 replay cut
  has err 'the recording is cut off: its last line'
  rm -r cut
done
# A run that was interrupted cannot be the same again, but ends.
"$sensorcal" run plan2.json --record stopped >out 2>err &
sleep 1.5
called='run plan2.json'
ends 130 INT $!
run 4 replay stopped
# Ctrl-C ends a replay, SIGTERM too, while it makes its copy of the phone, and whatever it waits for.
run 1 run plan2.json --speed max --fault silent --record silent
head -c 20000000 /dev/urandom >silent/root/large
for signal in INT TERM INT:1 TERM:1; do
  called="replay silent, $signal"
  "$sensorcal" replay silent >out 2>err &
  until compgen -G "$TMPDIR/sensorcal-*" >found; do :; done
  [ $signal = ${signal%:*} ] || sleep ${signal#*:}
  ends 130 ${signal%:*} $!
  [ -z "$(ls "$TMPDIR")" ] || fail "left behind after $signal: $(ls "$TMPDIR")"
done
sed -i 's,recording/5,recording/1,' good/run.json
run 2 replay good
has err 'recording/1"; this program replays "sensorcal.recording/5"' 'record the run again'
run 2 replay .
has err 'not a recording'
[ -z "$(ls "$TMPDIR")" ] || fail "left behind: $(ls "$TMPDIR")"
