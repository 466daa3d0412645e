# Sourced by every script here, which ctest runs as `bash SCRIPT SENSORCAL DATA`: a folder of its own with a new phone,
# and checks that say what they saw.
set -euo pipefail

sensorcal=$1
recordings=$2/recordings
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
export SENSORCAL_PHONE=$work/phone
unset NO_COLOR

fail() {
  echo "$(basename "$0"): $*" >&2
  echo "-- stdout" >&2
  cat out >&2
  echo "-- stderr" >&2
  cat err >&2
  exit 1
}

# As somebody who may write where a folder lets them, which root has to give up a capability for.
unprivileged=(setpriv --bounding-set=-dac_override --inh-caps=-dac_override)
[ "$(id -u)" = 0 ] || unprivileged=()

# run CODE ARGUMENTS...: runs sensorcal, by the command `under` and with the file `input`, keeps its output in the files out
# and err, and checks its exit code.
under=()
run() {
  local wanted=$1 code=0
  shift
  called=$*
  "${under[@]}" "$sensorcal" "$@" >out 2>err <"${input:-/dev/null}" || code=$?
  [ "$code" = "$wanted" ] || fail "sensorcal $called: exit code $code, not $wanted"
}

# on_terminal CODE COLUMNS SECONDS ARGUMENTS...: likewise on a terminal of its own, with Ctrl-C after so many seconds where
# it is still there. out has all that was shown, no line of it wider than the terminal.
on_terminal() {
  local wanted=$1 code=0
  called="${*:4}, on a terminal"
  python3 - "$sensorcal" "${@:2}" >out <<'PYTHON' || code=$?
import fcntl
import os
import pty
import re
import select
import struct
import sys
import termios
import time

program, columns, seconds, *arguments = sys.argv[1:]
child, terminal = pty.fork()
if child == 0:
    fcntl.ioctl(1, termios.TIOCSWINSZ, struct.pack('HHHH', 24, int(columns), 0, 0))
    os.execv(program, [program, *arguments])
shown, end = b'', time.monotonic() + float(seconds)
try:
    while True:
        if select.select([terminal], [], [], max(0, end - time.monotonic()))[0]:
            shown += os.read(terminal, 4096)
        else:
            os.write(terminal, b'\x03')
            end += 60
except OSError:  # it has ended
    text = shown.decode().replace('\r\n', '\n')
print(text, end='')
wide = [line for line in re.split('[\r\n]', re.sub('\x1b\\[[0-9;]*[A-Za-z]', '', text)) if len(line) > int(columns)]
sys.exit(f'wider than {columns}: {wide}' if wide else os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]))
PYTHON
  [ "$code" = "$wanted" ] || fail "sensorcal $called: exit code $code, not $wanted"
}

# ends CODE SIGNAL PID: a program that runs beside ends so within three seconds of the signal.
ends() {
  local start code=0 took
  start=$(date +%s%N)
  kill "-$2" "$3"
  wait "$3" || code=$?
  took=$((($(date +%s%N) - start) / 1000000))
  echo "$called: ended $took ms after SIG$2; the aim is 200"
  # The thread sanitizer alone waits for a second before it lets a process end.
  [ "$code" = "$1" ] && [ $took -lt 3000 ] || fail "sensorcal $called, SIG$2: exit code $code after $took ms"
}

# has FILE PATTERN..., lacks FILE PATTERN...: extended regular expressions, each on a line of its own or part of one.
has() {
  local file=$1 pattern
  shift
  for pattern; do grep -Eq -- "$pattern" "$file" || fail "sensorcal $called: no /$pattern/ in $file"; done
}
lacks() {
  local file=$1 pattern
  shift
  for pattern; do ! grep -Eq -- "$pattern" "$file" || fail "sensorcal $called: /$pattern/ in $file"; done
}

# json FILE EXPRESSION...: the file is JSON, and the Python expressions about it (as `d`) hold.
json() {
  python3 - "$@" <<'PYTHON' || fail "sensorcal $called: not the JSON that was wanted"
import json
import sys

d = json.load(open(sys.argv[1]), parse_constant=lambda name: sys.exit(f'{name} is no JSON'))
for expression in sys.argv[2:]:
    if not eval(f'({expression})'):
        sys.exit(f'does not hold: {expression}')
PYTHON
}
