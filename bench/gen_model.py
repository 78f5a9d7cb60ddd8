#!/usr/bin/env python3
"""Writes a model file ("orv-model/1") of a size chosen by one number.

    python3 bench/gen_model.py B OUT.json

B (at least 8) is the number of blocks; the model has as many
requirements, B/4 test cases and, per block, about 19 entities:

- package "Blocks" with B blocks and the big diagram (B + 1 children);
  every block has an attribute and a part, a satisfy dependency to its
  requirement and hyperlinks of every kind ("vorn:qm:", "vorn:a:b:",
  another URL, a duplicate, one to a GUID the model lacks);
- every eighth block has an external reference: a dependency parked on
  "@Predefined@ExternalObject" with "externalObjectReference" tags (target
  given, empty, or missing in turn);
- package "Requirements" with B requirements, each deriving from REQ-0,
  so REQ-0 is the most-linked element;
- package "Tests" with B/4 test cases, each verifying four requirements;
- the big diagram "DIA-BIG": a frame, B symbols (one per block) and B lines
  (one per satisfy dependency; every third a curve);
- package "Views" with B/40 small diagrams of four symbols and a line;
- a small property page (BLK-0) and a big one of 4B/10 controls (REQ-0).

The output depends on B only (no randomness), so the same B always gives
the same bytes.
"""
import json
import sys


def dep(guid, supplier, stereotype, client=None):
    d = {"guid": guid, "meta": "Dependency", "in": "ClientDependency",
         "refs": {"Supplier": supplier}, "stereotypes": [{"apply": "@Predefined@" + stereotype}]}
    if client is not None:
        d["refs"]["NonOwningClient"] = client
    return d


def hyperlink(url, name=None):
    tags = {"URL": url}
    if name is not None:
        tags["name"] = name
    return {"apply": "@VELLinks@HYPERLINK", "tags": tags}


def block(i, b):
    guid = "BLK-%d" % i
    links = [hyperlink("vorn:qm:REQ-%d" % ((i * 7) % b), "Requirement %d" % ((i * 7) % b))]
    if i % 2 == 0:
        links.append(hyperlink("vorn:a:b:BLK-%d" % ((i + 1) % b), "Neighbour"))
    if i % 8 == 0:
        links.append(hyperlink("https://example.org/blocks/%d" % i))
    if i % 16 == 0:
        links.append(links[0])  # a duplicate
        links.append(hyperlink("vorn:qm:MISSING-%d" % i, "Gone"))
    children = [
        {"guid": guid + "-A", "meta": "Attribute", "name": "speed"},
        {"guid": guid + "-P", "meta": "Part", "name": "part%d" % i, "refs": {"Type": "BLK-%d" % ((i + 1) % b)}},
        dep("DEP-SAT-%d" % i, "REQ-%d" % i, "satisfy"),
    ]
    if i % 8 == 0:
        tags = {"source": "vorn:qm:" + guid}
        if i % 24 == 0:
            tags["target"] = "vorn:qm:REQ-%d" % ((i + 3) % b)
        elif i % 24 == 8:
            tags["target"] = ""
        children.append({"guid": "DEP-EXT-%d" % i, "meta": "Dependency", "in": "ClientDependency",
                         "refs": {"Supplier": "@Predefined@ExternalObject"},
                         "stereotypes": [{"apply": "@Predefined@trace"},
                                         {"apply": "@Predefined@externalObjectReference", "tags": tags}]})
    e = {"guid": guid, "meta": "Block", "name": "Block %d" % i, "children": children, "stereotypes": links}
    if i == 0:
        e["values"] = {"PropertyPage": small_page()}
    return e


def requirement(i):
    e = {"guid": "REQ-%d" % i, "meta": "Requirement", "name": "Requirement %d" % i,
         "values": {"Text": "The system shall meet requirement %d." % i}}
    if i > 0:
        e["children"] = [dep("DEP-DER-%d" % i, "REQ-0", "deriveReqt")]
    return e


def test_case(j, b):
    deps = [dep("DEP-VER-%d-%d" % (j, k), "REQ-%d" % ((4 * j + k) % b), "verify") for k in range(4)]
    return {"guid": "TC-%d" % j, "meta": "TestCase", "name": "Test %d" % j, "children": deps}


def control(k):
    return ("ControlInfo(. control = EditBox(. text = \\\"Field %d\\\", 'value' = \\\"value %d\\\" .), "
            "children = { } .)" % (k, k))


