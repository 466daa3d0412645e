#!/usr/bin/env python3
"""An operator at the station's page, in headless Chromium by keyboard: scans, prompts, verdicts, several slots, many
windows, a station that goes away. Ends with 77 (skipped) where there is no browser that can be driven.

    drive_page.py SENSORCAL [OneSlot|Windows|FourSlots...]
"""
import json
import os
import pathlib
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.request

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / 'support'))
from chromium import JavascriptException, Keys, console, open_browser, resize, webdriver  # noqa: E402

HERE = pathlib.Path(__file__).parent
SENSORCAL = os.path.abspath(sys.argv[1])
SIZES = ((1366, 768), (768, 1024))
HOSTILE = '<img src=x onerror=alert(1)>"\'&{0}%\u202e'
PATIENCE_S = 20
QUIET_S = 0.75  # an Enter this long after a scan is meant

PLAN = {'format': 'sensorcal.plan/1', 'name': 'station', 'steps': [
    {'fixture': {'up': 'flat', 'vibration': 'none', 'rotation': '0,0,0', 'lux': '200 lux'}, 'name': HOSTILE},
    {'verify': 'Acc', 'samples': 20, 'limits': {'residual': '1 m/s^2', 'noise': '0.1 m/s^2'}},
    {'calibrate': 'Gyr'}]}


def free_port():
    with socket.socket() as probe:
        probe.bind(('127.0.0.1', 0))
        return probe.getsockname()[1]


class Station:
    """A station of its own, with as many slots as are named."""

    def __init__(self, folder, slots=(), **settings):
        self.port = free_port()
        self.file = pathlib.Path(folder, f'station-{self.port}.json')
        pathlib.Path(folder, 'plan.json').write_text(json.dumps(PLAN))
        self.file.write_text(json.dumps({
            'format': 'sensorcal.station/1', 'station': 'line-3', 'plan': 'plan.json', 'port': self.port, 'serials': '.+',
            'runner': [str(HERE / 'runner.sh'), '{program}', f'phones-{self.port}/{{slot}}', '{serial}'],
            'slots': [{'slot': slot} for slot in slots] or [{'slot': '1'}], **settings}))
        self.start()

    def start(self):
        self.process = subprocess.Popen([SENSORCAL, 'station', str(self.file)], stdout=subprocess.PIPE, text=True)
        self.address = self.process.stdout.readline().split()[-1]

    def end(self):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait(10)
        self.process.stdout.close()

    def state(self):
        with urllib.request.urlopen(self.address + 'state') as answer:
            return json.load(answer)


