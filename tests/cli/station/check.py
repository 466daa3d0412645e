"""Drives a station as its page does: check.py SENSORCAL, in a folder of its own."""
import http.client
import json
import os
import pathlib
import re
import select
import shutil
import signal
import socket
import sqlite3
import subprocess
import sys
import time

sensorcal = sys.argv[1]
here = pathlib.Path(__file__).absolute().parent
FAKE = [sys.executable, f'{here}/runner.py', '{serial}']
PLAN = {'format': 'sensorcal.plan/1', 'name': 'told', 'steps': [{'fixture': {'up': 'flat'}}, {'calibrate': 'Acc'}]}
problems = []


def expect(what, seen, wanted):
    if seen != wanted:
        problems.append(f'{what}: {seen!r}, not {wanted!r}')


class Station:
    def __init__(self, **settings):
        pathlib.Path('station.json').write_text(json.dumps(
            {'format': 'sensorcal.station/1', 'station': 'line-3', 'port': 0, 'plan': 'plan.json', 'runner': FAKE, **settings}))
        self.process = subprocess.Popen([sensorcal, 'station', 'station.json'], stdout=subprocess.PIPE, text=True)
        line = self.process.stdout.readline()
        self.host, self.port = re.search(r'http://([0-9.]+):([0-9]+)/', line).groups()
        self.address = line.split()[-1]
        self.bearer = settings.get('token')
        self.token = re.search(r'name="page-token" content="([0-9a-f]+)"', self.ask('GET', '/')[1])[1]

    def ask(self, method, path, body=None, headers=None):
        connection = http.client.HTTPConnection(self.host, int(self.port), timeout=10)
        try:
            known = {'Authorization': f'Bearer {self.bearer}'} if self.bearer else {}
            connection.request(method, path, body, {**known, **(headers or {})})
            response = connection.getresponse()
            self.headers = response.headers
            return response.status, response.read().decode()
        finally:
            connection.close()

    def post(self, path, body, **headers):
        text = body if isinstance(body, (str, bytes)) else json.dumps(body)
        own = {'X-Page-Token': self.token, 'Content-Type': 'application/json', **{k.replace('_', '-'): v for k, v in headers.items()}}
        status, answer = self.ask('POST', path, text, own)
        answer = json.loads(answer) if answer else {}
        return status, answer.get('done') or answer.get('code', '')

    def scan(self, text, slot=None):
        return self.post('/scan', {'slot': slot, 'text': text})

    def state(self):
        return json.loads(self.ask('GET', '/state')[1])

    def slot(self, slot='1'):
        return next(one for one in self.state()['slots'] if one['slot'] == slot)

    def wait(self, holds, what):
        for _ in range(900):
            state = self.state()
            if holds(state):
                return state
            time.sleep(0.02)
        problems.append(f'{what}: not within 18 s: {json.dumps(state["slots"])}')
        return state

    def verdict(self, serial, slot='1'):
        is_over = lambda one: one['serial'] == serial and one['phase'] == 'over'
        self.wait(lambda state: any(is_over(one) and one['slot'] == slot for one in state['slots']), f'{serial} is over')
        return self.slot(slot)

    def events(self):
        stream = socket.create_connection((self.host, int(self.port)), timeout=5)
        stream.sendall(f'GET /events HTTP/1.1\r\nHost: {self.host}:{self.port}\r\n\r\n'.encode())
        return stream

    def end(self):
        self.process.send_signal(signal.SIGINT)
        code = self.process.wait(timeout=15)
        expect('exit code', code, 0)


def read_until(stream, wanted):
    told = b''
    while wanted not in told:
        part = stream.recv(65536)
        if not part:
            problems.append(f'the stream ended before {wanted}')
            break
        told += part
    return told


def runs_in_store(store='runs.db'):
    done = subprocess.run([sensorcal, 'stats', '--store', store, '--json'], capture_output=True, text=True, check=True)
    return json.loads(done.stdout)['runs']


