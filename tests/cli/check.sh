#!/usr/bin/env bash
# `sensorcal check` in real time, and of values that come twice; what else it says is in tests/data/approved/checks.txt.
source "$(dirname "$0")/lib.sh"

run 1 check Acc --json --fault duplicate --speed max --seed 1
json out "any(m['name'] == 'jitter' and m['verdict'] == 'failed' for m in d['sensors'][0]['attempts'][0]['measurements'])"

# In real time, side by side. Five at a time are told, whatever else a machine that stalls makes of the delays; it parts and
# joins bursts, so that about as many are wanted.
real() { # real NAME ARGUMENTS...
  cp -r phone "$1.phone"
  "$sensorcal" check Acc --phone "$1.phone" "${@:2}" >"$1" 2>&1 </dev/null || echo "exit code $?" >>"$1"
}
real late --fault late &
real delay --fault burst:Acc,32 --period 10 &
real burst --fault burst &
wait
called='check Acc, in real time'
has late '^Acc +first sample .* failed$' '^exit code 1$'
has delay '^Acc +delay .* failed$' '^exit code 1$'
has burst 'note: events come about [3-8] at a time'