class Page(unittest.TestCase):
    settings = {}  # of the station that a class of tests has from its begin
    windows = False

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.station = Station(cls.folder.name, **cls.settings)
        cls.addClassCleanup(cls.station.end)
        cls.browser = open_browser(cls.folder.name, cls.windows)
        cls.addClassCleanup(cls.browser.quit)
        cls.resize(*SIZES[0])

    def tearDown(self):
        # What the page is refused is logged, too, by its status.
        noise = console(self.browser)
        self.browser.get('about:blank')
        self.assertEqual([], [line for line in noise if not any(word in line for word in self.expected)])

    expected = ('status of 4', )

    @classmethod
    def resize(cls, width, height):
        resize(cls.browser, width, height)

    # What the page shows

    def js(self, script, *arguments):
        return self.browser.execute_script('return ' + script, *arguments)

    def text(self, selector):
        return self.js('document.querySelector(arguments[0])?.innerText', selector)

    # Waited for within the page, which may go meanwhile.
    def until(self, what, script, *arguments):
        end = time.monotonic() + PATIENCE_S
        while time.monotonic() < end:
            try:
                found = self.browser.execute_async_script(
                    f"""const [done, end] = [arguments[arguments.length - 1], Date.now() + 1000];
                    const look = () => {{
                        const found = (function () {{ return {script}; }})(...[...arguments].slice(0, -1));
                        if (found || Date.now() > end) done(found); else setTimeout(look, 20);
                    }};
                    look();""", *arguments)
            except JavascriptException:
                continue
            if found:
                return found
        return self.fail(f'{what}: not within {PATIENCE_S} s\n{self.js("document.body.innerText")}')

    def until_shown(self, selector, text):
        self.until(f'{selector} says {text}',
                   'document.querySelector(arguments[0])?.innerText.includes(arguments[1])', selector, text)

    def until_verdict(self, verdict, serial, slot=1):
        self.until(f'{verdict} for {serial} in slot {slot}', '''(() => {
            const tile = document.querySelectorAll('.tile')[arguments[2] - 1];
            return tile?.dataset.verdict === arguments[0] && tile.querySelector('.serial').innerText === arguments[1];
            })()''', verdict, serial, slot)

    def until_asked(self, slot=1):
        self.until(f'a prompt in slot {slot}',
                   'document.querySelectorAll(".tile")[arguments[0] - 1]?.classList.contains("asks")', slot)

    # Text that does not fit its place, pictures that are cut off: at the window's size and at the other one.
    def check_fit(self):
        for width, height in (*SIZES[1:], SIZES[0]):
            self.resize(width, height)
            time.sleep(0.1)
            cut = self.js('''[...document.querySelectorAll('body, body *')].filter((node) => node.offsetParent !== null &&
                getComputedStyle(node).display !== 'inline' && getComputedStyle(node).textOverflow !== 'ellipsis' &&
                (node.scrollWidth > node.clientWidth + 1 || node.scrollHeight > node.clientHeight + 1))
                .map((node) => node.tagName + '.' + node.className + ' ' + node.innerText?.slice(0, 60))''')
            self.assertEqual([], cut, f'{width}x{height}')

    # What an operator does

    def open(self, station):
        self.browser.get(station.address)
        self.until('the page', 'document.querySelector(".tile") !== null')

    def type(self, text, *keys):
        webdriver.ActionChains(self.browser).send_keys(text, *keys).perform()

    def scan(self, text):
        self.type(text, Keys.ENTER)
        self.until('an answer', 'document.getElementById("scan").placeholder === ""')

    def enter(self):
        time.sleep(QUIET_S)
        self.type(Keys.ENTER)


