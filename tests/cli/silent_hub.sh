#!/usr/bin/env bash
# What a hub that does not answer gave is believed nowhere: zeros are a good result, and a good value.
source "$(dirname "$0")/lib.sh"
export SENSORCAL_PHONE=$work/phone

# not_known FAULT CODE... -- ARGUMENTS...: ends with 3 and says that nothing is known.
not_known() {
  local fault=$1
  shift
  run 3 "$@" --speed max --fault "$fault"
  cat err >>out
  has out 'the sensor hub (does not answer|did not answer 1 message)|the sensor test service is gone'
  lacks out 'passed  (calibrate|write)'
}

run 0 calibrate Acc Gyr --speed max --seed 7
run 0 get Acc offset --json --phone "$SENSORCAL_PHONE"
cp out acc.json
for fault in hub-fail hub-vanish:0; do
  not_known $fault selftest Acc
  not_known $fault sar
  not_known $fault sar --soft
  not_known $fault sar --register 3 4
  not_known $fault tof 5
  not_known $fault channel Lux 0 100
  not_known $fault collect
  not_known $fault get Acc offset
  not_known $fault set Acc offset 0 0 0
  run 3 calibrate Acc --param 4 --speed max --fault $fault
  run 3 calibrate Lux --param 12 --speed max --fault $fault
done
not_known hub-fail:8 selftest Acc
not_known hub-fail:11 sar
not_known hub-fail:1 get Acc offset
not_known hub-fail:0 set Acc offset 0 0 0
lacks out 'was written'  # the true reason alone
run 0 get Acc offset --json
cmp -s out acc.json || fail 'the offset changed'

# A code that is lost when the old values are read: nothing is changed, and no zeros are taken for them.
run 0 get Gyr offset --json
cp out gyr.json
run 3 calibrate Gyr --speed max --fault hub-fail:3
has out 'did not answer 1 message; nothing was changed'
run 0 get Gyr offset --json
cmp -s out gyr.json || fail 'the offset changed'

# A run of the hub's own that does not end, and one that ends badly.
run 1 calibrate CCT_F_strm --phone colour --profile hub-colour --speed max --fault hub-word:40,0,-1
has out "why: the hub's own colour run did not end in 4.5 s"
run 1 calibrate CCT_F_strm --phone colour --speed max --fault hub-word:40,0,5
has out "why: the hub's own colour run ended with error 5"