def small_page():
    return ("{ ControlInfo(. control = EditBox(. text = \"Name\", 'value' = \"Block 0\" .), children = { "
            "ControlInfo(. control = CheckBox(. text = \"Active\", 'value' = \"true\" .), children = { } .) } .) }")


def big_page(count):
    items = ", ".join(control(k) for k in range(count))
    return json.loads('"{ ' + items + ' }"')


def symbol(guid, x, y, element, diagram):
    return {"guid": guid, "meta": "Symbol", "values": {"Position": "%d %d" % (x, y), "Size": "300 200"},
            "refs": {"ModelElement": element, "Diagram": diagram}}


def big_diagram(b):
    columns = 64
    kids = [{"guid": "SYM-BIG-FRAME", "meta": "FrameSymbol",
             "values": {"Position": "0 0", "Size": "%d %d" % (columns * 400 + 200, (b // columns + 1) * 300 + 200)},
             "refs": {"ModelElement": "PKG-BLOCKS", "Diagram": "DIA-BIG"}}]
    for i in range(b):
        x, y = (i % columns) * 400 + 100, (i // columns) * 300 + 100
        kids.append(symbol("SYM-BIG-%d" % i, x, y, "BLK-%d" % i, "DIA-BIG"))
    for i in range(b):
        x, y = (i % columns) * 400 + 400, (i // columns) * 300 + 200
        line = {"guid": "LINE-BIG-%d" % i, "meta": "TransitionLine" if i % 3 == 1 else "Line",
                "values": {"SegmentPoints": "%d %d %d %d %d %d" % (x, y, x + 50, y + 60, x + 100, y + 40)},
                "refs": {"ModelElement": "DEP-SAT-%d" % i, "Diagram": "DIA-BIG"}}
        if i % 3 == 2:
            line["stereotypes"] = [{"apply": "@VELLineStyles@automaticLineStyle",
                                    "tags": {"shape": {"ident": "Bezier"}}}]
        kids.append(line)
    return {"guid": "DIA-BIG", "meta": "Diagram", "name": "All blocks", "children": kids}


def small_diagram(d, b):
    guid = "DIA-%d" % d
    kids = [symbol("SYM-%d-%d" % (d, k), 100 + 400 * k, 100, "BLK-%d" % ((d * 4 + k) % b), guid) for k in range(4)]
    kids.append({"guid": "LINE-%d" % d, "meta": "Line", "values": {"SegmentPoints": "400 200 500 200"},
                 "refs": {"ModelElement": "DEP-SAT-%d" % ((d * 4) % b), "Diagram": guid}})
    return {"guid": guid, "meta": "Diagram", "name": "View %d" % d, "children": kids}


def model(b):
    blocks = [block(i, b) for i in range(b)] + [big_diagram(b)]
    reqs = [requirement(i) for i in range(b)]
    reqs[0]["values"]["PropertyPage"] = big_page(max(1, 4 * b // 10))
    tests = [test_case(j, b) for j in range(max(1, b // 4))]
    views = [small_diagram(d, b) for d in range(max(1, b // 40))]
    return {
        "format": "orv-model/1",
        "root": {"guid": "SCALE-MODEL", "meta": "Model", "name": "Scale %d" % b, "children": [
            {"guid": "PKG-BLOCKS", "meta": "Package", "name": "Blocks", "children": blocks},
            {"guid": "PKG-REQS", "meta": "Package", "name": "Requirements", "children": reqs},
            {"guid": "PKG-TESTS", "meta": "Package", "name": "Tests", "children": tests},
            {"guid": "PKG-VIEWS", "meta": "Package", "name": "Views", "children": views},
        ]},
        "hostData": {"icons": {"Model": "0", "Package": "1", "Block": "12", "Requirement": "7",
                               "TestCase": "9", "Diagram": "20", "Attribute": "14", "Part": "15"}},
    }


def main(argv):
    if len(argv) != 3 or not argv[1].isdigit() or int(argv[1]) < 8:
        sys.stderr.write("usage: gen_model.py B OUT.json   (B >= 8 blocks)\n")
        return 2
    with open(argv[2], "w", encoding="utf-8") as out:
        json.dump(model(int(argv[1])), out, separators=(",", ":"), sort_keys=False)
        out.write("\n")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
