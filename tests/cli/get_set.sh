#!/usr/bin/env bash
# `get` and `set` reach every stored value.
source "$(dirname "$0")/lib.sh"

while read -r tag name values; do
  # shellcheck disable=SC2086
  run 0 set $tag $name $values
  has out '^\[1/1\] passed  write ' "^  note: [^ ]+( hub)? holds $values"
  count=
  [[ $tag != CCT_* ]] || count="--count $(wc -w <<<"$values")"
  # shellcheck disable=SC2086
  run 0 get "$tag" "$name" $count
  has out "^$tag +$name +${values// /  } "
done <<'ROWS'
Acc offset 0.01 -0.02 0.005
Gyr2 offset 0.001 0 -0.002
Bar offset -1.5
Lux_B scale 0.75
CCT_F_strm channel-scales 1.5 2.5 3.5 4.5 5.5
CCT_B_strm golden 10 20 30 40 50 60 70
Prx near 327
Prx crosstalk-file-1 41
Prx delta-file 12
ROWS

# The panel's levels have a version each: the message names the level.
for level in version-high=w1=13f version-low=w1=14f; do
  run 0 get Lux "${level%%=*}" --hub-log messages
  run 0 hub log messages
  has out " version-light +.*${level#*=}"
  rm messages
done

run 0 get Acc
has out '^Acc +offset +0\.01  -0\.02  0\.005 +m/s\^2 ' '^Acc +version '

# One that the hub holds all the same is the reason why nothing can be calibrated, not how the phone lies.
run 0 hub send Acc set-acc-offset 0 1e9 0
run 1 calibrate Acc --speed max --json
json out '[r["code"] for r in d["steps"][1]["attempts"][0]["reasons"]] == ["value.outside", "sensor.unsettled"]' \
  'd["steps"][1]["attempts"][0]["reasons"][0]["text"] == "before the run the hub held 1e+09 m/s^2 as offset, which goes from -2 to 2 m/s^2"' \
  'd["steps"][1]["attempts"][0]["hints"][0]["text"] == "write one that can be, and calibrate again: sensorcal set Acc offset 0 0 0"'
run 0 set Acc offset 0 0 0
run 0 calibrate Acc --speed max
