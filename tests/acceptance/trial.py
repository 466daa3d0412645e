#!/usr/bin/env python3
"""Simulated phones by their plans, and single requests on phones with faults and wrong fixtures: looks for one that passed, or
changed, what it should not.

Phones are drawn and judged by `acceptance phones`; here they are counted. A request that passes is repeated on a twin, the
same phone without faults in a good world, and must have stored what the twin stores and nothing else; `acceptance read` then
holds fresh samples against the truth. One that does not pass must have left everything as it was, or say what it left. The
fixture's part is played behind the program's back.
"""
import argparse
import collections
import concurrent.futures
import itertools
import json
import math
import os
import random
import re
import shutil
import subprocess
import sys
import tempfile
import time

PLANS = os.path.join(os.path.dirname(os.path.abspath(__file__)), '../../plans')
PROFILES = ['reference', 'normal-proximity', 'tof', 'hub-colour', 'colour-backlight', 'dov', 'raz', 'pok', 'tessak', 'velra']
TAGS = ['Acc', 'Acc2', 'Gyr', 'Gyr2', 'Bar', 'Lux', 'Lux_F', 'Lux_B', 'Lux_B_strm', 'Lux_sec', 'Lux_sec_strm', 'Lux_pri2',
        'Lux_pri2_strm', 'CCT_F_strm', 'CCT_B_strm', '33171007', 'Prx', 'Tof', '33171015', '33171016']
OTHERS = ['Mag', 'MagCal', 'Grv', 'Rot', 'Tmp', 'Hum', 'Flicker', '16', '33171099']
# Steps that others build on, which a good phone has behind it.
BEFORE = {('Tof', 6): [5], ('Prx', 6): [5], ('Prx', 7): [5, 6], ('Prx', 2): [0], ('Prx', 19): [0, 2]}
PHONES = 6  # of each profile
STREAMS = ('33171007',)  # whose values the hub keeps under another name
PATHS = ['/mnt/vendor/nvcfg/sensor/lightSensorCali.json', '/vendor/etc/sensors/reference.json',
         '/vendor/etc/sensors/judge_calibrated.json']
PROPERTIES = ['ro.build.product', 'persist.vendor.goodix.cct_support', 'persist.vendor.display.under.cct',
              'sys.backlight.max_equal_spec', 'persist.vendor.sensor.cali_sensor']
# Faults that make another phone of it, the twin's too.
OF_THE_PHONE = ('truncated', 'garbled', 'no-property', 'property')
# What one look at a sensor cannot see: the name, the sensors, and what of the fixture was wrong all the time.
UNSEEN = [('tilt', ('Acc', 'Acc2'), 'up'), ('turning', ('Gyr', 'Gyr2'), 'rotation'), ('pressure', ('Bar',), 'pressure'),
          ('lamp', ('Lux', 'CCT', '33171007'), 'lux'),
          ('dark box', ('Lux', 'CCT', '33171007'), 'dark-box'), ('lamp colour', ('Lux', 'CCT', '33171007'), 'cct'),
          ('target', ('Prx', 'Tof', '3317101'), 'target')]
WORLD = {
    'up': lambda r: f'tilted:{round(10 ** r.uniform(0, 1.954), 1)}',
    'rotation': lambda r: ','.join(str(round(r.choice([0, 1, -1]) * 10 ** r.uniform(-3, 0.3), 4)) for _ in range(3)),
    'vibration': lambda r: str(round(10 ** r.uniform(-1.7, 0.7), 3)),
    'lux': lambda r: r.choice(['dark', str(round(200 * 2 ** r.uniform(-3, 3), 1))]),
    'cct': lambda r: str(r.choice([2700, 3500, 5000, 6500])),
    'pressure': lambda r: str(round(1013.25 + r.choice([-1, 1]) * 10 ** r.uniform(-1, 1.5), 2)),
    'target': lambda r: r.choice(['none', '1', '2', '4', '8', '12']),
    'dark-box': lambda r: r.choice(['on', 'off']),
}
# One kind a row, for the pairs of faults.
KINDS = [('Acc', 'Acc2'), ('Gyr', 'Gyr2'), ('Bar',), ('Lux', 'Lux_F', 'Lux_B', 'Lux_sec', 'Lux_pri2'), ('CCT_F_strm', 'CCT_B_strm'),
         ('33171007',), ('Prx',), ('Tof',), ('33171015', '33171016')]
