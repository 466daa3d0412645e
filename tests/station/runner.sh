#!/bin/sh
# runner.sh SENSORCAL PHONE SERIAL: a slot's runner. The serial number says what becomes of its phone.
sensorcal=$1 phone=$2 serial=$3 speed=max
shift 3
case $serial in
  *BAD*) set -- --fault motion:Acc,0.3 ;;
  *ASK*) set -- --fixture operator ;;
  *SLOW*) speed=1 ;;
  *ODD*)
    word='{"code": "constructor", "arguments": ["toString"], "text": "constructor"}'
    echo '{"event": "begun", "steps": 1}'
    echo '{"event": "begins", "step": 1, "attempt": 1, "name": "constructor", "kind": "constructor"}'
    echo "{\"event\": \"ended\", \"step\": 1, \"verdict\": \"failed\", \"reasons\": [$word], \"hints\": [$word]}"
    exit 1 ;;
  *GONE*) echo "device '<b>R58M</b>' not found" >&2; exit 1 ;;
esac
exec "$sensorcal" run - --events --phone "$phone" --serial "$serial" --speed "$speed" "$@"
