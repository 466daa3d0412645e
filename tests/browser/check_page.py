#!/usr/bin/env python3
"""Opens a run's page in headless Chromium, wide and narrow: is the verdict there, is every chart drawn, is the console
quiet, does nothing stick out to the side? Ends with 77 (skipped) where there is no Chromium.

    check_page.py PAGE VERDICT CHARTS_AT_FIRST CHARTS_UNFOLDED
"""
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile

SKIPPED = 77
WIDTHS = (1280, 500)  # the window gets no narrower than 500

# Goes into a copy of the page, after its own scripts. Counts the pixels of each chart's marks; a blank canvas has none.
PROBE = """<script>
const painted = (canvas) => {
  if (!canvas.width || !canvas.height) return 0;
  const copy = Object.assign(document.createElement('canvas'), {width: canvas.width, height: canvas.height});
  const context = copy.getContext('2d', {willReadFrequently: true});
  context.drawImage(canvas, 0, 0);
  const pixels = context.getImageData(0, 0, copy.width, copy.height).data;
  let count = 0;
  for (let i = 0; i < pixels.length; i += 4) {
    const [r, g, b, a] = pixels.slice(i, i + 4);
    if (a > 128 && Math.max(r, g, b) - Math.min(r, g, b) > 50) ++count;
  }
  return count;
};
const charts = () => [...document.querySelectorAll('canvas')].map(painted);
const probe = {first: charts()};
document.getElementById('unfold')?.click();  // statistics have none
document.querySelectorAll('details').forEach((part) => { part.open = true; });
const search = document.querySelector('input[type=search]');  // of statistics
if (search) {
  const rows = () => [...document.querySelector('table.measurements tbody').rows];
  const names = (list) => list.map((row) => row.cells[0].textContent);
  const button = document.querySelector('table.measurements th button');
  button.click();
  const up = names(rows());
  button.click();
  const down = names(rows());
  search.value = up[0].toUpperCase();
  search.dispatchEvent(new Event('input'));
  const left = names(rows().filter((row) => !row.hidden));
  const wrong = up.join() !== [...up].sort().join() || down[0] < down[down.length - 1] || left.join() !== up[0];
  if (wrong) console.error('not sorted or found: ' + JSON.stringify({up, down, left}));
  search.value = '';
  search.dispatchEvent(new Event('input'));
}
setTimeout(() => {
  probe.unfolded = charts();
  probe.verdict = (document.querySelector('body > :first-child #verdict') ??
    document.querySelector('body > :first-child h1')).textContent;
  probe.sticks_out = document.documentElement.scrollWidth - innerWidth;
  document.body.setAttribute('data-probe', JSON.stringify(probe));
}, 1000);
</script></body>"""


def open_in_browser(browser, page, width):
    with tempfile.TemporaryDirectory() as folder:
        copy = os.path.join(folder, 'page.html')
        with open(page, encoding='utf-8') as original:
            before, after = original.read().rsplit('</body>', 1)
        with open(copy, 'w', encoding='utf-8') as out:
            out.write(before + PROBE + after)
        run = subprocess.run(
            [browser, '--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
             '--disable-background-networking', '--disable-component-update', '--disable-sync',
             '--disable-dev-shm-usage', '--enable-logging=stderr', '--user-data-dir=' + os.path.join(folder, 'user'),
             f'--window-size={width},900', '--virtual-time-budget=4000', '--dump-dom', 'file://' + copy],
            capture_output=True, text=True, timeout=100, check=False)
        if run.returncode != 0:
            sys.exit(f'{browser} ended with {run.returncode}:\n{run.stderr}')
        return run.stdout, [line for line in run.stderr.splitlines() if ':CONSOLE' in line]


def problems(browser, page, width, verdict, first, unfolded):
    dom, console = open_in_browser(browser, page, width)
    yield from console
    found = re.search(r'<body data-probe="([^"]*)"', dom)
    if not found:
        yield 'the probe did not come to its end'
        return
    probe = json.loads(found.group(1).replace('&quot;', '"'))
    if probe['verdict'] != verdict:
        yield f'the verdict is {probe["verdict"]}'
    for when, expected in (('first', first), ('unfolded', unfolded)):
        if len(probe[when]) != expected:
            yield f'{when}: {len(probe[when])} charts instead of {expected}'
        if min(probe[when], default=40) < 40:  # a single dot is larger
            yield f'{when}: a chart without its marks: {probe[when]}'
    if probe['sticks_out'] > 0:
        yield f'sticks out by {probe["sticks_out"]} pixels'


def main():
    page, verdict, first, unfolded = sys.argv[1], sys.argv[2], int(sys.argv[3]), int(sys.argv[4])
    names = ('chromium', 'chromium-browser', 'google-chrome')
    browser = os.environ.get('CHROMIUM') or next(filter(None, map(shutil.which, names)), None)
    if not browser:
        print('skipped: no Chromium here; scripts/setup installs it')
        return SKIPPED
    failed = False
    for width in WIDTHS:
        for problem in problems(browser, page, width, verdict, first, unfolded):
            print(f'{page}, {width} wide: {problem}')
            failed = True
    return 1 if failed else 0


if __name__ == '__main__':
    sys.exit(main())
