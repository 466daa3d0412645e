#!/usr/bin/env python3
"""Holds plans and records to their schemas: check_schemas.py SENSORCAL SOURCE_DIR"""
import json
import pathlib
import re
import subprocess
import sys
import tempfile

import schemas

sensorcal, source = (pathlib.Path(argument).absolute() for argument in sys.argv[1:])
wrong = []

# What is run, and what comes of it; each on a new phone.
RUNS = [
    ('passed', ['run', f'{source}/plans/reference.json', '--serial', 'A1', '--station', 'north', '--operator', 'kim']),
    ('passed', ['run', f'{source}/plans/hub-colour.json', '--profile', 'hub-colour', '--store', 'runs.db',
                '--serial', 'A2']),
    ('passed', ['calibrate', 'Acc', '--world', 'up=flat']),
    ('failed', ['run', f'{source}/plans/inertial.json', '--fault', 'motion:Acc,1']),
    ('failed', ['run', f'{source}/plans/inertial.json', '--fault', 'nan:Acc']),
    ('failed', ['run', f'{source}/plans/reference.json', '--fault', 'persist-full']),
    ('error', ['run', f'{source}/plans/inertial.json', '--fault', 'sensors-absent']),
    ('error', ['run', f'{source}/plans/inertial.json', '--fault', 'hub-absent']),
    ('passed', ['run', f'{source}/plans/inertial.json', '--record', 'recording']),
    ('passed', ['replay', 'recording']),
]


def check(name, found):
    wrong.extend(f'{name}: {problem}' for problem in found)


def plans():
    """Every plan that is shipped or shown."""
    for file in sorted((source / 'plans').glob('*.json')):
        yield file.name, file.read_text()
    for page in [source / 'README.md', *sorted((source / 'docs').rglob('*.md'))]:
        for block in re.findall(r'^ *```json[^\n]*\n(.*?)^ *```', page.read_text(), re.S | re.M):
            if '"sensorcal.plan/1"' in block:
                yield page.name, block


def check_plans():
    schema = schemas.load('plan.schema.json')
    names = []
    for name, text in plans():
        names.append(name)
        check(name, schemas.problems(schema, json.loads(text)))
    if 'plan.md' not in names or 'reference.json' not in names:
        wrong.append(f'not all plans were looked at: {names}')
    # The reader refuses these, see tests/unit/plan; the schema does but where a row says that it cannot.
    for row in json.loads((source / 'tests/data/plans/bad_steps.json').read_text()):
        plan = {'format': 'sensorcal.plan/1', 'name': 'n', 'steps': [row['step']]}
        if bool(schemas.problems(schema, plan)) != ('schema' not in row):
            wrong.append(f'the schema {"passes" if "schema" not in row else "refuses"} {row["step"]}')


def check_records(folder):
    schema = schemas.closed(schemas.load('run.schema.json'))
    seen = set()
    for number, (verdict, arguments) in enumerate(RUNS):
        name = ' '.join(arguments)
        phone = [] if arguments[0] == 'replay' else ['--phone', f'phone{number}', '--seed', '7']
        done = subprocess.run([sensorcal, *arguments, '--json', '--speed', 'max', *phone], cwd=folder, text=True,
                              capture_output=True)
        record = json.loads(done.stdout)
        check(name, schemas.problems(schema, record))
        if record['verdict'] != verdict:
            wrong.append(f'{name}: {record["verdict"]}, not {verdict}')
        seen.update(step['verdict'] for step in record['steps'])
    if not {'passed', 'failed', 'skipped', 'error'} <= seen:
        wrong.append(f'not all verdicts of steps were seen: {seen}')


check_plans()
with tempfile.TemporaryDirectory() as folder:
    check_records(folder)
if wrong:
    sys.exit('\n'.join(wrong))
