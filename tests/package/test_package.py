#!/usr/bin/python3
"""The zip for Windows users: made, unpacked somewhere else, and used from there."""
# Runs alone: it plays in real time.
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import zipfile
from pathlib import Path

TOP = Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(TOP / "tests"))
from support import python_tests  # noqa: E402

WINE = TOP / "tools" / "wine"
LIMIT_SECONDS = 100


def wine_path(path):
    return "Z:" + str(path).replace("/", "\\")


class Package(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scratch = Path(tempfile.mkdtemp(prefix="qvx package "))  # a space, as user folders have
        cls.addClassCleanup(shutil.rmtree, cls.scratch, True)
        zips = [cls.scratch / name for name in ("one.zip", "two.zip")]
        for target in zips:
            subprocess.run([TOP / "tools" / "package", "--no-build", "--output", target], check=True,
                           stdout=subprocess.DEVNULL)
        cls.same = zips[0].read_bytes() == zips[1].read_bytes()
        with zipfile.ZipFile(zips[0]) as archive:
            cls.names = archive.namelist()
            archive.extractall(cls.scratch)
        cls.top = cls.scratch / cls.names[0].split("/")[0]

    def run_there(self, program, arguments, environment=None):
        """Exit code and output; through files, because background processes would keep pipes open."""
        with tempfile.TemporaryFile() as out, tempfile.TemporaryFile() as err:
            code = subprocess.run([WINE, str(program), *map(str, arguments)], cwd=self.top, stdin=subprocess.DEVNULL,
                                  stdout=out, stderr=err, timeout=LIMIT_SECONDS,
                                  env={**os.environ, **(environment or {})}).returncode
            for file in (out, err):
                file.seek(0)
            return code, out.read().decode(errors="replace"), err.read().decode(errors="replace")

    def test_contents(self):
        """the zip is the same each time, holds what it promises and nothing twice"""
        self.assertTrue(self.same)
        version = re.search(r"^project.* VERSION ([0-9.]+)", (TOP / "CMakeLists.txt").read_text(), re.MULTILINE).group(1)
        self.assertEqual({name.split("/")[0] for name in self.names}, {f"qvx_dsp_vst3-{version}"})
        self.assertEqual(self.names, sorted(set(self.names)))
        here = {path.relative_to(self.top).as_posix() for path in self.top.rglob("*") if path.is_file()}
        readme = (self.top / "README.txt").read_bytes()
        self.assertEqual(readme.count(b"\r\n"), readme.count(b"\n"))
        self.assertIn(version.encode(), readme)
        # Every file that the README names.
        for name in re.findall(r"[\w\\-]+\.(?:dll|exe|vst3|txt|wav)\b", readme.decode("ascii")):
            self.assertTrue(name == "out.wav" or name.replace("\\", "/") in here, name)
        for folder in ("", "32-bit/"):
            self.assertEqual(len([name for name in here if re.fullmatch(folder + r"[\w+-]+\.(dll|exe)", name)]), 7)
        self.assertEqual(len([name for name in here if name.startswith("licences/")]), 9)
        for name in here:
            self.assertGreater((self.top / name).stat().st_size, 0, name)

    def test_render(self):
        """a render from the unpacked folder loads what lies there, and no module from anywhere else"""
        players = ["."] + (["32-bit"] if subprocess.run([WINE, "--has-x86"]).returncode == 0 else [])
        for folder in players:
            with self.subTest(folder):
                program = self.top / folder / "qvxplayer.exe"
                chain = ["--effect", "effects\\64-bit\\qvxEcho.vst3"]
                chain += ["--effect", "effects\\32-bit\\qvxGain.dll"] if len(players) > 1 else []
                code, out, err = self.run_there(program, ["--config", "config.json", "render", "tune.wav", "out.wav", *chain,
                                                          "--json"], {"WINEDEBUG": "-all,+loaddll"})
                self.assertEqual(code, 0, err)
                self.assertEqual(json.loads(out)["output"]["frames"], 12 * 44100)
                native = re.findall(r'Loaded L"([^"]+)" at \S+ native', err.replace("\\\\", "\\"))
                self.assertTrue(any(path.endswith("qvx_dsp_vst3.dll") for path in native), err)
                self.assertTrue(any(path.endswith("qvxEcho.vst3") for path in native), err)
                for path in native:
                    self.assertTrue(path.lower().startswith(wine_path(self.top).lower()), path)
                (self.top / "out.wav").unlink()

    def test_window(self):
        """the window of the unpacked player plays, opens an editor and closes"""
        # The test of the window finds there what it finds in build/dist.
        dist = self.scratch / "dist"
        shutil.copytree(self.top, dist / "x64")
        shutil.copytree(self.top / "effects" / "64-bit", dist / "effects" / "x64")
        program = TOP / "build" / "x64" / "tests" / "bin" / "test_player_window.exe"
        code, out, _ = self.run_there(program, ["--test-case=window: what is moved in an effect's editor*"],
                                      {"QVX_DIST": wine_path(dist)})
        self.assertEqual(code, 0, out)
        self.assertIn("1 passed, 0 failed", out)


if __name__ == "__main__":
    sys.exit(python_tests.main())
