"""Measures a station: trial.py SENSORCAL PLAN SECONDS. Each figure stands beside a reference of the same run."""
import http.client
import json
import os
import pathlib
import re
import socket
import statistics
import subprocess
import sys
import tempfile
import threading
import time

sensorcal, plan, seconds = sys.argv[1], pathlib.Path(sys.argv[2]).absolute(), float(sys.argv[3])
TICKS = os.sysconf('SC_CLK_TCK')
# Says when it says it, in the value; forty times a second for a while.
TELLER = '''
import json, sys, time
sys.stdin.readline()
print(json.dumps({'event': 'begun', 'steps': 1}), flush=True)
for _ in range(200):
    print(json.dumps({'event': 'sample', 'step': 1, 'tag': 'Acc', 'values': [time.time() % 1000]}), flush=True)
    time.sleep(0.025)
'''


class Station:
    def __init__(self, **settings):
        pathlib.Path('station.json').write_text(json.dumps({'format': 'sensorcal.station/1', 'port': 0, **settings}))
        self.process = subprocess.Popen([sensorcal, 'station', 'station.json'], stdout=subprocess.PIPE, text=True)
        self.port = int(re.search(r':([0-9]+)/', self.process.stdout.readline())[1])
        self.token = re.search(r'page-token" content="([0-9a-f]+)"', self.ask('GET', '/'))[1]
        self.heard, self.news = [], threading.Condition()
        threading.Thread(target=self.listen, daemon=True).start()

    def ask(self, method, path, body=None):
        connection = http.client.HTTPConnection('127.0.0.1', self.port, timeout=10)
        headers = {'X-Page-Token': self.token, 'Content-Type': 'application/json'} if body else {}
        connection.request(method, path, body, headers)
        answer = connection.getresponse().read().decode()
        connection.close()
        return answer

    def scan(self, serial, slot='1'):
        answer = self.ask('POST', '/scan', json.dumps({'slot': slot, 'text': serial}))
        assert '"started"' in answer, answer

    def listen(self):
        stream = socket.create_connection(('127.0.0.1', self.port))
        stream.sendall(f'GET /events HTTP/1.1\r\nHost: 127.0.0.1:{self.port}\r\n\r\n'.encode())
        event = ''
        for line in stream.makefile(encoding='utf-8'):
            if line.startswith('event: '):
                event = line[7:].strip()
            elif line.startswith('data: '):
                with self.news:
                    self.heard.append((time.time(), event, json.loads(line[6:])))
                    self.news.notify_all()

    def until(self, holds):
        """When a state was heard that holds, from here on."""
        with self.news:
            looked = 0
            while True:
                for at, event, data in self.heard[looked:]:
                    looked += 1
                    if event == 'state' and holds(data):
                        del self.heard[:looked]
                        return at
                assert self.news.wait(60), 'nothing came'

    def end(self):
        self.process.terminate()
        self.process.wait()


def used(pid):
    """Processor seconds of the process itself, and of children that it waited for."""
    fields = pathlib.Path(f'/proc/{pid}/stat').read_text().rsplit(')', 1)[1].split()
    own, children = int(fields[11]) + int(fields[12]), int(fields[13]) + int(fields[14])
    return own / TICKS, children / TICKS


def runners(pid):
    out = 0
    for task in pathlib.Path(f'/proc/{pid}/task').iterdir():
        for child in (task / 'children').read_text().split():
            out += sum(used(child))
    return out


def memory_mb(pid):
    status = pathlib.Path(f'/proc/{pid}/status').read_text()
    return int(re.search(r'VmHWM:\s+([0-9]+)', status)[1]) / 1024


def from_scan_to_step():
    station = Station(plan=str(plan))
    took, empty, alone = [], [], []
    order = json.dumps({'file': 'p', 'plan': plan.read_text()}) + '\n'
    for i in range(50):
        start = time.time()
        station.ask('GET', '/station.css')
        empty.append(time.time() - start)
        start = time.time()
        station.scan(f'A{i}')
        at = station.until(lambda state: state['slots'][0]['serial'] == f'A{i}' and state['slots'][0]['step'] >= 1)
        took.append(at - start)
        run = json.loads(station.ask('GET', '/state'))['slots'][0]['run']
        station.ask('POST', '/stop', json.dumps({'slot': '1', 'run': run}))
        station.until(lambda state: state['slots'][0]['phase'] == 'over')
        start = time.time()
        runner = subprocess.Popen([sensorcal, 'run', '-', '--events', '--phone', 'phones/1'], stdin=subprocess.PIPE,
                                  stdout=subprocess.PIPE, text=True)
        runner.stdin.write(order)
        runner.stdin.flush()
        while '"begins"' not in runner.stdout.readline():
            pass
        alone.append(time.time() - start)
        runner.stdin.close()
        runner.stdout.read()
        runner.wait()
    station.end()
    print(f'scan to the first step on the page: median {statistics.median(took) * 1000:.0f} ms, worst {max(took) * 1000:.0f} ms of 50; '
          f'the runner alone to its first step {statistics.median(alone) * 1000:.0f} ms, a file of the page '
          f'{statistics.median(empty) * 1000:.1f} ms')


def from_word_to_page():
    station = Station(plan=str(plan), runner=[sys.executable, '-c', TELLER])
    station.scan('A1')
    station.until(lambda state: state['slots'][0]['phase'] == 'over')
    station.scan('A2')
    lags = []
    while len(lags) < 150:
        with station.news:
            assert station.news.wait(10), 'nothing came'
            for at, event, data in station.heard:
                if event == 'live':
                    lags.append((at - data['values'][0]) % 1000)
            station.heard.clear()
    station.end()
    print(f'a live value to the page: median {statistics.median(lags) * 1000:.1f} ms, worst {max(lags) * 1000:.0f} ms of {len(lags)}')


def beside_its_runners():
    station = Station(plan=str(plan), slots=[{}, {}, {}, {}], store='sqlite:runs.db')
    pid = station.process.pid
    for slot in '1234':
        station.scan(f'B{slot}', slot)
    time.sleep(1)
    own, (waited, gone), living = time.time(), used(pid), runners(pid)
    time.sleep(seconds)
    passed = time.time() - own
    now, ended = used(pid)
    of_runners = ended - gone + runners(pid) - living
    print(f'four slots at real speed for {passed:.0f} s: the station {100 * (now - waited) / passed:.2f} % of a core and '
          f'{memory_mb(pid):.0f} MB at most; its four runners {100 * of_runners / passed:.2f} % of a core')
    station.end()


with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    from_scan_to_step()
    from_word_to_page()
    beside_its_runners()