def check_doors(station):
    headers = station.headers
    for name, wanted in [('X-Content-Type-Options', 'nosniff'), ('Referrer-Policy', 'no-referrer'), ('Cache-Control', 'no-store')]:
        expect(name, headers[name], wanted)
    policy = headers['Content-Security-Policy']
    expect('policy', "default-src 'none'" in policy and "frame-ancestors 'none'" in policy and 'unsafe' not in policy, True)
    for path, status in [('/station.js', 200), ('/station.css', 200), ('/pictures.js', 200), ('/texts.json', 200), ('/texts/en.json', 200),
                         ('/nosuch', 404), ('/../etc/passwd', 404), ('/station.json', 404), ('/stationxjs', 404)]:
        expect(path, station.ask('GET', path)[0], status)
    own = f'{station.host}:{station.port}'
    for headers in [{'Host': 'attacker.example'}, {'Host': f'attacker.example:{station.port}'}, {'Origin': 'http://attacker.example'},
                    {'Origin': 'null'}, {'Host': own, 'Origin': f'https://{own}'}]:
        for path in ['/', '/state', '/events', '/station.js']:
            expect(f'{path} {headers}', station.ask('GET', path, headers=headers)[0], 403)
        expect(f'scan {headers}', station.post('/scan', {'text': 'A1'}, **headers), (403, 'not-allowed'))
    order = {'slot': None, 'text': 'A1'}
    for body, headers, wanted in [
            (order, {'X_Page_Token': ''}, (403, 'stale-page')), (order, {'X_Page_Token': '0' * 32}, (403, 'stale-page')),
            (order, {'Content_Type': 'text/plain'}, (415, 'not-allowed')), ('{"text": ', {}, (400, 'not-json')), ('[1]', {}, (400, 'not-json')),
            ('[' * 60000, {}, (400, 'not-json')), (b'\xff\xfe', {}, (400, 'not-json')), (b'{"slot": "1", "text": "A\xff"}', {}, (400, 'not-json')), ('', {}, (400, 'not-json')),
            ({'text': ['A1']}, {}, (400, 'wrong-type')), ({'text': 'A1', 'slot': 1}, {}, (400, 'wrong-type')), ({}, {}, (422, 'empty')),
            (order, {'Content_Encoding': 'gzip'}, (411, 'not-allowed')), (order, {'Transfer_Encoding': 'chunked'}, (411, 'not-allowed')), ({'text': 'x' * 70000}, {}, (413, ''))]:
        expect(f'{str(body)[:20]} {headers}', station.post('/scan', body, **headers), wanted)
    for method in ['PUT', 'DELETE', 'PATCH']:
        expect(method, station.ask(method, '/scan')[0], 403)
    expect('nothing ran', station.state()['slots'][0]['phase'], 'idle')


def check_scans(station):
    for text, wanted in [('', 'empty'), (' \t ', 'empty'), ('x' * 300, 'too-long'), ('A 1', 'not-a-serial'), ('A1;reboot', 'not-a-serial'),
                         ('A\x00', 'not-a-serial'), ('A\u202e1', 'not-a-serial'), ('\x1b[31m', 'not-a-serial')]:
        expect(repr(text), station.scan(text, '1'), (422, wanted))
    expect('no slot', station.scan('A1'), (409, 'no-slot'))
    expect('no such slot', station.scan('A1', '9'), (409, 'no-slot'))
    expect('slot\'s code', station.scan('slot 2'), (200, 'selected'))
    expect('nobody signed in', station.scan('A1', '1'), (409, 'sign-in-first'))
    expect('sign in', station.scan(' OP17\n'), (200, 'signed-in'))
    expect('operator', station.state()['operator'], {'code': 'OP17', 'name': 'Li Na'})


def check_prompt(station):
    expect('prompt', station.scan('PROMPT1', '1'), (200, 'started'))
    station.wait(lambda state: state['slots'][0]['prompt'], 'a prompt')
    slot = station.slot()
    code = slot['prompt']['code']
    expect('code', code, f'1-{slot["run"]}-1')
    expect('a stray scan', station.scan('A5', '1'), (409, 'prompt-waits'))
    expect('the other slot takes no phone twice', station.scan('PROMPT1', '2'), (409, 'same-phone-elsewhere'))
    answer = {'slot': '1', 'run': slot['run'], 'prompt': 1, 'answer': 'done'}
    expect('no number', station.post('/answer', {**answer, 'run': '1'}), (400, 'wrong-type'))
    for wrong in [{'run': slot['run'] - 1}, {'prompt': 2}]:
        expect(f'answer {wrong}', station.post('/answer', {**answer, **wrong}), (409, 'stale-prompt'))
    expect('no answer', station.post('/answer', {**answer, 'answer': 'perhaps'}), (422, 'not-an-answer'))
    time.sleep(3.3)  # longer than a runner may be silent
    expect('it waits', station.slot()['phase'], 'running')
    expect('the code', station.scan(code), (200, 'answered'))
    expect('verdict', station.verdict('PROMPT1')['verdict'], 'passed')
    expect('the code again', station.scan(code, '1'), (409, 'stale-prompt'))
    expect('answer again', station.post('/answer', answer), (409, 'stale-prompt'))


