#!/usr/bin/env python3
"""Runs the command blocks of documents as a reader would paste them.

Usage: pasted_docs.py REPOSITORY BIN_DIR DOCUMENT...

Every code block of each DOCUMENT (indented by four or more spaces, or
fenced as sh, bash, shell or console) is run in a fresh bash at the top of
REPOSITORY, with HOME a scratch directory, BIN_DIR first on PATH and
standard input empty. The conventions are in tests/docs/README.md:

- A block after `<!-- illustration: why -->` is not run.
- A block after `<!-- runs against: orv-host serve MODEL -->` runs while
  `orv-host serve MODEL --port 0` serves; 127.0.0.1:8080 in its commands
  becomes the server's address.
- In a block with `$ ` lines, those are the commands and the lines after
  each are its expected output (standard output and error together); a line
  `...` stands for any number of lines. A command shown without output must
  succeed; one shown with output must print it. In a block without `$ `
  lines every line is a command that must succeed.

Each failure names the document, the line and the command. The run also
fails when the documents leave files in the repository that git does not
ignore. Exit status: 0 all passed, 1 a failure.
"""
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile

ILLUSTRATION = re.compile(r"^<!--\s*illustration:.*-->\s*$")
SERVER = re.compile(r"^<!--\s*runs against:\s*orv-host serve\s+(\S+)\s*-->\s*$")
FENCE = re.compile(r"^(\s*)```\s*([A-Za-z]*)\s*$")
SHELL_FENCES = {"", "sh", "bash", "shell", "console"}
MARK = "\x1e"
BLOCK_SECONDS = int(os.environ.get("ORV_DOCS_BLOCK_SECONDS", "1800"))


class Block:
    def __init__(self, line, lines, tag):
        self.line = line      # 1-based line of the block's first line
        self.lines = lines    # the block's text lines, indentation removed
        self.tag = tag        # the HTML comment before the block, or ""


def indent_of(text):
    return len(text) - len(text.lstrip(" "))


def previous_text(lines, index):
    """The last non-blank line before lines[index], stripped."""
    for k in range(index - 1, -1, -1):
        if lines[k].strip():
            return lines[k].strip()
    return ""


def code_blocks(lines):
    """Yields the code blocks of a Markdown text, indented and fenced."""
    i = 0
    while i < len(lines):
        fence = FENCE.match(lines[i])
        if fence:
            end = i + 1
            while end < len(lines) and not FENCE.match(lines[end]):
                end += 1
            if fence.group(2) in SHELL_FENCES:
                depth = len(fence.group(1))
                body = [text[depth:] if text[:depth].strip() == "" else text for text in lines[i + 1:end]]
                yield Block(i + 2, body, previous_text(lines, i))
            i = end + 1
            continue
        starts = (lines[i].strip() and indent_of(lines[i]) >= 4 and (i == 0 or not lines[i - 1].strip())
                  and not lines[i].lstrip().startswith(("- ", "* ", "| ")))
        if not starts:
            i += 1
            continue
        depth = indent_of(lines[i])
        end = i
        # A blank line followed by a line of another indentation ends the
        # block: the next one is a block of its own (or the text of a list).
        while end < len(lines) and (indent_of(lines[end]) >= depth if lines[end].strip() else
                                    end + 1 < len(lines) and lines[end + 1].strip() != ""
                                    and indent_of(lines[end + 1]) == depth):
            end += 1
        while end > i and not lines[end - 1].strip():
            end -= 1
        yield Block(i + 1, [text[depth:] for text in lines[i:end]], previous_text(lines, i))
        i = end


class Command:
    def __init__(self, line, text, expected):
        self.line = line          # 1-based line in the document
        self.text = text          # the command as pasted, continuation lines included
        self.expected = expected  # the shown output lines, or None


def commands_of(block):
    """The commands of a block, with the output shown after each."""
    transcript = any(text.startswith("$ ") or text == "$" for text in block.lines)
    commands = []
    k = 0
    while k < len(block.lines):
        text = block.lines[k]
        number = block.line + k
        if transcript and not text.startswith("$"):
            k += 1  # output without a command: stray text, checked by nobody
            continue
        command = text[2:] if transcript else text
        while command.endswith("\\") and k + 1 < len(block.lines):
            k += 1
            command += "\n" + block.lines[k]
        k += 1
        expected = None
        if transcript:
            shown = []
            while k < len(block.lines) and not block.lines[k].startswith("$"):
                shown.append(block.lines[k])
                k += 1
            while shown and not shown[-1].strip():
                shown.pop()
            expected = shown or None
        if command.strip() and not (not transcript and command.lstrip().startswith("#")):
            commands.append(Command(number, command, expected))
    return commands


def matches(expected, actual):
    """Whether the output lines match the shown ones; `...` matches any lines."""
    if not expected:
        return not actual
    head = expected[0].strip()
    if head in ("...", "\u2026"):
        return any(matches(expected[1:], actual[n:]) for n in range(len(actual) + 1))
    return bool(actual) and actual[0].rstrip() == expected[0].rstrip() and matches(expected[1:], actual[1:])


