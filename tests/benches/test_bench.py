#!/usr/bin/python3
"""The benchmark's short form: its bounds are loose, so that only what has gone badly wrong fails."""
# Runs alone: it measures.
import json
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

TOP = Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(TOP / "tests"))
from support import python_tests  # noqa: E402

PROGRAM = TOP / "build" / "x64" / "benches" / "bin" / "bench.exe"
LOOSE = 5  # times the goal; most figures lie below theirs, so that ten times one of them is above this
# What a figure is in units of its goal, where that is far below.
FAR_BELOW = {"hand-over": 0.05}


def figures_of(*options):
    # A file: background processes would keep a pipe open.
    with tempfile.TemporaryFile() as output:
        code = subprocess.run([TOP / "tools" / "wine", PROGRAM, "--rounds", "1", "--seconds", "0.02", "--candidates", "200",
                               *options], stdout=output, stderr=subprocess.STDOUT, timeout=120).returncode
        output.seek(0)
        text = output.read().decode()
    if code != 0:
        raise AssertionError(f"the benchmark ended with code {code}: {text}")
    return [json.loads(line) for line in text.splitlines()]


def is_tenfold(figure):
    usual = next((part for word, part in FAR_BELOW.items() if word in figure["name"]), None)
    return figure["ratio"] > (LOOSE if usual is None else 10 * usual) * figure["goal"]


class Bench(unittest.TestCase):
    def test_no_figure_is_tenfold(self):
        """no figure of the benchmark has become ten times what it is"""
        figures = figures_of()
        names = " ".join(figure["name"] for figure in figures)
        for word in ("answered", "qvxGain", "busy", "turn", "apart", "together", "first chunk", "hand-over", "allocations", "scan"):
            self.assertIn(word, names)
        for name in [figure["name"] for figure in figures if is_tenfold(figure)]:
            # Once more by itself: the machine may have had other things to do in these milliseconds.
            again = [figure for figure in figures_of("--only", name) if figure["name"] == name]
            self.assertTrue(again and not is_tenfold(again[0]), again)


if __name__ == "__main__":
    sys.exit(python_tests.main())