def check_runners(station):
    expect('slow', station.scan('SLOW1', '2'), (200, 'started'))
    expect('busy', station.scan('A5', '2'), (409, 'slot-busy'))
    for serial, problem in [('DIES1', 'ended by a signal: Killed. Its last words: the cable is gone'), ('HANGS1', 'it said nothing for 3 s')]:
        expect(serial, station.scan(serial, '1'), (200, 'started'))
        slot = station.verdict(serial)
        expect(f'{serial} verdict', slot['verdict'], 'error')
        expect(f'{serial}: {slot["problem"]}', problem in slot['problem']['text'], True)
    slow = station.slot('2')
    expect('the other slot', slow['phase'], 'running')
    expect('stop another run', station.post('/stop', {'slot': '2', 'run': slow['run'] + 1}), (409, 'not-running'))
    expect('stop', station.post('/stop', {'slot': '2', 'run': slow['run']}), (200, 'stopped'))
    expect('stopped', station.verdict('SLOW1', '2')['verdict'], 'aborted')


def same_error(station):
    hints = station.slot()['failing']['hints']
    return bool(hints) and hints[0]['text'].startswith('the same error')


def check_retests(station):
    expect('failed', (station.scan('FAILS1', '1'), station.verdict('FAILS1')['verdict']), ((200, 'started'), 'failed'))
    expect('once more', (station.scan('FAILS1', '1'), station.verdict('FAILS1')['retest']), ((200, 'started'), 1))
    expect('not again', station.scan('FAILS1', '1'), (409, 'no-retest'))
    for told in (False, True):
        expect('an error', station.scan('SILENT1', '1'), (200, 'started'))
        station.wait(lambda state: state['slots'][0]['retest'] == told and state['slots'][0]['verdict'] == 'error', 'it is over')
        expect('the same error', same_error(station), told)


def check_streams(station):
    streams = [station.events() for _ in range(24)]
    for stream in streams:
        read_until(stream, b'event: state')
    full = station.events()
    expect('one too many', full.recv(4096).split(b'\r\n')[0], b'HTTP/1.1 503 Service Unavailable')
    start = time.time()
    expect('a scan beside them', station.scan('A7', '1'), (200, 'started'))
    expect('at once', time.time() - start < 0.5, True)
    told = read_until(streams[0], b'"serial":"A7","step":"","verdict":"passed"')
    expect('live', b'event: live' in told and b'"values":[0.1,0.2,9.8]' in told, True)
    read_until(streams[0], b'event: beat')
    for stream in [*streams, full]:
        stream.close()
    time.sleep(2.5)
    again = station.events()
    expect('room again', again.recv(4096).split(b'\r\n')[0], b'HTTP/1.1 200 OK')
    again.close()


def check_half_requests(station):
    """Those who say nothing, or not all, keep nobody from an answer, and are left after 3 s."""
    own = f'POST /scan HTTP/1.1\r\nHost: {station.host}:{station.port}\r\nX-Page-Token: {station.token}\r\n'
    for said in ['', 'GET /state HTTP/1.1\r\n', own + 'Content-Type: application/json\r\nContent-Length: 90\r\n\r\n{']:
        halves = []
        for _ in range(200):
            halves.append(socket.create_connection((station.host, int(station.port)), timeout=9))
            halves[-1].sendall(said.encode())
        start = time.time()
        station.state()
        expect(f'at once beside 200 of {said[:10]!r}', time.time() - start < 2, True)
        if said.startswith('POST'):  # a byte now and then makes it no request
            while time.time() < start + 6 and select.select([halves[-1]], [], [], 0.3)[0] == []:
                halves[-1].send(b'x')
            expect(f'left {said[:10]!r}', time.time() - start < 5.5, True)
        for half in halves:
            half.close()


