#!/usr/bin/env bash
# What a run leaves behind is left whatever becomes of its output, and an output that is lost does not go unnoticed.
source "$(dirname "$0")/lib.sh"

cat >plan.json <<'PLAN'
{"format": "sensorcal.plan/1", "name": "short", "steps": [{"calibrate": "Acc"}, {"calibrate": "Gyr"}]}
PLAN

called='run, its output full'
code=0
"$sensorcal" run plan.json --speed max --json >/dev/full 2>err || code=$?
touch out
[ "$code" = 3 ] || fail "exit code $code"
has err '^sensorcal: standard output cannot be written$'

# A reader that has gone before the first line is written.
called='run, its reader gone'
mkfifo pipe
exec 3<>pipe
exec 4>pipe 3<&-
"$sensorcal" run plan.json --speed max --json --record recording --junit result.xml >&4 2>err 4>&- || code=$?
exec 4>&-
[ -s result.xml ] && [ -e recording ] || fail 'the run left nothing'
run 0 replay recording

# What can be known is told before the phone is touched.
rm -rf phone
for variable in SENSORCAL_STORE SENSORCAL_PHONE; do
  export $variable=
  run 2 run plan.json
  has err "^sensorcal: $variable is set, and empty: give it a value, unset it, or give --(store|phone)$"
  unset $variable
  export SENSORCAL_PHONE=$work/phone
done
mkdir shut
chmod 555 shut
under=("${unprivileged[@]}")
for option in --html --junit --csv --record --log --hub-log --store; do
  run 2 run plan.json $option shut/made
  [ ! -e phone ] || fail 'a phone was made all the same'
  where="$option (/.*/)?shut/made: /.*/shut cannot be written"
  [ $option != --store ] || where='shut/made: cannot be written'
  has err "^sensorcal: $where: Permission denied$"
done
run 2 run plan.json --store postgresql://nobody@127.0.0.1:1/x --spool shut/s.db
has err '^sensorcal: the spool shut/s\.db: cannot be written: Permission denied; name another one with --spool FILE$'
export XDG_STATE_HOME=$work/shut
run 2 run plan.json --store postgresql://nobody@127.0.0.1:1/x
has err '^sensorcal: no place for runs that wait: .*/shut/sensorcal cannot be made: Permission denied; name one with --spool FILE$'
unset XDG_STATE_HOME
under=()
# Ctrl-C while a server is waited for, when the run is over and told.
called='run, interrupted while it waits for its server'
python3 - "$sensorcal" <<'PYTHON' || fail 'it waited on'
import json
import signal
import socket
import subprocess
import sys
import time

server = socket.create_server(('127.0.0.1', 0))  # answers nobody
store = f'postgresql://nobody@127.0.0.1:{server.getsockname()[1]}/none'
run = subprocess.Popen([sys.argv[1], 'run', 'plan.json', '--speed', 'max', '--json', '--store', store, '--spool', 'spool.db'],
                       stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                       preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL))
record = b''
while not record.endswith(b'\n}\n'):
    record += run.stdout.readline()
connection = server.accept()  # and stays silent
time.sleep(0.1)
sent = time.monotonic()
run.send_signal(signal.SIGINT)
run.communicate(timeout=20)
took = time.monotonic() - sent
assert json.loads(record)['verdict'] == 'passed' and run.returncode == 130 and took < 1, (run.returncode, took)
PYTHON

run 2 run plan.json --speed max --serial $'A\nB'
has err '^sensorcal: --serial: a serial number has no line feed'

# What a plan says is shown on a terminal, not sent to it, and its colours are the program's own.
printf '{"format": "sensorcal.plan/1", "name": "p\\u001b[31m", "steps": [{"calibrate": "Acc", "name": "a\\u001b[2J\\u009b3m\\u202e"}]}' >escape.json
script -qc "$sensorcal run escape.json --speed max" /dev/null >out </dev/null || fail "the plan with escapes: ended with $?"
has out 'a\\u001b\[2J\\u009b3m\\u202e' $'\e''\[32mPASSED'
lacks out $'\e''\[2J' $'\xe2\x80\xae'
