#!/usr/bin/env bash
# What stands in the place of a phone's own files: nothing of it is taken for a missing file, waited for or lost.
source "$(dirname "$0")/lib.sh"
phone=$SENSORCAL_PHONE
persist=$phone/mnt/vendor/persist/sensors

run 0 set Prx crosstalk-file-1 11 --speed max --profile normal-proximity
run 0 set Bar offset 1 --speed max

# A file that is there but cannot be reached is named, and all stays as it is.
for file in state.json profile.json build.prop hub_registry.json properties; do
  for bad in loop nowhere folder fifo; do
    [ ! -e "$phone/$file" ] || mv "$phone/$file" kept
    case $bad in
      loop) ln -s "$file" "$phone/$file" ;;
      nowhere) ln -s nowhere "$phone/$file" ;;
      folder) mkdir "$phone/$file" ;;
      fifo) mkfifo "$phone/$file" ;;
    esac
    run 3 set Bar offset 2 --speed max
    has err "/$file\\b"
    lacks err 'made anew'
    [ -L "$phone/$file" ] || [ -d "$phone/$file" ] || [ -p "$phone/$file" ] || fail "$bad at $file was replaced"
    rm -d "$phone/$file"
    [ ! -e kept ] || mv kept "$phone/$file"
  done
done
run 0 get Bar offset --json --speed max
json out 'd[0]["values"] == [1.0]'
has "$persist/PSensor_ct1.txt" 11