def check_inquiry(station):
    """The store's runs, as `stats` shows them."""
    for wrong in [{'station': 3}, {'html': 'x'}, {'station': 'x' * 300}, {'station': 'a\0b'}]:
        expect(f'{wrong}', station.post('/inquiry', wrong), (422, 'not-an-order'))
    expect('no page', station.ask('GET', '/inquiry.html')[0], 404)
    state = lambda: json.loads(station.ask('GET', '/inquiry')[1])
    for filters, phase, said in [({'station': '--html=x'}, 'failed', 'is an option'), ({'station': 'x'}, 'failed', 'none of this name'), ({'since': 'x'}, 'failed', '--since'),
                                 ({'station': 'line-3', 'verdict': 'passed', 'lot': ''}, 'done', None)]:
        expect('begun', station.post('/inquiry', filters), (200, 'begun'))
        expect('one at a time', station.post('/inquiry', filters), (409, 'inquiry-busy'))
        station.wait(lambda _: state()['phase'] != 'working', 'the page is made')
        now = state()
        expect(f'{filters} {now}', (now['phase'], said in (now['problem'] or '') if said else now['problem']), (phase, True if said else None))
    status, page = station.ask('GET', '/inquiry.html')
    expect('page', (status, 'Runs at station line-3 that ended as passed' in page), (200, True))
    expect('sandbox', station.headers.get_all('Content-Security-Policy')[0].startswith('sandbox allow-scripts'), True)
    expect('one policy', len(station.headers.get_all('Content-Security-Policy')), 1)


def check_line():
    """Two stations of a line, and a golden phone at the shift's start."""
    station = Station(station='line-4', store='sqlite:runs.db', earlier={'station': 'line-3'}, golden={'serials': 'GOLD[0-9]+'})
    expect('golden', station.state()['golden'], {'due': True, 'serials': 'GOLD[0-9]+'})
    expect('golden first', station.scan('PROMPT1'), (409, 'golden-first'))
    expect('a golden phone', (station.scan('GOLD1'), station.verdict('GOLD1')['verdict']), ((200, 'started'), 'passed'))
    expect('golden', station.state()['golden']['due'], False)
    expect('not of the shift', station.state()['shift']['phones'], 0)
    for serial, wanted in [('FAILS1', 'earlier-station-failed'), ('SLOW1', 'earlier-station-failed'), ('NEW1', 'earlier-station-missing')]:
        expect(serial, station.scan(serial), (409, wanted))
    expect('passed there', station.scan('PROMPT1'), (200, 'started'))
    station.end()
    found = subprocess.run([sensorcal, 'history', 'GOLD1', '--store', 'runs.db', '--json'], capture_output=True, text=True).stdout
    expect('its lot', [run['lot'] for run in json.loads(found)['runs']], ['golden'])


def check_token():
    station = Station(address='127.0.0.2', token='0123456789abcdef')
    station.bearer = None
    expect('no token', station.ask('GET', '/')[0], 403)
    expect('a wrong one', station.ask('GET', '/?token=0123456789abcdeF')[0], 403)
    expect('address', station.address.endswith('/?token=0123456789abcdef'), True)
    status, _ = station.ask('GET', '/?token=0123456789abcdef')
    cookie = station.headers['Set-Cookie'] or ''
    expect('opened', (status, station.headers['Location'], 'HttpOnly; SameSite=Strict' in cookie), (303, '/', True))
    expect('cookie', station.ask('GET', '/state', headers={'Cookie': cookie.split(';')[0]})[0], 200)
    expect('no cookie', station.post('/scan', {'text': 'A1'}), (403, 'not-allowed'))
    station.end()
    station = Station(address='0.0.0.0', token='0123456789abcdef')
    expect('one that can be opened', (station.host != '0.0.0.0', station.ask('GET', '/state')[0]), (True, 200))
    station.end()


def check_store_away():
    station = Station(store='postgresql://nobody@127.0.0.1:1/line', earlier={'station': 'line-2', 'unknown': 'allowed'})
    expect('goes on', (station.scan('A8'), station.verdict('A8')['verdict']), ((200, 'started'), 'passed'))
    state = station.wait(lambda state: state['waiting'] == 1, 'a run waits')
    expect('says why', [state['store_problem']['code'], 'refused' in state['store_problem']['text']], ['store-away', True])
    [spool] = pathlib.Path(os.environ['XDG_STATE_HOME']).glob('sensorcal/**/*spool*.db')
    [[record]] = sqlite3.connect(spool).execute('SELECT record FROM pending')
    expect('remarks', [remark for remark in json.loads(record)['remarks'] if 'the settings let it pass' in remark] != [], True)
    station.end()
    station = Station(store='postgresql://nobody@127.0.0.1:1/line', earlier={'station': 'line-2'})
    expect('knows its shift', station.state()['shift']['phones'], 1)
    expect('unknown', station.scan('A9'), (409, 'earlier-station-unknown'))
    station.end()


