#!/usr/bin/python3
"""Builds and runs the tests; the last line is "N passed, N failed, N skipped".

A NAME picks a room's tests by the name of its folder, one program by the name in its line, or test cases by a part of
their name.
Without one every test program runs: x64 and x86 under Wine, native ones, and the checks written in Python.

Two run at a time, each with a Wine prefix and an X server of its own, so that neither sees the other's processes,
windows or focus. Those that have to be in time run when the others are done, and what measures runs alone at the end.
One after the other with --long, --jobs 1 or a DISPLAY to see them on.
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
# The names in the sources, each one or more literals, and the last line of a program's list of them.
CASES = re.compile(r'\bTEST_CASE\w*\([^"{;]*((?:"(?:[^"\\\n]|\\.)*"\s*)+)')
LISTED = re.compile(r"^\[doctest\] unskipped test cases passing the current filters: (\d+)", re.MULTILINE)
SLOW_SECONDS = 20  # what a program may take in its short form
LIMIT_SECONDS = 300  # then it is ended
LIMIT_SECONDS_LONG = 8 * 3600
BUSY, TIMED, ALONE = range(3)  # the order; programs of one kind run side by side, ALONE ones do not
# How a program written in Python says that it runs alone; of the others tests/CMakeLists.txt says which are timed.
RUNS_ALONE = re.compile(r"^# Runs alone: ", re.MULTILINE)


@dataclass
class Program:
    room: str  # or room_PART, when a room's tests are several programs
    arch: str
    command: list[str]
    filters: list[str]  # names of test cases; empty: all of them
    kind: int

    @property
    def folder(self):
        return self.room.split("_")[0]


def find_programs():
    programs = []
    for arch, suffix in (("x64", ".exe"), ("x86", ".exe"), ("native", "")):
        tests = TOP / "build" / arch / "tests"
        for line in sorted((tests / "programs.txt").read_text().splitlines()):
            name, _, why_timed = line.partition(" ")
            command = [str(tests / "bin" / (name + suffix))]
            if arch != "native":
                command.insert(0, str(TOP / "tools" / "wine"))
            programs.append(Program(name.removeprefix("test_"), arch, command, [],
                                    TIMED if why_timed else BUSY))
    for path in sorted((TOP / "tests").glob("*/test_*.py")):
        kind = ALONE if RUNS_ALONE.search(path.read_text()) else BUSY
        programs.append(Program(path.parent.name, "python", ["/usr/bin/python3", str(path)], [], kind))
    return programs


def environment(arch, lane):
    """What a test program may rely on: QVX_DIST is the folder of the shipped files. Each lane has its own Windows."""
    dist = str(TOP / "build" / "dist")
    if arch in ("x64", "x86"):
        dist = "Z:" + dist.replace("/", "\\")
    prefix = os.environ.get("QVX_WINEPREFIX") or str(TOP / "build" / "wine-prefix")
    return {**os.environ, "QVX_DIST": dist, "QVX_WINEPREFIX": prefix if lane == 0 else f"{prefix}-{lane + 1}"}


class Run:
    """One run of a program. The output goes through a file: a process that the program leaves behind would keep a
    pipe open."""

    def __init__(self, program, arguments, limit, lane=0):
        self.program = program
        self.lane = lane
        self.limit = limit
        self.out_of_time = False
        self.output = tempfile.TemporaryFile()
        self.began = time.monotonic()
        self.process = subprocess.Popen(program.command + arguments, stdin=subprocess.DEVNULL, stdout=self.output,
                                        stderr=subprocess.STDOUT, env=environment(program.arch, lane),
                                        cwd=TOP / "build", start_new_session=True)

    def ended(self):
        """True when it has come to its end, or was ended because of its limit."""
        if self.process.poll() is None and time.monotonic() - self.began >= self.limit:
            self.kill()
            self.out_of_time = True
        return self.process.poll() is not None

    def kill(self):
        if self.process.poll() is None:
            os.killpg(self.process.pid, signal.SIGKILL)
            self.process.wait()

    def result(self):
        """Exit code (None: ran into the limit), output, seconds."""
        seconds = time.monotonic() - self.began
        self.output.seek(0)
        text = self.output.read().decode(errors="replace").replace("\r\n", "\n")
        self.output.close()
        return None if self.out_of_time else self.process.returncode, text, seconds


def run(program, arguments, limit):
    one = Run(program, arguments, limit)
    try:
        while not one.ended():
            time.sleep(0.02)
    finally:
        one.kill()
    return one.result()


def case_filter(names):
    return "--test-case=" + ",".join("*" + name.replace(",", "\\,") + "*" for name in names)


def has_cases(program, name):
    _, output, _ = run(program, ["--list-test-cases", case_filter([name])], 60)
    # By its count: what else is printed may come from Wine.
    listed = LISTED.search(output)
    return bool(listed) and int(listed.group(1)) > 0


def check_names(names):
    """Refuses what names nothing by the sources, before minutes go into a build."""
    tests = TOP / "tests"
    rooms = {path.parent.name for path in tests.glob("*/test_*.py")}
    rooms |= {path.parent.name for path in tests.glob("*/CMakeLists.txt") if "qvx_test(" in path.read_text()}
    known = rooms | {path.stem.removeprefix("test_") for path in (TOP / "build").glob("*/tests/bin/test_*")}
    unknown = [name for name in names if name not in known]
    if not unknown:
        return
    cases = [re.sub(r'"\s*"', "", literals).lower() for path in tests.glob("*/*.cpp")
             for literals in CASES.findall(path.read_text())]
    for name in unknown:
        if not any(name.lower() in case for case in cases):
            sys.exit(f"test: neither a room nor a part of a test case's name: {name}\n"
                     f"rooms with tests: {' '.join(sorted(rooms))}")


def pick(programs, names):
    if not names:
        return programs
    whole = {name for program in programs for name in (program.folder, program.room)}
    for name in (name for name in names if name not in whole):
        for program in programs:
            if not {program.folder, program.room} & set(names) and has_cases(program, name):
                program.filters.append(name)
    return [program for program in programs if {program.folder, program.room} & set(names) or program.filters]


def report(program, result, width, long):
    """Prints what came of a program, whole; returns its counts."""
    code, output, seconds = result
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
    note = "  " + why if why else "  slow" if seconds > SLOW_SECONDS and not long else ""
    print(f"{program.room:{width}}  {program.arch:6}  {counts[0]:4} passed {counts[1]:3} failed {counts[2]:3} skipped "
          f"{seconds:7.1f} s{note}", flush=True)
    if why or counts[1]:
        print("\n".join("    " + line for line in lines), flush=True)
    return counts


def run_all(programs, long, jobs):
    """Runs them, `jobs` at a time where they may. Returns the counts."""
    totals = [0, 0, 0]
    width = max(len(program.room) for program in programs)
    if subprocess.run([TOP / "tools" / "wine", "--has-x86"]).returncode != 0:
        for program in (program for program in programs if program.arch == "x86"):
            print(f"{program.room:{width}}  x86     skipped: there is no 32-bit Wine here", flush=True)
            totals[2] += 1
        programs = [program for program in programs if program.arch != "x86"]

    # The checks in Python first: the longest of all is among them.
    waiting = sorted(programs, key=lambda program: (program.kind, program.arch != "python"))
    running = []
    try:
        while waiting or running:
            while waiting and (not running or len(running) < jobs and
                               waiting[0].kind == running[0].program.kind != ALONE):
                program = waiting.pop(0)
                arguments = ["--long"] if long else []
                if program.filters:
                    arguments.append(case_filter(program.filters))
                lane = min(set(range(jobs)) - {other.lane for other in running})
                running.append(Run(program, arguments, LIMIT_SECONDS_LONG if long else LIMIT_SECONDS, lane))
            time.sleep(0.02)
            for done in [one for one in running if one.ended()]:
                running.remove(done)
                counts = report(done.program, done.result(), width, long)
                totals = [a + b for a, b in zip(totals, counts)]
    finally:
        for one in running:
            one.kill()
    return totals


def main():
    parser = argparse.ArgumentParser(prog="./test", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--long", action="store_true", help="full figures instead of short forms; takes hours")
    parser.add_argument("--jobs", type=int, choices=[1, 2], default=2, help="how many programs at a time (default 2)")
    parser.add_argument("names", nargs="*", metavar="NAME", help="a room's folder, or part of a test case's name")
    options = parser.parse_args()

    check_names(options.names)
    if subprocess.run([TOP / "tools" / "build"]).returncode != 0:
        print("0 passed, 1 failed, 0 skipped")
        return 1
    programs = pick(find_programs(), options.names)
    if not programs:
        sys.exit("test: there is no such test program or case here: " + " ".join(options.names))
    jobs = 1 if options.long or os.environ.get("DISPLAY") else options.jobs
    totals = run_all(programs, options.long, jobs)
    print("{} passed, {} failed, {} skipped".format(*totals))
    return 0 if totals[1] == 0 and totals[0] > 0 else 1


if __name__ == "__main__":
    try:
        sys.exit(main())
    except KeyboardInterrupt:
        sys.exit(130)
