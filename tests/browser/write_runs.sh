#!/usr/bin/env bash
# write_runs.sh SENSORCAL PLAN FOLDER: the pages of real runs, on a good phone and on one that is carried about.
set -euo pipefail
sensorcal=$1 plan=$2 folder=$3
rm -rf "$folder"
mkdir -p "$folder"
run() { # run CODE PAGE OPTIONS...
  local code=0
  "$sensorcal" run "$plan" --phone "$folder/phone" --seed 7 --speed max --html "$folder/$2.html" \
    --store "$folder/runs.db" "${@:3}" || code=$?
  [ "$code" = "$1" ] || { echo "$2: exit code $code, not $1" >&2; exit 1; }
}
run 0 run_passed
run 1 run_failed --fault motion:Acc,0.3
"$sensorcal" stats --store "$folder/runs.db" --html "$folder/stats.html"
