#!/usr/bin/python3
"""Ctrl+C, typed on a terminal of its own, ends a render with its output closed and valid."""
import array
import os
import pty
import random
import select
import shutil
import struct
import sys
import tempfile
import time
import unittest
from pathlib import Path

TOP = Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(TOP / "tests"))
from support import python_tests  # noqa: E402

DIST = Path(os.environ.get("QVX_DIST", TOP / "build" / "dist"))
LIMIT_SECONDS = 60
FRAMES = 120 * 44100  # in chunks of 64 they take long enough to be cut short


def wine_path(path):
    return "Z:" + str(path).replace("/", "\\")


def write_wav(path, samples):
    """16 bits, stereo."""
    data = samples.tobytes()
    head = struct.pack("<4sI4s4sIHHIIHH4sI", b"RIFF", 36 + len(data), b"WAVE", b"fmt ", 16, 1, 2, 44100, 176400, 4, 16,
                       b"data", len(data))
    path.write_bytes(head + data)


def read_wav(path):
    """The samples of a 16-bit file whose lengths fit."""
    data = path.read_bytes()
    riff, size, wave = struct.unpack_from("<4sI4s", data)
    assert (riff, size, wave) == (b"RIFF", len(data) - 8, b"WAVE"), "the lengths of the file do not fit"
    at, samples = 12, None
    while at < len(data):
        name, size = struct.unpack_from("<4sI", data, at)
        assert at + 8 + size <= len(data), "a chunk is longer than the file"
        if name == b"data":
            samples = array.array("h", data[at + 8:at + 8 + size])
        at += 8 + size + size % 2
    assert samples is not None, "there is no sound in it"
    return samples


def processes_with(text):
    """Ids of the processes whose command lines hold the text."""
    found = []
    for entry in Path("/proc").iterdir():
        if entry.name.isdigit():
            try:
                if text.encode() in (entry / "cmdline").read_bytes():
                    found.append(int(entry.name))
            except OSError:
                pass  # it has just ended
    return found


class Terminal:
    """A program on a pseudo-terminal."""

    def __init__(self, command):
        self.pid, self.master = pty.fork()
        if self.pid == 0:
            os.execv(command[0], command)
        self.text = b""
        self.deadline = time.monotonic() + LIMIT_SECONDS

    def read_until(self, condition):
        """Until the condition holds for the text (True) or the program has closed the terminal (False)."""
        while not condition(self.text):
            if not select.select([self.master], [], [], max(0, self.deadline - time.monotonic()))[0]:
                raise AssertionError("ran into the limit: " + repr(self.text[-2000:]))
            try:
                got = os.read(self.master, 65536)
            except OSError:
                got = b""
            if not got:
                return False
            self.text += got
        return True

    def press_ctrl_c(self):
        os.write(self.master, b"\x03")

    def exit_code(self):
        self.read_until(lambda text: False)
        pid, status = os.waitpid(self.pid, 0)
        os.close(self.master)
        return os.waitstatus_to_exitcode(status)


class CtrlC(unittest.TestCase):
    def setUp(self):
        self.folder = Path(tempfile.mkdtemp(prefix="qvx-test-"))
        self.addCleanup(shutil.rmtree, self.folder, True)
        numbers = random.Random(1)
        some = array.array("h", (4 * numbers.randrange(-8000, 8000) for _ in range(100003)))
        self.samples = (some * (2 * FRAMES // len(some) + 1))[:2 * FRAMES]
        write_wav(self.folder / "in.wav", self.samples)

    def effect(self, source):
        """A copy whose path tells this test's workers from all others."""
        shutil.copy(source, self.folder)
        return ["--effect", wine_path(self.folder / source.name)]

    def stop_render(self, arch, workers, chain):
        """Presses Ctrl+C once all workers have their effects; returns the seconds to the end, and the output."""
        terminal = Terminal([str(TOP / "tools" / "wine"), str(DIST / arch / "qvxplayer.exe"), "--config",
                             wine_path(self.folder / "config.json"), "render", wine_path(self.folder / "in.wav"),
                             wine_path(self.folder / "out.wav"), "--frames", "64"] + chain)
        self.assertTrue(terminal.read_until(lambda text: text.count(b"VST: qvxVSTHost") == workers),
                        repr(terminal.text))
        time.sleep(0.3)  # in the middle of the sound; or of the call that hangs
        began = time.monotonic()
        terminal.press_ctrl_c()
        code = terminal.exit_code()
        took = time.monotonic() - began
        self.assertEqual(code, 1, repr(terminal.text))
        self.assertIn(b"out.wav: stopped early", terminal.text)
        self.assertEqual(sorted(path.name for path in self.folder.glob("*.wav*")), ["in.wav", "out.wav"])
        deadline = time.monotonic() + 5
        while processes_with(self.folder.name) and time.monotonic() < deadline:
            time.sleep(0.02)
        self.assertEqual(processes_with(self.folder.name), [], "processes were left behind")
        return took, read_wav(self.folder / "out.wav")

    def each_player(self):
        yield "x64"
        if os.system(f"'{TOP}/tools/wine' --has-x86") == 0:
            yield "x86"

    def test_in_the_middle(self):
        """Ctrl+C ends a render through two workers: what was done until then is in the output"""
        for arch in self.each_player():
            with self.subTest(arch):
                chain = self.effect(DIST / "effects" / "x64" / "qvxGain.vst3")
                chain += self.effect(DIST / "effects" / arch / "qvxGain.dll")
                _, output = self.stop_render(arch, 2, chain)
                self.assertGreater(len(output), 0)
                self.assertLess(len(output), len(self.samples))
                self.assertEqual(output, array.array("h", (x // 4 for x in self.samples[:len(output)])))
                # What is there now is not replaced by another part.
                self.assertEqual(self.stop_render(arch, 2, chain)[1], output)
                (self.folder / "out.wav").unlink()

    def test_while_an_effect_hangs(self):
        """Ctrl+C ends a render whose effect hangs, long before the worker loses its patience"""
        for arch in self.each_player():
            with self.subTest(arch):
                module = TOP / "build" / arch / "tests" / "bin" / "modules" / "module_that_hangs_in_process.vst3"
                took, output = self.stop_render(arch, 1, self.effect(module))
                self.assertLess(took, 10)
                self.assertEqual(len(output), 0)
                (self.folder / "out.wav").unlink()


if __name__ == "__main__":
    sys.exit(python_tests.main())
