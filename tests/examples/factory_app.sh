#!/usr/bin/env bash
# The example on good and failing phones, and without a phone: exit code and what it says.
#   factory_app.sh FACTORY_APP FACTORY_APP_ON_HOST
set -euo pipefail
app=$1 on_host=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# says CODE LINES COMMAND...: the command ends with the code, its output is these lines (extended regular expressions), and
# log lines go to the standard error.
says() {
  local wanted=$1 lines=$2 code=0 out log
  shift 2
  log=$(mktemp -p "$work")
  out=$("$@" 2>"$log") || code=$?
  [[ $code = "$wanted" && $out =~ ^$lines$ ]] &&
    grep -Eq '^[0-9]{2}-[0-9]{2} [0-9:]{8}\.[0-9]{3} +[0-9]+ +[0-9]+ I libsensor_cal: SensorCalibrationAPI: struct init$' "$log" && return
  echo "$*: ended with $code, not $wanted, or did not say:" "$lines" "but:" "$out" >&2
  tail -n 20 "$log" >&2
  return 1
}

acc='Acc calibrated:( -?[0-9]\.[0-9]{5}){3}' lux='Lux calibrated: [01]\.[0-9]{5}'
nl=$'\n'
says 0 "$acc$nl$lux${nl}report 1010{8}: Acc 1 Lux 1" "$on_host"
# The positions of the report that are switched off are not counted, and not taken for good.
says 0 "$acc$nl$lux${nl}report 010: Acc - Lux 1" "$on_host" property:persist.vendor.sensor.cali_sensor=0x110
says 1 "Acc FAILED: the run could not start: .*$nl$lux${nl}report 0010{8}: Acc 0 Lux 1" "$on_host" enable-refused:Acc
says 1 "Acc FAILED: no event came within 5 s$nl$lux$nl.*" "$on_host" silent:Acc &
silent=$!
says 1 "Acc FAILED: [0-9]+ events within 5 s, but no 50 samples that pass the limits$nl.*" "$on_host" stuck:Acc
wait $silent
says 1 "Acc FAILED: .* the hub refused them$nl.*" "$on_host" hub-word:0,0,1
says 1 "$acc${nl}Lux FAILED: the hub does not hold what was sent to it$nl.*" "$on_host" hub-fail:9
says 1 "Acc FAILED: the sensor delivered what is not a number$nl.*" "$on_host" nan:Acc
says 3 'not ready: the sensor service does not answer' "$on_host" sensors-absent
says 3 'not ready: the sensor test service does not answer' "$on_host" hub-absent
says 3 'not ready: the sensor list could not be read' "$on_host" list-refused
says 3 'not ready: the sensor service gave no event queue' "$on_host" queue-refused
says 3 'not ready: the sensor service does not answer' "$app"
