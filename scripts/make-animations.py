#!/usr/bin/python3
"""Makes the animations among the resources from their drawings: a frame is a drawing with its places filled in.

The same drawings give the same bytes. Needs rsvg-convert and ImageMagick's convert.
usage: scripts/make-animations.py
"""

import math
import os
import subprocess
import tempfile

FOLDER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "resources", "animations")
LOOKS = {"safe": "#17A673", "unsafe": "#F46F16"}
STATUS = {"safe": "2倍安全状态栏gif.gif", "unsafe": "2倍危险状态栏gif.gif"}


def status_frames(count=24):
    """An arc that goes round a shield, which breathes."""
    return [{"angle": f"{360 * step / count - 90:.1f}", "scale": f"{2.25 + 0.1 * math.sin(2 * math.pi * step / count):.3f}"}
            for step in range(count)]


def tiny_frames(count=18):
    return [{"angle": f"{360 * step / count - 90:.1f}"} for step in range(count)]


def point_frames(count=12):
    """Three points that light up one after the other."""
    def light(step, point):
        return f"{0.25 + 0.75 * max(0.0, math.cos(2 * math.pi * (step / count - point / 3))) :.2f}"
    return [{"first": light(step, 0), "second": light(step, 1), "third": light(step, 2)} for step in range(count)]


def write_palette(path, colour, count=64):
    """Every drawing mixes one colour with white: this ramp keeps both exact, and unchanged places equal from frame to frame."""
    full = bytes.fromhex(colour[1:])
    pixels = bytes(round(255 + (part - 255) * step / (count - 1)) for step in range(count) for part in full)
    with open(path, "wb") as file:
        file.write(f"P6 {count} 1 255\n".encode() + pixels)


def make(drawing, frames, colour, name, hundredths):
    with open(os.path.join(FOLDER, drawing + ".svg.in"), encoding="utf-8") as file:
        template = file.read()
    with tempfile.TemporaryDirectory() as folder:
        pictures = []
        for number, places in enumerate(frames):
            text = template
            for place, value in {**places, "colour": colour}.items():
                text = text.replace(f"@{place}@", value)
            picture = os.path.join(folder, f"{number:03}.png")
            subprocess.run(["rsvg-convert", "--output", picture], input=text.encode(), check=True)
            pictures.append(picture)
        palette = os.path.join(folder, "palette.ppm")
        write_palette(palette, colour)
        subprocess.run(["convert", "-delay", str(hundredths), *pictures, "-loop", "0", "-strip", "+dither", "-remap", palette,
                        "-layers", "optimize", os.path.join(FOLDER, name)], check=True)


def main():
    for look, colour in LOOKS.items():
        make("status", status_frames(), colour, STATUS[look], 5)
        make("tinyGif", tiny_frames(), colour, f"tinyGif_{look}.gif", 5)
        make("pointView", point_frames(), colour, f"pointView_{look}.gif", 8)


if __name__ == "__main__":
    main()
