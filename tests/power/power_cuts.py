#!/usr/bin/env python3
"""Cuts a phone's power at every call that changes a file, and looks at what is left.

    power_cuts.py SENSORCAL LIBRARY_CALLS LIBFILE_CALLS PLANS [POINTS]

A story of commands is told once. At every command, from the folder as the one before left it, the power is cut at one point
after the other, at POINTS of them spread evenly (all when not given). Afterwards every stored file must hold what it held
before or what took its place as a whole, the phone must open in a fresh process and report, and what the library writes in
place must be whole or an error to its reader.
"""
import atexit
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

sys.path.append(str(pathlib.Path(__file__).absolute().parents[1] / 'support'))
from traced import Traced  # noqa: E402
from whole import whole  # noqa: E402

SENSORCAL, LIBRARY_CALLS, LIBRARY, PLANS = map(os.path.abspath, sys.argv[1:5])
FOLDER = pathlib.Path(tempfile.mkdtemp(dir='/dev/shm' if os.access('/dev/shm', os.W_OK) else None))
NOW = FOLDER / 'now'
LIGHT = '/mnt/vendor/nvcfg/sensor/lightSensorCali.json'
PERSIST = '/mnt/vendor/persist/sensors/'
CROSSTALK = {PERSIST + 'PSensor_ct1.txt': 'load_prox_ct1', PERSIST + 'PSensor_ct2.txt': 'load_prox_ct2',
             PERSIST + 'PSensor3cm_ct.txt': 'load_prox_delta'}
IN_PLACE = {*CROSSTALK, PERSIST + 'scale.txt', LIGHT}  # the library's own, as it must write them
NOT_STORED = re.compile(r'/phone/(\.lock|sys/.*)|.*\.new|.*\.[A-Za-z0-9]{6}')
# Its calibration cannot pass, so the light sensor's file returns to what it held.
PUT_BACK = {'format': 'sensorcal.plan/1', 'name': 'put back', 'steps': [
    {'fixture': {'lux': '200 lux', 'cct': '4000 K'}},
    {'calibrate': 'CCT_F_strm', 'golden': [800, 1200, 600, 2000, 400, 300, 200], 'limits': {'residual': '0.000001 %'}}]}
FILES = 'call save_prox_ct1 {} + save_prox_ct2 {} + save_prox_delta {} + setScale {} + WirteScaleToFileJson {} ' + LIGHT
RUN = f'run {PLANS}/reference.json --html {NOW}/run.html --junit {NOW}/run.xml --csv {NOW}/csv'
STORY = ['calibrate Acc --seed 7 --max-equal 20', 'set Acc offset 0.01 -0.02 0.005', FILES.format(1234, -56, 789, 0.25, 0.99),
         FILES.format(4321, 65, 987, 2.5, 0.98), 'calibrate Acc Gyr Bar Lux --world lux=200', 'report --max-equal 30', RUN, RUN.replace('/csv', '/csv2'),
         f'run {FOLDER}/put_back.json', 'reboot', 'factory-reset']
faults = []


def words(command):
    speed = [] if command in ('reboot', 'factory-reset') else ['--speed', 'max']
    return [LIBRARY_CALLS if command.startswith('call ') else SENSORCAL, '--phone', f'{NOW}/phone', *speed, *command.split()]


def files():
    return {str(path)[len(str(NOW)):]: path.read_bytes() for path in NOW.rglob('*') if path.is_file() and not path.is_symlink()}


def order(traced):
    """A rename before its data is on the disk, a folder of which the disk never hears."""
    unsynced = set()
    for call in traced.calls:
        if call.kind == 'write':
            unsynced.add(call.path)
        elif call.kind == 'sync':
            unsynced.discard(call.path)
        elif call.kind == 'rename':
            if call.path in unsynced:
                yield f'{call.to}: renamed before its data was synced'
            unsynced.add(os.path.dirname(call.to))
    if not traced.cut:
        yield from (f'{path}: never synced after a rename in it' for path in unsynced if os.path.isdir(path))


