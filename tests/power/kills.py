#!/usr/bin/env python3
"""Kills every command that writes, by SIGKILL at a random moment, and looks at what it left.

    kills.py SENSORCAL PLANS [--kills N] [--seed K]     N kills of each command that came before its end
             [--only COMMAND...]          of these, by their names below

Afterwards each file holds what it held, or the whole of something new; a store opens, has all rows that it had and whole ones
beside; nothing that waited is lost or there twice; the phone opens and reports, once what the library writes in place is
repaired; and no process is left.
"""
import argparse
import collections
import contextlib
import json
import os
import pathlib
import random
import re
import shutil
import signal
import sqlite3
import subprocess
import tempfile
import time

from whole import whole

LIGHT = 'phone/mnt/vendor/nvcfg/sensor/lightSensorCali.json'
# The library's own, of one short write; streams, of which the last line may be missing, and stores, which are asked; what a next start removes.
IN_PLACE = re.compile(r'.*/(PSensor\w+\.txt|scale\.txt|lightSensorCali\.json)')
STREAMS = re.compile(r'log|hub\.jsonl|recording/.*|.*\.db')
NOT_STORED = re.compile(r'phone/(\.lock|sys/.*)|.*(\.new|\.part|-journal|-wal|-shm|\.[A-Za-z0-9]{6})|no-copy/.*')
PLAN = {'format': 'sensorcal.plan/1', 'name': 'colour', 'steps': [
    {'fixture': {'lux': '200 lux', 'cct': '4000 K', 'dark-box': 'off'}}, {'calibrate': 'Acc'},
    {'calibrate': 'CCT_F_strm', 'golden': [800, 1200, 600, 2000, 400, 300, 200]}]}
RUN = 'run plan.json --serial K --speed max'
# What is run, on the left what it is about; a store that it reads or writes is runs.db.
COMMANDS = {
    'calibrate': 'calibrate Acc Gyr Bar Lux --speed max --log log --hub-log hub.jsonl',
    'run': RUN + ' --html page.html --junit run.xml --csv csv --log log --hub-log hub.jsonl',
    'run --store': RUN + ' --store runs.db --store-samples',
    'run --spool': RUN + ' --store postgresql://nobody@127.0.0.1:1/x --spool spool.db',
    'run --record': RUN + ' --record recording',
    'set': 'set Acc offset 0.01 -0.02 0.005 --speed max',
    'set, a file': 'set Prx crosstalk-file-1 77 --speed max',
    'files --repair': 'files --repair --speed max',
    'hub send': 'hub send Acc set-acc-offset 0.5 0.25 0.125 --speed max',
    'reboot': 'reboot', 'factory-reset': 'factory-reset',
    'store import': 'store import more.jsonl --store runs.db',
    'store export': 'store export --store runs.db --to copy.db --records copy.jsonl --csv copy.csv',
    'sync': 'sync --store runs.db --spool spool.db',
    'show': 'show record.json --html page.html --junit run.xml --csv csv',
    'stats --html': 'stats --store runs.db --html page.html', 'grr --html': 'grr --store runs.db --html page.html',
    'grr --run': 'grr --run plan.json --phones 3 --stations 2 --trials 2 --store runs.db',
    'line': 'line --phones 12 --stations 2 --store runs.db --plan plan.json',
    'replay': 'replay no-copy/recorded --html page.html',
}


