"""Checks answers that the HTTP tests recorded against docs/openapi.yaml.

    python3 serve_contract_check.py docs/openapi.yaml answers.jsonl

Each line of answers.jsonl is {"method", "path", "status", "type", "body"}
with the body in hex. Prints one line per problem; exit status 1 when there
is any.
"""
import json
import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), 'browser'))
from openapi_check import Contract  # noqa: E402

contract = Contract.load(sys.argv[1])
problems = set()
with open(sys.argv[2], encoding='ascii') as f:
    for line in f:
        a = json.loads(line)
        body = bytes.fromhex(a['body'])
        if a['method'] == 'HEAD' or a['status'] in (204, 304) or a['type'].startswith('text/event-stream'):
            body = b''
        if a['method'] == 'HEAD':
            # Served wherever GET is, with no body: its status must be one of GET's.
            template = contract.route(a['path'])
            get = contract.document['paths'].get(template, {}).get('get', {}) if template else {}
            if str(a['status']) not in get.get('responses', {}):
                problems.add(f"HEAD {a['path']}: status {a['status']} is not in the contract")
            continue
        method = a['method']
        if a['status'] == 405:
            # A method the path does not serve: the document's rule is the
            # MethodNotAllowed answer, which every operation of the path lists.
            template = contract.route(a['path'])
            item = contract.document['paths'].get(template, {}) if template else {}
            method = next((m for m in ('get', 'post') if m in item), method).upper()
        for problem in contract.check(method, a['path'], a['status'], a['type'], body):
            problems.add(problem)
for problem in sorted(problems):
    print(problem)
sys.exit(1 if problems else 0)
