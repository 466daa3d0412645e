"""A runner that does what the phone's serial number says: runner.py SERIAL, with the record of a passed run in record.json."""
import json
import os
import re
import select
import sys
import time

serial = sys.argv[1]
kind = re.sub(r'[0-9]+$', '', serial)
plan = json.loads(sys.stdin.readline())
record = json.load(open('record.json'))
record.update(serial=serial, id=plan['id'], started=time.strftime('%Y-%m-%dT%H:%M:%S', time.gmtime()) + f'.{time.time_ns() // 1000000 % 1000:03}Z')
record['plan'].update(bytes=plan['plan'], file=plan['file'])


def say(event, **fields):
    print(json.dumps({'event': event, **fields}), flush=True)


def ends(verdict, code):
    record['verdict'] = verdict
    for number, step in enumerate(record['steps'] if verdict == 'passed' else [], 1):
        say('begins', step=number, attempt=1, name=step['name'], kind=step['kind'], tag=step.get('tag'))
        say('ended', step=number, attempt=1, verdict=step['verdict'], reasons=[], hints=[])
    say('record', exit_code=code, record=record)
    sys.exit(code)


open('pids', 'a').write(f'{os.getpid()}\n')
say('begun', schema='sensorcal.run-events/1', plan='told', steps=2)
say('begins', step=1, attempt=1, name='set up', kind='fixture')
if kind == 'PROMPT':
    say('prompt', prompt=1, step=1, settings={'up': 'flat'}, instructions=['Lay the phone flat'])
    line = sys.stdin.readline()
    if not line:
        ends('aborted', 130)
    say('answer', **json.loads(line))
elif kind == 'DIES':
    print('the cable is gone', file=sys.stderr)
    os.kill(os.getpid(), 9)
elif kind == 'HANGS':
    sys.stdin.readline()
    ends('passed', 0)
elif kind == 'SLOW':
    while not select.select([sys.stdin], [], [], 0.3)[0]:
        say('sample', step=1, tag='Acc', events=1, restarts=0, values=[0.1, 0.2, 9.8])
    ends('aborted', 130)
elif kind == 'SILENT':
    record['steps'][1].update(verdict='error')
    record['steps'][1]['attempts'][-1].update(verdict='error', reasons=[{'code': 'hub.silent', 'text': 'the hub is silent'}])
    ends('error', 3)
elif kind == 'FAILS':
    ends('failed', 1)
say('sample', step=1, tag='Acc', events=1, restarts=0, values=[0.1, 0.2, 9.8])
time.sleep(0.15)
ends('passed', 0)
