#!/usr/bin/env bash
# A study comes from a file, from a store and from runs made for it; what is none says why.
source "$(dirname "$0")/lib.sh"

run 0 grr "$recordings/../grr/ten_parts.csv" --low -4 --high 4 --json
json out 'd["schema"] == "sensorcal.grr/1" and d["skipped"] == []' \
  '(s := d["studies"][0])["pooled"] and s["distinct_categories"] == 4 and s["judged_by"] == "tolerance"' \
  'len(d["studies"][0]["anova"]) == 5 and len(d["studies"][0]["anova_pooled"]) == 4' \
  'round(d["studies"][0]["components"][0]["study_percent"], 2) == 27.86'
run 0 grr "$recordings/../grr/ten_parts.csv"
has out 'counts as repeatability' 'GRR +0.09' '27.86 % of the study variation' 'distinct categories: 4 \(5'
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
has out '^Runs: 0 passed, 0 failed, 0 errors'

# One run more, and the phones are no longer measured equally often.
run 0 run plan.json --speed max --serial P0000000005 --station line-1 --store runs.db
run 0 run plan.json --speed max --store runs.db
run 1 grr --store runs.db --measurement offset
has out 'offset x: no study: phone P0000000005 has 3 trials at station line-1, not 2' '1 run without a serial number' '^no study'
run 1 grr --store runs.db --station line-2 --measurement offset
has out 'no study: 1 station'
