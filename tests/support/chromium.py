"""Headless Chromium that is driven. What uses it ends with 77 (skipped) where there is none, or nothing to drive it with."""
import os
import shutil
import sys

try:
    from selenium import webdriver
    from selenium.common.exceptions import JavascriptException  # pylint: disable=unused-import
    from selenium.webdriver.common.keys import Keys  # pylint: disable=unused-import
except ImportError:
    webdriver = None

BROWSER = os.environ.get('CHROMIUM') or next(filter(None, map(shutil.which, ('chromium', 'google-chrome'))), None)
SHELL = shutil.which('chromium-headless-shell')  # takes half the time, but all its windows are in front
DRIVER = os.environ.get('CHROMEDRIVER') or shutil.which('chromedriver')
if not (webdriver and BROWSER and DRIVER):
    print('skipped: no Chromium here that can be driven; scripts/setup installs it')
    sys.exit(77)


def open_browser(folder, windows=False):
    """`windows`: some of them are behind others."""
    options = webdriver.ChromeOptions()
    options.binary_location = BROWSER
    if SHELL and not windows:
        options.binary_location = SHELL
        options.set_capability('browserName', 'chrome-headless-shell')
    for argument in ('--headless=new', '--no-sandbox', '--disable-gpu', '--disable-dev-shm-usage', '--hide-scrollbars',
                     '--disable-background-networking', '--disable-component-update', '--disable-sync',
                     '--user-data-dir=' + os.path.join(folder, 'user')):
        options.add_argument(argument)
    options.set_capability('goog:loggingPrefs', {'browser': 'ALL'})
    browser = webdriver.Chrome(service=webdriver.chrome.service.Service(DRIVER), options=options)
    browser.set_page_load_timeout(20)
    return browser


def resize(browser, width, height):
    browser.execute_cdp_cmd('Emulation.setDeviceMetricsOverride',
                            {'width': width, 'height': height, 'deviceScaleFactor': 1, 'mobile': False})


def console(browser):
    """What was said on the console since it was asked last."""
    return [entry['message'] for entry in browser.get_log('browser')]
