"""The web client in a real browser: what a person sees, checked against the
agents' own answers fetched from the same server in the same test.

    python3 browser_test.py --host ORV_HOST --model MODEL --out SCREENSHOT_DIR [unittest args]

Each test runs against a fresh `orv-host serve --port 0 MODEL`; one headless
Chromium serves all tests. Every view is also written as a screenshot and
checked to be non-blank.
"""

import argparse
import json
import os
import re
import shutil
import sys
import unittest
import xml.etree.ElementTree as ElementTree

from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.actions.action_builder import ActionBuilder
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys

import browser_support as support
from browser_support import wait_for, settle
from openapi_check import Contract

# A blank page, or a page with a few flat areas, has far fewer colours.
MIN_SCREENSHOT_COLOURS = 64

VISIBLE_TREE_ITEMS = """
return [...document.querySelectorAll('#explorer [role=treeitem]')]
  .filter((li) => !li.closest('ul[hidden]'))
  .map((li) => ({
    text: li.querySelector(':scope > .row > .text').textContent,
    guid: li.dataset.guid, meta: li.dataset.meta,
    level: Number(li.getAttribute('aria-level')),
    expandable: li.hasAttribute('aria-expanded'),
    expanded: li.getAttribute('aria-expanded') === 'true',
    selected: li.getAttribute('aria-selected') === 'true',
    icon: (li.querySelector(':scope > .row > img.icon') || {}).src || '',
    visual: Boolean(li.querySelector(':scope > .row > .visual')),
    attribute: Boolean(li.querySelector(':scope > .row > .badge')),
  }));
"""

PAGE_CONTROLS = """
const form = document.querySelector('#page form.controls');
if (!form) return null;
const depth = (c) => { let d = 0; for (let p = c.parentElement; p !== form; p = p.parentElement)
  if (p.classList.contains('control-children')) d += 1; return d; };
return { route: form.dataset.route, controls: [...form.querySelectorAll('.control')].map((c) => {
  const value = c.querySelector(':scope > .control-row > .control-value');
  return { kind: c.dataset.kind, depth: depth(c),
    text: c.querySelector(':scope > .control-row > .control-text').textContent,
    tag: value.tagName.toLowerCase(),
    value: value.tagName === 'UL' ? [...value.children].map((li) => li.textContent)
         : value.type === 'checkbox' ? value.checked
         : value.tagName === 'SELECT' ? value.options[0].textContent
         : 'value' in value ? value.value : value.textContent };
}) };
"""

LINK_GROUPS = """
return [...document.querySelectorAll('#links .link-group')].map((g) => ({
  type: g.dataset.type,
  count: g.querySelector('.count').textContent,
  items: [...g.querySelectorAll('li')].map((li) => ({
    text: li.textContent,
    guid: (li.querySelector('a.element-link') || {dataset: {}}).dataset.guid || '',
    url: (li.querySelector('.url') || {}).textContent || '' })),
}));
"""

DIAGRAM = """
const svg = document.querySelector('#diagram svg.diagram');
if (!svg) return null;
const xlink = 'http://www.w3.org/1999/xlink';
return {
  ids: [...svg.querySelectorAll('[id]')].map((e) => e.id),
  uses: [...svg.querySelectorAll('use')].map((u) => {
    const box = u.getBoundingClientRect();
    return { href: u.getAttributeNS(xlink, 'href') || u.getAttribute('href'),
             visible: box.width > 0 && box.height > 0 };
  }),
  icons: [...svg.querySelectorAll('image')].map((i) => ({
    guid: i.closest('[guid]') ? i.closest('[guid]').getAttribute('guid') : '',
    href: i.getAttributeNS(xlink, 'href') || i.getAttribute('href') })),
  comments: (() => { const w = document.createTreeWalker(svg, NodeFilter.SHOW_COMMENT);
    const out = []; while (w.nextNode()) out.push(w.currentNode.data); return out; })(),
};
"""

XLINK_HREF = '{http://www.w3.org/1999/xlink}href'

CONTRACT = None  # the HTTP contract (docs/openapi.yaml), loaded by main()


def read_host_page(text):
    """The controls of the host parse's one-line layout (texts unescaped):
    [(kind, text, value)], value a string or a list of strings."""
    controls = []
    for m in re.finditer(r'\{"kind" : "(.*?)", "text" : "(.*?)", "value" : (\[.*?\]|".*?")\}(?=, \{"kind"|\]$)',
                         text, re.S):
        value = m.group(3)
        if value.startswith('['):
            inner = value[1:-1]
            value = inner[1:-1].split('", "') if inner else []
        else:
            value = value[1:-1]
        controls.append((m.group(1), m.group(2), value))
    return controls


def read_library_page(text):
    """The controls of the library parse, depth first: [(kind, text, value, depth)]."""
    out = []

    def walk(items, depth):
        for item in items:
            control = item.get('control')
            if control:
                out.append((control['controlKind'], control['text'], control['value'], depth))
            walk(item.get('children', []), depth + 1 if control else depth)

    walk(json.loads(text), 0)
    return out


class ClientTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.driver = support.start_chromium()

    @classmethod
    def tearDownClass(cls):
        cls.driver.quit()
        shutil.rmtree(cls.driver.profile_dir, ignore_errors=True)

    def setUp(self):
        self.start_server()
        self.driver.get_log('browser')  # Forget what earlier tests logged.
        self.driver.get_log('performance')
        self.addCleanup(self.check_no_script_errors)

    def check_answers_keep_the_contract(self, server):
        # Every answer the page got must be one the contract names: its
        # status and type as the browser saw them, and its body as the
        # same request answers it again.
        problems = []
        for answer in support.network_answers(self.driver):
            if not answer['url'].startswith(server.base):
                continue
            path = answer['url'][len(server.base):]
            method = answer['method']
            if method == 'OPTIONS':
                continue
            if answer['status'] in (204, 304) or answer['type'].startswith('text/event-stream'):
                problems += CONTRACT.check(method, path, answer['status'], answer['type'], b'')
                continue
            status, type_, body = server.fetch(path, method, answer['body'])
            problems += CONTRACT.check(method, path, status, type_, body)
        self.assertEqual(sorted(set(problems)), [])

    def check_no_script_errors(self):
        # Failed calls are logged by the browser as network errors, which the
        # page shows; an error of the page's own code is a fault.
        errors = [e['message'] for e in self.driver.get_log('browser')
                  if e['level'] == 'SEVERE' and e.get('source') != 'network']
        self.assertEqual(errors, [])

    def start_server(self, *options):
        """A fresh server for this test (replacing the one it has); it must
        stop cleanly at the end."""
        server = support.ModelServer(*options)
        self.server = server
        self.addCleanup(self.check_stopped, server)
        # Runs first (cleanups run last in, first out): the server still answers.
        self.addCleanup(self.check_answers_keep_the_contract, server)

    def check_stopped(self, server):
        status = server.stop()
        self.assertEqual(status, 0, 'the server did not stop cleanly:\n' + ''.join(server.output))

    # -- helpers --------------------------------------------------------

    def open(self, hash_=''):
        self.driver.get(f'{self.server.base}/{hash_}')
        wait_for(self.driver, lambda d: d.execute_script(
            "return document.querySelectorAll('#explorer [role=treeitem]').length > 1"),
            'the explorer to show the root and its children')
        settle(self.driver)

    def tree(self):
        return self.driver.execute_script(VISIBLE_TREE_ITEMS)

    def nodes(self, guid, meta=''):
        return json.loads(self.server.agent('GetModelViewChildNodes', [guid, meta, '', ''])[2])

    def item(self, guid, meta=''):
        selector = f'#explorer [role=treeitem][data-guid="{guid}"][data-meta="{meta}"]'
        return wait_for(self.driver, lambda d: d.find_element(By.CSS_SELECTOR, selector),
                        f'the tree item {guid}')

    def hash(self):
        return self.driver.execute_script('return location.hash')

    def wait_hash(self, expected):
        wait_for(self.driver, lambda d: self.hash() == expected, f'the URL to end in {expected}')
        settle(self.driver)

    def wait_selected(self, guid):
        """Waits until the URL selects the element (a diagram may be open too)."""
        pattern = re.compile('#/element/' + re.escape(guid) + '(/diagram/[^/]+)?$')
        wait_for(self.driver, lambda d: pattern.match(self.hash()), f'the URL to select {guid}')
        settle(self.driver)

    def shoot(self, name, settled=True):
        """A screenshot of the view, which must not be blank, and an axe-core
        check of it: no serious or critical violation."""
        if settled:
            settle(self.driver)
        path = support.screenshot(self.driver, name)
        colours = support.png_colours(path)
        self.assertGreater(colours, MIN_SCREENSHOT_COLOURS, f'{path} looks blank')
        self.assertEqual(support.axe_violations(self.driver), [], f'accessibility of {name}')

    def assertShowsNodes(self, items, answer, level):
        self.assertEqual(len(items), len(answer))
        for item, node in zip(items, answer):
            with self.subTest(node=node['text']):
                self.assertEqual(item['text'], node['text'])
                self.assertEqual(item['guid'], node['modelguid'])
                self.assertEqual(item['meta'], node['metaguid'])
                self.assertEqual(item['level'], level)
                self.assertEqual(item['expandable'], node['hasChildren'] == 'yes')
                self.assertEqual(item['visual'], node['visual'] == 'yes')
                self.assertEqual(bool(item['icon']), node['icon'] != '-1')
                self.assertEqual(item['attribute'], node['metaguid'] != '')

    def children_of(self, guid, meta=''):
        """The visible items right below a tree item."""
        items = self.tree()
        at = next(i for i, x in enumerate(items) if x['guid'] == guid and x['meta'] == meta)
        level = items[at]['level']
        out = []
        for x in items[at + 1:]:
            if x['level'] <= level:
                break
            if x['level'] == level + 1:
                out.append(x)
        return out

    def diagram(self):
        return wait_for(self.driver, lambda d: d.execute_script(DIAGRAM), 'the diagram')

    # -- explorer -------------------------------------------------------

    def test_explorer_shows_the_root_and_its_first_level(self):
        root = self.nodes('')
        first = self.nodes(root[0]['modelguid'])
        self.open()
        items = self.tree()
        self.assertShowsNodes(items[:1], root, 1)
        self.assertTrue(items[0]['expanded'])
        self.assertShowsNodes(items[1:], first, 2)
        icons = {x['icon'] for x in items if x['icon']}
        self.assertEqual(len(icons), len({n['icon'] for n in root + first if n['icon'] != '-1'}),
                         'one drawing per icon index')
        self.shoot('explorer')

    def test_expanding_nodes_with_the_keyboard_and_the_mouse(self):
        self.open()
        structure = self.item('PKG-STRUCT')
        self.driver.execute_script('arguments[0].focus()', structure)
        structure.send_keys(Keys.ARROW_RIGHT)
        wait_for(self.driver, lambda d: len(self.children_of('PKG-STRUCT')) > 0, 'the children')
        settle(self.driver)
        self.assertShowsNodes(self.children_of('PKG-STRUCT'), self.nodes('PKG-STRUCT'), 3)
        # Down to the first child, and Enter selects it.
        self.driver.switch_to.active_element.send_keys(Keys.ARROW_DOWN)
        self.driver.switch_to.active_element.send_keys(Keys.ENTER)
        first = self.nodes('PKG-STRUCT')[0]['modelguid']
        self.wait_selected(first)
        # An attribute node is expanded with its meta definition.
        for guid in ('PKG-OPERATION', 'BLK-PANEL'):
            self.item(guid).find_element(By.CSS_SELECTOR, ':scope > .row > .expander').click()
            wait_for(self.driver, lambda d, g=guid: len(self.children_of(g)) > 0, f'the children of {guid}')
        settle(self.driver)
        panel = self.nodes('BLK-PANEL')
        self.assertShowsNodes(self.children_of('BLK-PANEL'), panel, 4)
        attribute = next(n for n in panel if n['metaguid'])
        self.item(attribute['modelguid'], attribute['metaguid']).find_element(
            By.CSS_SELECTOR, ':scope > .row > .expander').click()
        wait_for(self.driver, lambda d: len(self.children_of(attribute['modelguid'], attribute['metaguid'])) > 0,
                 'the attribute node\'s children')
        self.assertShowsNodes(self.children_of(attribute['modelguid'], attribute['metaguid']),
                              self.nodes(attribute['modelguid'], attribute['metaguid']), 5)
        self.shoot('explorer-expanded')

    def test_a_shared_url_expands_the_path_to_its_element(self):
        self.open('#/element/ATT-PUMP1-HOURS-LIMIT')
        selected = wait_for(self.driver, lambda d: [x for x in self.tree() if x['selected']], 'the selection')
        self.assertEqual([(x['guid'], x['level']) for x in selected], [('ATT-PUMP1-HOURS-LIMIT', 6)])
        path = [x['guid'] for x in self.tree() if x['expanded']]
        self.assertEqual(path, ['PUMP-STATION', 'PKG-STRUCT', 'BLK-STATION', 'ATT-PUMP1', 'ATT-PUMP1-HOURS'])
        # Left goes to the parent, Left again collapses it, Home goes to the root.
        item = self.item('ATT-PUMP1-HOURS-LIMIT')
        self.driver.execute_script('arguments[0].focus()', item)
        item.send_keys(Keys.ARROW_LEFT)
        self.assertEqual(self.driver.switch_to.active_element.get_attribute('data-guid'), 'ATT-PUMP1-HOURS')
        self.driver.switch_to.active_element.send_keys(Keys.ARROW_LEFT)
        self.assertNotIn('ATT-PUMP1-HOURS-LIMIT', [x['guid'] for x in self.tree()])
        self.driver.switch_to.active_element.send_keys(Keys.HOME)
        self.assertEqual(self.driver.switch_to.active_element.get_attribute('data-guid'), 'PUMP-STATION')

        # A GUID that names nothing selects nothing and shows the server's
        # error, as does a diagram for an element that no diagram shows.
        self.driver.execute_script("location.hash = '#/element/NO-SUCH-GUID/diagram/PAGE-VALVE'")
        settle(self.driver)
        errors = self.driver.execute_script(
            "return ['#page', '#links', '#diagram'].map((p) => document.querySelector(p + ' .error .error-text').textContent)")
        expected = [self.server.get(path, method, body) for path, method, body in (
            ('/api/elements/NO-SUCH-GUID/page', 'GET', None), ('/api/elements/NO-SUCH-GUID/links', 'GET', None),
            ('/api/diagrams/PAGE-VALVE/svg', 'POST', ''))]
        self.assertEqual([status for status, _ in expected], [404, 404, 422])
        self.assertEqual(errors, [json.loads(body)['error'] for _, body in expected])
        self.assertEqual([x for x in self.tree() if x['selected']], [])
        message = self.driver.execute_script(
            "return document.querySelector('#explorer .tree-status .error-text').textContent")
        self.assertIn('NO-SUCH-GUID cannot be shown in the model', message)
        self.shoot('errors')

    # -- property page --------------------------------------------------

    def page(self, route):
        return wait_for(self.driver, lambda d: (lambda p: p if p and p['route'] == route else None)(
            d.execute_script(PAGE_CONTROLS)), f'the page by the {route} route')

    def test_the_page_readers_by_table(self):
        # The client's readers of the two page answers, run in the page itself.
        host_cases = [
            ('[]', []),
            ('[{"kind" : "EditBox", "text" : "Name", "value" : "Pump"}]', [['EditBox', 'Name', 'Pump']]),
            ('[{"kind" : "EditBox", "text" : "Say "hi"", "value" : "a\tb\nc"}, '
             '{"kind" : "CheckBox", "text" : "On", "value" : "true"}]',
             [['EditBox', 'Say "hi"', 'a\tb\nc'], ['CheckBox', 'On', 'true']]),
            ('[{"kind" : "EntityList", "text" : "Owners", "value" : ["a", "b c"]}]',
             [['EntityList', 'Owners', ['a', 'b c']]]),
            ('[{"kind" : "EntityList", "text" : "Spares", "value" : []}]', [['EntityList', 'Spares', []]]),
            ('[{"kind" : "EditBox", "text" : "", "value" : ""}]', [['EditBox', '', '']]),
            ('', None),
            ('Invalid control string.', None),
            ('[{"kind" : "EditBox"}]', None),
            ('[{"kind" : "EditBox", "text" : "Name", "value" : Pump}]', None),
            ('{"kind" : "EditBox", "text" : "Name", "value" : "Pump"}', None),
        ]
        library_cases = [
            ('[ ]', []),
            ('[ { "control" : { "controlKind" : "EditBox", "text" : "N", "value" : "S" }, "children" : '
             '[ { "control" : { "controlKind" : "CheckBox", "text" : "M", "value" : "false" } } ] } ]',
             [['EditBox', 'N', 'S', [['CheckBox', 'M', 'false', []]]]]),
            ('[ { "children" : [ { "control" : { "controlKind" : "Label", "text" : "L", "value" : "\\"q\\"" } } ] }, { } ]',
             [['Label', 'L', '"q"', []]]),
            ('[ { "control" : { "controlKind" : "EntityList", "text" : "O", "value" : [ "a", "b" ] } } ]',
             [['EntityList', 'O', ['a', 'b'], []]]),
            ('{ ControlInfo(. .) }', None),
            ('{ "control" : 1 }', None),
        ]
        self.open()
        results = self.driver.execute_async_script("""
            const [hostCases, libraryCases, done] = arguments;
            import('/js/controls.js').then(({ readHostControls, readLibraryControls }) => {
              const flat = (c) => [c.kind, c.text, c.value];
              const nested = (c) => [c.kind, c.text, c.value, c.children.map(nested)];
              const run = (read, shape) => (text) => { const r = read(text); return r && r.map(shape); };
              done([hostCases.map(([t]) => run(readHostControls, flat)(t)),
                    libraryCases.map(([t]) => run(readLibraryControls, nested)(t))]);
            });""", host_cases, library_cases)
        self.assertEqual([len(r) for r in results], [len(host_cases), len(library_cases)])
        for (text, expected), got in zip(host_cases + library_cases, results[0] + results[1]):
            with self.subTest(text=text):
                self.assertEqual(got, expected)

    def test_the_url_routes_by_table(self):
        cases = [  # hash, element, diagram, the hash written back
            ('', '', '', '#/'),
            ('#/element/BLK-PUMP', 'BLK-PUMP', '', '#/element/BLK-PUMP'),
            ('#/element/BLK-VALVE/diagram/DIA-LINKS', 'BLK-VALVE', 'DIA-LINKS',
             '#/element/BLK-VALVE/diagram/DIA-LINKS'),
            ('#/element/%40Predefined%40ExternalObject', '@Predefined@ExternalObject', '',
             '#/element/%40Predefined%40ExternalObject'),
            ('#/element/a%2Fb%20c', 'a/b c', '', '#/element/a%2Fb%20c'),
            ('#/diagram/DIA-REQ', '', 'DIA-REQ', '#/diagram/DIA-REQ'),
            ('#/element/%E0%A4%A', '', '', '#/'),
            ('#/something/else', '', '', '#/'),
        ]
        self.open()
        results = self.driver.execute_async_script("""
            const [cases, done] = arguments;
            import('/js/router.js').then(({ parseRoute, formatRoute }) => done(cases.map(([hash]) => {
              const route = parseRoute(hash);
              return [hash, route.element, route.diagram, formatRoute(route)];
            })));""", cases)
        self.assertEqual([tuple(r) for r in results], cases)

    def test_property_page_by_both_routes(self):
        host = read_host_page(self.server.agent('GetPropertyPageControls', ['PAGE-VALVE', '', ''])[1])
        self.assertGreater(len(host), 3)
        self.open('#/element/PAGE-VALVE')
        shown = self.page('controls')['controls']
        self.assertEqual(len(shown), len(host))
        for control, (kind, text, value) in zip(shown, host):
            with self.subTest(control=text):
                self.assertEqual((control['kind'], control['text']), (kind, text))
                if kind == 'EntityList':
                    self.assertEqual(control['value'], value)
                elif kind != 'CheckBox':
                    self.assertEqual(control['value'], value)
        self.assertEqual([c['tag'] for c in shown if c['kind'] == 'EntityList'], ['ul'] * 2)
        self.shoot('page-host')

        self.driver.find_element(By.CSS_SELECTOR, '#page button[data-route=transform]').click()
        library = read_library_page(self.server.agent('TransformControlInfoToJason', [''], 'PAGE-VALVE')[0])
        shown = self.page('transform')['controls']
        self.assertEqual([(c['kind'], c['text'], c['depth']) for c in shown],
                         [(k, t, d) for k, t, _, d in library])
        checkbox = next(c for c in shown if c['kind'] == 'CheckBox')
        self.assertEqual(checkbox['tag'], 'input')
        self.assertEqual(checkbox['value'], next(v for k, _, v, _ in library if k == 'CheckBox') == 'true')
        self.assertEqual(next(c['tag'] for c in shown if c['kind'] == 'ComboBox'), 'select')

        # The route stays chosen for the next element: nested children.
        self.driver.execute_script("location.hash = '#/element/BLK-STATION'")
        library = read_library_page(self.server.agent('TransformControlInfoToJason', [''], 'BLK-STATION')[0])
        wait_for(self.driver, lambda d: len(self.page('transform')['controls']) == len(library), 'BLK-STATION')
        shown = self.page('transform')['controls']
        self.assertEqual([(c['kind'], c['text'], c['value'] if c['kind'] != 'CheckBox' else v, c['depth'])
                          for c, (_, _, v, _) in zip(shown, library)], library)
        self.assertEqual(max(c['depth'] for c in shown), 2)
        self.shoot('page-library')

    def test_an_element_without_a_page_shows_the_agents_message(self):
        message = support.agent_parameter(3, 'GetPropertyPageControls', ['PAGE-INVALID', '', ''])
        self.assertTrue(message)
        self.open('#/element/PAGE-INVALID')
        text = wait_for(self.driver, lambda d: d.execute_script(
            "const b = document.querySelector('#page .page-body');"
            "return b.querySelector('.loading') ? '' : b.textContent"), 'the page text')
        self.assertIn(message, text)
        self.shoot('page-message')
        # The library's route answers the page text it could not read.
        self.driver.find_element(By.CSS_SELECTOR, '#page button[data-route=transform]').click()
        page_text = self.server.agent('TransformControlInfoToJason', [''], 'PAGE-INVALID')[0]
        wait_for(self.driver, lambda d: d.execute_script(
            "const p = document.querySelector('#page pre.page-text'); return p && p.textContent")
            == page_text, 'the page text of the library route')

    def test_a_slow_call_shows_progress_and_then_the_servers_error(self):
        # A page whose host route never ends: the server stops it at its deadline.
        self.server.stop()
        self.start_server('--timeout', '2')
        self.open()
        self.driver.execute_script("location.hash = '#/element/PAGE-INCOMPLETE'")
        wait_for(self.driver, lambda d: d.execute_script(
            "return !document.getElementById('progress').hidden"), 'the progress bar')
        self.shoot('progress', settled=False)
        error = wait_for(self.driver, lambda d: d.execute_script(
            "const e = document.querySelector('#page .error'); return e && "
            "[e.querySelector('.error-text').textContent, e.dataset.limit, e.textContent, Boolean(e.querySelector('.retry'))]"),
            'the error')
        status, body = self.server.get('/api/elements/PAGE-INCOMPLETE/page')
        self.assertEqual(status, 504)
        answer = json.loads(body)
        self.assertEqual(error[0], answer['error'])
        self.assertEqual(error[1], answer['limit'])
        self.assertIn('ran out of time', error[2])
        self.assertTrue(error[3], 'a Retry button')
        settle(self.driver)
        self.assertTrue(self.driver.execute_script("return document.getElementById('progress').hidden"))

    # -- links ----------------------------------------------------------

    def test_link_groups_and_counts(self):
        answer = json.loads(self.server.agent('GetNativeLinkInformation', ['BLK-PUMP', ''])[1])
        by_type = {group['linkTypeId']: group['links'] for group in answer}
        self.assertEqual(len(by_type), 4, 'the pump has links of all four kinds')
        self.open('#/element/BLK-PUMP')
        groups = wait_for(self.driver, lambda d: d.execute_script(LINK_GROUPS), 'the links')
        self.assertEqual({g['type'] for g in groups}, set(by_type))
        for group in groups:
            links = by_type[group['type']]
            with self.subTest(group=group['type']):
                self.assertEqual(group['count'], str(len(links)))
                self.assertEqual(len(group['items']), len(links))
                for item, link in zip(group['items'], links):
                    if group['type'] == 'ORV_OUTGOING_HYPERLINKS':
                        self.assertEqual(item['url'], link['hyperlinkURL'])
                        self.assertIn(link['hyperlinkName'], item['text'])
                    else:
                        self.assertEqual(item['guid'], link['linkedObjectGuid'])
                        self.assertIn(link['linkedObjectName'], item['text'])
        self.shoot('links')

    def test_clicking_a_linked_element_selects_it(self):
        answer = json.loads(self.server.agent('GetNativeLinkInformation', ['BLK-PUMP', ''])[1])
        incoming = next(g for g in answer if g['linkTypeId'] == 'ORV_INCOMING_DEPENDENCIES')['links'][0]
        target = incoming['linkedObjectGuid']
        self.open('#/element/BLK-PUMP')
        link = wait_for(self.driver, lambda d: d.find_element(
            By.CSS_SELECTOR, f'#links a.element-link[data-guid="{target}"]'), 'the link')
        link.click()
        self.wait_selected(target)
        selected = [x for x in self.tree() if x['selected']]
        self.assertEqual([x['guid'] for x in selected], [target])
        # The page and links now belong to the linked element; a reload keeps them.
        for reload in (False, True):
            if reload:
                self.driver.refresh()
                self.open(f'#/element/{target}')
            page = self.page('controls')['controls']
            self.assertEqual(page[0]['value'], incoming['linkedObjectName'])
            wait_for(self.driver, lambda d: [x['guid'] for x in self.tree() if x['selected']] == [target],
                     'the linked element selected in the explorer')

    # -- diagram --------------------------------------------------------

    def expected_svg(self, context):
        text = self.server.agent('GenerateSVGWithAnnotations', ['', '', ''], context)[1]
        root = ElementTree.fromstring(text)
        return ([e.get('id') for e in root.iter() if e.get('id') is not None],
                [e.get(XLINK_HREF) for e in root.iter('{http://www.w3.org/2000/svg}use')])

    def test_diagram_shows_the_agents_markers_and_picks_elements(self):
        self.open('#/element/DIA-LINKS')
        self.wait_hash('#/element/DIA-LINKS/diagram/DIA-LINKS')
        shown = self.diagram()
        ids, uses = self.expected_svg('DIA-LINKS')
        self.assertTrue(uses)
        self.assertEqual(shown['ids'], ids)
        self.assertEqual([u['href'] for u in shown['uses']], uses)
        self.assertTrue(all(u['visible'] for u in shown['uses']))
        self.shoot('diagram')

        # Zoom in by the button, and pan by dragging.
        scale = "return document.querySelector('#diagram svg.diagram').getBoundingClientRect().width"
        left = "return document.querySelector('#diagram svg.diagram').getBoundingClientRect().left"
        width, x = self.driver.execute_script(scale), self.driver.execute_script(left)
        self.driver.find_element(By.CSS_SELECTOR, '#diagram button[aria-label="Zoom in"]').click()
        self.assertAlmostEqual(self.driver.execute_script(scale), width * 1.25, delta=1)
        viewport = self.driver.find_element(By.CSS_SELECTOR, '#diagram .viewport')
        ActionChains(self.driver).move_to_element_with_offset(viewport, -250, 250).click_and_hold() \
            .move_by_offset(40, 0).move_by_offset(40, 0).release().perform()
        self.assertAlmostEqual(self.driver.execute_script(left), x - width * 0.125 + 80, delta=2)
        self.assertEqual(self.hash(), '#/element/DIA-LINKS/diagram/DIA-LINKS', 'a drag selects nothing')
        self.driver.find_element(By.CSS_SELECTOR, '#diagram button[aria-label="Fit the diagram"]').click()

        # A click on a symbol selects its element and shows its links.
        symbol = self.driver.find_element(By.CSS_SELECTOR, '#diagram g[guid="BLK-VALVE"] > text')
        symbol.click()
        self.wait_hash('#/element/BLK-VALVE/diagram/DIA-LINKS')
        wait_for(self.driver, lambda d: d.execute_script(LINK_GROUPS), 'the valve\'s links')
        expected = json.loads(self.server.agent('GetNativeLinkInformation', ['BLK-VALVE', ''])[1])
        counts = {g['type']: g['count'] for g in self.driver.execute_script(LINK_GROUPS)}
        for group in expected:
            self.assertEqual(counts[group['linkTypeId']], str(len(group['links'])))

        # A click on a line selects the line's element.
        point = self.driver.execute_script("""
            const path = document.querySelector('#diagram g[guid="DEP-VALVE-SATISFY"] path:not(.hit)');
            const m = path.getScreenCTM();
            const p = path.getPointAtLength(path.getTotalLength() * 0.3);
            return [Math.round(p.x * m.a + p.y * m.c + m.e), Math.round(p.x * m.b + p.y * m.d + m.f)]""")
        actions = ActionBuilder(self.driver)
        actions.pointer_action.move_to_location(*point)
        actions.pointer_action.click()
        actions.perform()
        self.wait_hash('#/element/DEP-VALVE-SATISFY/diagram/DIA-LINKS')

    def attach_note(self, text):
        self.driver.find_element(By.XPATH, "//button[text()='Add note…']").click()
        field = self.driver.find_element(By.CSS_SELECTOR, '#diagram .note-form input')
        field.clear()
        field.send_keys(text, Keys.ENTER)
        settle(self.driver)

    def test_a_note_shows_the_er_icon_and_refresh_regenerates(self):
        self.open('#/element/BLK-VALVE/diagram/DIA-LINKS')
        self.assertEqual(self.diagram()['icons'], [])
        self.attach_note('Check the torque')
        shown = wait_for(self.driver, lambda d: (lambda s: s if s and s['icons'] else None)(
            d.execute_script(DIAGRAM)), 'the ER icon')
        self.assertEqual(shown['icons'], [{'guid': 'BLK-VALVE', 'href': 'ERIcon.gif'}])
        status, gif = self.server.get('/ERIcon.gif')
        self.assertEqual((status, gif[:4]), (200, b'GIF8'))
        note = [c for c in shown['comments'] if 'Check the torque' in c]
        self.assertEqual(len(note), 1)
        self.shoot('diagram-note')

        # Every request regenerates the diagram with the notes of now, so the
        # note shows once however often the diagram is asked for.
        self.attach_note('Check the torque')
        self.driver.find_element(By.XPATH, "//button[text()='Refresh']").click()
        settle(self.driver)
        self.assertEqual(len([c for c in self.diagram()['comments'] if 'torque' in c]), 1)
        self.assertEqual(len(self.diagram()['icons']), 1)
        sent = [a for a in support.network_answers(self.driver) if '/svg' in a['url']]
        self.assertTrue(sent)
        self.assertTrue(all('refresh=true' in a['url'] for a in sent), [a['url'] for a in sent])
        self.assertTrue(any(a['body'] and 'Check the torque' in a['body'] for a in sent))

        # Notes outlive a reload and are listed by the element's name.
        self.driver.refresh()
        self.open('#/element/BLK-VALVE/diagram/DIA-LINKS')
        listed = wait_for(self.driver, lambda d: d.execute_script(
            "return [...document.querySelectorAll('#diagram .note-list li')].map((li) => li.textContent)"), 'the notes')
        self.assertEqual(len(listed), 1)
        self.assertTrue(listed[0].startswith('Valve: Check the torque'), listed)
        self.assertNotIn('BLK-VALVE', listed[0])
        wait_for(self.driver, lambda d: self.diagram()['icons'], 'the icon after the reload')

        # Escape closes the note form.
        self.driver.find_element(By.XPATH, "//button[text()='Add note…']").click()
        field = self.driver.find_element(By.CSS_SELECTOR, '#diagram .note-form input')
        field.send_keys(Keys.ESCAPE)
        self.assertFalse(self.driver.find_element(By.CSS_SELECTOR, '#diagram .note-form').is_displayed())
        self.driver.execute_script("localStorage.clear()")

    # -- selection, search and navigation -------------------------------

    def test_an_attribute_node_is_selected_itself_and_kept_by_the_url(self):
        self.open('#/element/BLK-PANEL')
        self.wait_selected('BLK-PANEL')
        panel = self.nodes('BLK-PANEL')
        attribute = next(n for n in panel if n['metaguid'])
        self.item('BLK-PANEL').find_element(By.CSS_SELECTOR, ':scope > .row > .expander').click()
        self.item(attribute['modelguid'], attribute['metaguid']).find_element(
            By.CSS_SELECTOR, ':scope > .row > .text').click()
        expected = f"#/element/{attribute['modelguid']}/meta/{attribute['metaguid']}"
        wait_for(self.driver, lambda d: self.hash().startswith(expected), 'the attribute node in the URL')
        settle(self.driver)
        for reload in (False, True):
            if reload:
                self.driver.refresh()
                self.open(self.hash())
            selected = wait_for(self.driver, lambda d: [(x['guid'], x['meta']) for x in self.tree() if x['selected']],
                                'the selection')
            self.assertEqual(selected, [(attribute['modelguid'], attribute['metaguid'])])
        self.shoot('attribute-node')

    def test_a_deep_url_is_revealed_with_one_path_call(self):
        self.driver.get(f'{self.server.base}/')
        settle(self.driver)
        support.network_answers(self.driver)
        self.open('#/element/ATT-PUMP1-HOURS-LIMIT')
        wait_for(self.driver, lambda d: [x['guid'] for x in self.tree() if x['selected']] == ['ATT-PUMP1-HOURS-LIMIT'],
                 'the deep element selected')
        urls = [a['url'] for a in support.network_answers(self.driver)]
        self.assertEqual(len([u for u in urls if u.endswith('/api/elements/ATT-PUMP1-HOURS-LIMIT/path')]), 1)
        crumbs = self.driver.execute_script(
            "return [...document.querySelectorAll('#selection .crumbs li')].map((li) => li.textContent)")
        path = json.loads(self.server.get('/api/elements/ATT-PUMP1-HOURS-LIMIT/path')[1])['path']
        self.assertEqual(crumbs, [n['text'] for n in path])
        # Copying the GUID and the URL.
        self.driver.find_element(By.XPATH, "//button[text()='Copy GUID']").click()
        wait_for(self.driver, lambda d: d.execute_script(
            "return document.querySelector('#selection .copied').dataset.text") == 'ATT-PUMP1-HOURS-LIMIT', 'the copy')
        self.driver.find_element(By.XPATH, "//button[text()='Copy URL']").click()
        wait_for(self.driver, lambda d: d.execute_script(
            "return document.querySelector('#selection .copied').dataset.text").endswith(
                '#/element/ATT-PUMP1-HOURS-LIMIT'), 'the URL copied')

    def test_search_reveals_and_selects_the_chosen_element(self):
        status, body = self.server.get('/api/search?q=limit&limit=50')
        self.assertEqual(status, 200)
        results = json.loads(body)['results']
        self.assertIn('ATT-PUMP1-HOURS-LIMIT', [r['guid'] for r in results])
        self.open()
        box = self.driver.find_element(By.CSS_SELECTOR, '#search input')
        box.send_keys('limit')
        shown = wait_for(self.driver, lambda d: d.execute_script(
            "return [...document.querySelectorAll('#search-results li')].map((li) => li.dataset.guid)"), 'the results')
        self.assertEqual(shown, [r['guid'] for r in results])
        self.shoot('search')
        at = shown.index('ATT-PUMP1-HOURS-LIMIT')
        for _ in range(at + 1):
            box.send_keys(Keys.ARROW_DOWN)
        box.send_keys(Keys.ENTER)
        self.wait_selected('ATT-PUMP1-HOURS-LIMIT')
        wait_for(self.driver, lambda d: [x['guid'] for x in self.tree() if x['selected']] == ['ATT-PUMP1-HOURS-LIMIT'],
                 'the result selected in the explorer')

    def test_the_diagram_chooser_and_model_hyperlinks(self):
        diagrams = json.loads(self.server.get('/api/elements/BLK-VALVE/diagrams')[1])['diagrams']
        self.assertIn('DIA-LINKS', [d['guid'] for d in diagrams])
        self.open('#/element/BLK-VALVE')
        self.wait_hash(f"#/element/BLK-VALVE/diagram/{diagrams[0]['guid']}")
        options = self.driver.execute_script(
            "return [...document.querySelectorAll('#diagram .diagram-chooser option')].map((o) => o.value).filter(Boolean)")
        self.assertEqual(options, [d['guid'] for d in diagrams])
        # A vorn:qm: hyperlink selects its element inside the model.
        link = wait_for(self.driver, lambda d: d.find_element(By.CSS_SELECTOR, '#links a.model-url'), 'a model URL')
        target = link.get_attribute('data-guid')
        self.assertEqual(link.text, f'vorn:qm:{target}')
        link.click()
        self.wait_selected(target)

    def test_an_element_without_links_says_so_once(self):
        self.assertEqual(self.server.get('/api/elements/ATT-SITE/links')[0], 204)
        self.open('#/element/ATT-SITE')
        shown = wait_for(self.driver, lambda d: d.execute_script(
            "const b = document.querySelector('#links .links-body'); return !b.querySelector('.loading') && "
            "[b.textContent, b.querySelectorAll('.link-group').length]"), 'the links')
        self.assertEqual(shown, ['The element has no links.', 0])

    def test_readable_page_texts_and_the_parse_switch_keys(self):
        self.open('#/element/PAGE-VALVE')
        self.page('controls')
        texts = self.driver.execute_script(
            "return [document.querySelectorAll('#page .control-kind').length,"
            " [...document.querySelectorAll('#page .control')].every((c) => c.title === c.dataset.kind),"
            " [...document.querySelectorAll('#page [role=radio]')].map((b) => [b.textContent, b.title])]")
        self.assertEqual(texts[0], 0, 'the control kinds are no labels')
        self.assertTrue(texts[1], 'the control kinds are tooltips')
        self.assertEqual([t for t, _ in texts[2]], ['Host parse', 'Library parse'])
        self.assertIn('GetPropertyPageControls', texts[2][0][1])
        host = self.driver.find_element(By.CSS_SELECTOR, '#page button[data-route=controls]')
        host.send_keys(Keys.ARROW_RIGHT)
        self.page('transform')
        self.assertEqual(self.driver.switch_to.active_element.get_attribute('data-route'), 'transform')
        self.driver.switch_to.active_element.send_keys(Keys.ARROW_LEFT)
        self.page('controls')

    def test_a_call_the_person_left_is_aborted_and_a_slow_one_can_be_cancelled(self):
        self.server.stop()
        self.start_server('--timeout', '3')
        self.open()
        self.driver.execute_script("location.hash = '#/element/PAGE-INCOMPLETE'")
        wait_for(self.driver, lambda d: d.execute_script("return !document.getElementById('progress').hidden"),
                 'the progress bar')
        self.assertIn('property page', self.driver.find_element(By.ID, 'progress-text').text)
        self.driver.find_element(By.ID, 'progress-cancel').click()
        error = wait_for(self.driver, lambda d: d.execute_script(
            "const e = document.querySelector('#page .error'); return e && [e.dataset.limit, Boolean(e.querySelector('.retry'))]"),
            'the cancelled call')
        self.assertEqual(error, ['cancelled', True])
        # Moving on while the page is slow: the old call is dropped, and its
        # 504 never shows on the next element's page.
        self.driver.execute_script("location.hash = '#/element/PAGE-INCOMPLETE'")
        self.driver.execute_script("location.hash = '#/element/PAGE-VALVE'")
        self.page('controls')
        settle(self.driver)
        self.assertFalse(self.driver.execute_script("return Boolean(document.querySelector('#page .error'))"))

    # -- diagram interaction --------------------------------------------

    def test_diagram_tooltips_keys_wheel_and_stale_marking(self):
        self.open()
        disabled = self.driver.execute_script(
            "return [...document.querySelectorAll('#diagram button.zoom')].map((b) => b.disabled)")
        self.assertEqual(disabled, [True, True, True], 'no zoom without a diagram')
        self.driver.execute_script("location.hash = '#/element/BLK-VALVE/diagram/DIA-LINKS'")
        self.diagram()
        settle(self.driver)
        symbol = self.driver.find_element(By.CSS_SELECTOR, '#diagram g[guid="BLK-VALVE"] > rect')
        ActionChains(self.driver).move_to_element(symbol).perform()
        links = json.loads(self.server.agent('GetNativeLinkInformation', ['BLK-VALVE', ''])[1])
        tip = wait_for(self.driver, lambda d: d.execute_script(
            "const t = document.querySelector('#diagram .diagram-tooltip');"
            "return !t.hidden && !t.textContent.includes('…') && t.textContent"), 'the tooltip')
        self.assertIn('Valve', tip)
        self.assertIn('BLK-VALVE', tip)
        for group in links:
            self.assertIn(str(len(group['links'])), tip)
        self.shoot('diagram-tooltip')

        width = "return document.querySelector('#diagram svg.diagram').getBoundingClientRect().width"
        left = "return document.querySelector('#diagram svg.diagram').getBoundingClientRect().left"
        viewport = self.driver.find_element(By.CSS_SELECTOR, '#diagram .viewport')
        before = self.driver.execute_script(width)
        self.driver.execute_script('arguments[0].focus()', viewport)
        viewport.send_keys('+')
        self.assertAlmostEqual(self.driver.execute_script(width), before * 1.25, delta=1)
        viewport.send_keys('0')
        self.assertAlmostEqual(self.driver.execute_script(width), before, delta=1)
        # A sideways wheel pans and does not zoom.
        x = self.driver.execute_script(left)
        self.driver.execute_script(
            "arguments[0].dispatchEvent(new WheelEvent('wheel', {deltaX: 60, deltaY: 0, clientX: 300, clientY: 300,"
            " bubbles: true, cancelable: true}))", viewport)
        self.assertAlmostEqual(self.driver.execute_script(left), x - 60, delta=1)
        self.assertAlmostEqual(self.driver.execute_script(width), before, delta=1)
        # Tab reaches the symbols; Enter selects one.
        viewport.send_keys(Keys.TAB)
        focused = self.driver.switch_to.active_element
        guid = focused.get_attribute('guid')
        self.assertTrue(guid)
        focused.send_keys(Keys.ENTER)
        self.wait_hash(f'#/element/{guid}/diagram/DIA-LINKS')
        # An element that the diagram does not show marks the drawing.
        self.driver.execute_script("location.hash = '#/element/REQ-001/diagram/DIA-LINKS'")
        wait_for(self.driver, lambda d: d.execute_script(
            "return document.querySelector('#diagram .viewport').classList.contains('stale')"), 'the stale mark')
        self.shoot('diagram-stale')

    def test_export_svg_and_png(self):
        status, svg = self.server.get('/api/diagrams/DIA-LINKS/svg?standalone=true')
        self.assertEqual(status, 200)
        self.assertNotIn(b'"ERIcon.gif"', svg)
        self.open('#/element/BLK-VALVE/diagram/DIA-LINKS')
        self.diagram()
        self.attach_note('exported')
        for kind in ('svg', 'png'):
            self.driver.find_element(By.XPATH, f"//button[text()='Export {kind.upper()}']").click()
            done = wait_for(self.driver, lambda d, k=kind: d.execute_script(
                "const v = document.querySelector('#diagram .viewport');"
                "return (v.dataset.exported || '').startsWith(arguments[0] + ':') ? v.dataset.exported"
                " : document.querySelector('#diagram .error') ? 'error' : null", k), f'the {kind} export')
            self.assertGreater(int(done.split(':')[1]), 100, done)
        self.driver.execute_script("localStorage.clear()")

    def test_the_client_follows_a_changed_model(self):
        import os
        import tempfile
        folder = tempfile.mkdtemp(prefix='orv-watch-')
        model = os.path.join(folder, 'model.json')
        shutil.copy(support.SETTINGS['model'], model)
        self.addCleanup(shutil.rmtree, folder, True)
        self.server.stop()
        saved = support.SETTINGS['model']
        support.SETTINGS['model'] = model
        try:
            self.start_server('--watch')
        finally:
            support.SETTINGS['model'] = saved
        self.open('#/element/BLK-PUMP')
        self.wait_selected('BLK-PUMP')
        with open(model, encoding='utf-8') as f:
            text = f.read()
        with open(model, 'w', encoding='utf-8') as f:
            f.write(text.replace('"name": "Pump"', '"name": "Main pump"', 1))
        wait_for(self.driver, lambda d: 'Main pump' in [x['text'] for x in self.tree()], 'the renamed element')
        settle(self.driver)
        self.assertEqual([x['guid'] for x in self.tree() if x['selected']], ['BLK-PUMP'])


