#!/usr/bin/env python3
"""What every command prints with --json: one object that names its form and fits it. check_documents.py SENSORCAL SOURCE_DIR

Every command of --help has a row here. The examples of docs/formats/json-documents.md are held to the same forms, and every
form has one.
"""
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

import schemas

sensorcal, source = (pathlib.Path(argument).absolute() for argument in sys.argv[1:])
PLAN = {'format': 'sensorcal.plan/1', 'name': 'small', 'steps': [
    {'fixture': {'up': 'flat'}}, {'calibrate': 'Acc'}, {'verify': 'Gyr', 'limits': {'noise': '1 deg/s'}}]}

# Exit code and arguments, in this order, over one phone.
ROWS = [
    (0, 'run plan.json --serial A1 --store runs.db --record recording --hub-log hub.jsonl'),
    (0, 'show record.json'),
    (0, 'show recording/record.json'),
    (0, 'replay recording'),
    (0, 'sensors'),
    (0, 'calibrate Acc'),
    (0, 'check Acc Mag'),
    (1, 'check Bar --reference 900'),
    (0, 'stats --store runs.db --golden A* --times'),
    (0, 'stats --store runs.db --compare profile=reference 2020-01-01..2100-01-01'),
    (0, 'run plan.json --serial A2 --store postgresql:///line?host=/nowhere --spool waiting.db'),
    (1, 'stats --store runs.db --watch --every 0 --spool waiting.db --waiting 1'),
    (0, 'history A1 --store runs.db'),
    (2, 'history nobody --store runs.db'),
    (0, 'sync --store runs.db --spool spool.db'),
    (0, 'store import record.json --store runs.db'),
    (0, 'store export --store runs.db --to copy.db'),
    (1, 'report'),
    (0, 'judge'),
    (0, 'selftest Acc'),
    (0, 'sar 1'),
    (0, 'tof 5'),
    (0, 'channel Lux 0 200'),
    (0, 'collect'),
    (0, 'get Prx'),
    (1, 'get Prx delta-file'),
    (0, 'set Acc offset 0.01 -0.02 0.005'),
    (0, 'files'),
    (0, 'backlight'),
    (0, 'backlight 2047'),
    (0, 'hub state'),
    (0, 'hub log hub.jsonl'),
    (0, 'hub send Acc get-acc-offset'),
    (0, f'grr {source}/tests/data/grr/ten_parts.csv --low -4 --high 4'),
    (0, f'grr next {source}/tests/data/grr/ten_parts.csv --trials 4'),
    (0, 'line --phones 2 --stations 1 --store line.db'),
    (0, 'plan check plan.json'),
    (2, 'plan check plan.json bad.json nosuch.json'),
    (0, 'reboot'),
    (0, 'factory-reset'),
    (0, '--version'),
    # Records of whole plans, and of what goes wrong.
    (0, f'run {source}/plans/reference.json --phone whole --seed 7 --serial A1 --station north --operator kim'),
    (0, f'run {source}/plans/hub-colour.json --phone colour --seed 7 --profile hub-colour --store runs.db --serial A2'),
    (1, f'run {source}/plans/inertial.json --fault motion:Acc,1'),
    (1, f'run {source}/plans/inertial.json --fault nan:Acc'),
    (1, f'run {source}/plans/reference.json --phone whole --fault persist-full'),
    (3, f'run {source}/plans/inertial.json --fault sensors-absent'),
]
WITHOUT_PHONE = ('show', 'replay', 'stats', 'history', 'sync', 'store', 'grr', 'line', 'plan', 'reboot', 'factory-reset', 'man',
                 'completion', 'station', '--version')
TEXT = ('man', 'completion bash', 'station --check')
wrong = []
forms = set()
verdicts = set()  # of steps


def check(name, document):
    found = schemas.document_problems(document)
    wrong.extend(f'{name}: {problem}' for problem in found)
    if isinstance(document, dict):
        forms.add(document.get('schema'))


def run(arguments, code):
    speed = [] if arguments.split()[0] in WITHOUT_PHONE or arguments.startswith(('hub state', 'hub log')) else ['--speed', 'max']
    done = subprocess.run([sensorcal, *arguments.split(), '--json', *speed], text=True, capture_output=True)
    if done.returncode != code:
        wrong.append(f'{arguments}: ended with {done.returncode}, not {code}: {done.stderr}')
    return done.stdout


def commands():
    done = subprocess.run([sensorcal, '--help'], text=True, capture_output=True, check=True).stdout
    return set(re.findall(r'^  ([a-z][a-z-]*) ', done.split('Subcommands:\n')[1].split('\n\n')[0], re.M))


def check_commands():
    pathlib.Path('spool.db').touch()
    pathlib.Path('plan.json').write_text(json.dumps(PLAN))
    pathlib.Path('bad.json').write_text(json.dumps({**PLAN, 'colour': 1}))
    for code, arguments in ROWS:
        out = run(arguments, code)
        if arguments.startswith('run '):
            pathlib.Path('record.json').write_text(out)
        try:
            check(arguments, document := json.loads(out))
            if arguments.startswith('run '):
                verdicts.update(step['verdict'] for step in document['steps'])
        except json.JSONDecodeError as error:
            wrong.append(f'{arguments}: {error}: {out[:200]!r}')
    lines = [json.loads(line) for line in run('watch Acc --seconds 1', 0).splitlines()]
    for line in lines:
        check('watch', line)
    if [line['summary'] for line in lines] != [False] * (len(lines) - 1) + [True]:
        wrong.append('watch: the last line, and no other, is the summary')
    for arguments in TEXT:
        check(arguments, json.loads(run(arguments, 2)))
    seen = {arguments.split()[0] for _, arguments in ROWS if not arguments.startswith('-')} | {text.split()[0] for text in TEXT} | {'watch'}
    if seen != commands():
        wrong.append(f'not every command has a row, or a row no command: {seen ^ commands()}')


def check_page():
    page = (source / 'docs/formats/json-documents.md').read_text()
    examples = [json.loads(block) for block in re.findall(r'^```json\n(.*?)^```', page, re.S | re.M)]
    for example in examples:
        check('the page', example)
    known = schemas.forms()
    shown = {example['schema'] for example in examples}
    if shown != known:
        wrong.append(f'the page has no example of a form, or one of none: {shown ^ known}')


with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    os.environ['SENSORCAL_PHONE'] = f'{folder}/phone'
    check_commands()
if not {'passed', 'failed', 'skipped', 'error'} <= verdicts:
    wrong.append(f'not all verdicts of steps were seen: {verdicts}')
not_seen = schemas.forms() - forms
if not_seen:
    wrong.append(f'no command prints {not_seen}')
check_page()
if wrong:
    sys.exit('\n'.join(wrong))
