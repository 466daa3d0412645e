#!/usr/bin/env bash
# An operator is asked on the terminal itself, so that the record on standard output stays whole; without one nothing
# begins. What is confirmed holds, what is skipped leaves its step undecided, and the run can be ended while it waits.
source "$(dirname "$0")/lib.sh"

cat >plan.json <<'PLAN'
{"format": "sensorcal.plan/1", "name": "asks", "steps": [
  {"fixture": {"up": "flat", "vibration": "none"}},
  {"fixture": {"target": "3 cm"}, "on_failure": "go on"},
  {"calibrate": "Acc"}
]}
PLAN

under=(setsid -w) # without a terminal, whatever the test's own is
run 2 run plan.json --fixture operator
has err '^sensorcal: --fixture operator: there is no terminal to ask on \(/dev/tty: .*\); run it on a terminal'
[ ! -e phone ] || fail 'a phone was made all the same'

called='run plan.json, asking'
python3 - "$sensorcal" >said <<'PYTHON' || fail "not as wanted"
import json
import os
import pty
import select
import signal
import sys
import time


def ask(answers, *command):
    """Runs the plan, or the command, on a terminal, and types one answer at each question; the exit code, the record, what
    was shown, the time after the last answer."""
    child, terminal = pty.fork()
    if child == 0:
        signal.signal(signal.SIGINT, signal.SIG_DFL)
        os.dup2(os.open('record.json', os.O_WRONLY | os.O_CREAT | os.O_TRUNC), 1)
        os.execv(sys.argv[1], [sys.argv[1], *(command or ('run', 'plan.json')), '--fixture', 'operator', '--speed', 'max', '--json'])
    shown, seen, typed = b'', 0, time.monotonic()
    while True:
        if not select.select([terminal], [], [], 30)[0]:
            sys.exit(f'silent for too long after {shown}')
        try:
            part = os.read(terminal, 1000)
        except OSError:
            break
        if not part:
            break
        shown += part
        if shown.count(b'abort > ') > seen:
            seen += 1
            typed = time.monotonic()
            os.write(terminal, answers.pop(0))
    ended = time.monotonic()
    status = os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])
    return status, json.load(open('record.json')), shown.decode(), ended - typed


def verdicts(record):
    return [step['verdict'] for step in record['steps']]


code, record, shown, _ = ask([b'what\n', b'\n', b'\n'])
notes = record['steps'][0]['attempts'][0]['notes']
assert code == 0 and verdicts(record) == ['passed'] * 3, (code, verdicts(record))
assert record['phone']['fixture'] == 'operator' and 'Lay the phone flat, screen up;' in notes[0], notes
assert 'Put the target 3 cm before the proximity sensor.' in shown and "'what' is no answer" in shown, shown

code, record, shown, _ = ask([b'\n', b's\n'])
assert code == 3 and verdicts(record) == ['passed', 'error', 'passed'], (code, verdicts(record))
assert 'the operator skipped: Put the target' in record['steps'][1]['attempts'][0]['reasons'][0]['text']

for answer in (b'a\n', b'\x03', b'\x04'):  # abort, Ctrl-C, Ctrl-D
    code, record, shown, took = ask([answer])
    assert code == 130 and verdicts(record) == ['aborted', 'skipped', 'skipped'], (answer, code, verdicts(record))
    assert took < 1, f'{answer}: ended after {took} s'

# A calibration asks once for what belongs together, takes no for an answer, and does not trust a phone that moves.
code, record, shown, _ = ask([b's\n'], 'calibrate', 'Lux')
assert code == 3 and 'the operator skipped: ' in record['steps'][0]['attempts'][0]['reasons'][0]['text'], (code, record)
assert verdicts(record) == ['error', 'skipped'], record
code, record, shown, _ = ask([b'\n'], 'calibrate', 'Acc', '--fault', 'motion:Acc,1')
assert code == 1 and any(': run noise ' in r['text'] for r in record['steps'][1]['attempts'][0]['reasons']), (code, record)
code, record, shown, _ = ask([], 'calibrate', 'Bar')  # under a pressure that nobody told
attempt = record['steps'][-1]['attempts'][0]
assert code == 3 and attempt['reasons'][0]['code'] == 'expected.unknown' and 'window' not in attempt, attempt
code, record, shown, _ = ask([b'\n'], 'calibrate', 'Prx')
assert code == 0, (code, shown)
code, record, shown, _ = ask([b'\n'] * 3, 'calibrate', 'Prx', '--param', '2')
assert code == 0 and shown.count('abort > ') == 2, (code, shown)
PYTHON
