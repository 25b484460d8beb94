#!/usr/bin/python3
"""Checks of the source tree itself: which room includes what, headers, and text that has no place in it."""
import concurrent.futures
import graphlib
import json
import os
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

TOP = Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(TOP / "tests"))
from support import python_tests  # noqa: E402

# What the files of a room may include besides their own: rooms, or single headers.
ARROWS = {
    "sdk": set(),
    "win": set(),
    "resources": set(),
    "catalogue": {"win", "sdk"},
    "worker": {"catalogue", "win", "sdk"},
    "dsp": {"worker", "catalogue", "win", "sdk"},
    "ui": {"resources", "dsp", "worker", "catalogue", "win", "sdk"},
    "vis": {"resources", "ui", "dsp", "worker", "catalogue", "win", "sdk"},
    "frame": {"vis", "ui", "dsp", "worker", "catalogue", "win", "sdk"},
    "player": {"sdk", "win", "catalogue"},
    "vsthost": {"win", "worker/protocol.h"},
    "effects": set(),
}
# Test and bench code may look into every room, but no room into it.
OUTSIDE = {"tests", "benches"}
HEADERS = {".h", ".hpp", ".inl"}
SOURCES = {".c", ".cpp", ".rc"} | HEADERS
INCLUDE = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]', re.MULTILINE)

# Lines. What is longer is split by what its parts are for.
LONGEST_FILE = 500
LONGEST_FUNCTION = 60

# The tree speaks for itself: it names no document, machine or server outside of it. (Written so that these lines
# do not match themselves.)
FOREIGN = re.compile(r"\bpart[s]? [0-9]+\.[0-9]|specificatio[n]|\bspe[c]\b|/wor[k]/|/far[m]/|/tmp/w[t]/|debia[n]\.org",
                     re.IGNORECASE)


def files(top):
    for folder, folders, names in os.walk(top):
        folders[:] = sorted(name for name in folders
                            if name not in (".git", "__pycache__") and Path(folder, name) != top / "build")
        for name in sorted(names):
            path = Path(folder, name)
            if not path.is_symlink() and name != ".git":
                yield path


def wrong_includes(top):
    """Every include that goes against an arrow, as "file:line: why"."""
    problems = []
    for path in files(top):
        if path.suffix not in SOURCES:
            continue
        relative = path.relative_to(top)
        room = relative.parts[0]
        text = path.read_text(encoding="utf-8", errors="replace")
        for match in INCLUDE.finditer(text):
            quote, target = match.groups()
            where = f"{relative}:{text.count(chr(10), 0, match.start(2)) + 1}: includes {target}"
            first = target.split("/")[0]
            if ".." in target.split("/"):
                problems.append(f"{where}: write the path from the top, <room>/<file>")
            elif room in OUTSIDE:
                continue
            elif room not in ARROWS:
                problems.append(f"{where}, but {room}/ is no room")
            elif first not in ARROWS:
                if quote == '"':
                    problems.append(f"{where}, which is in no room")
            elif first != room and first not in ARROWS[room] and target not in ARROWS[room]:
                problems.append(f"{where}, but {room} may include only: {' '.join(sorted(ARROWS[room])) or 'nothing'}")
    return problems


def folder_circles(top):
    """The folders within one room that include each other in a circle; programs' main.cpp stands above them all."""
    uses = {}
    for path in files(top):
        relative = path.relative_to(top)
        if path.suffix not in SOURCES or relative.parts[0] not in ARROWS or path.name == "main.cpp":
            continue
        for _, target in INCLUDE.findall(path.read_text(encoding="utf-8", errors="replace")):
            if target.split("/")[0] == relative.parts[0] and Path(target).parent != relative.parent:
                uses.setdefault(str(relative.parent), set()).add(str(Path(target).parent))
    try:
        graphlib.TopologicalSorter(uses).prepare()
    except graphlib.CycleError as error:
        return [" <- ".join(error.args[1])]
    return []


def unguarded_headers(top):
    return [f"{path.relative_to(top)}: no #pragma once" for path in files(top)
            if path.suffix in HEADERS and not re.search(r"^#pragma once$", path.read_text(encoding="utf-8"), re.MULTILINE)]


