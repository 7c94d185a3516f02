"""Banding: a frame of 10 bits with all that is faint and soft before a screen, keyed in 8 bits and at full depth.

    PYTHONPATH=bench python3 -m quality.banding --out DIR --kalvetra build/release/kalvetra

Prints the rms of what is finer than all that is drawn, in 8-bit levels at gain 4: steps, blocks and grain. Veil and
defocus lie over near black; the shadow, black itself, over grey. Writes the frame, the keys, and sheet.png: each zone at
gain 4, the lanes one below the other, to look for rings, steps and blocks.
"""

import argparse
import subprocess
import sys
from pathlib import Path

import cv2
import numpy as np

from .pictures import Complaint, ramp, read, write

SCREEN = np.array([45, 150, 70]) / 255
WIDTH, HEIGHT = 1920, 1080
GAIN = 4
GRAIN = 0.5 / 1023
REACH = 5  # pixels: within so many, all that is drawn is as good as a parabola
ZONES = {"thin veil": 4 / 255, "60 px defocus": 4 / 255, "soft shadow": 0.5}  # the grey behind each


def scene(height, width):
    """The frame, and where each zone's pixels are neither bare screen nor opaque. A third of the width each."""
    y, x = np.mgrid[0:height, 0:width].astype(np.float32)
    u, v = (x + 0.5) / width, (y + 0.5) / height
    veil = (0.45 + 0.2 * v) * (1 - ramp(np.hypot(u * width - width / 6, y - height / 2), height * 0.18, height * 0.26))
    figure = ramp(height * 0.22 - np.hypot(x - width / 2, y - height / 2), -30, 30)
    shadow = 0.45 * (1 - ramp(np.hypot(x - width * 5 / 6, y - height / 2), 0, height * 0.28))
    frame = SCREEN * ((1 - 0.25 * u * u + 0.1 * v) * (1 - shadow))[..., None]
    for cover, color in ((veil, (0.3, 0.3, 0.31)), (figure, (0.2, 0.15, 0.13))):
        frame += (np.array(color) - frame) * cover[..., None]
    noise = np.random.default_rng(1).normal(0, GRAIN, frame.shape)
    return np.rint((frame + noise) * 1023) / 1023, [veil > 0.4, (figure > 0.05) & (figure < 0.95), shadow > 0.05]


def keyed(program, source, depth, options, target):
    color = ",".join(str(round(c * 255)) for c in SCREEN)
    command = [program, "key", source, target, "-y", "--plain", "--key-color", color, "--codec", "png16", "--depth", depth, *options]
    try:
        done = subprocess.run([str(c) for c in command], capture_output=True, text=True)
    except OSError as error:
        raise Complaint(f"{program}: {error.strerror}; build kalvetra and give its path with --kalvetra") from None
    if done.returncode:
        raise Complaint(f"{program}: {(done.stderr.strip().splitlines() or ['failed'])[-1]}")
    return read(target)


def over(picture, grey):
    return picture[..., :3] * picture[..., 3:] + grey * (1 - picture[..., 3:])


def fine(picture):
    """What is left of each pixel without the parabola that fits best around it."""
    y, x = (c.ravel() for c in np.mgrid[-REACH : REACH + 1, -REACH : REACH + 1])
    kernel = np.linalg.pinv(np.stack([x**0, x, y, x * x, x * y, y * y], 1))[0]
    return picture - cv2.filter2D(picture, -1, kernel.reshape(2 * REACH + 1, -1))


def main():
    parser = argparse.ArgumentParser(prog="quality.banding", description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--out", type=Path, required=True, help="folder for the pictures")
    parser.add_argument("--kalvetra", type=Path, required=True, metavar="PATH", help="the program that keys")
    options = parser.parse_args()
    options.out.mkdir(parents=True, exist_ok=True)
    frame, zones = scene(HEIGHT, WIDTH)
    source = options.out / "source.png"
    write(source, frame, 16)
    rows, table = [], []
    for name, depth, more in (("8 bits", "8", []), ("8 bits, no dither", "8", ["--no-dither"]), ("full depth", "deep", [])):
        target = options.out / f"{name.replace(',', '').replace(' ', '-')}.png"
        picture = keyed(options.kalvetra, source, depth, more, target)
        comps = [over(picture, grey) for grey in ZONES.values()]
        errors = [255 * GAIN * np.sqrt(np.mean(fine(comp)[zone] ** 2)) for comp, zone in zip(comps, zones)]
        table.append(f"| {name} | " + " | ".join(f"{e:.2f}" for e in errors) + " |")
        views = [(c - grey) * GAIN + grey for c, grey in zip(comps, ZONES.values())]
        rows.append(np.concatenate([v[:, i * WIDTH // 3 : (i + 1) * WIDTH // 3] for i, v in enumerate(views)], 1))
    print("| rms fine error, levels at gain 4 | " + " | ".join(ZONES) + " |\n| --- |" + " --: |" * len(ZONES))
    print("\n".join(table))
    write(options.out / "sheet.png", np.concatenate(rows))


if __name__ == "__main__":
    try:
        main()
    except Complaint as complaint:
        sys.exit(f"banding: {complaint}")
