#!/usr/bin/env bash
# Who watches the terminal reads why a run starts anew while it does; nobody else is told of it before the end.
source "$(dirname "$0")/lib.sh"

# said_within SECONDS COLUMNS ARGUMENTS...: what the live line said within so many seconds, one text a line.
said_within() {
  on_terminal 130 "$2" "$1" "${@:3}"
  grep -oP '\r\e\[K\K[^\r]+' out | awk '!seen[$0]++' >said
}

said_within 2 100 calibrate Acc --fault motion:Acc,8 --speed 4
has said '\] calibrate Acc  [xyz] moves: [0-9.]+ is above [0-9.]+ m/s\^2: set it down still$'
# A few a second can be read.
count=$(grep -c ' moves: ' said)
[ "$count" -ge 2 ] && [ "$count" -le 6 ] || fail "$count texts in 2 s"
said_within 3 200 calibrate Acc --fault stuck:Acc --speed 4
has said '[xyz] repeats one value: look at its driver$'
said_within 3 200 calibrate Acc --world up=tilted:60 --speed 4
has said '[xyz] is off: [0-9.]+ is above [0-9.]+ m/s\^2: lay it flat and still$'

# How long it takes, by what each sort of step takes, and in which attempt it is.
plan='{"format": "sensorcal.plan/1", "name": "times", "steps": ['
verify='{"verify": "Acc", "repeat": 2, "samples": 25, "limits": {"seconds": "1e-6 s"}, "on_failure": "go on"}'
check='{"check": "report"}'
calibrate=$(printf '{"calibrate": "%s"}, ' Gyr Lux Acc Bar CCT_F_strm Prx)
echo "$plan$calibrate"'{"calibrate": "Lux", "param": 13}, {"group": "looks", "steps": [' \
  "$verify"', {"verify": "Lux_B", "limits": {"noise": "9 lux"}}]},' "$check, $check, $check, $check]}" >plan.json
said_within 2 200 run plan.json --speed 0.9943
has said '^\[1/13\] about 2[78] s left  calibrate Gyr  [0-9]+ events$'
lacks said 'about 29 s' 'attempt' 'restarts: 0'
echo "$plan$verify"', {"verify": "Prx", "expect": "near"}]}' >plan.json
NO_COLOR=1 on_terminal 1 200 60 run plan.json
has out 'verify Acc, attempt 2  0 events' '\[2/2\] soon done  verify Prx'

called='calibrate Acc, without a terminal'
"$sensorcal" calibrate Acc --fault motion:Acc,8 --speed 4 >out 2>err &
sleep 1.5
ends 130 INT $!
lacks out ' moves: '
lacks err .
