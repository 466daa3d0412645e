"""Runs a program with libfile_calls.so in front of its libraries: what it did to the files below a folder."""
import collections
import os
import pathlib
import signal
import subprocess

Call = collections.namedtuple('Call', 'number kind detail path to')


class Traced:
    """Runs commands; `calls` are those of the last one, `cut` whether its power was cut, `code` what it ended with."""

    def __init__(self, library, log, below):
        self.library, self.log, self.below = library, pathlib.Path(log), below
        self.calls, self.cut, self.code = [], False, None

    def run(self, command, cut_at=0, umask=-1):
        for old in self.log.parent.glob(self.log.name + '*'):
            old.unlink()
        env = {**os.environ, 'LD_PRELOAD': self.library, 'FILE_CALLS': str(self.log), 'FILE_CALLS_BELOW': self.below,
               'FILE_CALLS_CUT': str(cut_at)}
        self.code = subprocess.run(command, env=env, umask=umask, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL, check=False, timeout=60).returncode
        self.cut = self.code == -signal.SIGKILL
        lines = self.log.read_text().splitlines() if self.log.exists() else []
        self.calls = [Call(int(line.split('\t')[0]), *line.split('\t')[1:]) for line in lines]
        return self.calls

    def points(self):
        """How many points a power cut has: each call that changes one, and the middle of each longer write."""
        changes = [call for call in self.calls if call.number]
        return len(changes) + sum(call.kind == 'write' and int(call.detail) > 1 for call in changes)

    def renamed(self, call):
        return pathlib.Path(f'{self.log}.{call.number}').read_bytes()
