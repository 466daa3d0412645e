#!/usr/bin/env python3
"""Opens the pages in headless Chromium, wide and narrow: is the verdict there, is every chart drawn, is the console quiet,
does nothing stick out to the side?

    check_pages.py FOLDER
"""
import pathlib
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).parent.parent / 'support'))
from chromium import console, open_browser, resize  # noqa: E402

WIDTHS = (1280, 500)
# A page's verdict, its charts at first, and with all unfolded: of statistics two of all runs, and one of each measurement.
PAGES = {'passed': ('PASSED', 24, 24), 'failed': ('FAILED', 6, 9), 'hostile': ('FAILED', 7, 10),
         'stats': ('66.67 % yield', 2, 78), 'grr': ('Study of ten_parts.csv', 0, 0)}

VERDICT = """return (document.querySelector('body > :first-child #verdict') ??
  document.querySelector('body > :first-child h1')).textContent;"""
# The pixels of each chart's marks, as far as is of interest; a blank canvas has none.
CHARTS = """return [...document.querySelectorAll('canvas')].map((canvas) => {
  if (!canvas.width || !canvas.height) return 0;
  const copy = Object.assign(document.createElement('canvas'), {width: canvas.width, height: canvas.height});
  const context = copy.getContext('2d', {willReadFrequently: true});
  context.drawImage(canvas, 0, 0);
  const pixels = context.getImageData(0, 0, copy.width, copy.height).data;
  let count = 0;
  for (let i = 0; i < pixels.length && count < 40; i += 4) {
    const r = pixels[i], g = pixels[i + 1], b = pixels[i + 2];
    if (pixels[i + 3] > 128 && Math.max(r, g, b) - Math.min(r, g, b) > 50) ++count;
  }
  return count;
});"""
UNFOLD = """document.getElementById('unfold')?.click();  // statistics have none
document.querySelectorAll('details').forEach((part) => { part.open = true; });"""
# Of statistics: what is sorted and found, each way.
SEARCH = """const search = document.querySelector('input[type=search]');
const rows = () => [...document.querySelector('table.measurements tbody').rows];
const names = (list) => list.map((row) => row.cells[0].textContent);
const button = document.querySelector('table.measurements th button');
button.click();
const up = names(rows());
button.click();
const down = names(rows());
const look = (text) => { search.value = text; search.dispatchEvent(new Event('input')); };
look(up[0].toUpperCase());
const left = names(rows().filter((row) => !row.hidden));
look('');
return [up, down, left];"""


def charts(browser, count):
    """As soon as all are drawn, or as they are after five seconds."""
    end = time.monotonic() + 5
    while True:
        painted = browser.execute_script(CHARTS)
        if (len(painted) == count and min(painted, default=40) >= 40) or time.monotonic() > end:  # a dot is larger
            return painted
        time.sleep(0.2)


def problems(browser, page, verdict, *counts):
    browser.get(page.resolve().as_uri())
    if (said := browser.execute_script(VERDICT)) != verdict:
        yield f'the verdict is {said}'
    for count, before in zip(counts, ('', UNFOLD)):
        browser.execute_script(before)
        painted = charts(browser, count)
        if len(painted) != count or min(painted, default=40) < 40:
            yield f'{count} charts wanted, with marks: {painted}'
    if page.stem == 'stats':
        up, down, left = browser.execute_script(SEARCH)
        if up != sorted(up) or down[0] < down[-1] or left != up[:1]:
            yield f'not sorted or found: {up}, {down}, {left}'
    if (wide := browser.execute_script('return document.documentElement.scrollWidth - innerWidth')) > 0:
        yield f'sticks out by {wide} pixels'
    yield from console(browser)


def main():
    failed = False
    with tempfile.TemporaryDirectory() as folder:
        browser = open_browser(folder)
        for width in WIDTHS:
            resize(browser, width, 900)
            for name, wanted in PAGES.items():
                page = pathlib.Path(sys.argv[1], name + '.html')
                for problem in problems(browser, page, *wanted):
                    print(f'{page}, {width} wide: {problem}')
                    failed = True
        browser.quit()
    return failed


if __name__ == '__main__':
    sys.exit(main())
