#!/usr/bin/env bash
# Colour and progress are for terminals; NO_COLOR is respected.
source "$(dirname "$0")/lib.sh"

on_terminal() {
  python3 - "$@" <<'PYTHON' >out
import os
import pty
import sys

def read(fd):
    return os.read(fd, 4096)

sys.exit(os.waitstatus_to_exitcode(pty.spawn(sys.argv[1:], read)))
PYTHON
}
escape=$'\033'

run 0 calibrate Acc --speed 20
lacks out "$escape" '#\.'
[ ! -s err ] || fail "something on stderr"

called='calibrate Acc on a terminal'
on_terminal "$sensorcal" calibrate Acc --speed 20
has out "$escape\\[32mpassed" ' [0-9]+ events'
NO_COLOR=1 on_terminal "$sensorcal" calibrate Acc --speed 20
lacks out "$escape\\[[0-9]+m"
has out 'passed  calibrate Acc' ' [0-9]+ events'
NO_COLOR='' on_terminal "$sensorcal" calibrate Acc --speed 20
has out "$escape\\[32mpassed"