def check_store_trouble():
    """Whatever becomes of the store and of the station, no run is lost, and the page says what waits."""
    pathlib.Path('kept').mkdir()
    settings = {'store': 'sqlite:kept/runs.db', 'slots': [{}, {}], 'station': 'line-5'}
    station = Station(**settings)
    locks = sqlite3.connect('kept/runs.db', isolation_level=None)
    locks.execute('BEGIN EXCLUSIVE')
    expect('locked', (station.scan('A8', '1'), station.verdict('A8')['verdict']), ((200, 'started'), 'passed'))
    expect('under way', (station.scan('SLOW3', '2'), station.slot('2')['phase'] in ('starting', 'running')), ((200, 'started'), True))
    station.wait(lambda state: state['slots'][1]['step'] == 1 and state['waiting'] == 1, 'it runs, the other waits')
    station.process.kill()
    station.process.wait()
    locks.close()
    station = Station(**settings)
    state = station.wait(lambda state: state['waiting'] == 0, 'both are stored')
    expect('the shift', [(run['serial'], run['verdict']) for run in state['shift']['last']], [('SLOW3', 'error'), ('A8', 'passed')])
    expect('told', [(one['code'], one['arguments']) for one in state['alerts']], [('alert-cut-off', ['SLOW3'])])
    other = subprocess.run([sensorcal, 'station', 'station.json'], capture_output=True, text=True)
    expect('one alone', (other.returncode, 'another station of this name' in other.stderr), (2, True))
    os.rename('kept', 'moved')
    expect('moved', (station.scan('A9', '1'), station.verdict('A9')['verdict']), ((200, 'started'), 'passed'))
    station.wait(lambda state: state['waiting'] == 1 and 'not there any more' in (state['store_problem'] or {}).get('text', ''), 'it is missed')
    os.mkdir('kept')
    shutil.copy('runs.db', 'kept')
    expect('swapped', (station.scan('A11', '1'), station.verdict('A11')['verdict']), ((200, 'started'), 'passed'))
    station.wait(lambda state: state['waiting'] == 2 and 'another store lies there' in (state['store_problem'] or {}).get('text', ''), 'it is told')
    shutil.rmtree('kept')
    os.rename('moved', 'kept')
    expect('back', (station.scan('A10', '1'), station.verdict('A10')['verdict']), ((200, 'started'), 'passed'))
    station.wait(lambda state: state['waiting'] == 0 and not state['store_problem'], 'all are stored')
    station.end()
    runs = runs_in_store('kept/runs.db')
    expect('runs', (runs['passed'], runs['errors']), (4, 1))
    expect('nothing is left', list(pathlib.Path(os.environ['XDG_STATE_HOME']).glob('sensorcal/station-*/*.json')), [])


