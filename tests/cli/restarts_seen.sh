#!/usr/bin/env bash
# Who watches the terminal reads why a run starts anew while it does; nobody else is told of it before the end.
source "$(dirname "$0")/lib.sh"

# on_terminal SECONDS COLUMNS ARGUMENTS...: what the live line said within so many seconds, one text a line, then Ctrl-C.
on_terminal() {
  called=$*
  python3 - "$sensorcal" "$@" >out <<'PYTHON'
import fcntl
import os
import pty
import re
import select
import struct
import sys
import termios
import time

program, seconds, columns, *arguments = sys.argv[1:]
child, terminal = pty.fork()
if child == 0:
    fcntl.ioctl(1, termios.TIOCSWINSZ, struct.pack('HHHH', 24, int(columns), 0, 0))
    os.execv(program, [program, *arguments])
shown = b''
end = time.monotonic() + float(seconds)
while (left := end - time.monotonic()) > 0:
    if select.select([terminal], [], [], left)[0]:
        shown += os.read(terminal, 4096)
os.write(terminal, b'\x03')
os.waitpid(child, 0)
lines = re.findall('\r\x1b\\[K([^\r\n]+)', shown.decode())
assert all(len(line) < int(columns) for line in lines), lines
print('\n'.join(dict.fromkeys(lines)))
PYTHON
}

on_terminal 2 100 calibrate Acc --fault motion:Acc,8 --speed 4
has out '\] calibrate Acc  [xyz] moves: [0-9.]+ is above [0-9.]+ m/s\^2: set it down still$'
# A few a second can be read.
said=$(grep -c ' moves: ' out)
[ "$said" -ge 2 ] && [ "$said" -le 6 ] || fail "$said texts in 2 s"
on_terminal 1.5 200 calibrate Acc --fault stuck:Acc --speed 4
has out '[xyz] repeats one value: look at its driver$'
on_terminal 1.5 200 calibrate Acc --world up=tilted:60 --speed 4
has out '[xyz] is off: [0-9.]+ is above [0-9.]+ m/s\^2: lay it flat and still$'

run 1 calibrate Acc --fault motion:Acc,8 --speed max
lacks out ' moves: '
lacks err .
