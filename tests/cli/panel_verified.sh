#!/usr/bin/env bash
# A level of the panel's light passes only when its run came to its end with numbers and, once both levels are there,
# when the plain light shows that they hold. A level that does not pass stays in the hub, and that is said.
source "$(dirname "$0")/lib.sh"

stays='note: not undone: the panel level in the hub'
for sensor in Lux Lux_pri2; do
  run 0 calibrate $sensor --speed max
  run 0 calibrate $sensor --param 13 --speed max
  cp -r phone $sensor.full  # with the first level alone
  lacks out "$stays"
  run 0 calibrate $sensor --param 14 --speed max
done

# refused CODE SENSOR LEVEL FAULT PATTERN...: on a phone that is good but for the fault. 1 is a failure, 3 an error. Side by
# side, since some wait until a time is over.
jobs=()
refused() {
  local words=([1]=failed [3]=error) code=$1 sensor=$2 level=$3 fault=$4
  shift 4
  (
    cp -r "$sensor.full" "phone.${#jobs[@]}"
    mkdir "${#jobs[@]}" && cd "${#jobs[@]}"
    run "$code" calibrate "$sensor" --param "$level" --speed max --fault "$fault" --phone "../phone.${#jobs[@]}"
    has out "${words[code]}  calibrate $sensor, panel" "$@"
  ) &
  jobs+=($!)
}

# The library sends a level even where its run brought nothing.
refused 3 Lux 14 queue-never 'why: the sensor service gave no event queue' 'try: the sensor service refuses' "$stays"
refused 3 Lux_pri2 14 queue-never 'why: the sensor service gave no event queue' "$stays"
refused 1 Lux 14 enable-refused 'why: the sensor could not be enabled' 'try: the sensor service refuses' "$stays"
refused 1 Lux 14 silent 'why: no event came from the sensor until the time was over' 'try: the sensor is silent' "$stays"
refused 3 Lux 14 sensors-vanish:2 'why: the sensor service is gone' 'why: the sensor could not be enabled' "$stays"

# The run is good, and the plain light cannot be looked at.
refused 1 Lux 14 silent:Lux 'why: not verified: plain light at full brightness: only 0 of 5 fresh samples came$' \
  'try: the sensor is silent' "$stays"
refused 1 Lux 14 wrong-type:Lux 'why: not verified: plain light .* and events of other sensors' \
  'try: the sensor service mixes its sensors up' "$stays"
refused 1 Lux 14 enable-refused:Lux 'why: not verified: plain light .* could not be enabled' \
  'try: the sensor service refuses' "$stays"
refused 1 Lux 14 nan:Lux 'why: not verified: plain light at full brightness is not a number' "$stays"

# No numbers, or no light of a panel that is lit.
for fault in nan nan:33171007; do
  refused 1 Lux 13 $fault 'why: 15 of 15 events are not numbers' 'try: the sensor delivers values that are no numbers' \
    "$stays"
done
refused 1 Lux 14 nan:33171007 'why: 15 of 15 events are not numbers' "$stays"
for level in 13 14; do
  refused 1 Lux $level stuck 'why: the sensor sees no light of the panel at brightness (4095|3072)' \
    'try: the sensor is stuck' "$stays"
done

# Nothing reached the hub, so nothing stays there.
refused 1 Lux 13 brightness-clamped:2000 'why: the panel did not take the brightness .* nothing was sent to the hub'
for job in "${jobs[@]}"; do wait "$job"; done
lacks "$((${#jobs[@]} - 1))/out" "$stays" 'not verified' 'sees no light'

# By colour.
rm -rf phone
run 0 calibrate Lux --param 13 --speed max --profile colour-backlight
cp -r phone full
for fault in nan:33171007 stuck:33171007; do
  rm -rf phone
  cp -r full phone
  run 1 calibrate Lux --param 14 --speed max --fault $fault
  has out 'failed  calibrate Lux, panel' 'why: (15 of 15 events|the sensor sees no light)' "$stays"
done

# A panel of one lux: its lower level is none, and right so.
cat >faint.json <<'JSON'
{"extends": "reference", "name": "faint", "title": "A faint panel", "properties": {},
 "chips": {"main light": {"gain": 1, "panel_lux": 1.2}}, "sensors": {}}
JSON
rm -rf phone
run 0 calibrate Lux --param 13 --speed max --profile faint.json
run 0 calibrate Lux --param 14 --speed max
has out 'light  0.00000'
