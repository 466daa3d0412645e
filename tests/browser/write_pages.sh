#!/usr/bin/env bash
# write_pages.sh SENSORCAL SOURCE_DIR FOLDER: the pages that the browser opens.
set -euo pipefail
sensorcal=$1 source=$2 folder=$3
rm -rf "$folder"
mkdir -p "$folder"
page() { # page CODE NAME ARGUMENTS...
  local code=0
  "$sensorcal" "${@:3}" --html "$folder/$2.html" || code=$?
  [ "$code" = "$1" ] || { echo "$2: exit code $code, not $1" >&2; exit 1; }
}
# One step after the other: whether the next one began before a step failed would be chance.
sed '0,/"name": "inertial",/s//&\n  "overlap": false,/' "$source/plans/inertial.json" >"$folder/inertial.json"
run=(run "$folder/inertial.json" --phone "$folder/phone" --seed 7 --speed max --store "$folder/runs.db")
page 0 passed "${run[@]}" --json >"$folder/record.json"
page 1 failed "${run[@]}" --fault motion:Acc,0.3
# The same once more, weeks before: a chart takes two days.
python3 - "$folder/record.json" <<'PYTHON'
import json
import sys

record = json.load(open(sys.argv[1]))
record['id'] = f'{int(record["id"][:8], 16) - 0x8000:08x}{record["id"][8:]}'
json.dump(record, open(sys.argv[1], 'w'))
PYTHON
"$sensorcal" store import "$folder/record.json" --store "$folder/runs.db"
page 0 stats stats --store "$folder/runs.db"
page 0 grr grr "$source/tests/data/grr/ten_parts.csv" --low -4 --high 4

# Markup, quotes, control characters, broken UTF-8, separators of JavaScript, writing from right to left.
python3 - "$source/tests/data/records/hostile.json" >"$folder/hostile.json" <<'PYTHON'
import json
import sys

text = '</script><script>alert("x")</script>\'&<!-- ]]> \u2028 \u202e \xe4\U0001f4f1 \udcc0\udcaf \udced\udca0\udc80 \x01\x1b[31m\x7f,\r\n=1+1\t\0end'
sys.stdout.reconfigure(errors='surrogateescape', encoding='utf-8')
print(open(sys.argv[1]).read().replace('"@"', json.dumps(text, ensure_ascii=False)))
PYTHON
page 0 hostile show "$folder/hostile.json"
