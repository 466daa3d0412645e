#!/usr/bin/env bash
# A study comes from a file, from a store and from runs made for it; what is none says why.
source "$(dirname "$0")/lib.sh"

run 0 grr "$recordings/../grr/ten_parts.csv" --low -4 --high 4 --json
json out 'd["schema"] == "sensorcal.grr/1" and d["skipped"] == []' \
  '(s := d["studies"][0])["pooled"] and s["distinct_categories"] == 4 and s["judged_by"] == "tolerance"' \
  'len(d["studies"][0]["anova"]) == 5 and len(d["studies"][0]["anova_pooled"]) == 4' \
  'round(d["studies"][0]["components"][0]["study_percent"], 2) == 27.86'
run 0 grr "$recordings/../grr/ten_parts.csv"
has out 'count as repeatability' 'GRR +0.09' '27.86 % of the study variation' 'distinct categories: 4 \(5'
printf 'phone,station,trial,value\nA,n,1,1\nA,n,2,one\n' >bad.csv
run 2 grr bad.csv
has err 'bad.csv:3: value "one" is no number'
printf 'phone,station,trial,value\nA,n,1,1\nB,n,1,2\n' >one.csv
run 2 grr one.csv
has err 'one.csv: no study: 1 station'
run 2 grr
run 2 grr one.csv --low 2 --high 1
run 2 grr --store runs.db --low 1
run 2 grr --run plan.json --fault motion
run 2 line --phones 2
run 2 line --phones 2 --store no/such/folder/runs.db

cat >plan.json <<'END'
{"format": "sensorcal.plan/1", "name": "small", "steps": [{"calibrate": "Acc", "limits": {"low": "-5 m/s^2", "high": "5 m/s^2"}}]}
END
run 0 grr --run plan.json --phones 3 --stations 2 --trials 2 --seed 5 --store runs.db --json --measurement offset
cp out made
run 0 grr --store runs.db --measurement offset --json
json out 'len(d["studies"]) == 3 and d["skipped"] == []' '[s["mean"] for s in d["studies"]] == [s["mean"] for s in json.load(open("made"))["studies"]]' \
  'all(s["trials"] == 2 and s["stations"] == ["line-1", "line-2"] and len(s["phones"]) == 3 for s in d["studies"])' \
  'all(s["components"][5]["variance"] > 100 * s["components"][1]["variance"] for s in d["studies"])'
# One station's fixture is off, which no calibration at that station can see.
json out 'any(s["components"][3]["sigma"] > 3 * s["components"][1]["sigma"] for s in d["studies"])'

# A name as tables print it is taken, too; one that there is not ends the study before anything is kept.
run 0 grr --run plan.json --phones 2 --stations 2 --trials 2 --seed 5 --json --measurement 'calibrate Acc: offset x'
json out 'len(d["studies"]) == 1'
run 2 grr --run plan.json --phones 2 --stations 2 --trials 2 --seed 5 --store kept.db --measurement ofset
has err '^sensorcal: --measurement ofset: the plan has none of this name; did you mean calibrate Acc: offset x, .* or calibrate Acc: offset z\?$'
run 0 stats --store kept.db
has out '^Runs \(none of these; the store has no run\): 0 passed, 0 failed, 0 errors'

# One run more, and a phone that was at one station only: left out and told once, whatever there is to measure.
run 0 run plan.json --speed max --serial P0000000005 --station line-1 --operator ada --store runs.db
run 0 run plan.json --speed max --serial Q1 --station line-1 --store runs.db
run 0 run plan.json --speed max --store runs.db
run 0 grr --store runs.db --measurement offset --html study.html
has out '^3 measurements: left out: trials after the first 2: 1 of phone P0000000005 at station line-1$' \
  '^3 measurements: left out: phones without 2 trials everywhere: Q1 \(1 at station line-1\)$' '1 run without a serial number'
[ "$(grep -c 'left out' out)" = 2 ] || fail 'a reason is told more than once'
has study.html 'By stations' 'By phones' 'Q1 \(1 at station line-1\)' 'five distinct categories'
for name in 'offset x' 'calibrate Acc: offset x' 'small, calibrate Acc: offset x'; do
  run 0 grr --store runs.db --measurement "$name" --json
  json out '[s["name"] for s in d["studies"]] == ["small, calibrate Acc: offset x"]' 'len(d["studies"][0]["left_out"]) == 2'
done
run 2 grr --store runs.db --measurement 'ofset x'
has err 'did you mean calibrate Acc: offset x'
run 1 grr --store runs.db --station line-2 --measurement offset
has out '^3 measurements: no study: 1 station'
run 1 grr --store runs.db --by both --measurement offset
has out 'no study: no two phones were measured at the same two stations by the same two operators'
run 1 grr --store runs.db --since 2100-01-01
has out '^the chosen runs: no study: there are none; the store has [0-9]+ runs, 20.* UTC$'
run 2 grr --run plan.json --by operators
run 3 grr --store runs.db --measurement offset --html /dev/full

# What to measure next, from runs and from a file; a trial that is there twice counts once.
run 0 grr next --store runs.db --serial P0000000005 --serial P0000000006 --at line-1 --at line-2 --trials 2
has out '^the study is complete: 8 of 8 are done$'
run 0 grr next --store runs.db --serial P0000000005 --serial Q1 --trials 2 --json
json out 'd["phone"] == "Q1" and d["station"] == "line-2" and d["trial"] == 1 and d["done"] == 5 and d["wanted"] == 8'
printf 'phone,operator,trial,value\n' >hands.csv
for p in 1 9; do for o in x y; do for t in 1 2; do echo "$p,$o,$t,$p.0$t"; done; done; done >>hands.csv
echo 1,x,2,7 >>hands.csv
run 0 grr hands.csv
has out '2 phones, 2 operators, 2 trials' 'left out: line 10: trial 2 of phone 1 by operator x is in line 3 already'
run 0 grr next hands.csv --trials 3
has out '^phone [19] by operator x, trial 3; 8 of 12 are done$'
printf 'phone,station,trial,value\n1,n,1,1\n1,s,1,2\n2,n,1,3\n2,s,1,4\n' >once.csv
run 1 grr once.csv
has out '^Not judged: how well a station repeats itself takes two trials or more'