def run_block(commands, repository, environment):
    """Runs the commands in one fresh bash; returns (output, status) of each."""
    script = []
    for number, command in enumerate(commands):
        script.append(command.text)
        script.append(f"printf '{MARK}%d %d\\n' {number} $?")
    # A session of its own, so that a block that overstays is ended with
    # everything it started.
    shell = subprocess.Popen(["bash", "-c", "exec 2>&1\n" + "\n".join(script) + "\n"], cwd=repository,
                             env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                             start_new_session=True)
    try:
        stdout, _ = shell.communicate(timeout=BLOCK_SECONDS)
    except subprocess.TimeoutExpired:
        os.killpg(shell.pid, signal.SIGKILL)
        shell.communicate()
        raise
    text = stdout.decode("utf-8", "replace")
    # Each command's output ends at its status mark; output without a line
    # end keeps its last line.
    pieces = text.split(MARK)
    results = [None] * len(commands)
    output = pieces[0]
    for piece in pieces[1:]:
        head, _, rest = piece.partition("\n")
        fields = head.split()
        if len(fields) == 2 and fields[0].isdigit() and int(fields[0]) < len(commands):
            results[int(fields[0])] = (output, int(fields[1]))
        output = rest
    return results


class Server:
    """orv-host serve MODEL on a free port, for the blocks that need it."""

    def __init__(self, repository, environment, model):
        self.process = subprocess.Popen(["orv-host", "serve", model, "--port", "0"], cwd=repository,
                                        env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                        stderr=subprocess.STDOUT)
        line = self.process.stdout.readline().decode("utf-8", "replace")
        found = re.search(r"http://(127\.0\.0\.1:\d+)/", line)
        self.address = found.group(1) if found else None
        self.first_line = line.strip()

    def stop(self):
        self.process.terminate()
        try:
            self.process.wait(timeout=30)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()


def untracked(repository):
    """Files in the repository that git neither tracks nor ignores."""
    try:
        result = subprocess.run(["git", "status", "--porcelain", "--untracked-files=all"], cwd=repository,
                                stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True)
    except (OSError, subprocess.CalledProcessError):
        return set()
    return {line[3:] for line in result.stdout.decode().splitlines() if line.startswith("??")}


def check_document(path, repository, environment):
    """Runs one document's blocks; returns its failure messages."""
    name = os.path.relpath(path, repository)
    with open(path, encoding="utf-8") as document:
        lines = document.read().split("\n")
    failures = []
    server = None
    ran = skipped = 0
    try:
        for block in code_blocks(lines):
            if ILLUSTRATION.match(block.tag):
                skipped += 1
                continue
            commands = commands_of(block)
            wanted = SERVER.match(block.tag)
            if wanted and server is None:
                server = Server(repository, environment, wanted.group(1))
                if server.address is None:
                    failures.append(f"{name}:{block.line}: orv-host serve {wanted.group(1)} did not start: "
                                    f"{server.first_line}")
                    continue
            if wanted:
                for command in commands:
                    command.text = command.text.replace("127.0.0.1:8080", server.address)
            ran += 1
            print(f"{name}:{block.line}: running {len(commands)} commands", flush=True)
            try:
                results = run_block(commands, repository, environment)
            except subprocess.TimeoutExpired:
                failures.append(f"{name}:{block.line}: the block did not end within {BLOCK_SECONDS} s")
                continue
            for command, result in zip(commands, results):
                where = f"{name}:{command.line}: {command.text}"
                if result is None:
                    failures.append(f"{where}\n    did not finish (the block's shell ended before it)")
                    continue
                output, status = result
                # Blank lines at the end are not told apart in a document.
                actual = output.split("\n")
                while actual and not actual[-1].strip():
                    actual.pop()
                if command.expected is None:
                    if status != 0:
                        failures.append(f"{where}\n    exit status {status}; output:\n"
                                        + indent_text(output))
                elif not matches(command.expected, actual):
                    failures.append(f"{where}\n    printed (status {status}):\n" + indent_text(output)
                                    + "    but the document shows:\n" + indent_text("\n".join(command.expected)))
    finally:
        if server is not None:
            server.stop()
    print(f"{name}: {ran} blocks run, {skipped} illustrations, {len(failures)} failures")
    return failures


def indent_text(text, limit=40):
    if not text.strip():
        return "      (nothing)\n"
    shown = text.rstrip("\n").split("\n")
    if len(shown) > limit:
        shown = shown[:limit] + [f"... ({len(shown) - limit} more lines)"]
    return "".join(f"      {line}\n" for line in shown)


def main(argv):
    if len(argv) < 4:
        print(__doc__.strip().split("\n")[2], file=sys.stderr)
        return 2
    repository, bin_dir, documents = os.path.realpath(argv[1]), os.path.realpath(argv[2]), argv[3:]
    home = tempfile.mkdtemp(prefix="orv-docs-home-")
    environment = {
        "HOME": home,
        "PATH": bin_dir + os.pathsep + os.environ.get("PATH", "/usr/bin:/bin"),
        "LANG": "C.UTF-8",
        "TERM": "dumb",
        "TMPDIR": os.environ.get("TMPDIR", "/tmp"),
    }
    for kept in ("CMAKE_CXX_COMPILER_LAUNCHER", "CCACHE_BASEDIR", "CCACHE_DIR"):
        if kept in os.environ:
            environment[kept] = os.environ[kept]
    before = untracked(repository)
    failures = []
    try:
        for document in documents:
            failures += check_document(os.path.join(repository, document), repository, environment)
    finally:
        shutil.rmtree(home, ignore_errors=True)
    left = sorted(untracked(repository) - before)
    if left:
        failures.append("the documents' commands left files in the repository: " + " ".join(left))
    for failure in failures:
        print("FAIL: " + failure)
    print(f"pasted docs: {len(failures)} failures")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
