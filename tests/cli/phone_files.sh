#!/usr/bin/env bash
# What stands in the place of a phone's own files: nothing of it is taken for a missing file, waited for or lost.
source "$(dirname "$0")/lib.sh"
phone=$SENSORCAL_PHONE
persist=$phone/mnt/vendor/persist/sensors

run 0 set Prx crosstalk-file-1 11 --speed max --profile normal-proximity
run 0 set Bar offset 1 --speed max

# A file that is there but cannot be reached is named, and all stays as it is.
for file in state.json profile.json build.prop hub_registry.json properties; do
  for bad in loop nowhere folder fifo; do
    [ ! -e "$phone/$file" ] || mv "$phone/$file" kept
    case $bad in
      loop) ln -s "$file" "$phone/$file" ;;
      nowhere) ln -s nowhere "$phone/$file" ;;
      folder) mkdir "$phone/$file" ;;
      fifo) mkfifo "$phone/$file" ;;
    esac
    run 3 set Bar offset 2 --speed max
    has err "/$file\\b"
    lacks err 'made anew'
    [ -L "$phone/$file" ] || [ -d "$phone/$file" ] || [ -p "$phone/$file" ] || fail "$bad at $file was replaced"
    rm -d "$phone/$file"
    [ ! -e kept ] || mv kept "$phone/$file"
  done
done
run 0 get Bar offset --json --speed max
json out 'd["stored"][0]["values"] == [1.0]'
has "$persist/PSensor_ct1.txt" 11

# Faults laid one over the other, in any order, leave the calibration files as they were.
run 0 set Prx delta-file 77 --speed max
run 0 set Prx crosstalk-file-2 12 --speed max
cp -r "$persist" before
same() { diff -r before "$persist" >out 2>err || fail "the calibration files changed: $*"; }
for first in persist-full persist-read-only persist-absent; do
  for second in persist-full persist-read-only persist-absent; do
    timeout 20 "$sensorcal" get Prx --speed max --fault $first --fault $second >out 2>err </dev/null ||
      [ $? -lt 124 ] || fail "$first, $second: hangs"
    same "$first, $second"
    run 0 get Prx --speed max
    same "$first, $second, and opened again"
  done