def check_full_disk():
    """No verdict counts before its run is on the disk or in the store, and no phone is taken meanwhile."""
    def journal():
        return next(one for one in pathlib.Path(os.environ['XDG_STATE_HOME'], 'sensorcal').glob('station-*') if list(one.glob('*.json')))

    def prompts(station, serial):
        expect(serial, station.scan(serial, '1'), (200, 'started'))
        return station.wait(lambda state: state['slots'][0]['prompt'], 'a prompt')['slots'][0]['prompt']['code']

    pathlib.Path('full').mkdir()
    settings = {'store': 'sqlite:full/runs.db', 'slots': [{}, {}], 'station': 'line-6', 'reports': {'html': 'full/pages/{serial}.html'}}
    station = Station(**settings)
    code = prompts(station, 'PROMPT3')
    folder = journal()
    for name, hidden in [(folder, 'away'), ('full', 'gone')]:
        os.rename(name, hidden)
    station.scan(code)
    slot = station.verdict('PROMPT3')
    expect('none counts', (slot['verdict'], slot['problem']['code']), ('error', 'run-unkept'))
    expect('nor a phone', station.scan('A9', '2'), (409, 'disk-full'))
    expect('not counted', station.state()['shift']['phones'], 0)
    station.wait(lambda state: state['waiting'] == 1 and 'PROMPT3' in state['store_problem']['text'], 'it waits')
    for name, hidden in [(folder, 'away'), ('full', 'gone')]:
        os.rename(hidden, name)
    station.wait(lambda state: state['slots'][0]['verdict'] == 'passed' and not state['store_problem'] and state['waiting'] == 0, 'it is kept')
    expect('its page', os.path.exists('full/pages/PROMPT3.html'), True)
    # The store has what the disk does not take, and outweighs its trace.
    code = prompts(station, 'PROMPT4')
    os.rename(folder, 'away')
    station.scan(code)
    expect('nor does it', station.verdict('PROMPT4')['verdict'], 'error')
    station.process.kill()
    station.process.wait()
    os.rename('away', folder)
    station = Station(**settings)
    expect('as it ended', [(run['serial'], run['verdict']) for run in station.state()['shift']['last']], [('PROMPT4', 'passed'), ('PROMPT3', 'passed')])
    station.wait(lambda state: state['waiting'] == 0, 'all is stored')
    # What cannot be had of a page now comes later: with a store the run goes there meanwhile.
    os.rename('full/pages', 'away')
    expect('no page', (station.scan('A8', '1'), station.verdict('A8')['verdict']), ((200, 'started'), 'passed'))
    station.wait(lambda state: state['waiting'] == 0 and 'no report of A8' in (state['store_problem'] or {}).get('text', ''), 'it is missed')
    station.end()
    os.rename('away', 'full/pages')
    expect('runs', runs_in_store('full/runs.db')['passed'], 3)
    station = Station(**settings)
    station.wait(lambda _: os.path.exists('full/pages/A8.html'), 'the page comes')
    station.end()
    del settings['store']
    station = Station(**settings)
    os.rename('full/pages', 'away')
    expect('no page', (station.scan('A9', '1'), station.verdict('A9')['verdict']), ((200, 'started'), 'passed'))
    station.wait(lambda state: state['waiting'] == 1 and state['store_problem'], 'the run waits for it')
    os.rename('away', 'full/pages')
    expect('the next', station.scan('A10', '1'), (200, 'started'))
    station.wait(lambda state: state['waiting'] == 0 and not state['store_problem'] and os.path.exists('full/pages/A9.html'), 'it has it')
    station.end()


def main():
    pathlib.Path('plan.json').write_text(json.dumps(PLAN))
    done = subprocess.run([sensorcal, 'run', 'plan.json', '--json', '--speed', 'max', '--phone', 'phone'], capture_output=True, text=True)
    pathlib.Path('record.json').write_text(done.stdout)
    station = Station(slots=[{}, {}], operators={'OP17': 'Li Na'}, store='sqlite:runs.db', silence_s=3, retest={'failures': 1},
                      reports={'html': '{serial}-{started}.html'})
    for check in (check_doors, check_scans, check_prompt, check_runners, check_retests, check_streams, check_half_requests,
                  check_inquiry):
        check(station)
    expect('slow', (station.scan('SLOW2', '1'), station.scan('PROMPT2', '2')), ((200, 'started'), (200, 'started')))
    station.wait(lambda state: state['slots'][1]['prompt'] and state['slots'][0]['step'] == 1, 'both run')
    shift = station.state()['shift']
    station.end()
    for pid in pathlib.Path('pids').read_text().split():
        if os.path.exists(f'/proc/{pid}') and ' Z ' not in pathlib.Path(f'/proc/{pid}/stat').read_text():
            problems.append(f'the runner {pid} is still there')
    runs = runs_in_store()
    expect('runs', (runs['passed'], runs['failed'], runs['errors'], runs['aborted']), (2, 2, 4, 3))
    expect('pages', len(list(pathlib.Path().glob('*.html'))), 11)
    # An error is repeated at once, once; what was before the start is known.
    station = Station(slots=[{}, {}], store='sqlite:runs.db', retest={'errors': 1, 'failures': 0})
    again = station.state()['shift']
    expect('the shift', [again[key] for key in ('retests', 'errors', 'first_pass')], [shift[key] for key in ('retests', 'errors', 'first_pass')])
    expect('not again', station.scan('FAILS1', '1'), (409, 'no-retest'))
    expect('error', station.scan('SILENT2', '1'), (200, 'started'))
    station.wait(lambda state: state['shift']['errors'] == 6, 'a second error')
    expect('a retest', (station.verdict('SILENT2')['retest'], station.state()['shift']['retests']), (1, again['retests'] + 1))
    expect('the same error', same_error(station), True)
    station.end()
    for check in (check_line, check_token, check_store_away, check_store_trouble, check_full_disk):
        check()
    if problems:
        sys.exit('\n'.join(problems))


main()
