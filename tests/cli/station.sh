#!/usr/bin/env bash
# `station`: phones by scan over its web server, with runners of every kind, and who gets in.
source "$(dirname "$0")/lib.sh"
unset SENSORCAL_PHONE SENSORCAL_STORE
export XDG_STATE_HOME=$work/state

# What is wrong is told line by line, and that nothing is.
printf '{"format": "sensorcal.station/1",\n"plan": "nosuch.json",\n"slot": 1}' >bad.json
run 2 station bad.json --check
has err '^sensorcal: bad.json:3:9: slot: unknown key; did you mean slots\?$' \
  'bad.json:2:9: plan: nosuch.json: No such file or directory$'
run 2 station bad.json
run 0 station --check
has out '^station .+: no problem was found$'

python3 "$(dirname "$0")/station/check.py" "$sensorcal" 2>err || fail "the station did not do as it should"
