"""Support for the browser tests: a fresh model server per test, one headless
Chromium per test class, the agents' own answers fetched from the same server,
and a check that a screenshot is not blank.

The paths come from the command line (see browser_test.py): the orv-host
program, the example model and the folder for screenshots.
"""

import json
import os
import re
import shutil
import struct
import subprocess
import tempfile
import threading
import urllib.error
import urllib.request
import zlib

from selenium import webdriver
from selenium.common.exceptions import TimeoutException
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.support.ui import WebDriverWait

SETTINGS = {'host': '', 'model': '', 'out': '', 'root': ''}

WAIT_SECONDS = 20
SERVER_START_SECONDS = 20
CHROMIUM_FLAGS = [
    '--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
    '--disable-background-networking', '--disable-component-update', '--disable-sync',
    '--disable-dev-shm-usage', '--window-size=1400,860',
]
LISTENING = re.compile(r'https?://(127\.0\.0\.1|localhost|\[::1\]):(\d+)')


class ModelServer:
    """`orv-host serve --port 0 MODEL [options]` on the loopback address,
    stopped by stop(). The port is read from the line the server prints on
    start."""

    def __init__(self, *options):
        self.process = subprocess.Popen(
            [SETTINGS['host'], 'serve', '--port', '0', SETTINGS['model'], *options],
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        self.output = []
        found = threading.Event()
        self.base = ''

        def read():
            for line in self.process.stdout:
                self.output.append(line)
                match = LISTENING.search(line)
                if match and not self.base:
                    self.base = f'http://127.0.0.1:{match.group(2)}'
                    found.set()
            found.set()

        self.reader = threading.Thread(target=read, daemon=True)
        self.reader.start()
        if not found.wait(SERVER_START_SECONDS) or not self.base:
            self.stop()
            raise RuntimeError('the server did not start: ' + ''.join(self.output))

    def stop(self):
        """Stops the server (SIGTERM, bounded); answers its exit status."""
        if self.process.poll() is None:
            self.process.terminate()
            try:
                self.process.wait(10)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait(10)
        self.reader.join(10)
        self.process.stdout.close()
        return self.process.returncode

    def get(self, path, method='GET', body=None):
        """Answers (status, body bytes) of one request."""
        data = body.encode() if isinstance(body, str) else body
        request = urllib.request.Request(self.base + path, data=data, method=method)
        try:
            with urllib.request.urlopen(request, timeout=WAIT_SECONDS) as response:
                return response.status, response.read()
        except urllib.error.HTTPError as error:
            return error.code, error.read()

    def fetch(self, path, method='GET', body=None):
        """Answers (status, content type, body bytes) of one request."""
        data = body.encode() if isinstance(body, str) else body
        if method == 'POST' and data is None:
            data = b''
        request = urllib.request.Request(self.base + path, data=data, method=method)
        try:
            with urllib.request.urlopen(request, timeout=WAIT_SECONDS) as response:
                return response.status, response.headers.get('Content-Type', ''), response.read()
        except urllib.error.HTTPError as error:
            return error.code, error.headers.get('Content-Type', ''), error.read()

    def agent(self, name, parameters, context=''):
        """Runs an agent through the server's general route; answers its
        parameters after the call, as texts."""
        body = json.dumps({'context': context, 'parameters': parameters})
        status, answer = self.get(f'/api/agents/{name}', 'POST', body)
        if status != 200:
            raise AssertionError(f'{name} answered {status}: {answer!r}')
        return json.loads(answer)['parameters']


def agent_parameter(position, agent, parameters, context=''):
    """One parameter of an agent run by the command-line tool on the same
    model (for answers that the server turns into an error status)."""
    context_args = ['--context', context] if context else []
    result = subprocess.run(
        [SETTINGS['host'], '--print', str(position), *context_args, SETTINGS['model'], agent, *parameters],
        capture_output=True, timeout=WAIT_SECONDS)
    # 7: the agent wrote its error parameter; the parameters are printed all the same.
    if result.returncode not in (0, 7):
        raise subprocess.CalledProcessError(result.returncode, result.args, result.stdout, result.stderr)
    return result.stdout.decode()


def start_chromium(width=1400, dark=False):
    """A headless Chromium with a fresh profile, `width` CSS pixels wide
    (narrower than 500 by device emulation) and in dark mode when asked; its
    network answers are logged (see network_answers). quit() it and remove
    `profile` when done."""
    options = webdriver.ChromeOptions()
    options.binary_location = shutil.which('chromium') or '/usr/bin/chromium'
    for flag in CHROMIUM_FLAGS:
        if not flag.startswith('--window-size'):
            options.add_argument(flag)
    options.add_argument(f'--window-size={max(width, 500)},860')
    if width < 500:
        options.add_experimental_option('mobileEmulation', {
            'deviceMetrics': {'width': width, 'height': 844, 'pixelRatio': 1, 'touch': False}})
    if dark:
        options.add_argument('--force-dark-mode')
        options.add_argument('--blink-settings=preferredColorScheme=0')
    options.set_capability('goog:loggingPrefs', {'performance': 'ALL', 'browser': 'ALL'})
    profile = tempfile.mkdtemp(prefix='orv-browser-')
    options.add_argument('--user-data-dir=' + profile)
    service = Service(shutil.which('chromedriver') or '/usr/bin/chromedriver')
    driver = webdriver.Chrome(service=service, options=options)
    driver.set_page_load_timeout(WAIT_SECONDS)
    driver.set_script_timeout(WAIT_SECONDS)
    driver.profile_dir = profile
    return driver


def wait_for(driver, condition, what):
    """Waits, bounded, until condition(driver) is truthy; answers its value."""
    try:
        return WebDriverWait(driver, WAIT_SECONDS, poll_frequency=0.1).until(
            lambda d: condition(d))
    except TimeoutException:
        raise AssertionError(f'timed out waiting for {what}') from None


def settle(driver):
    """Waits until no call of the page is running."""
    wait_for(driver, lambda d: d.execute_script(
        "return document.readyState === 'complete' && !document.body.hasAttribute('aria-busy')"),
        'the page to finish its calls')


def png_colours(path):
    """The number of distinct colours of an 8-bit RGB or RGBA PNG (as
    Chromium writes them), read with zlib alone."""
    with open(path, 'rb') as f:
        data = f.read()
    if data[:8] != b'\x89PNG\r\n\x1a\n':
        raise ValueError('not a PNG')
    pos, idat, header = 8, b'', None
    while pos < len(data):
        length, kind = struct.unpack('>I4s', data[pos:pos + 8])
        chunk = data[pos + 8:pos + 8 + length]
        if kind == b'IHDR':
            header = struct.unpack('>IIBBBBB', chunk)
        elif kind == b'IDAT':
            idat += chunk
        pos += 12 + length
    width, height, depth, colour, _, _, interlace = header
    if depth != 8 or colour not in (2, 6) or interlace:
        raise ValueError('unexpected PNG kind')
    bpp = 3 if colour == 2 else 4
    raw = zlib.decompress(idat)
    stride = width * bpp
    previous = bytearray(stride)
    colours = set()
    for y in range(height):
        row = raw[y * (stride + 1):(y + 1) * (stride + 1)]
        line = unfilter(row[0], bytearray(row[1:]), previous, bpp)
        colours.update(bytes(line[x:x + 3]) for x in range(0, stride, bpp))
        previous = line
    return len(colours)


def unfilter(kind, line, previous, bpp):
    for i in range(len(line)):
        a = line[i - bpp] if i >= bpp else 0
        b = previous[i]
        c = previous[i - bpp] if i >= bpp else 0
        if kind == 1:
            line[i] = (line[i] + a) & 255
        elif kind == 2:
            line[i] = (line[i] + b) & 255
        elif kind == 3:
            line[i] = (line[i] + (a + b) // 2) & 255
        elif kind == 4:
            p = a + b - c
            pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
            pred = a if pa <= pb and pa <= pc else (b if pb <= pc else c)
            line[i] = (line[i] + pred) & 255
    return line


def screenshot(driver, name):
    """Writes a screenshot of the page to the screenshot folder; answers the
    path."""
    os.makedirs(SETTINGS['out'], exist_ok=True)
    path = os.path.join(SETTINGS['out'], name + '.png')
    driver.save_screenshot(path)
    return path



def network_answers(driver):
    """The HTTP answers the page received since the last call, from
    Chromium's performance log: [{method, url, status, type, body}] where
    body is the request body of a POST (or None)."""
    requests, answers = {}, []
    for entry in driver.get_log('performance'):
        message = json.loads(entry['message'])['message']
        params = message.get('params', {})
        if message.get('method') == 'Network.requestWillBeSent':
            request = params['request']
            requests[params['requestId']] = (request['method'], request.get('postData'))
        elif message.get('method') == 'Network.responseReceived':
            response = params['response']
            method, body = requests.get(params['requestId'], ('GET', None))
            headers = {k.lower(): v for k, v in response.get('headers', {}).items()}
            answers.append({'method': method, 'url': response['url'], 'status': response['status'],
                            'type': headers.get('content-type', response.get('mimeType', '')), 'body': body})
    return answers


def axe_violations(driver):
    """Runs axe-core (from the project's node_modules) on the page; answers
    the serious and critical violations as (rule id, impact, targets)."""
    path = os.path.join(SETTINGS['root'], 'node_modules', 'axe-core', 'axe.min.js')
    with open(path, encoding='utf-8') as f:
        driver.execute_script(f.read())
    result = driver.execute_async_script("""
        const done = arguments[arguments.length - 1];
        axe.run(document, { resultTypes: ['violations'] })
          .then((r) => done(r.violations.map((v) => [v.id, v.impact, v.nodes.map((n) => n.target.join(' '))])))
          .catch((e) => done([['axe-failed', 'critical', [String(e)]]]));""")
    return [tuple(v) for v in result if v[1] in ('serious', 'critical')]
