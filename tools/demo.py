#!/usr/bin/python3
"""The demo of ./run: plays a short tune through the sample effects, as VST 2 and VST 3, with 64- and 32-bit workers.
Leaves the sound files and a picture of what went in and came out in build/demo/."""
import argparse
import array
import json
import math
import subprocess
import sys
import wave
from pathlib import Path

TOP = Path(__file__).resolve().parent.parent
DIST = TOP / "build" / "dist"
DEMO = TOP / "build" / "demo"
WINE = TOP / "tools" / "wine"
# Not whatever "convert" stands first in PATH: other programs have that name too.
CONVERT = "/usr/bin/convert"
RATE = 44100
SECONDS = 12
# (effect, folder of the module, suffix): each effect once in each bitness, each format in both.
RENDERS = [("qvxGain", "x64", ".dll"), ("qvxGain", "x86", ".vst3"), ("qvxEcho", "x64", ".vst3"), ("qvxEcho", "x86", ".dll"),
           ("qvxScope", "x64", ".dll"), ("qvxScope", "x86", ".vst3")]
FORMATS = {".dll": "VST 2", ".vst3": "VST 3"}
BITS = {"x64": 64, "x86": 32}


def write_tune(path):
    """A melody of plucked notes over a bass, spread over both channels, with rests in which an echo is heard."""
    length = RATE * SECONDS
    left, right = array.array("d", bytes(8 * length)), array.array("d", bytes(8 * length))

    def pluck(start, seconds, pitch, level, pan):
        frequency = 440 * 2 ** ((pitch - 69) / 12)
        first = int(start * RATE)
        for i in range(min(int(seconds * RATE), length - first)):
            t = i / RATE
            phase = 2 * math.pi * frequency * t
            tone = math.sin(phase) + 0.5 * math.sin(2 * phase) * math.exp(-4 * t) + 0.25 * math.sin(3 * phase) * math.exp(-8 * t)
            value = level * tone * min(1, i / 200) * math.exp(-3.5 * t)
            left[first + i] += value * (1 - pan)
            right[first + i] += value * pan

    melody = [69, 72, 76, 81, 79, 76, 72, 74, 0, 0, 65, 69, 72, 77, 76, 72, 69, 67, 0, 0, 64, 67, 71, 76]
    for step, pitch in enumerate(melody):
        if pitch:
            pluck(step * 0.45, 1.0, pitch, 0.35, 0.3 + 0.4 * (step % 2))
    for step, pitch in enumerate([45, 45, 41, 41, 40, 40]):
        pluck(step * 1.8, 1.6, pitch, 0.4, 0.5)
    samples = array.array("h")
    for pair in zip(left, right):
        samples.extend(round(32767 * max(-1, min(1, value))) for value in pair)
    with wave.open(str(path), "wb") as file:
        file.setparams((2, 2, RATE, length, "NONE", ""))
        file.writeframes(samples.tobytes())


def read_samples(path):
    """The 16-bit samples of a WAV file, interleaved."""
    data = path.read_bytes()
    at = 12
    while data[at:at + 4] != b"data":
        at += 8 + int.from_bytes(data[at + 4:at + 8], "little")
        if at + 8 > len(data):
            sys.exit(f"demo: {path} holds no sound")
    size = int.from_bytes(data[at + 4:at + 8], "little")
    return array.array("h", data[at + 8:at + 8 + size])


def levels(samples):
    """Peak and RMS in dB of full scale, as one text."""
    def decibel(value):
        return f"{20 * math.log10(value / 32768):.1f}" if value else "-inf"
    peak = max(map(abs, samples), default=0)
    rms = math.sqrt(sum(value * value for value in samples) / max(1, len(samples)))
    return f"{decibel(peak)} / {decibel(rms)}"


def outline(samples, width):
    """Lowest and highest sample (left channel) of each of width columns."""
    left = samples[::2]
    edges = [len(left) * column // width for column in range(width + 1)]
    return [(min(left[a:b], default=0), max(left[a:b], default=0)) for a, b in zip(edges, edges[1:])]


def draw(path, tracks):
    """tracks: (title, samples). One strip each, all on one scale of level and time."""
    width, strip, title_height = 1100, 120, 24
    height = len(tracks) * (strip + title_height)
    pixels = bytearray(b"\xff" * (3 * width * height))
    titles = []
    for row, (title, samples) in enumerate(tracks):
        top = row * (strip + title_height) + title_height
        colour = b"\x55\x55\x55" if row == 0 else b"\x1f\x6f\xb4"
        pixels[3 * width * top:3 * width * (top + strip)] = b"\xf2" * (3 * width * strip)
        for x, (low, high) in enumerate(outline(samples, width)):
            middle = top + strip // 2
            for y in range(middle - high * strip // 65536, middle - low * strip // 65536 + 1):
                pixels[3 * (y * width + x):3 * (y * width + x) + 3] = colour
        titles += ["-annotate", f"+6+{top - 7}", title]
    subprocess.run([CONVERT, "ppm:-", "-font", "Liberation-Sans", "-pointsize", "14", *titles, str(path)],
                   input=b"P6 %d %d 255\n" % (width, height) + pixels, check=True)


def render(source, target, module):
    """What qvxplayer says about the run; ends the demo when it fails."""
    run = subprocess.run([WINE, DIST / "x64" / "qvxplayer.exe", "render", source, target, "--effect", module, "--json"],
                         stdin=subprocess.DEVNULL, capture_output=True, text=True)
    if run.returncode != 0:
        sys.exit(f"{run.stderr}demo: rendering through {module} failed with code {run.returncode}")
    return json.loads(run.stdout)


def main():
    argparse.ArgumentParser(prog="tools/demo.py", description=__doc__,
                            formatter_class=argparse.RawDescriptionHelpFormatter).parse_args()
    DEMO.mkdir(parents=True, exist_ok=True)
    source = DEMO / "tune.wav"
    if not source.exists():
        write_tune(source)
    went_in = read_samples(source)
    runs_x86 = subprocess.run([WINE, "--has-x86"]).returncode == 0

    tracks = [("in: tune.wav", went_in)]
    row = "{:8} {:6} {:>6}  {:>17}  {:>17}  {:>8} {:>9}"
    print(row.format("effect", "format", "worker", "in peak / RMS dB", "out peak / RMS dB", "seconds", "speed"))
    in_levels = levels(went_in)
    for effect, arch, suffix in RENDERS:
        if arch == "x86" and not runs_x86:
            print(f"{effect:8} {FORMATS[suffix]:6} 32-bit  skipped: there is no 32-bit Wine here")
            continue
        target = DEMO / f"{effect}-{FORMATS[suffix].replace(' ', '').lower()}-{BITS[arch]}.wav"
        summary = render(source, target, DIST / "effects" / arch / (effect + suffix))
        came_out = read_samples(target)
        if len(came_out) != len(went_in):
            sys.exit(f"demo: {target} has {len(came_out) // 2} frames, not {len(went_in) // 2}")
        print(row.format(effect, FORMATS[suffix], f"{BITS[arch]}-bit", in_levels, levels(came_out),
                         f"{summary['seconds']:.2f}", f"{summary['speed']:.1f}x"), flush=True)
        tracks.append((f"out: {target.name}", came_out))
    picture = DEMO / "demo.png"
    draw(picture, tracks)
    print(f"\nsound files: {DEMO.relative_to(TOP)}/*.wav   picture: {picture.relative_to(TOP)}")


if __name__ == "__main__":
    main()
