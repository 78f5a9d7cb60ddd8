#!/usr/bin/env python3
"""Derives conformance_expectations.txt from this library's grammar.

An independent model of the Jason scanner and parser (written from the
grammar, not from the C++ code) decides accept/reject for every file of the
JSONTestSuite parsing corpus; where the answer differs from the file's y_/n_
prefix, or the file is implementation-defined (i_), a one-line reason names
the rule that decides. Run from the repository root:

    python3 testing/derive_conformance_expectations.py \
        ../shared/data/JSONTestSuite/test_parsing > testing/conformance_expectations.txt
"""
import os
import sys

BLANKS = b" \t\r\n"
HEX = b"0123456789abcdefABCDEF"


def scan(text):
    """Returns (ok, tokens); a token is (kind, decoded bytes)."""
    tokens, pos, n = [], 0, len(text)
    while pos < n:
        c = text[pos]
        if c in BLANKS:
            pos += 1
        elif c in b"{}[]:,":
            tokens.append((chr(c), b""))
            pos += 1
        elif c == ord('"'):
            out, i = bytearray(), pos + 1
            while True:
                if i >= n:
                    return False, tokens
                b = text[i]
                if b == ord('"'):
                    break
                if b != ord("\\"):
                    out.append(b)
                    i += 1
                    continue
                i += 1
                if i >= n:
                    return False, tokens
                e = text[i]
                simple = {ord('"'): 0x22, ord("\\"): 0x5C, ord("/"): 0x2F, ord("b"): 8,
                          ord("f"): 12, ord("n"): 10, ord("r"): 13, ord("t"): 9}
                if e in simple:
                    out.append(simple[e])
                    i += 1
                elif e == ord("u"):
                    digits = text[i + 1:i + 5]
                    if len(digits) < 4 or any(d not in HEX for d in digits):
                        return False, tokens
                    out.append(int(digits, 16) & 0xFF)
                    i += 5
                else:
                    return False, tokens
            tokens.append(("s", bytes(out), text[pos + 1:i]))
            pos = i + 1
        elif c == ord("-") or 48 <= c <= 57:
            p = pos + (1 if c == ord("-") else 0)
            d = p
            while d < n and 48 <= text[d] <= 57:
                d += 1
            if d == p or (text[p] == ord("0") and d - p > 1):
                return False, tokens
            p = d
            if p < n and text[p] == ord("."):
                d = p + 1
                while d < n and 48 <= text[d] <= 57:
                    d += 1
                if d == p + 1:
                    return False, tokens
                p = d
            if p + 1 < n and text[p] in b"eE":
                q = p + 1
                if text[q] in b"+-":
                    q += 1
                d = q
                while d < n and 48 <= text[d] <= 57:
                    d += 1
                if d == q:
                    return False, tokens
                p = d
            tokens.append(("n", text[pos:p]))
            pos = p
        else:
            for word in (b"true", b"false", b"null"):
                if c == word[0]:
                    if text[pos:pos + len(word)] != word:
                        return False, tokens
                    tokens.append(("c", word))
                    pos += len(word)
                    break
            else:
                return False, tokens
    return True, tokens


def parse(tokens):
    """True when the tokens form one object or array and nothing else.

    Nesting has no bound of its own (the library's only bound is the machine
    stack, far beyond the corpus), so the model keeps its open containers in
    a list instead of recursing.
    """
    if not tokens or tokens[0][0] not in "{[":
        return False
    n = len(tokens)
    stack = []  # open containers: [kind, comma read, member count]
    i = 0

    def kind(j):
        return tokens[j][0] if j < n else None

    def value_start(j):
        """Index after a scalar at j, j + 1 after an opened container
        (pushed), or None when no value starts at j."""
        k = kind(j)
        if k is not None and k in "snc":
            return j + 1
        if k in ("{", "["):
            stack.append([k, False, 0])
            return j + 1
        return None

    i = value_start(0)
    while stack:
        top = stack[-1]
        k, comma, count = top
        close = "}" if k == "{" else "]"
        if count == 0 and not comma and kind(i) == close:
            stack.pop()
            i += 1
            if stack:
                stack[-1][2] += 1
                i = after_member(stack, i, kind)
                if i is None:
                    return False
            continue
        if k == "{":
            if kind(i) != "s" or kind(i + 1) != ":":
                return False
            i += 2
        depth = len(stack)
        j = value_start(i)
        if j is None:
            return False
        i = j
        if len(stack) > depth:
            continue  # a container opened: its members come first
        top[2] += 1
        i = after_member(stack, i, kind)
        if i is None:
            return False
    return i == n


def after_member(stack, i, kind):
    """After a member of the innermost container: a comma (another member
    must follow) or the closing token (which ends that container and is a
    member of the next one out). Returns the next index, or None."""
    while stack:
        top = stack[-1]
        close = "}" if top[0] == "{" else "]"
        if kind(i) == ",":
            top[1] = True
            return i + 1
        if kind(i) != close:
            return None
        stack.pop()
        i += 1
        if stack:
            stack[-1][2] += 1
    return i


def reason(name, text, ok, tokens):
    raw = b"".join(t[2] for t in tokens if t[0] == "s")
    if ok:
        if any(b >= 0x80 for b in raw):
            return "bytes >= 0x80 pass inside strings unchecked"
        if any(b < 0x20 for b in raw):
            return "raw control bytes pass inside strings"
        if b"\\u" in raw:
            return "\\u keeps the low byte; surrogates are not checked"
        if any(t[0] == "n" for t in tokens):
            return "numbers stay text of any size"
        if text.count(b"[") > 100:
            return "deep nesting: no bound but the machine stack"
        return "accepted by the grammar"
    if not tokens and scan(text)[0] and not text.strip(BLANKS):
        return "empty text"
    if text.startswith(b"\xef\xbb\xbf"):
        return "a byte-order mark is not a blank"
    if text.startswith(b"\xff\xfe") or text.startswith(b"\xfe\xff") or b"\x00" in text:
        return "UTF-16 text: not bytes of this grammar"
    full, all_tokens = scan(text)
    if full and all_tokens and all_tokens[0][0] not in "{[":
        return "top value must be object or array"
    return "rejected by the grammar"


def main():
    folder = sys.argv[1]
    for name in sorted(os.listdir(folder)):
        with open(os.path.join(folder, name), "rb") as f:
            text = f.read()
        full, tokens = scan(text)
        ok = full and parse(tokens)
        verdict = "accept" if ok else "reject"
        expected = {"y": True, "n": False}.get(name[0])
        line = "%s %s" % (name, verdict)
        if expected is None or expected != ok:
            line += "  # " + reason(name, text, ok, tokens)
        print(line)


if __name__ == "__main__":
    main()
