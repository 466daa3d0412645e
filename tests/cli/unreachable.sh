#!/usr/bin/env bash
# A phone or a service that cannot be reached ends with 3.
source "$(dirname "$0")/lib.sh"

run 3 hub send Acc get-acc-offset --seed 1 --fault hub-absent
run 3 sensors --fault list-refused
has err '^sensorcal: the sensor list could not be read'
run 3 sensors --fault sensors-absent
[ ! -s out ] || fail "something on stdout"

# A probe that nobody answers says nothing of the chip.
run 3 tof 5 --speed max --fault sensors-vanish:2
cp out unheard.out
run 3 calibrate Prx --param 5 --speed max --fault sensors-fail:2
cat unheard.out >>out
has out 'the sensor service is gone; nothing was sent'
lacks out 'no time-of-flight part'

# One process at a time holds a phone.
"$sensorcal" calibrate Acc --fault silent:Acc >first.out 2>&1 &
holder=$!
until grep -qs " $holder\$\|^$holder" phone/.lock || ! kill -0 $holder 2>/dev/null; do sleep 0.02; done
run 3 sensors
has err "^sensorcal: the phone $work/phone is held by process $holder; wait until it ends"
kill -INT $holder
wait $holder || true
run 0 sensors
