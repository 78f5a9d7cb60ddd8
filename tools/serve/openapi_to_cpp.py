"""Writes docs/openapi.yaml as a C++ source that defines OpenApiJson():
the document as compact JSON in a string literal of hex escapes, so that
no byte of it needs quoting rules.

    python3 openapi_to_cpp.py docs/openapi.yaml out.cpp
"""
import json
import sys

import yaml

with open(sys.argv[1], encoding='utf-8') as f:
    document = yaml.safe_load(f)
text = json.dumps(document, ensure_ascii=True, separators=(',', ':')).encode('ascii')
lines = []
for start in range(0, len(text), 32):
    lines.append('    "' + ''.join(f'\\x{b:02x}' for b in text[start:start + 32]) + '"')
with open(sys.argv[2], 'w', encoding='ascii') as out:
    out.write('// Generated from docs/openapi.yaml by tools/serve/openapi_to_cpp.py.\n')
    out.write('#include "tools/serve/OpenApiDocument.h"\n\nnamespace orvtool {\n\n')
    out.write('const std::string& OpenApiJson() {\n  static const std::string kText =\n')
    out.write('\n'.join(lines) + ';\n  return kText;\n}\n\n}  // namespace orvtool\n')