class OneSlot(Page):
    def test_verdicts(self):
        self.open(self.station)
        self.assertEqual('Scan a phone', self.text('.big'))
        self.check_fit()
        before = self.station.state()['shift']
        self.js('document.querySelector("#shift").click()')
        self.js('document.activeElement.blur()')
        for serial, verdict, word in (('A1', 'passed', 'PASS'), ('BAD1', 'failed', 'FAIL'), ('GONE1', 'error', 'ERROR')):
            with self.subTest(serial):
                self.scan(f'  {serial} ')
                self.until_verdict(verdict, serial)
                self.assertEqual(verdict, self.js('document.body.dataset.verdict'))
                self.assertEqual(word, self.text('.verdict'))
                if verdict == 'failed':
                    failing = self.station.state()['slots'][0]['failing']
                    self.assertEqual(f'Step {failing["step"]}: {failing["name"]}', self.text('.failing'))
                    self.assertIn(failing['reasons'][0]['text'], self.text('.why'))
                    self.assertIn(failing['hints'][0]['text'], self.text('.try'))
                self.check_fit()
        self.assertIn("device '<b>R58M</b>' not found", self.text('.why'))
        self.assertTrue(self.text('.try'))
        shift = self.station.state()['shift']
        self.assertEqual((3, 1), (shift['phones'] - before['phones'], shift['errors'] - before['errors']))
        self.assertEqual(str(shift['phones']), self.text('#shift dd'))
        self.assertEqual('GONE1', self.text('#last b'))
        # It stays: through a reload, and while nobody scans.
        self.browser.refresh()
        self.until_verdict('error', 'GONE1')
        self.type(Keys.ENTER)
        self.until_verdict('error', 'GONE1')

    def test_prompt(self):
        self.open(self.station)
        self.scan('ASK1')
        self.until_asked()
        self.assertEqual(4, self.js('document.querySelectorAll(".wanted .picture").length'))
        self.assertIn('Lay the phone flat, screen up', self.text('.wanted'))
        self.check_fit()
        time.sleep(QUIET_S)
        # A scanner's line end, a stray scan, blanks: none confirms.
        for stray, told in (('ASK1', 'confirms nothing'), (' ', 'Nothing was scanned')):
            self.type(stray, Keys.ENTER, Keys.ENTER)
            self.until_shown('#said', told)
            self.assertEqual('running', self.station.state()['slots'][0]['phase'])
            self.assertIsNotNone(self.station.state()['slots'][0]['prompt'])
        # Nor do control characters of a label, as scanners type them, end anything.
        self.type('A', Keys.F8, Keys.F8, Keys.F9, Keys.F9, Keys.ESCAPE)
        # The state is the station's.
        self.browser.refresh()
        self.until_asked()
        self.enter()
        self.until_verdict('passed', 'ASK1')
        # By its own code; once more it answers nothing.
        self.scan('ASK2')
        self.until_asked()
        code = self.station.state()['slots'][0]['prompt']['code']
        self.scan(code)
        self.until_verdict('passed', 'ASK2')
        self.scan(code)
        self.until_shown('#said', 'over')
        self.until_verdict('passed', 'ASK2')
        # By the button.
        self.scan('ASK3')
        self.until_asked()
        self.js('document.querySelector(".done").click()')
        self.until_verdict('passed', 'ASK3')

    def test_skip_and_stop_want_their_key_twice(self):
        self.open(self.station)
        for serial, key, button, verdict in (('ASK4', Keys.F8, 'skip', 'error'), ('ASK5', Keys.F9, 'stop', 'aborted')):
            with self.subTest(button):
                self.scan(serial)
                self.until_asked()
                self.type(key)
                self.until_shown('.' + button, 'again')
                self.assertEqual('running', self.station.state()['slots'][0]['phase'])
                self.type(key)
                self.until_verdict(verdict, serial)

    def test_live_samples(self):
        self.open(self.station)
        self.scan('SLOW1')
        self.until('a curve of each axis', '''(() => {
            const curves = [...document.querySelectorAll('.curve')];
            return curves.length === 3 && curves.every((one) => one.getAttribute('points').split(' ').length > 3);
            })()''')
        self.assertIn('Step 3 of 3', self.text('.where'))
        self.assertIn('Gyr', self.text('.step'))
        self.check_fit()
        self.until_verdict('passed', 'SLOW1')

    def test_hostile_texts(self):
        self.open(self.station)
        self.scan(HOSTILE + 'ASK')
        self.until_asked()
        self.assertEqual([HOSTILE + 'ASK', HOSTILE.replace('\u202e', '\\u202e')], self.js(
            '["serial", "name"].map((part) => document.querySelector(".tile ." + part).textContent)'))
        self.enter()
        self.until_verdict('passed', HOSTILE + 'ASK')
        self.scan('x' * 300)
        self.until('a refusal', '!document.getElementById("said").hidden')
        self.assertEqual(0, self.js('document.querySelectorAll("img, b b").length'))

    def test_station_goes_and_comes(self):
        self.expected = (*Page.expected, 'ERR_')
        station = Station(self.folder.name)
        self.addCleanup(station.end)
        self.open(station)
        station.end()
        self.until('the loss is told', '!document.getElementById("lost").hidden')
        self.scan('A7')
        self.until_shown('#said', 'did not answer')
        self.assertEqual('said', self.js('''(() => {
            const box = document.getElementById('said').getBoundingClientRect();
            return document.elementFromPoint(box.x + box.width / 2, box.y + 10).closest('[id]').id; })()'''))
        station.start()
        self.until('the page is back', 'document.getElementById("lost").hidden')
        self.assertEqual('idle', station.state()['slots'][0]['phase'])
        self.scan('A8')
        self.until_verdict('passed', 'A8')

    def test_many_runs_leave_nothing_behind(self):
        self.open(self.station)

        def size_after(runs):
            for run in runs:
                serial = ('A', 'BAD', 'GONE')[run % 3] + str(run)
                self.scan(serial)
                self.until('its verdict', '''document.querySelector('.tile').dataset.verdict !== '' &&
                    document.querySelector('.serial').innerText === arguments[0]''', serial)
            self.browser.execute_cdp_cmd('HeapProfiler.collectGarbage', {})
            metrics = self.browser.execute_cdp_cmd('Performance.getMetrics', {})['metrics']
            return {metric['name']: metric['value'] for metric in metrics}

        self.browser.execute_cdp_cmd('Performance.enable', {})
        before, after = size_after(range(100, 108)), size_after(range(108, 126))
        self.assertLess(after['Nodes'], before['Nodes'] + 54)  # three a run; what a busy browser keeps for a while is less
        self.assertLessEqual(after['JSEventListeners'], before['JSEventListeners'] + 5)
        self.assertLess(after['JSHeapUsedSize'], before['JSHeapUsedSize'] + 400e3)

    def test_statistics(self):
        station = Station(self.folder.name, store='sqlite:runs.db')
        self.addCleanup(station.end)
        self.browser.get(station.address)
        self.until('the link', 'document.querySelector("#runs")?.textContent')
        self.scan('A1')
        self.until_verdict('passed', 'A1')
        self.browser.get(station.address + 'runs')
        self.until('the form', 'document.querySelector("button").textContent')
        ask = 'document.forms[0].station.value = arguments[0], document.forms[0].requestSubmit(), true'
        self.js(ask, 'lin-3')
        self.until('the nearest', '/did you mean line-3/.test(document.querySelector("#told").textContent)')
        self.js(ask, 'line-3')
        self.until('the page', 'location.pathname === "/inquiry.html" && /Runs at station line-3/.test(document.body.innerText)')
        self.until('its scripts', 'document.querySelector("svg, canvas, table")')