def too_long(top):
    """Functions and files, by the form that tools/format gives them: the braces of a function stand on lines of their
    own, at its indentation, and a blank line, a comment or another end of something is before its first line."""
    problems = []
    for path in files(top):
        if path.suffix not in SOURCES:
            continue
        lines = path.read_text(encoding="utf-8", errors="replace").splitlines()
        if len(lines) > LONGEST_FILE:
            problems.append(f"{path.relative_to(top)}: {len(lines)} lines")
        first, opened = 1, {}
        for number, line in enumerate(lines, 1):
            indent = len(line) - len(line.lstrip())
            if line.strip() in ("{", "try {"):
                opened[indent] = first
            elif re.match(r" *\}(?! catch)", line) and indent in opened:
                begin = opened.pop(indent)
                if number - begin >= LONGEST_FUNCTION:
                    problems.append(f"{path.relative_to(top)}:{begin}: {number - begin + 1} lines in a function")
            if not line.strip() or re.match(r" *(//|#)|(?! *[,:] ).*[;:{}]$", line):
                first = number + 1
    return problems


def foreign_text(top):
    problems = []
    for path in files(top):
        data = path.read_bytes()
        if b"\0" in data:
            continue
        for number, line in enumerate(data.decode(errors="replace").splitlines(), 1):
            if FOREIGN.search(line):
                problems.append(f"{path.relative_to(top)}:{number}: {line.strip()}")
    return problems


def compile_commands(build):
    """The compiler's arguments per source file, without what names the source and its outputs."""
    cache = [name for name in ["ccache"] if shutil.which(name)]  # which the file leaves out
    commands = {}
    for entry in json.loads((build / "compile_commands.json").read_text()):
        arguments = shlex.split(entry["command"])
        kept = list(cache)
        skip = False
        for argument in arguments:
            if skip:
                skip = False
            elif argument in ("-o", "-c", "-MF", "-MT", "-MQ"):
                skip = True
            elif argument not in ("-MD", "-MMD"):
                kept.append(argument)
        if entry["file"].endswith(".cpp"):
            commands[Path(entry["file"])] = (kept, entry["directory"])
    return commands


def flags_for(header, commands):
    """The different flags of the sources of a header's room, those that suit best first: of the source of the same
    name, of the same folder, of the same room."""
    def distance(source):
        shared = len(Path(os.path.commonpath([source, header])).parts)
        return (source.with_suffix("") != header.with_suffix(""), -shared, source)
    room = TOP / header.relative_to(TOP).parts[0]
    unique = {}
    # A room of headers alone is compiled as anybody is.
    of_room = [source for source in commands if source.is_relative_to(room)] or commands
    for source in sorted(of_room, key=distance):
        arguments, directory = commands[source]
        unique.setdefault(tuple(arguments), directory)
    return unique.items()


def proven_by_build(header, commands):
    """True when the source of the same name is built and includes the header before anything else."""
    source = header.with_suffix(".cpp")
    first = INCLUDE.search(source.read_text(encoding="utf-8")) if source in commands else None
    return first is not None and first.group(2) == str(header.relative_to(TOP))


def headers_that_need_others(headers, commands, scratch):
    """Compiles each header as the only include of a file, as some source of its room is compiled."""
    def problem(header):
        name = header.relative_to(TOP)
        # A fixed name and text, so that the compiler's cache knows the file again.
        unit = scratch / (str(name).replace("/", "_") + ".cpp")
        unit.write_text(f'#include "{header}"\n')
        first_error = "no source of its room is built"
        for number, (arguments, directory) in enumerate(flags_for(header, commands)):
            run = subprocess.run([*arguments, "-O0", "-g0", "-c", str(unit), "-o", str(unit.with_suffix(".o"))],
                                 cwd=directory, stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=120)
            if run.returncode == 0:
                return None
            if number == 0:
                first_error = run.stderr
        return f"{name} does not compile alone:\n{first_error}"

    scratch.mkdir(parents=True, exist_ok=True)
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        return [text for text in pool.map(problem, headers) if text]


class Layout(unittest.TestCase):
    def none(self, problems):
        if problems:
            self.fail("\n" + "\n".join(problems))

    def test_includes(self):
        """no include goes against the arrows of the house"""
        self.none(wrong_includes(TOP) + folder_circles(TOP))

    def test_guards(self):
        """every header has its guard"""
        self.none(unguarded_headers(TOP))

    def test_headers_alone(self):
        """every header compiles alone"""
        build = TOP / "build" / "x64"
        commands = compile_commands(build)
        headers = [path for path in files(TOP) if path.suffix in HEADERS]
        open_ones = [header for header in headers if not proven_by_build(header, commands)]
        self.assertTrue(10 < len(open_ones) < len(headers))
        self.none(headers_that_need_others(open_ones, commands, build / "headers_alone"))

    def test_lengths(self):
        """no file and no function is too long to be read in one piece"""
        self.none(too_long(TOP))

    def test_text(self):
        """nothing speaks of documents or machines outside of the tree"""
        self.none(foreign_text(TOP))