class LayoutTest(unittest.TestCase):
    """The page at three widths, light and dark: screenshots (looked at by
    a person when the look changes), accessibility, and the layout rules."""

    def test_widths_and_colour_schemes(self):
        server = support.ModelServer()
        self.addCleanup(server.stop)
        for width in (1400, 800, 390):
            for dark in (False, True):
                with self.subTest(width=width, dark=dark):
                    driver = support.start_chromium(width, dark)
                    try:
                        self.check_view(driver, server, width, dark)
                    finally:
                        driver.quit()
                        shutil.rmtree(driver.profile_dir, ignore_errors=True)

    def check_view(self, driver, server, width, dark):
        driver.get(f'{server.base}/#/element/BLK-VALVE/diagram/DIA-LINKS')
        wait_for(driver, lambda d: d.execute_script("return Boolean(document.querySelector('#diagram svg.diagram'))"),
                 'the diagram')
        settle(driver)
        box = driver.execute_script(
            "const r = (s) => document.querySelector(s).getBoundingClientRect();"
            "return {inner: innerWidth, layout: r('.layout').width, explorer: r('#explorer').toJSON(),"
            " diagram: r('#diagram').toJSON(), side: r('.side').toJSON(),"
            " dark: matchMedia('(prefers-color-scheme: dark)').matches,"
            " ground: getComputedStyle(document.body).backgroundColor}")
        self.assertEqual(box['inner'], width)
        self.assertEqual(box['dark'], dark)
        channels = [int(c) for c in re.findall(r'\d+', box['ground'])[:3]]
        self.assertEqual(sum(channels) < 200, dark, box['ground'])
        if width >= 700:
            self.assertGreaterEqual(box['diagram']['width'], width * 0.5 - 1)
            self.assertLess(box['explorer']['right'], box['diagram']['left'])
        else:
            self.assertLessEqual(box['explorer']['bottom'], box['diagram']['top'])
            self.assertLessEqual(box['diagram']['bottom'], box['side']['top'])
        name = f"layout-{width}-{'dark' if dark else 'light'}"
        path = support.screenshot(driver, name)
        self.assertGreater(support.png_colours(path), MIN_SCREENSHOT_COLOURS, f'{path} looks blank')
        self.assertEqual(support.axe_violations(driver), [], f'accessibility of {name}')
        if width == 1400 and not dark:
            self.check_resizing(driver)

    def check_resizing(self, driver):
        explorer = "return document.querySelector('#explorer').getBoundingClientRect().width"
        before = driver.execute_script(explorer)
        splitter = driver.find_element(By.CSS_SELECTOR, '.splitter-left')
        splitter.send_keys(Keys.ARROW_RIGHT)
        self.assertAlmostEqual(driver.execute_script(explorer), before + 24, delta=1)
        driver.find_element(By.CSS_SELECTOR, '#explorer button.collapse').click()
        self.assertLess(driver.execute_script(explorer), 60)
        driver.find_element(By.CSS_SELECTOR, '#explorer button.collapse').click()
        self.assertAlmostEqual(driver.execute_script(explorer), before + 24, delta=1)
        driver.execute_script("localStorage.clear()")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument('--host', required=True, help='the orv-host program')
    parser.add_argument('--model', required=True, help='the example model')
    parser.add_argument('--out', required=True, help='the folder for screenshots')
    parser.add_argument('--root', required=True, help='the source tree (docs/openapi.yaml, node_modules)')
    args, rest = parser.parse_known_args()
    support.SETTINGS.update(host=args.host, model=args.model, out=args.out, root=args.root)
    global CONTRACT
    CONTRACT = Contract.load(os.path.join(args.root, 'docs', 'openapi.yaml'))
    unittest.main(argv=[sys.argv[0]] + rest, verbosity=2)


if __name__ == '__main__':
    main()
