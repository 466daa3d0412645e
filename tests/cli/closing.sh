#!/usr/bin/env bash
# The last screen of a small terminal says whose phone it was, what came of it, and of a bad one what to try.
source "$(dirname "$0")/lib.sh"

python3 - >steps <<'PYTHON'
step = '{"calibrate": "%s", "repeat": 2, "on_failure": "go on"}'
tags = ['Acc', 'Acc2', 'Gyr', 'Gyr2', 'Lux', 'Lux_F', 'Lux_B', 'Lux_sec']
print('{"format": "sensorcal.plan/1", "name": "many", "steps": [' + ', '.join(step % tag for tag in tags) + ']}')
PYTHON
mv steps plan.json

# on_terminal ARGUMENTS...: the screen of 80x24 as it stands at the end.
on_terminal() {
  called=$*
  python3 - "$sensorcal" "$@" >out <<'PYTHON'
import fcntl
import os
import pty
import re
import struct
import sys
import termios

child, terminal = pty.fork()
if child == 0:
    fcntl.ioctl(1, termios.TIOCSWINSZ, struct.pack('HHHH', 24, 80, 0, 0))
    os.environ['NO_COLOR'] = '1'
    os.execv(sys.argv[1], sys.argv[1:])
shown = b''
try:
    while part := os.read(terminal, 4096):
        shown += part
except OSError:
    pass
lines = [re.sub('.*\r|\x1b\\[K', '', line.rstrip('\r')) for line in shown.decode().split('\n')]
wide = [line for line in lines if len(line) > 80]
assert not wide, wide
print('\n'.join(lines[-24:]))
PYTHON
}

on_terminal run plan.json --speed max --serial SN77
has out '^serial SN77: PASSED in [0-9.]+ s$'
on_terminal run plan.json --speed max --serial SN77 --fault enable-refused
has out '^serial SN77: FAILED in [0-9.]+ s$' '^  \[1\] calibrate Acc: .*enabled' '^    try: ' '^  [1-7] steps more did not pass$'
on_terminal run plan.json --speed max
has out '^no serial number: PASSED in [0-9.]+ s$'
