"""Counts instructions per call under callgrind and compares with what is written down: .ci/check_instructions."""
import json
import os
import re
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor

ROWS = ["1", "2", "3a", "3b", "4"]
FEW, MANY = 1000, 3000  # whole windows
TOLERANCE = 1.10
STORE = os.path.join(os.path.dirname(__file__), "instructions.json")


def collected(program, row, times):
    out = subprocess.run(["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null", program, row, str(times)],
                         check=True, capture_output=True, text=True).stderr
    return int(re.search(r"Collected : (\d+)", out).group(1))


def per_call(program, row):
    return (collected(program, row, MANY) - collected(program, row, FEW)) / (MANY - FEW)


# What the counts depend on: the compiler with its version, and the C library, which formats row 3a.
def tool_chain(folder):
    cache = open(os.path.join(folder, "CMakeCache.txt")).read()
    compiler = re.search(r"CMAKE_CXX_COMPILER:\w+=(.*)", cache).group(1)
    version = subprocess.run([compiler, "--version"], check=True, capture_output=True, text=True).stdout.split("\n")[0]
    libc = os.confstr("CS_GNU_LIBC_VERSION")
    return f"{version}, {libc}, {os.uname().machine}"


def main():
    folder, write = sys.argv[1], "--write" in sys.argv[2:]
    program = os.path.join(folder, "bin", "bench_instructions")
    stored = json.load(open(STORE)) if os.path.exists(STORE) else {}
    name = tool_chain(folder)
    if not write and name not in stored:
        print(f"instructions: nothing is written down for {name}, so nothing is compared")
        return 0
    with ThreadPoolExecutor(os.cpu_count()) as pool:
        counts = dict(zip(ROWS, pool.map(lambda row: round(per_call(program, row), 1), ROWS)))
    if write:
        stored[name] = counts
        with open(STORE, "w") as out:
            json.dump(stored, out, indent=2)
            out.write("\n")
    failed = False
    for row in ROWS:
        before = stored[name][row]
        high = counts[row] > before * TOLERANCE
        low = counts[row] * TOLERANCE < before
        failed |= high
        print(f"row {row:<3} {counts[row]:>8} instructions, written down {before}"
              + (": too many" if high else "; fewer than that: write it down (--write)" if low else ""))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
