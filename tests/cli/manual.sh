#!/usr/bin/env bash
# Help of every command; man page and completions know every command and option of it, and their readers accept them.
source "$(dirname "$0")/lib.sh"

run 0 --version
has out '^sensorcal [0-9]+\.[0-9]+\.[0-9]+, build [0-9a-f]{40}$' '^libsensor_cal [0-9.]+, build [0-9a-f]{40}$'
run 0 --help
has out '--phone' 'Exit codes: 0 passed, 1 failed' '3 an error: the phone could not be judged'
run 0 sensors --fault help
has out '^silent\[:SENSOR\]  the sensor delivers nothing$'
[ ! -e phone ] || fail "help made a phone"

for page in man 'completion bash' 'completion zsh'; do
  # shellcheck disable=SC2086
  run 0 $page
  cp out "${page##* }"
done
bash -n bash
! command -v zsh >/dev/null || zsh -n zsh
if command -v man >/dev/null; then
  MANWIDTH=80 man --warnings -l ./man >page 2>warnings || fail "man cannot read it"
  [ -s warnings ] && fail "man warns: $(cat warnings)"
  grep -q 'sensorcal calibrate Acc' page || fail "the page has no examples"
fi

called='commands and options'
python3 - "$sensorcal" <<'PYTHON' || fail "something is missing"
import re
import subprocess
import sys


def help_of(path):
    return subprocess.run([sys.argv[1], *path, '--help'], capture_output=True, text=True, check=True).stdout


def commands_in(text):
    return re.findall(r'^  ([a-z][a-z-]*)', text.partition('\nSubcommands:\n')[2].split('\n\n')[0], re.M)


texts = {name: re.sub(r'\\f[BIR]', '', open(name).read().replace('\\-', '-')) for name in ('man', 'bash', 'zsh')}
count = 0


def look(path):
    global count
    text = help_of(path)
    if len(path) == 1 and 'Examples:\n  sensorcal ' + path[0] not in text and 'completion ' not in text:
        sys.exit(f'{path} --help has no examples')
    wide = [line for line in text.split('\n') if len(line) > 80 and not line.startswith('  sensorcal ')]
    if wide or (path and f'Usage: sensorcal {" ".join(path)}' not in text):
        sys.exit(f'{path} --help has no usage, or is wider than 80 columns: {wide}')
    # An option stands at the beginning of its line, after its short name if it has one.
    words = re.findall(r'^  (?:-\w,)?(--[a-z][a-z-]*)', text, re.M)
    for word in words + path[-1:]:
        count += 1
        for name, content in texts.items():
            if not re.search(r'(?<![\w-])' + re.escape(word) + r'(?![\w-])', content):
                sys.exit(f'{" ".join(path)}: {word} is not in {name}')
    for command in commands_in(text):
        look(path + [command])


look([])
if count < 60:
    sys.exit(f'only {count} words found: is --help read as it should be?')
PYTHON

# offers WORD...: bash offers the last word, completing what comes before the colon.
offers() {
  local wanted=$1
  shift
  got=$(bash --norc -c 'source ./bash; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _sensorcal; printf "%s\n" "${COMPREPLY[@]}"' - sensorcal "$@" 2>/dev/null)
  grep -qx -- "$wanted" <<<"$got" || fail "sensorcal $*: bash offers $got, not $wanted"
}
offers calibrate cal
offers Acc2 calibrate Ac
offers --golden calibrate Acc --g
offers --json calibrate --speed max --js
offers max watch Acc --speed m
offers state --phone somewhere hub s
offers reference sensors --profile ref
offers duplicate check --fault dup
