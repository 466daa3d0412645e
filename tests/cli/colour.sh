#!/usr/bin/env bash
# Colour and progress are for terminals; NO_COLOR is respected.
source "$(dirname "$0")/lib.sh"

escape=$'\033'

run 0 calibrate Acc --speed 20
lacks out "$escape" '#\.'
[ ! -s err ] || fail "something on stderr"

on_terminal 0 80 100 calibrate Acc --speed 20
has out "$escape\\[32mpassed" ' [0-9]+ events'
NO_COLOR=1 on_terminal 0 80 100 calibrate Acc --speed 20
lacks out "$escape\\[[0-9]+m"
has out 'passed  calibrate Acc' ' [0-9]+ events'
NO_COLOR='' on_terminal 0 80 100 calibrate Acc --speed 20
has out "$escape\\[32mpassed"