class PlantedFaults(unittest.TestCase):
    """Each check must find what it is for, and nothing else."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.top = Path(folder.name)

    def plant(self, name, text):
        path = self.top / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)
        return path

    def test_includes(self):
        """a planted include against an arrow is found"""
        good = {
            "frame/a.cpp": '#include "vis/v.h"\n#include "frame/a.h"\n#include <windows.h>\n#include <sys/stat.h>\n',
            "vsthost/a.cpp": '#include "worker/protocol.h"\n#include "win/handle.h"\n',
            "tests/sdk/a.cpp": '#include "support/x.h"\n#include "worker/b.h"\n',
        }
        bad = {
            "catalogue/up.cpp": '#include "catalogue/up.h"\n\n  #  include "worker/protocol.h"\n',
            "worker/sideways.h": "#include <dsp/dsp_vst.h>\n",
            "vsthost/more.cpp": '#include "worker/streams.h"\n',
            "effects/gain.cpp": '#include "sdk/guid.h"\n',
            "sdk/down.h": '#include "win/utf.h"\n',
            "dsp/dots.cpp": '#include "../worker/streams.h"\n',
            "player/bare.cpp": '#include "render.h"\n',
            "ui/test_in_product.cpp": '#include "support/test_options.h"\n',
            "cellar/a.cpp": '#include "win/utf.h"\n',
        }
        for name, text in {**good, **bad}.items():
            self.plant(name, text)
        found = wrong_includes(self.top)
        self.assertEqual([problem.split(":")[0] for problem in found], sorted(bad), "\n" + "\n".join(found))
        self.assertTrue(found[0].startswith("catalogue/up.cpp:3: "), found[0])
        self.assertEqual(folder_circles(self.top), [])
        self.plant("ui/a.cpp", '#include "ui/toolkit/b.h"\n')
        self.plant("ui/toolkit/b.h", '#include "ui/a.h"\n')
        self.assertEqual(folder_circles(self.top), ["ui <- ui/toolkit <- ui"])

    def test_guards_and_text(self):
        """a planted header without guard and planted foreign text are found"""
        self.plant("sdk/good.h", "#pragma once\n// in part 3 of the work, specific\n")
        self.plant("sdk/bad.h", "// #pragma once\n")
        self.assertEqual(unguarded_headers(self.top), ["sdk/bad.h: no #pragma once"])
        self.assertEqual(foreign_text(self.top), [])
        lines = ["see Part" + " 4.2", "the Spe" + "c", "x/wor" + "k/y", "http://deb.debia" + "n.org/"]
        self.plant("README.md", "fine\n" + "\n".join(lines) + "\n")
        self.assertEqual([text.split(": ")[0] for text in foreign_text(self.top)],
                         [f"README.md:{line}" for line in range(2, 6)])

    def test_lengths(self):
        """a planted long function and a planted long file are found"""
        def function(head, lines):
            head = f"{head}\n{{\n"
            return head + "    g();\n" * (lines - head.count("\n") - 1) + "}\n"

        def member(head, lines):
            text = function(head, lines).replace("\n", "\n    ")
            return f"class c {{\n    {text}\n}};\n"
        inner = "void f()\n{\n    {\n        g();\n    }\n    try {\n    } catch (int) {\n    }\n}\n"
        self.plant("sdk/fine.cpp", "int i;\n// of it\n" + function("void f()", 60) + inner + member("f()", 60))
        self.plant("sdk/long.h", "\n".join([function("// of it\nTEST_CASE(\n    1)", 62),
                                            member("c()\n    : a(1)\n    , b{2}", 61), inner]))
        self.plant("sdk/whole.rc", "//\n" * 501)
        self.assertEqual(too_long(self.top), ["sdk/long.h:2: 61 lines in a function",
                                              "sdk/long.h:65: 61 lines in a function", "sdk/whole.rc: 501 lines"])

    def test_header_alone(self):
        """a planted header that needs another one is found"""
        scratch = TOP / "build" / "x64" / "headers_alone" / "planted"
        scratch.mkdir(parents=True, exist_ok=True)
        commands = compile_commands(TOP / "build" / "x64")
        flags = next(commands[path] for path in commands if path.is_relative_to(TOP / "win"))
        headers = [scratch / "good.h", scratch / "bad.h"]
        headers[0].write_text("#pragma once\n#include <string>\ninline std::string text;\n")
        headers[1].write_text("#pragma once\ninline std::string text;\n")
        found = headers_that_need_others(headers, {scratch / "a.cpp": flags}, scratch)
        self.assertEqual(len(found), 1, found)
        self.assertIn("bad.h does not compile alone", found[0])


if __name__ == "__main__":
    sys.exit(python_tests.main())
