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

# What was asked for and cannot be delivered: 3 where the phone is good, and told; a bad phone is a bad phone.
for lost in --log --hub-log --html --junit; do
  run 3 run plan.json --speed max $lost /dev/full
  has err "^sensorcal: $lost /dev/full: (lines are missing|cannot be written): No space left on device$"
  has out 'serial number: PASSED in '
  run 1 run plan.json --speed max --fault nan:Acc $lost /dev/full
done

# A reader that has gone before the first line is written.
called='run, its reader gone'
mkfifo pipe
exec 3<>pipe
exec 4>pipe 3<&-
"$sensorcal" run plan.json --speed max --json --record recording --junit result.xml >&4 2>err 4>&- || code=$?
exec 4>&-
[ -s result.xml ] && [ -e recording ] || fail 'the run left nothing'
run 0 replay recording

# What can be known is told before the phone is touched; each file is written even where another one cannot be.
rm -rf phone
run 2 run plan.json --html nowhere/run.html
has err '^sensorcal: --html .*/nowhere/run\.html: .*/nowhere: No such file or directory$'
run 2 run plan.json --html -
has err "^sensorcal: --html -: is no file's name; standard output is /dev/stdout$"
run 2 run plan.json --csv plan.json
has err '^sensorcal: --csv .*/plan\.json: is no folder$'
run 2 run plan.json --retest-of foo
has err '^sensorcal: --retest-of foo: is no id of a run'
run 2 run .
has err '^sensorcal: \.: is a folder$'
[ ! -e phone ] || fail 'a phone was made all the same'
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
run 3 run plan.json --speed max --html /dev/full --junit after.xml
has err '^sensorcal: (--[a-z]+ )?/dev/full: cannot be written'
[ -s after.xml ] || fail 'the files after it are missing'

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

# An empty text is a variable that was not set; a name can be made from the run, but not from what is not known yet.
run 2 run plan.json --speed max --store ''
has err '^sensorcal: --store: the text is empty: give one, or leave --store out$'
for option in --serial --store --phone --html; do
  run 2 run plan.json $option --json
  has err "^sensorcal: $option: its text is missing, --json is an option$"
done
[ ! -e --json ] || fail 'an option was taken for a file'
run 2 run plan.json --speed max --html 'page-{serail}.html'
has err 'page-\{serail\}\.html: there is no \{serail\}; did you mean \{serial\}\?$'
run 2 run plan.json --speed max --html '{foo}'
has err '/\{foo\}: there is no \{foo\}; known are \{serial\}, \{started\}, \{plan\}, \{verdict\}$'
run 2 run plan.json --speed max --record 'run-{verdict}'
has err '^sensorcal: --record .*run-\{verdict\}: the verdict is not known before the run$'
run 0 run plan.json --speed max --serial ' A/1 ' --csv '{serial}' --html '{serial}-{verdict}.html' --record 'run-{serial}'
[ -s A%2F1-passed.html ] && [ -s run-A%2F1/record.json ] || fail 'files are not named after the run'
run 2 run plan.json --speed max --csv A%2F1
has err 'holds a run already'
run 3 run plan.json --speed max --serial A/1 --csv '{serial}' # known only once the run is over
has out 'PASSED' && has err 'A%2F1: holds a run already'
run 2 run plan.json --speed max --serial $'A\nB'
has err '^sensorcal: --serial: a serial number has no line feed'
run 2 run plan.json --speed max --serial "$(printf '%065d' 1)"
has err '^sensorcal: --serial: a serial number has at most 64 characters, this one 65$'
run 0 run plan.json --speed max --serial "$(printf '/%.0s' {1..64})" --html '{serial}-{started}-{verdict}.html'

# What never ends, or is far too large, is refused by its name.
run 2 run /dev/zero
has err '^sensorcal: /dev/zero: File too large$'
run 2 show /dev/zero
has err '^sensorcal: /dev/zero: File too large$'
run 2 sensors --phone other --profile /dev/zero
has err '/dev/zero: File too large$'
run 2 sensors --phone other --profile .
has err 'is a folder, no profile$'

# An output that is named like what is read, or like another output, destroys neither.
run 0 run plan.json --speed max --serial A --store runs.db --html page.html --junit result.xml --log log --hub-log hub
run 0 run plan.json --speed max --serial B --store runs.db --html page.html --junit result.xml --log log --hub-log hub
has err '^sensorcal: .*/page\.html: what it held \(PASSED · A · short\) is replaced; \{serial\}-\{started\} in its name' \
  '^sensorcal: .*/result\.xml: what it held \(A\) is replaced; '
for wrong in '--html runs.db' '--html plan.json' '--junit page.html' '--hub-log plan.json' '--log plan.json'; do
  cp "${wrong#* }" before
  run 2 run plan.json --speed max --store runs.db $wrong
  has err "^sensorcal: ${wrong%% *} .*${wrong#* }: is there already, and is no file of this kind: it stays as it is$"
  cmp before "${wrong#* }" || fail "$wrong: was written over"
done
for wrong in '--html both --junit both' '--log both --hub-log both' '--html both --log both'; do
  run 2 run plan.json --speed max $wrong
  has err 'both: is the file of --(html|log)$'
done
run 2 run plan.json --speed max --serial '  '

# What a plan says is shown on a terminal, not sent to it, and its colours are the program's own.
printf '{"format": "sensorcal.plan/1", "name": "p\\u001b[31m", "steps": [{"calibrate": "Acc", "name": "a\\u001b[2J\\u009b3m\\u202e"}]}' >escape.json
script -qc "$sensorcal run escape.json --speed max" /dev/null >out </dev/null || fail "the plan with escapes: ended with $?"
has out 'a\\u001b\[2J\\u009b3m\\u202e' $'\e''\[32mPASSED'
lacks out $'\e''\[2J' $'\xe2\x80\xae'
