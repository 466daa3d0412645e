"""Prints how long the slowest sources of a build took, by its ninja log, and a reference: scripts/bench calls it."""
import pathlib
import subprocess
import sys
import tempfile
import time

SHOWN = 10


def reference():
    """Seconds of one compiler for a fixed source: what a figure from another machine is divided by."""
    source = '#include <algorithm>\n#include <map>\n#include <string>\n#include <vector>\n' + ''.join(
        f'int f{i}(const std::map<std::string, std::vector<int>>& m) {{ auto c = m; std::vector<int> v; '
        f'for (auto& [k, x] : c) {{ std::sort(x.begin(), x.end()); v.insert(v.end(), x.begin(), x.end()); }} '
        f'return v.size() + {i}; }}\n' for i in range(100))
    with tempfile.TemporaryDirectory() as folder:
        file = pathlib.Path(folder) / 'reference.cpp'
        file.write_text(source)
        start = time.monotonic()
        subprocess.run(['c++', '-std=c++17', '-O2', '-c', file, '-o', file.with_suffix('.o')], check=True)
        return time.monotonic() - start


took = {}
for line in (pathlib.Path(sys.argv[1]) / '.ninja_log').read_text().splitlines()[1:]:
    start, end, _, output, _ = line.split('\t')
    took[output] = (int(end) - int(start)) / 1000
slowest = sorted(took.items(), key=lambda item: -item[1])[:SHOWN]
print(f'all jobs: {sum(took.values()):.0f} s of {len(took)}')
for output, seconds in slowest:
    print(f'{seconds:6.1f} s  {output}')
print(f'{reference():6.1f} s  reference source')
