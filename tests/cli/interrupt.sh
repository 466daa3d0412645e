#!/usr/bin/env bash
# Ctrl-C ends a run at once with 130, says so, and leaves the hub's old offset in place.
source "$(dirname "$0")/lib.sh"

run 0 set Acc offset 0.25 -0.5 0.125
called='calibrate Acc Gyr'
for round in INT:0.1 INT:0.7 TERM:0.4; do
  # In real time: a run takes more than a second.
  rm -f run.log
  "$sensorcal" calibrate Acc Gyr --json --log run.log >out 2>err &
  until grep -qs 'sensor_calibrate\]' run.log || ! kill -0 $! 2>/dev/null; do sleep 0.005; done
  sleep "${round#*:}"
  ends 130 "${round%:*}" $!
  json out '[s["verdict"] for s in d["steps"]] == ["passed", "aborted", "skipped"]'
done
run 0 get Acc offset --json
json out 'd["stored"][0]["values"] == [0.25, -0.5, 0.125]'

# The hub's own colour run cannot be woken: it is left, and the panel is as bright as before it.
run 0 backlight 77 --phone hub --profile hub-colour --seed 3
"$sensorcal" calibrate CCT_F_strm --golden --phone hub --fault hub-word:40,0,-1 --log hub.log >out 2>err &
until grep -qs 'countdown_times' hub.log || ! kill -0 $! 2>/dev/null; do sleep 0.005; done
ends 130 TERM $!
run 0 backlight --phone hub
has out '^brightness 77 '

# So does it while the phone is still to be opened, here with files that are pipes which nobody writes or reads.
mkfifo pipe.json
under=(timeout --preserve-status --signal=INT --kill-after=20 0.5)
for command in 'sensors --profile' 'sensors --log' 'sensors --hub-log' run; do
  # shellcheck disable=SC2086
  run 130 $command pipe.json --phone other --seed 1
  has err '^interrupted$' && [ -z "$(tail -c 1 err)" ] || fail 'no line of its own'
done
under=()

# A study's phones are gone with it, whether a run or the next one's opening was under way.
for pause in 0.05 0.1 0.15 0.2; do
  called="grr --run, interrupted after $pause s"
  "$sensorcal" grr --run "$2/../../plans/inertial.json" --seed 7 >out 2>err &
  until compgen -G "/dev/shm/sensorcal-$!-*" >found || compgen -G "${TMPDIR:-/tmp}/sensorcal-$!-*" >found; do :; done
  sleep $pause
  ends 130 TERM $!  # of a shell's jobs SIGINT is ignored
  ! ls $(cat found) 2>err || fail "$called: left its phones behind"
done
