#!/usr/bin/env bash
# `sensorcal watch` prints lines when piped, redraws on a terminal, ends cleanly on Ctrl-C, and holds the phone meanwhile.
source "$(dirname "$0")/lib.sh"

run 0 watch Acc --seed 1 --seconds 3 --speed max
has out '^[0-9.]+ s +x .* sd limit 0\.05 +50\.0 Hz +settled for' '^3\.0 s, 151 events, 50\.0 Hz'
[ "$(grep -c '^[0-9.]* s  x' out)" -le 16 ] || fail "more than 5 lines a second"
lacks out $'\033'
run 0 watch Gyr --seconds 2 --speed max --json
sed -i '$!d' out
json out 'd["schema"] == "sensorcal.watch/1"' 'd["summary"]' 'd["settled"]' 'd["unit"] == "rad/s"' \
  'all(a["within"] for a in d["axes"])'
run 0 watch Acc --seconds 2 --speed max --fault motion:Acc
has out 'HIGH.*not settled'
run 1 watch Acc --seconds 0.2 --fault silent
has err 'no event came'
run 3 watch Acc --seconds 1 --speed max --fault sensors-vanish:1

called='watch and check, interrupted'
python3 - "$sensorcal" >took <<'PYTHON' || fail "not as wanted"
import json
import signal
import subprocess
import sys
import time

sensorcal = sys.argv[1]
took = []
for command, code in ((['watch', 'Acc', '--json'], 0), (['watch', 'Acc'], 0), (['check', '--json'], 130)):
    run = subprocess.Popen([sensorcal, *command], stdout=subprocess.PIPE)
    time.sleep(1)
    other = subprocess.run([sensorcal, 'sensors'], capture_output=True, text=True)
    if other.returncode != 3 or f'held by process {run.pid}' not in other.stderr:
        sys.exit(f'a second process: {other.returncode}, {other.stderr}')
    start = time.monotonic()
    run.send_signal(signal.SIGINT)
    out = run.communicate()[0].decode()
    took.append(time.monotonic() - start)
    if run.returncode != code:
        sys.exit(f'{command}: exit code {run.returncode}, {out}')
    if '--json' not in command and ' events, ' not in out.splitlines()[-1]:
        sys.exit(f'no summary: {out}')
    if command == ['watch', 'Acc', '--json'] and not json.loads(out.splitlines()[-1])['summary']:
        sys.exit(f'no summary: {out}')
print(f'slowest end {max(took) * 1000:.0f} ms; the aim is 200')
if max(took) > 1:
    sys.exit(f'{took} s')
PYTHON
cat took

# On a terminal the values are written over each other.
NO_COLOR=1 on_terminal 0 40 100 watch Acc --seconds 1
has out $'A\e\\[J'
lacks out $'\e\\[3'
