#!/usr/bin/env python3
"""Damages a recorded run in many ways, and replays each: it must end at once, with 2 where the damage shows, with 4 where
the run differs, or as it was recorded where nothing that counts was hit.
    damage.py SENSORCAL [--trials N] [--seed K]"""
import argparse
import collections
import os
import pathlib
import random
import shutil
import subprocess
import sys
import tempfile
import time

PLAN = '''{"format": "sensorcal.plan/1", "name": "recorded", "steps": [
  {"fixture": {"up": "flat"}}, {"calibrate": "Acc"}, {"verify": "Bar", "limits": {"noise": "1 hPa"}},
  {"check": "Acc", "value": "offset", "limits": {"low": "-1 g"}}]}'''
FILES = ['trace.jsonl'] * 6 + ['run.json', 'plan.json', 'record.json']
INSTEAD = [b'9', b'0', b'-1', b'99999999999999999999', b'1e300', b'"x"', b'null', b'[', b'}']
AT_ONCE_S = 1.0
LONGEST_S = 20.0  # then it counts as a hang


def bit(data, draw):
    data[draw.randrange(len(data))] ^= 1 << draw.randrange(8)


def gap(data, draw):
    start = draw.randrange(len(data))
    del data[start:start + draw.randrange(1, 200)]


def noise(data, draw):
    at = draw.randrange(len(data))
    data[at:at] = draw.randbytes(draw.randrange(1, 20))


def cut(data, draw):
    del data[draw.randrange(len(data)):]


def lines_moved(data, draw):
    lines = bytes(data).split(b'\n')
    a, b = draw.randrange(len(lines)), draw.randrange(len(lines))
    lines[a], lines[b] = lines[b], lines[a]
    data[:] = b'\n'.join(lines)


def line_twice(data, draw):
    lines = bytes(data).split(b'\n')
    at = draw.randrange(len(lines))
    lines.insert(at, lines[at])
    data[:] = b'\n'.join(lines)


def number(data, draw):
    digits = [at for at, byte in enumerate(data) if 48 <= byte <= 57]
    at = draw.choice(digits)
    data[at:at + 1] = draw.choice(INSTEAD)


DAMAGES = [bit, gap, noise, cut, lines_moved, line_twice, number]


def replay(sensorcal, folder, scratch):
    """Its exit code, None for a hang, and how long it took."""
    start = time.monotonic()
    try:
        code = subprocess.run([sensorcal, 'replay', folder], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL, env={**os.environ, 'TMPDIR': str(scratch)}, timeout=LONGEST_S).returncode
    except subprocess.TimeoutExpired:
        code = None
    return code, time.monotonic() - start


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('sensorcal')
    parser.add_argument('--trials', type=int, default=2000)
    parser.add_argument('--seed', type=int, default=1)
    args = parser.parse_args()
    sensorcal = os.path.abspath(args.sensorcal)
    codes = collections.Counter()
    misses = 0
    with tempfile.TemporaryDirectory() as temporary:
        work = pathlib.Path(temporary)
        (work / 'plan.json').write_text(PLAN)
        subprocess.run([sensorcal, 'run', work / 'plan.json', '--phone', work / 'phone', '--seed', '3', '--speed', 'max', '--record',
                        work / 'good'], check=True, stdout=subprocess.DEVNULL)
        for trial in range(args.trials):
            draw = random.Random(f'{args.seed}/{trial}')
            folder = work / 'damaged'
            shutil.copytree(work / 'good', folder)
            file, damage = draw.choice(FILES), draw.choice(DAMAGES)
            data = bytearray((folder / file).read_bytes())
            damage(data, draw)
            (folder / file).write_bytes(data)
            code, took = replay(sensorcal, folder, work)
            codes[file, code] += 1
            if code not in (0, 2, 4) or took > AT_ONCE_S:
                misses += 1
                print(f'trial {trial}: {damage.__name__} in {file}: {code} after {took:.1f} s (--seed {args.seed})')
            shutil.rmtree(folder)
    for (file, code), count in sorted(codes.items(), key=str):
        print(f'{file}: {count} ended with {code}')
    print(f'{args.trials} damaged recordings from seed {args.seed}: {misses} misses')
    return 1 if misses else 0


if __name__ == '__main__':
    sys.exit(main())