done
for first in persist-full persist-read-only; do
  run 0 get Prx --speed max --fault $first --fault truncated:/mnt/vendor/persist/sensors/PSensor3cm_ct.txt
  [ -s "$persist/PSensor3cm_ct.txt" ] || fail "$first, truncated: nothing is left"
  cmp -s "$persist/PSensor_ct1.txt" before/PSensor_ct1.txt || fail "$first, truncated: another file changed"
  cp before/* "$persist"
done

# A fault of a property is in no file: a process that is killed leaves nothing of it.
"$sensorcal" watch Acc --seconds 30 --fault property:ro.build.product=other --fault no-property:ro.product.product.name \
  >out 2>err </dev/null &
for _ in $(seq 200); do [ ! -s out ] || break; sleep 0.05; done
[ -s out ] || fail 'nothing was watched'
kill -9 $!
wait $! 2>/dev/null || true
echo '{"format": "sensorcal.plan/1", "name": "names", "for": ["normal"], "steps": [{"probe": "rgb", "expect": false}]}' >names.json
run 0 run names.json --speed max --json
json out 'd["phone"]["properties"]["ro.product.product.name"] == "normal"'

# A user's own links: kept at an opening, and never followed out of the phone by a reset.
cp before/PSensor_ct1.txt mine
ln -sf "$work/mine" "$persist/PSensor_ct1.txt"
run 0 get Prx --speed max
[ -L "$persist/PSensor_ct1.txt" ] || fail "a user's own link was removed"
mkdir victim
echo x >victim/keep.txt
for at in "$persist" "$(dirname "$persist")"; do
  mv "$at" away
  ln -s "$work/victim" "$at"
  run 3 factory-reset
  has err "$at: a link in the place of a folder"
  [ "$(find victim)" = $'victim\nvictim/keep.txt' ] || fail "a reset changed what a link led to"
  rm "$at"
  mv away "$at"
done
run 0 get Bar offset --json --speed max
json out 'd["stored"][0]["values"] == [1.0]'

# The hub's store cannot be kept: nothing passes, and the old values stay.
export SENSORCAL_PHONE=$work/full
run 0 calibrate Acc Bar Lux --speed max --seed 7
run 0 hub state --json
cp out kept.json
mkdir "$SENSORCAL_PHONE/hub_registry.json.new"
run 1 set Bar offset 1
run 1 calibrate Acc --speed max
has out 'failed when set offset to hub'
run 1 calibrate Lux --param 13 --speed max
run 0 hub state --json
cmp -s out kept.json || fail 'the store changed'

# A folder in the place of the verdict table is no empty table.
rm "$SENSORCAL_PHONE/vendor/etc/sensors/judge_calibrated.json"
mkdir "$SENSORCAL_PHONE/vendor/etc/sensors/judge_calibrated.json"
run 1 judge
has err 'the verdict table .* cannot be read'

# A step that is killed while the light sensor's file may be written leaves what that held; one that ends does not.
light=$phone/mnt/vendor/nvcfg/sensor/lightSensorCali.json
cat >golden.json <<'END'
{"format": "sensorcal.plan/1", "name": "golden", "steps": [{"fixture": {"lux": "200 lux", "cct": "4000 K"}},
 {"calibrate": "CCT_F_strm", "golden": [800, 1200, 600, 2000, 400, 300, 200]}]}
END
export SENSORCAL_PHONE=$phone
rm -rf "$phone"
"$sensorcal" run golden.json --speed 0.5 --seed 3 >out 2>err </dev/null &
for _ in $(seq 200); do [ ! -e "$light.before" ] || break; sleep 0.05; done
[ -e "$light.before" ] || fail "no copy while the step runs"
cp "$light" light.kept
kill -9 $!
wait $! 2>/dev/null || true
cmp "$light.before" light.kept || fail 'no copy from before the step'
run 0 files
has out 'whole; .*takes away the copy'
printf '{"als": {' >"$light"
run 1 files
has out 'no JSON; .*puts back what it held before'
run 1 run golden.json --speed max
has out 'was cut off while it was written; nothing was changed' 'sensorcal files --repair'
run 0 files --repair
cmp "$light" light.kept || fail 'the copy was not put back'
[ ! -e "$light.before" ] || fail 'the copy was left'
status=0
"$sensorcal" run golden.json --speed max >out 2>err </dev/null || status=$?
[ ! -e "$light.before" ] || fail "a run that ended with $status left its copy"

# A phone in a folder that may not be written can be looked at.
export SENSORCAL_PHONE=$work/shelf
run 0 calibrate Acc --profile reference --speed max
under=("${unprivileged[@]}")
chmod -R a-w shelf
find shelf -type f -exec md5sum {} + >before.md5
for command in 'get Acc' report 'hub state' files judge; do
  # shellcheck disable=SC2086
  run "$([ "$command" = report ] && echo 1 || echo 0)" $command
done
run 0 sensors
has out '^note: .*/shelf cannot be written: what changes is not kept$'
lacks out 'another process'
for command in 'calibrate Acc' reboot factory-reset; do
  # shellcheck disable=SC2086
  run 3 $command
  has err '^sensorcal: .*/shelf'
done
run 1 hub send Acc set-acc-offset 1 1 1
md5sum --quiet -c before.md5 || fail 'a phone that was looked at is another one'
exec 5<shelf/.lock
flock -x 5
run 3 sensors
has err 'the phone .*/shelf is held by process'
exec 5<&-
chmod u+w shelf && rm -f shelf/.lock && chmod u-w shelf
run 0 sensors
has out '^note: .*/shelf/\.lock is missing: another process may be changing the phone$'
chmod -R u+w shelf