class Windows(Page):
    windows = True

    # A browser has six connections to one server: windows behind others must leave them to those in front.
    def test_many_windows(self):
        first = self.browser.current_window_handle
        self.open(self.station)
        for _ in range(6):
            self.browser.switch_to.new_window('tab')
            self.resize(*SIZES[0])
            self.open(self.station)
        self.scan('ASK6')
        self.until_asked()
        self.browser.switch_to.window(first)
        self.until_asked()
        self.enter()
        self.until_verdict('passed', 'ASK6')
        for window in self.browser.window_handles:
            if window != first:
                self.browser.switch_to.window(window)
                self.until_verdict('passed', 'ASK6')
                self.browser.close()
        self.browser.switch_to.window(first)


class FourSlots(Page):
    settings = {'slots': ('1', '2', '3', '4'), 'language': 'zh'}

    def select(self, slot):
        webdriver.ActionChains(self.browser).key_down(Keys.ALT).send_keys(str(slot)).key_up(Keys.ALT).perform()
        self.until(f'slot {slot} is selected',
                   'document.querySelectorAll(".tile")[arguments[0] - 1].classList.contains("selected")', slot)

    def test_many_settings(self):
        wanted = {'up': 'flat', 'vibration': 'none', 'rotation': '0,0,0', 'lux': '200 lux', 'cct': '5000 K', 'dark-box': 'off', 'target': 'none'}
        pathlib.Path(self.folder.name, 'seven.json').write_text(json.dumps({**PLAN, 'steps': [{'fixture': wanted}]}))
        station = Station(self.folder.name, slots=('1', '2', '3', '4'), plan='seven.json')
        self.addCleanup(station.end)
        self.addCleanup(self.resize, *SIZES[0])
        self.resize(1024, 768)
        self.browser.get(station.address)
        self.until('the page', 'document.querySelectorAll(".tile").length === 4')
        for slot in (1, 2):
            self.select(slot)
            self.scan(f'ASK{slot}')
            self.until_asked(slot)
        self.select(4)
        # All of them, or so many as can be read, and how many more there are.
        tiles = self.until('settled', """(() => [...document.querySelectorAll('.asks .wanted')].map((list) => {
            const seen = [...list.children].filter((item) => !item.hidden);
            const rest = seen.at(-1).className === 'rest' ? seen.pop() : null;
            const sizes = seen.map((item) => parseFloat(getComputedStyle(item.querySelector('p')).fontSize));
            return [seen.length + Number(/\\d+/.exec(rest?.textContent ?? '0')[0]), list.scrollHeight <= list.clientHeight + 1,
                    Math.min(...sizes) >= 13];
        }))()""")
        self.assertEqual([[7, True, True]] * 2, tiles)
        # What is refused covers no button, and a scan that is none is not read from afar.
        self.select(1)
        self.scan('x' * 300)
        self.until_shown('#said', 'scan')
        boxes = self.js("""['#said', '.selected .done', '#said b'].map((each) => {
            const {top, bottom, height} = document.querySelector(each).getBoundingClientRect();
            return {top, bottom, height};
        })""")
        self.assertLess(boxes[0]['bottom'], boxes[1]['top'])
        self.assertLess(boxes[2]['height'], 30)

    def test_four_slots(self):
        self.open(self.station)
        self.scan('A1')
        self.until_shown('#said', '请先选择工位')
        self.assertEqual(['idle'] * 4, [slot['phase'] for slot in self.station.state()['slots']])
        # A serial number goes to the slot that is selected, and to no other: not while it is not known yet which one is.
        self.select(2)
        self.browser.execute_script('''const now = fetch;
            window.fetch = async (...all) => { await new Promise((on) => setTimeout(on, 3000)); return now(...all); };''')
        self.type('slot 3', Keys.ENTER)
        self.type('ASK31', Keys.ENTER)
        self.until_shown('#said', '再扫一次')
        self.until('slot 3 is selected', 'document.querySelectorAll(".tile")[2].classList.contains("selected")')
        self.assertEqual(['idle'] * 4, [slot['phase'] for slot in self.station.state()['slots']])
        self.browser.refresh()
        self.until('the selection is kept', 'document.querySelectorAll(".tile")[2]?.classList.contains("selected")')
        self.scan('ASK31')
        self.until_asked(3)
        self.assertEqual(['idle', 'idle', 'running', 'idle'], [slot['phase'] for slot in self.station.state()['slots']])
        self.check_fit()
        # By Tab, which also ends a scan; by the label on the slot.
        self.type(Keys.TAB)
        self.type('ASK41', Keys.TAB)
        self.until_asked(4)
        self.scan('slot 1')
        self.scan('ASK11')
        self.select(2)
        self.scan('ASK21')
        for slot in (1, 2, 3, 4):
            self.until_asked(slot)
        self.assertEqual([f'ASK{slot}1' for slot in (1, 2, 3, 4)], [slot['serial'] for slot in self.station.state()['slots']])
        self.assertIn('把手机平放，屏幕朝上', self.text('.wanted'))
        # The phone of another slot; then Enter answers in the selected slot alone.
        self.scan('ASK31')
        self.until_shown('#said', '扫描不算确认')
        self.enter()
        self.until_verdict('passed', 'ASK21', 2)
        self.assertEqual([True, False, True, True], [slot['prompt'] is not None for slot in self.station.state()['slots']])
        for slot in (1, 3, 4):
            self.select(slot)
            self.enter()
            self.until_verdict('passed', f'ASK{slot}1', slot)
        self.assertEqual('合格', self.text('.verdict'))
        # All at once, each with its own end.
        for slot, serial in enumerate(('A12', 'BAD22', 'ODD32', 'A42'), 1):
            self.select(slot)
            self.scan(serial)
        for slot, (serial, verdict) in enumerate((('A12', 'passed'), ('BAD22', 'failed'), ('ODD32', 'error'),
                                                  ('A42', 'passed')), 1):
            self.until_verdict(verdict, serial, slot)
        self.assertIn('constructor', self.text('[data-verdict=error] .try'))
        self.check_fit()


if __name__ == '__main__':
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]], verbosity=2)
