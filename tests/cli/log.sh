#!/usr/bin/env bash
# `--log` keeps the library's lines, letter for letter, in logcat's threadtime form.
source "$(dirname "$0")/lib.sh"

day=$(date +%m-%d)
run 0 calibrate Acc --speed max --log run.log
head="($day|$(date +%m-%d))"' [0-9]{2}:[0-9]{2}:[0-9]{2}\.[0-9]{3} +[0-9]+ +[0-9]+'
! grep -Evq "^$head [DIE] libsensor_cal(api)?: " run.log || fail "a line that is not threadtime's in run.log"
has run.log "^$head I libsensor_cal: SensorCalibrationAPI: struct init$" \
  "^$head I libsensor_cal: \[sensor_calibrate\] type = 1, param = 0$" \
  "^$head D libsensor_calapi: enter setAMGOffset_api type=1, offset= -?[0-9.]+,-?[0-9.]+,-?[0-9.]+$" \
  "^$head I libsensor_cal: calibrate sensor\(type=1\) successfully, offset=-?[0-9.]+,-?[0-9.]+,-?[0-9.]+$" \
  "^$head I libsensor_cal: sensor_cal_deinit $"
[ "$(grep -c ' I libsensor_cal: SENSOR_TYPE_ACCELEROMETER data: {' run.log)" = 53 ] || fail "not 53 events in run.log"
# The events come on a thread of their own.
[ "$(grep -E 'data: \{|sensor_calibrate\]' run.log | awk '{print $4}' | sort -u | wc -l)" = 2 ] || fail "not two threads"
[ ! -s err ] || fail "log lines on stderr"

run 2 get Acc --log no/such/folder.log
has err '^sensorcal: --log no/such/folder\.log: /.*/no/such: No such file or directory$'
