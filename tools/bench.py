#!/usr/bin/python3
"""Measures what a chunk of sound, a first chunk and a scan cost, each against a baseline in the same run.

Prints a table and writes build/bench.json. Exit code 1 when a goal is missed by more than the spread. A ratio is
value to baseline, a spread half of what lies between its quartiles; without a baseline the goal is for the value.
"""
import argparse
import json
import os
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

TOP = Path(__file__).resolve().parent.parent
HEAD = ("figure", "value", "baseline", "unit", "ratio", "spread", "goal", "")


def undisturbed():
    """Other programs of the machine wait while figures are taken, where this user may ask for that."""
    prefix = ["chrt", "-f", "5"]
    allowed = shutil.which("chrt") and subprocess.run(prefix + ["true"], stderr=subprocess.DEVNULL).returncode == 0
    return prefix if allowed else []


def measure(arch, arguments):
    """Yields the figures as they come."""
    program = TOP / "build" / arch / "benches" / "bin" / "bench.exe"
    # Programs share background processes; those of an earlier run would have its priority.
    subprocess.run([TOP / "tools" / "wine", "--stop"])
    with tempfile.NamedTemporaryFile() as output, tempfile.TemporaryFile() as errors:
        process = subprocess.Popen(undisturbed() + [TOP / "tools" / "wine", program] + arguments, stdout=output,
                                   stderr=errors, stdin=subprocess.DEVNULL)
        with open(output.name, encoding="utf-8") as lines:
            rest = ""
            while True:
                ended = process.poll() is not None
                rest += lines.read()
                while "\n" in rest:
                    line, rest = rest.split("\n", 1)
                    yield json.loads(line)
                if ended:
                    break
                try:
                    process.wait(0.2)
                except subprocess.TimeoutExpired:
                    pass
        errors.seek(0)
        text = errors.read().decode(errors="replace").strip()
    subprocess.run([TOP / "tools" / "wine", "--stop"])
    if process.returncode:
        sys.exit(f"bench: ended with code {process.returncode}: {text}")


def row(figure):
    baseline = "-" if figure["baseline"] is None else f"{figure['baseline']:.2f}"
    return (figure["name"], f"{figure['value']:.2f}", baseline, figure["unit"], f"{figure['ratio']:.3f}",
            f"{figure['spread']:.3f}", f"{figure['goal']:.2f}", "met" if figure["met"] else "MISSED")


def print_row(cells):
    print(f"{cells[0]:36}{cells[1]:>10}{cells[2]:>10} {cells[3]:3}{cells[4]:>8}{cells[5]:>8}{cells[6]:>7}  {cells[7]}",
          flush=True)


def main():
    parser = argparse.ArgumentParser(prog="./bench", description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--x86", action="store_true", help="the 32-bit component and worker")
    parser.add_argument("--long", action="store_true", help="also the growth of memory over 100,000 chunks")
    parser.add_argument("--rounds", type=int, default=7, help="measured rounds a figure (5 at least; %(default)s)")
    parser.add_argument("only", nargs="?", default="", metavar="TEXT", help="only figures with this in their name")
    options = parser.parse_args()
    if options.rounds < 5:
        parser.error("--rounds: a verdict needs at least 5")
    arch = "x86" if options.x86 else "x64"
    if subprocess.run([TOP / "tools" / "build", "x64", "x86"]).returncode != 0:
        return 2
    os.environ.pop("WINEDEBUG", None)
    print_row(HEAD)
    figures = []
    for figure in measure(arch, ["--rounds", str(options.rounds)] + (["--only", options.only] if options.only else []) +
                          (["--growth", "yes"] if options.long else [])):
        figures.append(figure)
        print_row(row(figure))
    if not figures:
        sys.exit(f"bench: no figure has \"{options.only}\" in its name")
    (TOP / "build" / "bench.json").write_text(json.dumps({"arch": arch, "rounds": options.rounds, "figures": figures},
                                                         indent=1) + "\n", encoding="utf-8")
    missed = [figure["name"] for figure in figures if not figure["met"]]
    print(f"{len(figures)} figures, {len(missed)} missed" + (": " + ", ".join(missed) if missed else ""))
    return 1 if missed else 0


if __name__ == "__main__":
    try:
        sys.exit(main())
    except KeyboardInterrupt:
        sys.exit(130)
