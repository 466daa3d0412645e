#!/usr/bin/env python3
"""What the program says and writes, held against what was approved: tests/data/approved has the commands and their texts. What
they mean, the other tests know; this one sees that nothing changed that nobody meant to.

    check_outputs.py SENSORCAL START_ONCE SOURCE [--approve]

START_ONCE is built of start_once.cpp: a command takes a third of the time.
--approve: the texts of today are the approved ones; `git diff` shows what a change did.
"""
import collections
import concurrent.futures
import difflib
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import tempfile

PROGRAM, START_ONCE = map(os.path.abspath, sys.argv[1:3])
APPROVED = pathlib.Path(sys.argv[3], 'tests/data/approved')
OF_TODAY = [(re.compile(pattern, re.M), to) for pattern, to in (
    (r'^\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} +\d+ +\d+ ', ''),
    (r'\d{4}-\d\d-\d\d[T ]\d\d:\d\d:\d\d(\.\d+)?Z?', 'TIME'), (r'[0-9a-f]{8}-[0-9a-f]{4}-7[0-9a-f-]{21}', 'ID'),
    (r'\b\d\d:\d\d:\d\d\.\d{3}\b', 'TIME'), (r'[0-9a-f]{40}', 'BUILD'), (r'\b0x7f[0-9a-f]+', 'ADDRESS'),
    (r'\b\d+\.\d+ s\b|\bduration(?: |,,)[0-9.e-]+', 'N s'),
    (r'\b[\d.]+ a second\b|"runs_per_second" : [\d.]+', 'RATE'),
    (r'("(?:seconds|from_s|to_s)"|"unit" : "s",\s+"value") : [-0-9.e+]+', r'\1 : N'))]
# Scripts and styles of a page, which are files of their own; a tag a line, and a point.
OF_PAGES = [(re.compile(r'<style>.*?</style>|<script>.*?</script>', re.S), ''), (re.compile('><'), '>\n<'), (re.compile('},{'), '},\n{')]


def rounded(text):
    """Seven digits: other compilers know no more."""
    return re.sub(r'-?\d+\.\d{8,}(?:[eE][-+]?\d+)?', lambda m: f'{float(m[0]):.7g}', text)


def written(folder):
    """What is written to out.* or into out/, which is taken away."""
    for path in sorted((*folder.glob('out.*'), *folder.glob('out/**/*'))):
        if path.is_file():
            text = path.read_text(errors='backslashreplace')
            for pattern, to in OF_PAGES if path.suffix == '.html' else ():
                text = pattern.sub(to, text)
            yield f'== {path.relative_to(folder)}\n{text}'
            path.unlink()
    shutil.rmtree(folder / 'out', ignore_errors=True)


def outputs(paragraph):
    place = pathlib.Path(tempfile.mkdtemp(dir=PLACE.name))
    folder, said = place / 'f', (place / 'said', place / 'errors')
    folder.mkdir()
    for name, target in (('plans', 'plans'), ('data', 'tests/data')):
        (folder / name).symlink_to(pathlib.Path(sys.argv[3], target).resolve())
    environment = {**os.environ, 'XDG_STATE_HOME': str(folder), 'TZ': 'UTC', 'SENSORCAL_PHONE': 'phone', 'LD_PRELOAD': START_ONCE}
    program = subprocess.Popen([PROGRAM], cwd=folder, env=environment, text=True, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
    texts = {}
    for line in paragraph.splitlines():
        name, code, arguments = line.split(maxsplit=2)
        print(*said, *shlex.split(arguments), sep='\t', file=program.stdin, flush=True)
        is_code = program.stdout.readline().strip()
        text = ''.join(path.read_text(errors='backslashreplace') for path in said)
        if is_code != code:
            sys.exit(f'{arguments}: exit code {is_code}, not {code}\n{text}')
        text = '\n'.join((text, *written(folder))).replace(str(folder), '.')
        for pattern, to in OF_TODAY if name.startswith('~') else ():
            text = pattern.sub(to, text)
        if name.startswith('~~'):
            text = '\n'.join(sorted(text.splitlines()))
        file = name.strip('~') + '.txt'
        texts[file] = texts.get(file, '') + f'$ sensorcal {arguments}\n{rounded(text)}\n'
    program.communicate()
    return texts


PLACE = tempfile.TemporaryDirectory()
found = collections.defaultdict(str)
with concurrent.futures.ThreadPoolExecutor(4) as beside:
    for texts in beside.map(outputs, (APPROVED / 'commands').read_text().split('\n\n')[1:]):
        found.update({name: found[name] + text for name, text in texts.items()})
failed = [print(file, 'is of no command') for file in APPROVED.glob('*.txt') if file.name not in found]
for name, is_now in found.items():
    file = APPROVED / name
    was = file.read_text() if file.exists() else ''
    if sys.argv[4:] == ['--approve']:
        file.write_text(is_now)
    elif is_now != was:
        failed.append(name)
        sys.stdout.writelines(difflib.unified_diff(was.splitlines(True), is_now.splitlines(True), str(file), 'now', n=1))
sys.exit(bool(failed))
