#!/usr/bin/env bash
# `sensorcal watch` prints lines when piped, redraws on a terminal, ends cleanly on Ctrl-C, and holds the phone meanwhile.
source "$(dirname "$0")/lib.sh"

run 0 watch Acc --seed 1 --seconds 3 --speed max
has out '^[0-9.]+ s +x .* sd limit 0\.05 +50\.0 Hz +settled for' '^3\.0 s, 151 events, 50\.0 Hz'
[ "$(grep -c '^[0-9.]* s  x' out)" -le 16 ] || fail "more than 5 lines a second"
lacks out $'\033'
run 0 watch Gyr --seconds 2 --speed max --json
sed -i '$!d' out
json out 'd["schema"] == "sensorcal.watch/1"' 'd["summary"]' 'd["settled"]' 'd["unit"] == "rad/s"' \
  'all(a["within"] for a in d["axes"])'
run 0 watch Acc --seconds 2 --speed max --fault motion:Acc
has out 'HIGH.*not settled'
run 1 watch Acc --seconds 0.2 --fault silent
has err 'no event came'
[ "$(grep -c '^no event' out)" = 1 ] || fail 'not told once that nothing comes'
run 3 watch Acc --seconds 1 --speed max --fault sensors-vanish:1

while IFS='|' read -r command code last; do
  # shellcheck disable=SC2086
  "$sensorcal" $command >said 2>&1 &
  watcher=$!
  sleep 1
  run 3 sensors
  has err "held by process $watcher"
  called=$command
  ends "$code" INT $watcher
  tail -n 1 said >out
  has out "$last"
done <<'ROWS'
watch Acc --json|0|"summary":true
watch Acc|0| events, 
check --json|130|^}$
ROWS

# On a terminal the values are written over each other.
NO_COLOR=1 on_terminal 0 40 100 watch Acc --seconds 1
has out $'A\e\\[JAcc +value' $'A\e\\[JAcc, all'
lacks out $'\e\\[3'
on_terminal 1 100 100 watch Acc --seconds 0.3 --fault silent
has out $'\e\\[2A\e\\[J.*no event for 0\\.[0-9] s'
lacks out 'Acc.{1,10}value'
