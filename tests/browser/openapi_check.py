"""Checks HTTP answers against the contract in docs/openapi.yaml: the route
and status must be in the document, the content type one it names for
them, and a JSON body must match the schema it gives. A route or status
that the document does not name fails.

    contract = Contract.load(path_to_openapi_yaml)
    problems = contract.check('GET', '/api/search?q=x', 200, 'application/json', body_bytes)
    # [] when the answer keeps the contract
"""

import json
import re
import urllib.parse

import jsonschema
import yaml


class Contract:
    def __init__(self, document):
        self.document = document
        self.routes = []  # (regex, template, path item), literal paths first
        for template, item in document['paths'].items():
            pattern = '^' + re.sub(r'\\\{[^}]+\\\}', '[^/]+', re.escape(template)) + '$'
            if template == '/{file}':
                pattern = '^/.*$'  # Static files: any path the others do not take.
            self.routes.append((re.compile(pattern), template, item))
        self.routes.sort(key=lambda r: (r[1] == '/{file}', r[1].count('{')))

    @classmethod
    def load(cls, path):
        with open(path, encoding='utf-8') as f:
            return cls(yaml.safe_load(f))

    def deref(self, node):
        """Follows local references (#/components/...)."""
        while isinstance(node, dict) and set(node) == {'$ref'}:
            target = self.document
            for part in node['$ref'].lstrip('#/').split('/'):
                target = target[part]
            node = target
        return node

    def route(self, path):
        """The path template that takes a request path, or None."""
        bare = urllib.parse.urlsplit(path).path
        for pattern, template, _ in self.routes:
            if pattern.match(bare):
                return template
        return None

    def check(self, method, path, status, content_type, body):
        """The ways an answer breaks the contract; [] when it keeps it."""
        template = self.route(path)
        if template is None:
            return [f'{method} {path}: no route of the contract takes it']
        operation = self.document['paths'][template].get(method.lower())
        if operation is None:
            return [f'{method} {template}: the contract has no such operation']
        responses = operation.get('responses', {})
        if str(status) not in responses:
            return [f'{method} {template}: status {status} is not in the contract']
        response = self.deref(responses[str(status)])
        content = response.get('content')
        media = (content_type or '').split(';')[0].strip().lower()
        if not content:
            return [] if not body else [f'{method} {template} {status}: a body where the contract has none']
        if media not in content:
            return [f'{method} {template} {status}: content type {media!r} is not one of {sorted(content)}']
        schema = content[media].get('schema')
        if media != 'application/json' or schema is None:
            return []
        try:
            value = json.loads(body)
        except ValueError as e:
            return [f'{method} {template} {status}: application/json that does not parse ({e})']
        resolver_schema = {'components': self.document.get('components', {}), **self.deref(schema)}
        validator = jsonschema.Draft202012Validator(resolver_schema)
        return [f'{method} {template} {status}: {error.message} at {list(error.absolute_path)}'
                for error in validator.iter_errors(value)]
