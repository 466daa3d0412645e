#!/usr/bin/env bash
# A run that cannot begin, and one whose files cannot be written, leave a record that says why and what to try.
source "$(dirname "$0")/lib.sh"

cat >plan.json <<'PLAN'
{"format": "sensorcal.plan/1", "name": "files", "steps": [
  {"group": "proximity", "on_failure": "go on", "steps": [
    {"fixture": {"target": "none"}},
    {"calibrate": "Prx"},
    {"check": "Prx", "value": "crosstalk-file-1", "limits": {"low": "0 counts"}}]},
  {"write": "Lux", "value": "scale-file", "to": 46453.5512}
]}
PLAN

run 0 run plan.json --speed max
for fault in sensors-absent list-refused; do
  run 3 run plan.json --speed max --fault $fault --json --html page.html --junit result.xml
  json out 'd["verdict"] == "error"' '[s["verdict"] for s in d["steps"]] == ["error"] + ["skipped"] * 3' \
    '"; nothing was run" in d["steps"][0]["attempts"][0]["reasons"][0]["text"]' \
    '"reboot the phone" in d["steps"][0]["attempts"][0]["hints"][0]["text"]'
  has page.html 'nothing was run'
  has result.xml '<error .*nothing was run'
  rm page.html result.xml
done

for fault in persist-read-only persist-full persist-absent; do
  rm -rf phone
  run 1 run plan.json --speed max --fault $fault --json
  json out '[s["verdict"] for s in d["steps"]] == ["passed", "failed", "skipped", "failed"]' \
    '"PSensor_ct1.txt" in str(d["steps"][1]["attempts"][0]["reasons"])' \
    '"scale.txt" in str(d["steps"][3]["attempts"][0]["reasons"])' \
    'all("mounted" in str(s["attempts"][0]["hints"]) for s in (d["steps"][1], d["steps"][3]))'
done

# A plan for other phones is refused with nothing run, one for this product is not. The phone has two names, and the
# library goes by either; a profile has no say.
for fault in property:ro.product.product.name=tessak property:ro.build.product=tessak; do
  run 2 run "$2/../../plans/reference.json" --profile reference --speed max --fault $fault
  has err 'the plan is for reference, and this phone is tessak; nothing was run$'
done
for phones in '"raz", "pok"' '"raz", "reference"'; do
  echo '{"format": "sensorcal.plan/1", "name": "one", "for": ['"$phones"'], "steps": [{"probe": "tof", "expect": true}]}' >one.json
  code=2
  [[ $phones == *reference* ]] && code=0
  run $code run one.json --html one.html
  [ $code = 0 ] && [ -s one.html ] && continue
  has err 'one.json: the plan is for raz, pok, and this phone is reference; nothing was run$'
  [ -e one.html ] && fail 'a page of a run that was refused'
done