LIMIT_S = 90


def key_of(tag):
    """The key of the world that matters most for a sensor."""
    return {'A': ['up', 'vibration'], 'G': ['rotation', 'vibration'], 'B': ['pressure'], 'P': ['target'], 'T': ['target']}.get(
        tag[0], ['lux', 'cct', 'dark-box'])


class Trial:
    def __init__(self, options):
        self.o = options
        self.folder = tempfile.mkdtemp(prefix='requests-', dir='/dev/shm' if os.access('/dev/shm', os.W_OK) else None)
        listed = self.run(['sensors', '--fault', 'help']).stdout
        self.faults = re.findall(r'^(\S+)  ', listed, re.M)
        self.faults = [f for f in self.faults if not f.startswith('wrong-fixture')]
        self.pairs = list(itertools.product(itertools.combinations(self.faults, 2), KINDS))
        self.steps = {}
        for tag in TAGS + OTHERS:
            said = self.run(['calibrate', tag, '--param', '99', '--phone', self.folder + '/none']).stderr
            ranges = re.findall(r'(-?\d+)(?: to (\d+))? [a-z]', said.split('it has ')[-1] if 'it has ' in said else '')
            self.steps[tag] = [p for a, b in ranges for p in range(int(a), int(b or a) + 1)]
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            list(pool.map(lambda which: self.make_base(*which), [(p, s) for p in PROFILES for s in range(1, PHONES + 1)]))

    def run(self, arguments):
        return subprocess.run([self.o.sensorcal, *arguments], capture_output=True, text=True, timeout=LIMIT_S)

    def base(self, profile, seed):
        return f'{self.folder}/{profile}-{seed}'

    def make_base(self, profile, seed):
        """A phone whose golden values are known, as colour needs them, and nothing else."""
        plan = json.load(open(f'{PLANS}/{profile}.json'))
        golden = [s for block in plan['steps'] for s in block.get('steps', []) if s.get('golden')]
        file = self.base(profile, seed) + '.json'
        plan['steps'] = [{'fixture': {'lux': '200 lux', 'dark-box': 'off'}}] + golden
        json.dump(plan, open(file, 'w'))
        made = self.run(['run', file, '--phone', self.base(profile, seed), '--profile', profile, '--seed', str(seed),
                         '--speed', 'max'])
        if made.returncode != 0:
            raise RuntimeError(f'{profile} {seed}: {made.stdout}{made.stderr}')
        store = self.base(profile, seed) + '/hub_registry.json'
        hub = json.load(open(store))
        for values in hub['sensors'].values():
            values.pop('channel_scales', None)
        json.dump(hub, open(store, 'w'))

    def fault(self, rng, form, tag):
        name, arguments = re.match(r'([a-z-]+)\[?:?(.*)', form).groups()
        tag = tag if rng.random() < 0.8 else rng.choice(TAGS)
        if tag == 'Gyr' and rng.random() < 0.7:
            tag = '16'  # which its calibration samples
        if tag == 'Prx' and rng.random() < 0.7:
            tag = '33171005' if rng.random() < 0.5 else 'Prx'
        number = {'CALLS': 60, 'MESSAGES': 25, 'MS': 20, 'LEVEL': 4095}
        wanted = arguments.strip('[]')
        if wanted in number:
            return f'{name}:{rng.randrange(number[wanted])}'
        if wanted.startswith('SENSOR'):
            amount = {'motion': lambda: 10 ** rng.uniform(-3, 1), 'out-of-range': lambda: 10 ** rng.uniform(-2, 4),
                      'drift': lambda: 10 ** rng.uniform(-3, 0), 'burst': lambda: rng.randrange(2, 12),
                      'late': lambda: rng.randrange(1, 700)}.get(name)
            text = f'{name}:{tag}' if rng.random() < 0.9 else f'{name}:'
            if amount and rng.random() < 0.7:
                return f'{text},{round(amount(), 4)}'
            return text.rstrip(':')
        if wanted == 'CODE':
            return f'{name}:{rng.randrange(0, 45)}' if rng.random() < 0.7 else name
        if wanted.startswith('CODE,'):
            return f'{name}:{rng.randrange(0, 45)},{rng.randrange(0, 6)},{rng.choice(["-5", "5", "0", "1", "1.0", "0.0", "0.7", "250"])}'
        if wanted == 'PATH':
            return f'{name}:{rng.choice(PATHS)}'
        if wanted == 'NAME':
            return f'{name}:{rng.choice(PROPERTIES)}'
        if wanted == 'NAME=VALUE':
            return f'{name}:{rng.choice(PROPERTIES)}={rng.choice(["1", "", "x", "0"])}'
        return name

    def draw(self, number):
        rng = random.Random(f'{self.o.seed}/{number}')
        case = {'number': number, 'profile': rng.choice(PROFILES), 'seed': rng.randrange(1, PHONES + 1)}
        if self.o.pairs:
            forms, kind = self.pairs[number % len(self.pairs)]
            tag = rng.choice(kind)
            step = rng.choice([s for s in self.steps[tag] if s != 4 or rng.random() < 0.1] or [4])
            return dict(case, tag=tag, step=step, told=[], faults=[self.fault(rng, form, tag) for form in forms],
                        request=['calibrate', tag, '--param', str(step)])
        pairs = len(self.faults) * len(TAGS)
        tag = TAGS[number % len(TAGS)] if number < pairs else rng.choice(TAGS if rng.random() < 0.9 else OTHERS)
        steps = [s for s in self.steps[tag] if s != 4 or rng.random() < 0.1] or [4]
        param = rng.choice(steps) if rng.random() < 0.8 or number < pairs else rng.randrange(-2, 22)
        faults = [self.faults[number // len(TAGS)]] if number < pairs else rng.sample(self.faults, rng.choice([0, 0, 0, 1, 1, 2]))
        case['faults'] = [self.fault(rng, form, tag) for form in faults]
        request = ['calibrate', tag, '--param', str(param)]
        other = rng.random() if number >= pairs else 1
        if other < 0.04:
            request = ['selftest', tag]
        elif other < 0.08:
            tag = '33171015'
            request = ['sar', str(rng.choice([1, 2]))] + rng.choice([[], ['--soft']])
        elif other < 0.12:
            tag = rng.choice(['Tof', 'Prx'])
            request = ['tof', str(rng.choice([5, 6, 7])), '--sensor', tag]
        elif other < 0.18:
            tag = rng.choice(['Lux', 'Lux_B', 'Lux_F', 'Acc'])
            request = ['channel', tag, str(rng.randrange(-1, 8)), str(rng.choice([200, 1000]))] + rng.choice([[], ['--screen']])
        step = int(request[1]) if request[0] == 'tof' else param if request[0] == 'calibrate' else None
        case.update(tag=tag, request=request, step=step, told=[])
        if rng.random() < 0.35 and number >= pairs:
            key = rng.choice(key_of(tag)) if rng.random() < 0.8 else rng.choice(list(WORLD))
            setting = f'{key}={WORLD[key](rng)}'
            if rng.random() < 0.6:
                case['faults'].append('wrong-fixture:' + setting)
            else:
                case['told'] = ['--world', setting]
        return case

    def command(self, case, phone, faults, told):
        return [*case['request'], '--phone', phone, '--speed', 'max', '--json', *told, *(f'--fault={f}' for f in faults)]

    def state(self, phone):
        """What outlives the process: the hub's store and the files, without the panel's brightness."""
        hub = json.load(open(phone + '/hub_registry.json'))
        files = {}
        for root, _, names in os.walk(phone + '/mnt'):
            for name in names:
                path = os.path.join(root, name)
                # Of a process that died the stand-in of a file fault is left, a link to a device, beside the file itself.
                if os.path.isfile(path):
                    files[path[len(phone):].removesuffix('.kept')] = open(path, 'rb').read()
        return {**flat(hub, ''), **files}

    def try_case(self, number):
        case = self.draw(number)
        phone = f'{self.folder}/{number}'
        shutil.copytree(self.base(case['profile'], case['seed']), phone, symlinks=True)
        for step in BEFORE.get((case['tag'], case['step']), [13] if case['step'] == 14 else []):
            self.run(['calibrate', case['tag'], '--param', str(step), '--phone', phone, '--speed', 'max'])
        shutil.copytree(phone, phone + '-twin', symlinks=True)
        before = self.state(phone)
        out = dict(case, misses=[], passed=False, unseen=None)
        start = time.monotonic()
        try:
            done = self.run(self.command(case, phone, case['faults'], case['told']))
            out['seconds'] = time.monotonic() - start
            self.judge(case, phone, before, done, out)
        except subprocess.TimeoutExpired:
            out['misses'].append(f'hangs for {LIMIT_S} s')
        except Exception as error:  # a miss of the trial itself is one, too
            out['misses'].append(f'not judged: {error!r}')
        for folder in (phone, phone + '-twin'):
            shutil.rmtree(folder, ignore_errors=True)
        out['command'] = 'sensorcal ' + ' '.join(
            self.command(case, 'NEW', case['faults'], case['told'])) + f' --profile {case["profile"]} --seed {case["seed"]}'
        return out

    def judge(self, case, phone, before, done, out):
        code = done.returncode
        out['code'] = code
        out['passed'] = code == 0
        if code not in (0, 1, 2, 3):
            return out['misses'].append(f'ended with {code}: {done.stderr[-200:]}')
        after = self.state(phone)
        damaged = any(f.split(':')[0] in ('truncated', 'garbled') for f in case['faults'])
        changed = [k for k in set(before) | set(after) if value_of(before, k) != value_of(after, k) and not (damaged and k in PATHS)]
        try:
            record = json.loads(done.stdout)
        except ValueError:
            record = {}
        if code != 0:
            said = json.dumps(record) + done.stderr
            told = any(words in said for words in ('not undone', 'not all back', 'could not be put back', 'old values are back is not known',
                                                   'cannot be undone'))
            if changed and not told:
                out['misses'].append(f'changed without a word: {sorted(changed)[:4]}')
            if code == 1 and not case['faults'] and not case['told']:
                reasons = [r['text'] for s in record.get('steps', []) for a in s['attempts'] for r in a['reasons']]
                # Not every type has a self-test, nor every chip all channels.
                if case['tag'] not in OTHERS and not (case['request'][0] == 'channel' and not 0 <= int(case['request'][2]) < 5):
                    out['misses'].append(f'good, but failed: {reasons[:2]}')
            return None
        # It passed: the twin, without faults, in the world that the fixture should have made.
        twin = phone + '-twin'
        of_the_phone = OF_THE_PHONE
        if case['step'] in (8, 9, 10, 11):  # at the brightness that the panel has
            of_the_phone += ('brightness-missing', 'brightness-read-only', 'brightness-clamped')
        kept = [f for f in case['faults'] if f.split(':')[0] in of_the_phone]
        # A channel has no lamp of its own: it is brought to its target under the one that there is.
        good = self.run(self.command(case, twin, kept, case['told'] if case['request'][0] == 'channel' else []))
        if good.returncode != 0:
            return out['misses'].append('passed, but its twin did not')
        right = self.state(twin)
        wrong = [k for k in set(after) | set(right)
                 if not (damaged and k in PATHS) and not alike(k, value_of(after, k), value_of(right, k))]
        faults = [f for f in case['faults'] if f.split(':')[0] in ('motion', 'out-of-range')]
        if not wrong and not faults:
            wrong = self.far_off(phone, before, after)
        elif faults:  # this phone's own error, which its twin has not
            wrong = [k for k in wrong if not case['tag'].startswith(k.split('/')[1]) and case['tag'] not in STREAMS]
            wrong += self.far_off(phone, before, after, faults)
        if not wrong:
            return None
        names = [name for name, tags, key in UNSEEN if case['tag'].startswith(tags)
                 and any(f.startswith(f'wrong-fixture:{key}=') for f in case['faults'])]
        names += ['drift' for f in case['faults'] if slow_drift(f, case['tag'])]
        names += ['stream' for f in faults if f.startswith('out-of-range:' + case['tag']) and case['tag'].startswith('CCT')]
        if names:
            out['unseen'] = names[0]
        else:
            out['misses'].append('passed, but wrong: ' + ', '.join(
                f'{k} {after.get(k)!r:.60} for {right.get(k)!r:.60}' for k in sorted(wrong)[:3]))
        return None

    def far_off(self, phone, before, after, faults=()):
        """Whose fresh samples are beyond the limits, of the sensors that the request changed."""
        touched = {k.split('/')[1] for k in set(before) | set(after) if k.startswith('sensors/') and before.get(k) != after.get(k)}
        if not touched:
            return []
        read = subprocess.run([self.o.acceptance, 'read', phone, *faults], capture_output=True,
                              text=True, timeout=LIMIT_S, check=True)
        return [f'samples of {r["sensor"]} are off by {r["value"]:.4g} {r["unit"]}' for r in json.loads(read.stdout)
                if any(r['sensor'].startswith(t) for t in touched) and not r['value'] <= r['limit']]


def flat(value, name):
    if isinstance(value, dict):
        out = {}
        for key, part in value.items():
            out.update(flat(part, f'{name}/{key}' if name else key))
        return out
    if isinstance(value, list):
        return {f'{name}/{i}': part for i, part in enumerate(value)}
    return {name: value}


def slow_drift(fault, tag):
    """A drift that begins anew with each enabling, and stays within the noise that a look of a second may have."""
    name, _, arguments = fault.partition(':')
    sensor, _, amount = arguments.partition(',')
    most = {'A': 0.18, 'G': 0.018, 'B': 0.5}.get(tag[0], 0)
    return name == 'drift' and sensor in ('', tag, '16' if tag == 'Gyr' else tag) and 0 < float(amount or 0.5) <= most


# What reads where nothing is set.
DEFAULTS = {'offset': 0, 'scale': 1, 'channel_scales': 1, 'near': 300, 'far': 400}


def value_of(state, key):
    name = key.split('/')[2:3]
    return state.get(key, DEFAULTS.get(name[0]) if name else None)


def alike(key, a, b):
    """As near as two good runs of one phone."""
    if not isinstance(a, (int, float)) or not isinstance(b, (int, float)):
        return isinstance(a, bytes) and isinstance(b, bytes) or a == b
    absolute = 0
    if '/offset' in key:
        absolute = 0.0007 if '/Gyr' in key else 0.24 if '/Bar' in key else 0.04 if '/Acc' in key else 12
    elif '/Prx' in key or '/Tof' in key or 'baseline' in key:
        absolute = 12
    elif '/backlight/' in key:
        absolute = 1  # lux without its fraction, and the limit of what a lit panel may add
    return abs(a - b) <= absolute + (0.1 * abs(b) if '/offset' not in key else 0)


def try_requests(options):
    """Prints what is wrong; returns how many misses there were."""
    start = time.monotonic()
    trial = Trial(options)
    counts, unseen, misses = collections.Counter(), collections.defaultdict(list), 0
    try:
        with concurrent.futures.ThreadPoolExecutor(options.threads) as pool:
            count = min(options.requests, len(trial.pairs)) if options.pairs else options.requests
            for done in pool.map(trial.try_case, range(options.first, options.first + count)):
                counts[done.get('code')] += 1
                if done['unseen']:
                    unseen[done['unseen']].append(done['command'])
                for miss in done['misses']:
                    misses += 1
                    print(f'MISS {done["number"]}: {done["command"]}\n     {miss}', flush=True)
    finally:
        shutil.rmtree(trial.folder, ignore_errors=True)
    print(f'{sum(counts.values())} requests from seed {options.seed} in {time.monotonic() - start:.0f} s, {misses} misses: ' +
          ', '.join(f'{n} ended with {code}' for code, n in sorted(counts.items(), key=str)))
    for name, commands in sorted(unseen.items()):
        print(f'unseen by one look, {name}: {len(commands)}, for example {commands[0]}')
    return misses


def try_phones(options):
    """The same of phones; 99.9 % of what good ones keep must lie within the limits."""
    start = time.monotonic()
    chunk = 25

    def part(first):
        count = min(chunk, options.seed + options.phones - first)
        done = subprocess.run([options.acceptance, 'phones', str(first), str(count)], capture_output=True, text=True, check=False)
        lines = [json.loads(line) for line in done.stdout.splitlines() if line.endswith('}')]
        lost = set(range(first, first + count)) - {line['seed'] for line in lines}
        return lines, [f'seed {seed}: its process ended before it was judged: {done.stderr[-200:]}' for seed in sorted(lost)]

    counts, spreads, misses = collections.Counter(), {}, 0
    # Some calibrations wait for seconds by their own time limits: more processes than cores.
    with concurrent.futures.ThreadPoolExecutor(4 * (os.cpu_count() or 1)) as pool:
        for phones, lost in pool.map(part, range(options.seed, options.seed + options.phones, chunk)):
            for miss in lost + [f'{phone["phone"]}\n     {miss}' for phone in phones for miss in phone['misses']]:
                misses += 1
                print('MISS', miss, flush=True)
            for phone in phones:
                counts[phone['population'], 'passed' if phone.get('passed') else 'failed'] += 1
                for value in phone['residuals']:
                    good = spreads.setdefault((value['sensor'], value['limit'], value['unit']), [])
                    if phone['population'] == 'good':
                        good.append(value['value'])
    for (sensor, limit, unit), values in spreads.items():
        most = sorted(values)[math.ceil(0.999 * len(values)) - 1] if values else 0
        print(f'{sensor:16} {len(values):8} good phones, 99.9 % of them within {most:.5g}, limit {limit:.5g} {unit}')
        if most > limit:
            misses += 1
    print(f'{options.phones} phones from seed {options.seed} in {time.monotonic() - start:.0f} s, {misses} misses: ' +
          ', '.join(f'{n} {population} {verdict}' for (population, verdict), n in sorted(counts.items())))
    return misses


def main():
    parser = argparse.ArgumentParser(description=__doc__.split('\n\n')[0])
    parser.add_argument('--sensorcal', required=True)
    parser.add_argument('--acceptance', required=True)
    parser.add_argument('--phones', type=int, default=10000)
    parser.add_argument('--requests', type=int, default=10000)
    parser.add_argument('--first', type=int, default=0, help='number of the first request')
    parser.add_argument('--seed', type=int, default=1)
    parser.add_argument('--pairs', action='store_true', help='every two faults with every kind of sensor, no phones')
    parser.add_argument('--threads', type=int, default=16 * (os.cpu_count() or 1))
    options = parser.parse_args()
    misses = try_phones(options) if options.phones and not options.pairs else 0
    misses += try_requests(options) if options.requests else 0
    sys.exit(bool(misses))


main()
