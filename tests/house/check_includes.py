"""Holds the includes of the application's rooms to what each of them may know."""
import pathlib
import re
import sys

FOUNDATION = {'files', 'cli'}
# A room may include itself, the foundation and these.
MAY_KNOW = {
    'factory/files': set(),
    'factory/cli': set(),
    'factory/record': set(),
    'factory/sensors': set(),
    'factory/phone': {'sensors', 'record'},
    'factory/run': {'phone', 'sensors', 'record'},
    'factory/check': {'phone', 'sensors'},
    'factory/report': {'record'},
    'factory/store': {'record'},
    'factory/quality': {'store', 'report', 'record'},
    'factory/commands/phone': {'phone', 'sensors', 'record', 'run', 'check'},
    'factory/commands/station': {'record', 'report', 'store', 'quality'},
    'factory/device': {'phone', 'sensors'},
    'host/simulator': {'phone', 'sensors', 'record'},
    'host/simulator/line': {'phone', 'sensors', 'record', 'run', 'store', 'simulator'},
    'host/simulator/commands': {'phone', 'record', 'run', 'store', 'quality', 'commands/phone', 'commands/station', 'line',
                                'simulator'},
}
# Rooms that meet the exported headers and the platform.
MEETS_LIBRARY = {'sensors', 'phone', 'run', 'check', 'commands/phone', 'device', 'simulator', 'line'}
LIBRARY = re.compile(r'<(?:android|cutils|hidl|utils|vendor)/|<(?:Sensor\w*|persistCalibrate|OemTestMsg)\.h>')


def included_as(room):
    if room.startswith('factory/'):
        return room.removeprefix('factory/')
    return 'simulator_commands' if room == 'host/simulator/commands' else pathlib.Path(room).name


# The room that an included file lies in: the first folder, or two where rooms lie in a folder of rooms.
def room_of(file):
    return '/'.join(file.split('/')[:2 if file.startswith('commands/') else 1])


def main(top):
    problems = []
    for room, may in MAY_KNOW.items():
        name = included_as(room)
        allowed = may | FOUNDATION - ({'cli'} if name == 'files' else set()) | {name}
        sources = [p for p in sorted((top / room).iterdir()) if p.suffix in ('.cpp', '.h')]
        if not sources:
            problems.append(f'{room}: no such room')
        for source in sources:
            for line in source.read_text().splitlines():
                quoted = re.match(r'\s*#\s*include\s*"([^"]+)"', line)
                here = source.relative_to(top)
                if quoted and room_of(quoted[1]) not in allowed:
                    problems.append(f'{here}: {name} may not know {quoted[1]}')
                if LIBRARY.search(line) and '#' in line and name not in MEETS_LIBRARY:
                    problems.append(f'{here}: {line}: {name} knows no sensors')
    loose = [p.name for p in (top / 'factory').iterdir() if p.suffix in ('.cpp', '.h') and p.name != 'main.cpp']
    problems += [f'factory/{name}: is in no room' for name in loose]
    rooms = {p.parent.relative_to(top).as_posix() for folder in ('factory', 'host/simulator')
             for p in (top / folder).rglob('*.cpp')} - {'factory'}
    problems += [f'{room}: nobody says what it may know' for room in sorted(rooms - set(MAY_KNOW))]
    print('\n'.join(problems) or f'house: {len(MAY_KNOW)} rooms')
    return 1 if problems else 0


sys.exit(main(pathlib.Path(sys.argv[1])))
