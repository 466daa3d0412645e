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
[ -d phone/runs.db ] || [ -e phone/runs.db ] && fail "the store is in the phone's folder"

run 0 stats --store runs.db --json
json out 'd["schema"] == "sensorcal.stats/2"' 'd["yield"]["units"] == 2 and d["yield"]["first_pass_yield"] == 1' \
  'all(m["count"] == 2 and m["plan"] == "it'"'"'s a \"plan\"" for m in d["measurements"])' \
  'any(m["name"] == "residual" and m["low"] == -0.02 and m["capability"]["ppk"]["value"] > 0 for m in d["measurements"])'
run 0 stats --store runs.db --station south --since 2020-01-01 --html page.html
has out 'all +1 +100.00 %' 'residual x' 'Values of last attempts; outliers are not looked for: fewer than eight values'
has page.html '100.00 % yield' 'data-chart' 'Runs at station south'
run 0 stats --store runs.db --attempts passing --without-outliers --rules western-electric --json
json out 'd["attempts"] == "passing" and d["without_outliers"]' \
  'all(m["drift"]["rules"] == "western-electric" for m in d["measurements"])'
for by in day shift hour lot; do
  run 0 stats --store runs.db --by $by --baseline 2020-01-01..2020-02-01 --rules nelson --json
  json out 'd["baseline"]["until"] == "2020-02-01T00:00:00.000Z" and d["by"] == "'$by'"' \
    'all(m["drift"]["rules"] == "nelson" and not m["drift"]["frozen"] and len(m["drift"]["days"]) in (1, 2) for m in d["measurements"])'
done
run 0 stats --store runs.db --by shift --shifts 05:30,17:30 --baseline 2020-01-01..2100-01-01
has out 'within shifts' 'about the means of 2020-01-01T00:00 to 2100-01-01T00:00 UTC'
run 0 stats --store runs.db --golden 'B?' --html marked.html
has out '^Runs, without golden phones B\?: 1 passed' '^golden phones B\?: 1 phone, 1 passed, 0 failed, 0 errors$'
has marked.html 'Golden phones'
run 0 stats --store runs.db --golden 'B?' --json --verdict passed
json out 'd["runs"]["passed"] == 1 and d["marked"][0]["serials"] == ["B2"] and d["marked"][0]["measurements"]' \
  'all(m["count"] == 1 for m in d["measurements"])'
run 2 stats --store runs.db --known-bad 'C*'
has err '^sensorcal: known bad phones C\*: no serial number in the store is like it$'
run 2 stats --store runs.db --by shift --shifts 5h
run 2 stats --store runs.db --baseline 2020-01-01
run 0 stats --store runs.db --attempts first --rules western-electric
has out 'Values of first attempts' 'Western Electric'
lacks page.html 'https?://[a-z]+\.[a-z]+/[a-z]+\.js'
run 0 stats --store runs.db --until 2020-01-01T10:30
has out '^Runs until 2020-01-01T10:30 \(none of these; the store has 2 runs, 20.* to 20.* UTC\): 0 passed'
run 0 stats --store runs.db --measurement 'calibrate Acc: residual x'
has out 'calibrate Acc: residual x'
lacks out 'residual y' 'noise'
for wrong in '--measurement resdual|calibrate Acc: residual x' '--station nort|north' '--app-version 9|0' '--lot x|; none is known'; do
  run 2 stats --store runs.db ${wrong%|*}
  has err "^sensorcal: ${wrong%|*}: the store has none of this name.*${wrong#*|}"
done
run 0 stats --store runs.db --compare station=north station=south
has out '^Runs, station=south against station=north$' '^calibrate Acc: residual x +1, 1 '
while IFS='|' read -r sides problem; do
  # shellcheck disable=SC2086
  run 2 stats --store runs.db $sides
  has err "$problem"