def check_files(before, after, traced):
    place, wanted, opened = set(), dict(before), {}
    for call in traced.calls:
        path = call.path[len(str(NOW)):]
        if (call.kind == 'open' and 't' in call.detail) or call.kind in ('write', 'torn'):
            place.add(path)
            opened[path] = 0 if call.kind == 'open' else opened.get(path, 0) + 1
        elif call.kind == 'rename':
            place.discard(path)
            wanted[call.to[len(str(NOW)):]] = traced.renamed(call)
        elif call.kind == 'remove':
            wanted.pop(path, None)
    for path in {*before, *after, *wanted}:
        if NOT_STORED.fullmatch(path):
            continue
        if path in place and path.removeprefix('/phone') in IN_PLACE:
            # Too short to be split, and never in two pieces: so it is old, empty or new.
            if opened[path] > 1 and not path.endswith('.json'):
                yield f'{path} takes two writes'
        elif path in place:
            yield f'{path} is written in place'
        elif after.get(path) != wanted.get(path):
            yield f'{path} holds neither the old nor the new value'
        elif path in wanted and not whole(path, wanted[path]) and not path.endswith('scale.txt'):
            yield f'{path} took a place and was not whole'


def check_phone():
    """A fresh process: the phone opens and reports, and a file that a cut left short is an error to its reader."""
    report = subprocess.run(words('report --profile reference'), capture_output=True, check=False)  # there may be no phone yet
    if report.returncode not in (0, 1):
        yield f'the phone does not open and report: exit code {report.returncode}'
    left = files()
    reads = ' + '.join(CROSSTALK.values())
    calls = subprocess.run(words(f'call {reads} + WirteScaleToFileJson 1 {LIGHT}'), capture_output=True, text=True, check=False)
    wanted = [0 if re.fullmatch(rb'offset=-?[0-9]+\n', left.get('/phone' + path, b'')) else -5 for path in CROSSTALK]
    wanted.append(0 if whole(LIGHT, left.get('/phone' + LIGHT, b'')) else 1)
    if calls.returncode != 0 or list(map(int, calls.stdout.split())) != wanted:
        yield f'the readers give {calls.stdout.split()}, not {wanted}'


def set_back(index):
    shutil.rmtree(NOW, ignore_errors=True)
    shutil.copytree(FOLDER / f'before.{index}', NOW, symlinks=True)


def tell(index, cut_at):
    """One command, and what is wrong afterwards. First without a cut: every command must do its work."""
    traced = Traced(LIBRARY, FOLDER / 'log', f'{NOW}/')
    before = files()
    traced.run(words(STORY[index]), cut_at)
    found = [*order(traced), *check_files(before, files(), traced)]
    if not traced.cut and traced.code not in (0, 1):
        found.append(f'ended with {traced.code}')
    if not traced.cut and 'put_back' in STORY[index] and not any(c.kind == 'rename' and c.to.endswith(LIGHT) for c in traced.calls):
        found.append(f'{LIGHT} is put back in place, or not at all')
    points = traced.points()
    if cut_at:
        found += check_phone()
    faults.extend(f'{STORY[index][:50]}, point {cut_at}: {what}' for what in found)
    return points


atexit.register(shutil.rmtree, FOLDER, ignore_errors=True)
NOW.mkdir()
(FOLDER / 'put_back.json').write_text(json.dumps(PUT_BACK))
points = []
for index in range(len(STORY)):
    shutil.copytree(NOW, FOLDER / f'before.{index}', symlinks=True)
    points.append(tell(index, 0))
cuts = [(index, point) for index, count in enumerate(points) for point in range(1, count + 1)]
wanted = int(sys.argv[5]) if len(sys.argv) > 5 else len(cuts)
cuts = cuts[::-(-len(cuts) // wanted)]
for index, point in cuts:
    set_back(index)
    tell(index, point)
print(*(f'FAULT at {fault}' for fault in faults), f'{len(cuts)} of {sum(points)} points, {len(faults)} faults', sep='\n')
sys.exit(bool(faults) or not cuts)
