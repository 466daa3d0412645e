#!/usr/bin/env bash
# Runs are kept in a file, or wait for a server that is away; what is asked of them is answered.
source "$(dirname "$0")/lib.sh"

cat >plan.json <<'END'
{"format": "sensorcal.plan/1", "name": "it's a \"plan\"",
 "steps": [{"calibrate": "Acc", "limits": {"residual": "0.02 m/s^2", "noise": "0.05 m/s^2"}}]}
END
nasty="A'); DROP TABLE run; --"
run 0 run plan.json --speed max --serial "$nasty" --station north --store runs.db --store-samples --json
json out 'len(d["id"]) == 36'
run 0 run plan.json --speed max --serial B2 --station south --store sqlite:runs.db
[ -e phone/runs.db ] && fail "the store is in the phone's folder"

cp runs.db before.db
run 2 sync --store before.db --spool runs.db
has err 'runs.db: is no spool$'
cmp runs.db before.db || fail 'a store was touched that was taken for a spool'
run 0 history "$nasty" --store runs.db
has out 'PASSED' 'station north'
run 2 history $'B2\n\n2' --store runs.db
has err '^sensorcal: SERIAL: a serial number has no line feed'

# A file that may not grow ends no run; a run that the store does not take is told, and its record kept and imported once.
run 0 run plan.json --speed max --serial D4 --store small.db
export XDG_STATE_HOME=$work/state
under=(prlimit --fsize=16384)
run 3 run plan.json --speed max --html page2.html
under=()
has err '--html .*page2.html'
sql() { python3 -c 'import sqlite3, sys; sqlite3.connect("small.db").executescript(sys.argv[1])' "$1"; }
sql 'CREATE TRIGGER broken BEFORE INSERT ON run BEGIN SELECT RAISE(FAIL, "it is broken"); END'
run 3 run plan.json --speed max --serial D5 --store small.db
sql 'DROP TRIGGER broken'
has out 'D5: PASSED'
has err 'the run was not stored: small.db: .*it is broken' "its record is in $work/state/sensorcal/unstored-.*json"
lacks err 'nor was'
run 0 store import state/sensorcal/unstored-*.json --store small.db
has out '^1 run stored, 0 there already$'
run 0 store import state/sensorcal/unstored-*.json --store small.db
has out '^0 runs stored, 1 there already$'
run 2 store import state/sensorcal/unstored-*.json plan.json --store small.db
has err '^sensorcal: plan.json: '
run 0 history D5 --store small.db
has out 'PASSED'

# What is exported by the filters of stats comes back the same, each run once; nothing is written over.
same() { # same STORE: it says of all runs and phones what runs.db says
  local store
  for store in runs.db "$1"; do
    { "$sensorcal" stats --json --store "$store" && "$sensorcal" history B2 --json --store "$store" &&
      "$sensorcal" history "$nasty" --json --store "$store"; } >"said-$store" || fail "$store is not read"
  done
  cmp said-runs.db "said-$1" || fail "$1 is another store"
}
run 0 store export --store runs.db --to copy.db --records runs.jsonl --csv runs.csv
has out '^2 runs written$'
same copy.db
[ "$(wc -l <runs.jsonl)" = 2 ] && [ "$(wc -l <runs.csv)" -gt 10 ] || fail 'not a line for each record and value'
run 0 store import copy.db runs.jsonl --store again.db
has out '^2 runs stored, 2 there already$'
same again.db
run 0 store import runs.jsonl --store records.db --store-samples
has out '^2 runs stored, 0 there already$'
sed '2s/"id"/"di"/' runs.jsonl >damaged.jsonl
run 2 store import damaged.jsonl --store records.db
has err '^sensorcal: damaged.jsonl: the record has no id'

# The server is away: the run ends as it would, and waits. A place that cannot be opened is told beforehand.
away="postgresql:///line?host=$work/nowhere"
run 0 run plan.json --speed max --serial C3 --store "$away" --spool spool.db
has out 'PASSED in'
has err '1 run waits in .*spool.db for the next run'
run 1 run plan.json --speed max --serial C4 --store "$away" --spool spool.db --fault nan:Acc
has err '2 runs wait'
run 3 sync --store "$away" --spool spool.db
has out '0 runs brought up, 2 still waiting'
run 0 sync --store runs.db --spool spool.db
has out '2 runs brought up, 0 still waiting'
run 0 stats --store runs.db --json
json out 'd["yield"]["units"] == 4 and d["yield"]["passed"] == 3 and d["failures"][0]["runs"] == 1'
