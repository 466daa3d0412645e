#!/usr/bin/env python3
"""Holds plans and settings of stations to their schemas: check_schemas.py SENSORCAL SOURCE_DIR"""
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

import schemas

sensorcal, source = (pathlib.Path(argument).absolute() for argument in sys.argv[1:])
wrong = []

# Forms of good steps that are rarely written: neither the schema nor the reader may refuse them.
GOOD = [
    {'calibrate': '1', 'limits': {'residual': '20mm/s^2', 'noise': ['.05 m/s^2', '5e-3 g', '50 mg'], 'seconds': '1.5e3ms'}},
    {'calibrate': 'Acc', 'param': 0.0, 'repeat': 2.0, 'limits': {'restarts': 0, 'marginal': '0 %', 'low': '-1 g'}},
    {'calibrate': 'Bar', 'reference': '101.3 kPa', 'limits': {'low': '-3 hPa', 'high': '3 mbar'}},
    {'calibrate': 'CCT_F_strm', 'param': -1, 'limits': {'low': '1 counts'}},
    {'calibrate': 'CCT_F_strm', 'golden': [800, 1200.5, 600, 2000, 400], 'limits': {'low': 0.5, 'high': '2 factor'}},
    {'calibrate': 'Prx', 'param': 2, 'far': True, 'limits': {'seconds': '1 min'}},
    {'calibrate': 'Lux', 'channel': 7, 'target': '200 counts'},
    {'calibrate': 'CCT_F_strm', 'channel': 0, 'target': '0 counts', 'screen': True},
    {'verify': 'Prx', 'expect': 'near', 'limits': {'seconds': '9 s'}},
    {'verify': '4', 'period': '20 ms', 'settle': 0, 'samples': 2, 'expect': '-1e-1 deg/s', 'limits': {'noise': '1 %'}},
    {'check': 'Prx', 'value': 'near', 'limits': {'low': '1 counts'}},
    {'check': 'Lux', 'value': 'scale', 'limits': {'low': 0.5, 'high': '2'}},
    {'check': 'report', 'positions': ['Lux dark values', 'SAR 1', '33171007']},
    {'probe': 'rgb', 'expect': 'no sensor'},
    {'write': '33171015', 'value': 'register', 'to': [16, 255]},
    {'write': 'CCT_B_strm', 'value': 'golden', 'to': ['1 counts', '2 counts']},
    {'fixture': {'up': '0,-1e-1,9.8', 'rotation': '0, 0,.1', 'vibration': '5 mg', 'lux': '0.2 klux', 'cct': '5000 K',
                 'dark-box': 'off', 'target': '30 mm', 'pressure': '1013 hPa', 'temperature': '-5 degC'}},
    {'fixture': {'up': 'tilted:-3.5', 'vibration': 'none', 'lux': 'dark', 'target': 'none'}},
    {'group': 'g', 'repeat': 20, 'on_failure': 'go on', 'steps': [{'probe': 'tof', 'expect': False, 'name': 'n'}]},
]


def check(name, found):
    wrong.extend(f'{name}: {problem}' for problem in found)


def plans():
    """Every plan that is shipped or shown, and one of all the rare forms."""
    yield 'rare forms', json.dumps({'format': 'sensorcal.plan/1', 'name': 'n', 'steps': GOOD})
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
        read = subprocess.run([sensorcal, 'plan', 'check', '/dev/stdin'], input=text, text=True, capture_output=True)
        if read.returncode:
            wrong.append(f'{name}: the reader refuses it: {read.stdout}{read.stderr}')
    if 'plan.md' not in names or 'reference.json' not in names:
        wrong.append(f'not all plans were looked at: {names}')
    # The reader refuses these, see tests/unit/plan; the schema does but where a row says that it cannot.
    for row in json.loads((source / 'tests/data/plans/bad_steps.json').read_text()):
        plan = {'format': 'sensorcal.plan/1', 'name': 'n', 'steps': [row['step']]}
        if bool(schemas.problems(schema, plan)) != ('schema' not in row):
            wrong.append(f'the schema {"passes" if "schema" not in row else "refuses"} {row["step"]}')


# Settings of a station that the reader takes, and some that it refuses.
def check_station():
    schema = schemas.load('station.schema.json')
    page = (source / 'docs/how-to/run-a-station.md').read_text()
    shown = [json.loads(block) for block in re.findall(r'^```json\n(.*?)^```', page, re.S | re.M)]
    full = {'about': 'a', 'plans': [{'serials': 'A.*', 'plan': 'p.json'}], 'serials': '.*', 'store': 'postgresql://h/d', 'spool': 's.db',
            'store_samples': True, 'reports': {'html': '{serial}-{started}.html', 'junit': '{started}.xml', 'csv': '{started}'},
            'operators': {'a': 'b'}, 'slots': [{'slot': 'x', 'code': 'c', 'runner': ['sh', '{slot}']}], 'runner': ['sh'], 'silence_s': 1.5,
            'retest': {'errors': 5, 'failures': 100}, 'earlier': {'station': 's', 'unknown': 'allowed'}, 'golden': {'serials': 'A1'},
            'shifts': ['00:00', '23:59'], 'language': 'zh', 'address': '::', 'port': 0, 'token': '0123456789abcdef', 'names': ['n']}
    bad = [{'port': -1}, {'retest': {'errors': 6}}, {'shifts': ['24:00']}, {'slots': []}, {'earlier': {'unknown': 'refused'}},
           {'plan': 'p.json', 'plans': [{'plan': 'p.json'}]}, {'token': 'short'}, {'golden': {}}, {'colour': 1}]
    with tempfile.TemporaryDirectory() as folder:
        for name in ['p.json', 'reference.json']:
            (pathlib.Path(folder) / name).write_text((source / 'plans/inertial.json').read_text())
        adb = pathlib.Path(folder) / 'adb'  # of which only the name is looked at
        adb.touch(0o755)
        around = {**os.environ, 'PATH': f'{os.environ["PATH"]}:{folder}'}
        for good, settings in [(True, full), *((True, one) for one in shown), *((False, one) for one in bad)]:
            settings = {'format': 'sensorcal.station/1', **settings}
            (pathlib.Path(folder) / 'station.json').write_text(json.dumps(settings))
            done = subprocess.run([sensorcal, 'station', 'station.json', '--check'], cwd=folder, env=around, capture_output=True, text=True)
            fits = not schemas.problems(schema, settings)
            if fits != good or (done.returncode == 0) != good:
                wrong.append(f'{settings}: the schema {"passes" if fits else "refuses"} it, the reader: {done.stderr or "passes it"}')


check_plans()
check_station()
if wrong:
    sys.exit('\n'.join(wrong))