class Trial:
    def __init__(self, sensorcal, plans, folder):
        self.sensorcal, self.first, self.now = sensorcal, folder / 'first', folder / 'now'
        self.env = {**os.environ, 'SENSORCAL_PHONE': str(self.now / 'phone'), 'TMPDIR': str(folder / 'tmp'), 'XDG_STATE_HOME': str(self.now / 'state')}
        (folder / 'tmp').mkdir()
        self.now.mkdir()
        (self.now / 'plan.json').write_text(json.dumps(PLAN))
        shutil.copy(f'{plans}/inertial.json', self.now)
        self.must(RUN + ' --seed 7 --record no-copy/recorded')
        self.must('set Prx crosstalk-file-1 11 --speed max')
        self.must(f'{RUN} --json', 'record.json')
        self.must('grr --run inertial.json --phones 3 --stations 2 --trials 2 --seed 3 --store runs.db', codes=(0, 1))
        self.must('line --phones 40 --stations 2 --seed 90 --store other.db')
        self.must('store export --store other.db --records more.jsonl')
        for serial in ('W1', 'W2', 'W3'):
            self.must(COMMANDS['run --spool'].replace('K', serial))
        shutil.copytree(self.now, self.first, symlinks=True)
        if (len(self.ids('runs.db')), len(self.ids('other.db')), len(self.ids('spool.db'))) != (12, 40, 3):
            raise RuntimeError('the stores are not as they were to be made')

    def start(self, command, out=subprocess.DEVNULL):
        return subprocess.Popen([self.sensorcal, *command.split()], cwd=self.now, env=self.env, stdin=subprocess.DEVNULL, stdout=out,
                                stderr=subprocess.DEVNULL, start_new_session=True)

    def must(self, command, out=os.devnull, codes=(0,)):
        with open(self.now / out, 'wb') as stream:
            code = self.start(command, stream).wait(120)
        if code not in codes:
            raise RuntimeError(f'{command}: ended with {code}')

    def set_back(self, name):
        shutil.rmtree(self.now)
        shutil.copytree(self.first, self.now, symlinks=True)
        if name == 'files --repair':  # as a run leaves it that is cut off while it writes
            shutil.copy(self.now / LIGHT, self.now / (LIGHT + '.before'))
            (self.now / LIGHT).write_text('{"als": {')

    def files(self):
        return {str(path.relative_to(self.now)): path.read_bytes() for path in self.now.rglob('*')
                if path.is_file() and not path.is_symlink() and not NOT_STORED.fullmatch(str(path.relative_to(self.now)))}

    def ids(self, store):
        """Of the runs in a store or waiting in a spool, each of them whole."""
        if not (self.now / store).exists():
            return []
        with contextlib.closing(sqlite3.connect(self.now / store)) as db:
            if db.execute('PRAGMA integrity_check').fetchone() != ('ok',) or db.execute('PRAGMA foreign_key_check').fetchone():
                raise ValueError('is damaged')
            tables = {name for (name,) in db.execute("SELECT name FROM sqlite_master WHERE type = 'table'")}
            if 'run' not in tables:
                return [json.loads(record)['id'] for (record,) in db.execute('SELECT record FROM pending')] if tables else []
            parts = db.execute('SELECT id, (SELECT SUM(attempts) FROM step WHERE run = no), (SELECT COUNT(*) FROM attempt WHERE run = no),'
                               ' (SELECT COUNT(*) FROM measurement WHERE run = no) FROM run').fetchall()
            if any(wanted != found or not values for _, wanted, found, values in parts):
                raise ValueError('has a part of a run')
            return [part[0] for part in parts]

    def kill(self, name, draw, longest):
        """One kill. Returns whether it came in time, and what is wrong; and for how long the command ran."""
        self.set_back(name)
        before, had, waited = self.files(), self.ids('runs.db'), self.ids('spool.db')
        start = time.monotonic()
        process = self.start(COMMANDS[name])
        with contextlib.suppress(subprocess.TimeoutExpired):
            process.wait(draw.uniform(0, longest))
        ran = time.monotonic() - start
        process.kill()
        killed = process.wait() == -signal.SIGKILL
        for phones in pathlib.Path('/dev/shm').glob(f'sensorcal-{process.pid}-*'):  # in memory, which no start looks into
            shutil.rmtree(phones, ignore_errors=True)
        return killed, ran, [*processes_left(process.pid), *self.check(before, had, waited)]

    def check(self, before, had, waited):
        after = self.files()
        for path in before.keys() | after.keys():
            if path not in after:
                if not re.fullmatch(r'phone/mnt/.*|spool\.db', path):  # a reset removes the first, a sync the second
                    yield f'{path}: gone'
            elif before.get(path) != after[path] and not IN_PLACE.fullmatch(path) and not STREAMS.fullmatch(path):
                with contextlib.suppress(UnicodeDecodeError):
                    if not whole(path, after[path]):
                        yield f'{path}: not whole'
        try:
            has, waits = self.ids('runs.db'), self.ids('spool.db')
            if not set(had) <= set(has) or not set(waited) <= {*has, *waits} or len({*has}) != len(has):
                yield 'a run is lost, or there twice'
            self.ids('copy.db')
        except (sqlite3.Error, ValueError) as error:
            yield f'a store: {error}'
        for command, codes in (('stats --store runs.db', (0,)), ('report', (0, 1)), ('files --repair --speed max', (0, 1))):
            code = self.start(command).wait(60)
            if code not in codes:
                yield f'then `{command}` ends with {code}'
        light = self.now / LIGHT
        if light.exists() and not whole(LIGHT, light.read_bytes()):
            yield f'{LIGHT}: neither whole nor repaired'


def processes_left(group):
    with contextlib.suppress(ProcessLookupError):
        for _ in range(1000):
            os.killpg(group, 0)
            time.sleep(0.005)
        os.killpg(group, signal.SIGKILL)
        yield 'a process is left'


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('--only', nargs='*', choices=COMMANDS, default=COMMANDS, metavar='COMMAND')
    for name, usual in (('sensorcal', None), ('plans', None), ('--kills', 1000), ('--seed', 1)):
        parser.add_argument(name, default=usual, type=type(usual) if usual else os.path.abspath)
    args = parser.parse_args()
    faults, counts = 0, collections.Counter()
    memory = '/dev/shm' if os.access('/dev/shm', os.W_OK) else None
    with tempfile.TemporaryDirectory(prefix='kills-', dir=memory) as folder:
        trial = Trial(args.sensorcal, args.plans, pathlib.Path(folder))
        for name in args.only:
            trial.set_back(name)
            start = time.monotonic()
            trial.must(COMMANDS[name], codes=(0, 1))
            longest = time.monotonic() - start
            tries = 0
            while counts[name] < args.kills and tries < 20 * args.kills:
                tries += 1
                killed, ran, found = trial.kill(name, random.Random(f'{args.seed}/{name}/{tries}'), longest)
                counts[name] += killed
                if not killed:  # a busy machine becomes a quiet one, and the other way round
                    longest = 0.8 * longest + 0.2 * ran
                elif ran > 0.9 * longest:
                    longest *= 1.02
                for what in found:
                    faults += 1
                    print(f'FAULT {name}, try {tries} of seed {args.seed}: {what}', flush=True)
            print(f"{name}: {counts[name]} kills within {longest:.2f} s, of {tries}", flush=True)
    print(f'{len(args.only)} commands from seed {args.seed}, {sum(counts.values())} kills: {faults} faults')
    return 1 if faults or min(counts.values()) < args.kills else 0


if __name__ == '__main__':
    raise SystemExit(main())
