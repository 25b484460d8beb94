#!/usr/bin/python3
"""Builds and runs the tests; the last line is "N passed, N failed, N skipped".

A NAME picks a room's tests by the name of its folder, or test cases by a part of their name.
Without one every test program runs: x64 and x86 under Wine, native ones, and the checks written in Python.
"""
import argparse
import os
import re
import signal
import subprocess
import sys
import tempfile
import time
from dataclasses import dataclass
from pathlib import Path

TOP = Path(__file__).resolve().parent.parent
COUNTS = re.compile(r"^(\d+) passed, (\d+) failed, (\d+) skipped\s*$")
SLOW_SECONDS = 20  # what a program may take in its short form
LIMIT_SECONDS = 300  # then it is ended
LIMIT_SECONDS_LONG = 8 * 3600


@dataclass
class Program:
    room: str  # or room_PART, when a room's tests are several programs
    arch: str
    command: list[str]
    filters: list[str]  # names of test cases; empty: all of them

    @property
    def folder(self):
        return self.room.split("_")[0]


def find_programs():
    programs = []
    for arch, suffix in (("x64", ".exe"), ("x86", ".exe"), ("native", "")):
        for path in sorted((TOP / "build" / arch / "tests" / "bin").glob("test_*" + suffix)):
            if path.suffix == suffix:
                command = [str(path)] if arch == "native" else [str(TOP / "tools" / "wine"), str(path)]
                programs.append(Program(path.stem.removeprefix("test_"), arch, command, []))
    for path in sorted((TOP / "tests").glob("*/test_*.py")):
        programs.append(Program(path.parent.name, "python", ["/usr/bin/python3", str(path)], []))
    return programs


def environment(arch):
    """What a test program may rely on: QVX_DIST is the folder of the shipped files."""
    dist = str(TOP / "build" / "dist")
    if arch in ("x64", "x86"):
        dist = "Z:" + dist.replace("/", "\\")
    return {**os.environ, "QVX_DIST": dist}


def run(program, arguments, limit):
    """Exit code (None: ran into the limit), output, seconds. The output goes through a file: a process that the
    program leaves behind would keep a pipe open."""
    with tempfile.TemporaryFile() as output:
        began = time.monotonic()
        process = subprocess.Popen(program.command + arguments, stdin=subprocess.DEVNULL, stdout=output,
                                   stderr=subprocess.STDOUT, env=environment(program.arch),
                                   cwd=TOP / "build", start_new_session=True)
        try:
            code = process.wait(limit)
        except subprocess.TimeoutExpired:
            code = None
        finally:
            if process.poll() is None:
                os.killpg(process.pid, signal.SIGKILL)
                process.wait()
        seconds = time.monotonic() - began
        output.seek(0)
        return code, output.read().decode(errors="replace").replace("\r\n", "\n"), seconds


def case_filter(names):
    return "--test-case=" + ",".join("*" + name.replace(",", "\\,") + "*" for name in names)


def has_cases(program, name):
    code, output, _ = run(program, ["--list-test-cases", case_filter([name])], 60)
    lines = [line for line in output.splitlines() if line and not line.startswith(("[doctest]", "==="))]
    return code == 0 and bool(lines)


def pick(programs, names):
    if not names:
        return programs
    rooms = {program.folder for program in programs}
    for name in (name for name in names if name not in rooms):
        found = False
        for program in programs:
            if program.folder not in names and has_cases(program, name):
                program.filters.append(name)
                found = True
        if not found and not any(has_cases(program, name) for program in programs):
            sys.exit(f"test: neither a room nor a part of a test case's name: {name}\n"
                     f"rooms with tests: {' '.join(sorted(rooms))}")
    return [program for program in programs if program.folder in names or program.filters]


def run_all(programs, long):
    """Runs them one after the other: they measure time and open windows. Returns the counts."""
    totals = [0, 0, 0]
    width = max(len(program.room) for program in programs)
    runs_x86 = subprocess.run([TOP / "tools" / "wine", "--has-x86"]).returncode == 0
    for program in programs:
        head = f"{program.room:{width}}  {program.arch:6}  "
        if program.arch == "x86" and not runs_x86:
            print(head + "skipped: there is no 32-bit Wine here", flush=True)
            totals[2] += 1
            continue
        arguments = ["--long"] if long else []
        if program.filters:
            arguments.append(case_filter(program.filters))
        code, output, seconds = run(program, arguments, LIMIT_SECONDS_LONG if long else LIMIT_SECONDS)
        lines = output.rstrip("\n").split("\n")
        match = COUNTS.match(lines[-1])
        counts = [int(number) for number in match.groups()] if match else [0, 0, 0]
        why = ""
        if code is None:
            why = "ran into the time limit"
        elif not match:
            why = f"ended with code {code} and without its counts"
        elif code != 0 and counts[1] == 0:
            why = f"ended with code {code}"
        if why:
            counts[1] += 1
        totals = [a + b for a, b in zip(totals, counts)]
        note = "  " + why if why else "  slow" if seconds > SLOW_SECONDS and not long else ""
        print(f"{head}{counts[0]:4} passed {counts[1]:3} failed {counts[2]:3} skipped {seconds:7.1f} s{note}",
              flush=True)
        if why or counts[1]:
            print("\n".join("    " + line for line in lines), flush=True)
    return totals


def main():
    parser = argparse.ArgumentParser(prog="./test", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--long", action="store_true", help="full figures instead of short forms; takes hours")
    parser.add_argument("names", nargs="*", metavar="NAME", help="a room's folder, or part of a test case's name")
    options = parser.parse_args()

    if subprocess.run([TOP / "tools" / "build"]).returncode != 0:
        print("0 passed, 1 failed, 0 skipped")
        return 1
    programs = pick(find_programs(), options.names)
    if not programs:
        sys.exit("test: the build made no test programs")
    totals = run_all(programs, options.long)
    print("{} passed, {} failed, {} skipped".format(*totals))
    return 0 if totals[1] == 0 and totals[0] > 0 else 1


if __name__ == "__main__":
    try:
        sys.exit(main())
    except KeyboardInterrupt:
        sys.exit(130)