done <<'ROWS'
--compare station=north staton=south|^sensorcal: --compare staton=south: give KEY=VALUE with station, operator, plan-version
--compare station=north station=nort|^sensorcal: --compare station=nort: the store has none of this name
--compare station=north station=north|^sensorcal: --compare station=north: is the same twice$
--compare station=north 2020-01-01..2020-01-02|^sensorcal: --compare 2020-01-01..2020-01-02: no run of it has a value$
--compare station=north station=south --station north|^sensorcal: --compare station=north: it is asked for of all runs
--compare 2026-01-02..2026-01-01 station=north|its end is not after its beginning
ROWS
run 2 sync --store other.db --spool nofile.db
has err '^sensorcal: --spool nofile.db: there is no such file$'
[ -e nofile.db ] && fail 'a mistyped spool was made'
cp runs.db before.db
run 2 sync --store before.db --spool runs.db
has err 'runs.db: is no spool$'
cmp runs.db before.db || fail 'a store was touched that was taken for a spool'
run 0 history "$nasty" --store runs.db
has out 'PASSED' 'station north'
run 0 history " B2 " --store runs.db --json
json out 'len(d["runs"]) == 1 and d["runs"][0]["steps"][0]["attempts"][0]["measurements"]'
id=$(python3 -c 'import json; print(json.load(open("out"))["runs"][0]["id"])')
run 0 history --run "$id" --store runs.db
has out "$id" 'noise x'
run 2 history $'B2\n\n2' --store runs.db
has err '^sensorcal: SERIAL: a serial number has no line feed'
run 2 history nobody --store runs.db --json
json out 'd["error"]["message"] == "the store has no run of serial number nobody"'
run 2 history --run no-id --store runs.db
echo text >text
while IFS='|' read -r place problem; do
  for command in stats sync 'history A'; do
    run 2 $command --store "$place"
    [ "$(cat err)" = "sensorcal: $place: $problem" ] || fail "$command $place: not '$problem'"
  done
done <<ROWS
missing.db|there is no such file
.|is a folder, no store
text|is neither a store nor a spool
no/runs.db|there is no folder $work/no
ROWS
run 3 stats --store runs.db --html /dev/full
has out '2 passed'
run 2 stats

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
run 0 store export --store runs.db --station south --verdict passed --to south.db --json
json out 'd["runs"] == 1'
run 0 store export --store runs.db --station south --verdict failed --csv none.csv
has out '^0 runs written$'
run 2 store export --store runs.db --to south.db
has err '^sensorcal: store export: south.db: is there already$'
for wrong in '--station nort --csv typo.csv' '' '--csv no/such/folder.csv' '--csv typo.csv --records typo.csv'; do
  # shellcheck disable=SC2086
  run 2 store export --store runs.db $wrong
done
[ -e typo.csv ] || [ -e typo.csv.part ] && fail 'a file was made for nothing'
sed '2s/"id"/"di"/' runs.jsonl >damaged.jsonl
run 2 store import damaged.jsonl --store records.db
has err '^sensorcal: damaged.jsonl: the record has no id'

# The server is away: the run ends as it would, and waits. A place that cannot be opened is told beforehand.
away="postgresql:///line?host=$work/nowhere"
run 0 run plan.json --speed max --serial C3 --store "$away" --spool spool.db
has out 'PASSED in'
has err '1 run waits in .*spool.db for the next run'
run 1 run plan.json --speed max --serial C4 --store "$away" --spool spool.db --fault motion:Acc
has err '2 runs wait'
run 3 sync --store "$away" --spool spool.db
has out '0 runs brought up, 2 still waiting'
run 0 sync --store runs.db --spool spool.db
has out '2 runs brought up, 0 still waiting'
run 0 stats --store runs.db --json
json out 'd["yield"]["units"] == 4 and d["yield"]["passed"] == 3 and d["failures"][0]["runs"] == 1'
run 2 run plan.json --speed max --store no/such/folder/runs.db
