#!/usr/bin/env python3
"""Runs the examples of a page: run_examples.py SENSORCAL SOURCE_DIR PAGE

A ```console block holds commands after "$ " and, below each, words of its output, numbers aside. Its info string may say
exit=N for the last command; the others end with 0; with "values" numbers count, too, but for times. A speed that is asked
for is raised, which changes no words. A ```json block after a line that ends with "with `NAME`" is that file. Everything
runs in one empty folder, which sees the plans as plans/.
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile

BLOCK = re.compile(r'(?:with `([\w.-]+)`\s*\n\s*\n)?^ *```(console|json)([^\n]*)\n(.*?)^ *```', re.S | re.M)


def words(text, values):
    return re.sub(r'-?\d[\d.]*(?= s\b)' if values else r'-?\d[\d.]*', '#', text).split()


def contains(text, part, values):
    have, want = words(text, values), words(part, values)
    return any(have[i:i + len(want)] == want for i in range(len(have) - len(want) + 1))


def main():
    sensorcal, source, page = (os.path.abspath(path) for path in sys.argv[1:])
    text = pathlib.Path(page).read_text()
    ran = 0
    with tempfile.TemporaryDirectory() as folder:
        pathlib.Path(folder, 'plans').symlink_to(pathlib.Path(source, 'plans'))
        environment = dict(os.environ, PATH=f'{pathlib.Path(sensorcal).parent}:{os.environ["PATH"]}', COLUMNS='80')
        environment.pop('SENSORCAL_PHONE', None)
        for name, kind, info, body in BLOCK.findall(text):
            if kind == 'json':
                if name:
                    pathlib.Path(folder, name).write_text(body)
                continue
            last = int((re.search(r'exit=(\d+)', info) or [0, 0])[1])
            steps = re.findall(r'^ *\$ ([^\n]*)\n((?:(?! *\$ )[^\n]*\n)*)', body, re.M)
            for number, (command, output) in enumerate(steps):
                command = re.sub(r'--speed \d+', '--speed max', command)
                done = subprocess.run(['bash', '-c', command], cwd=folder, env=environment, text=True, timeout=100,
                                      stdout=subprocess.PIPE, stderr=subprocess.STDOUT, stdin=subprocess.DEVNULL)
                expected = last if number == len(steps) - 1 else 0
                if done.returncode != expected or not contains(done.stdout, output, 'values' in info):
                    sys.exit(f'{page}: {command}\nended with {done.returncode}, not {expected}, or printed other words:\n'
                             f'{done.stdout}\ninstead of\n{output}')
                ran += 1
    if ran == 0:
        sys.exit(f'{page}: no example found')
    print(f'{page}: {ran} examples')


main()
