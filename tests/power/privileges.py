#!/usr/bin/env python3
"""What the library may touch: its documented files and no others, whatever its inputs say.

    privileges.py SENSORCAL LIBRARY_CALLS LIBFILE_CALLS
"""
import pathlib
import stat
import sys
import tempfile

sys.path.append(str(pathlib.Path(__file__).absolute().parents[1] / 'support'))
from traced import Traced  # noqa: E402

SENSORCAL, LIBRARY_CALLS, LIBRARY = sys.argv[1:]
PERSIST = '/mnt/vendor/persist/sensors/'
LIGHT = '/mnt/vendor/nvcfg/sensor/lightSensorCali.json'
NEW_FILES = [PERSIST + name for name in ('PSensor_ct1.txt', 'PSensor_ct2.txt', 'PSensor3cm_ct.txt', 'scale.txt')]
MAY_CHANGE = [*NEW_FILES, LIGHT, '/sys/class/leds/lcd-backlight/brightness']
# Every operation of the library that writes a file, and those that read one.
WRITERS = ('call save_prox_ct1 12 + save_prox_ct2 -3 + save_prox_delta 4 + setScale 0.5 + '
           f'WirteScaleToFileJson 0.9 {LIGHT} + SetBrightness 100')
READERS = ('call load_prox_ct1 + load_prox_ct2 + load_prox_delta + getScale + getChannelCail + getChannelCail_ori + '
           'get_judge_calibrated + GetCalibrated')
ON_DEVICE = ('/mnt/', '/sys/', '/vendor/')
wrong = []

with tempfile.TemporaryDirectory() as folder:
    phone = pathlib.Path(folder) / 'phone'
    traced = Traced(LIBRARY, f'{folder}/log', '/')

    def run(command, **options):
        """Runs it, and notes what was changed outside the phone, and on its device outside the documented files."""
        program = LIBRARY_CALLS if command.startswith('call ') else SENSORCAL
        traced.run([program, '--phone', phone, '--speed', 'max', *command.split()], **options)
        if not traced.calls:
            wrong.append(f'{command}: nothing was watched')
        for call in traced.calls:
            changed = call.to or call.path
            inside = changed.removeprefix(str(phone))
            reads = call.kind == 'open' and 'w' not in call.detail
            if reads or call.kind in ('write', 'sync', 'close') or changed.startswith(('/dev/', '/proc/')):
                continue
            if inside == changed or (inside.startswith(ON_DEVICE) and inside not in MAY_CHANGE):
                wrong.append(f'{command}: {call.kind} {changed}')

    run('report --seed 7')
    wrong.clear()  # a new phone's files are all new

    old_files = [path for path in phone.rglob('*') if str(path).removeprefix(str(phone)) in NEW_FILES]
    for path in old_files:
        path.unlink()
    run(WRITERS, umask=0o027)
    for path in NEW_FILES:
        mode = stat.S_IMODE((phone / path[1:]).stat().st_mode)
        if mode != 0o640:
            wrong.append(f'{path}: mode {mode:o}')
    for command in (WRITERS, READERS):
        run(command)
        opened = [c for c in traced.calls if c.kind == 'open' and c.path.removeprefix(str(phone)).startswith(ON_DEVICE)]
        wrong += [f'{c.path} is left to a child' for c in opened if 'e' not in c.detail]
        if len(opened) < 5:
            wrong.append(f'only {len(opened)} files of the device were opened')

    # Contents name no other file.
    up = '../' * 8 + folder[1:] + '/outside'
    light = f'{{"als": {{"channel_scale": {{"ver": "{up}"}}, "{up}": "{up}"}}, "../x": {{}}, "/etc/x": 1}}'
    hostile = {LIGHT: light, NEW_FILES[0]: f'offset={up}\n', PERSIST + 'cail.txt': f'{up}\t{up}\n',
               '/vendor/etc/sensors/judge_calibrated.json': f'Acc {up}.{up} {up} 0 sim_imu\nLux {up} /{up} 0 sim_als\n',
               '/build.prop': (phone / 'build.prop').read_text() + ''.join(f'{name}={up}\n' for name in (
                   'ro.build.product', 'ro.product.product.name', 'persist.vendor.sensor.cali_sensor',
                   'persist.vendor.goodix.cct_support', 'persist.vendor.display.under.cct'))}
    for path, text in hostile.items():
        (phone / path[1:]).write_text(text)
    for command in (WRITERS, READERS, 'report', 'judge', 'calibrate Acc Lux --world lux=200'):
        run(command)
    if (pathlib.Path(folder) / 'outside').exists():
        wrong.append('a file of another name was made')

sys.exit('\n'.join(wrong) if wrong else 0)
