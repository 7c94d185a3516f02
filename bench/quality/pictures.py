"""Pictures as float32 arrays, height x width (x 3 or 4), red green blue, 0..1; files, blurs and noise for them."""

import cv2
import numpy as np

cv2.setNumThreads(1)  # the bench runs one process a core


class Complaint(Exception):
    """What the user can put right: one clear sentence."""


def read(path):
    picture = cv2.imread(str(path), cv2.IMREAD_UNCHANGED)
    if picture is None:
        raise Complaint(f"{path}: cannot be read as a picture")
    picture = picture.astype(np.float32) / (65535 if picture.dtype == np.uint16 else 255)
    return picture if picture.ndim == 2 else picture[..., [2, 1, 0, 3][: picture.shape[2]]]


def write(path, picture, bits=8):
    top, kind = (65535, np.uint16) if bits == 16 else (255, np.uint8)
    codes = np.rint(np.clip(picture, 0, 1) * top).astype(kind)
    if codes.ndim == 3:
        codes = codes[..., [2, 1, 0, 3][: codes.shape[2]]]
    if not cv2.imwrite(str(path), codes, [cv2.IMWRITE_PNG_COMPRESSION, 1]):
        raise Complaint(f"{path}: cannot be written")


def to_light(coded):
    """Coded values to linear light by a plain power of 2.2: what a camera's curve is like on the whole."""
    return np.power(np.clip(coded, 0, 1), np.float32(2.2))


def to_codes(light):
    return np.power(np.clip(light, 0, 1), np.float32(1 / 2.2))


def blur(picture, sigma):
    """A Gaussian blur; a wide one on a smaller copy, which is as smooth and much faster."""
    if sigma < 0.15:
        return picture
    if sigma <= 12:
        return cv2.GaussianBlur(picture, (0, 0), float(sigma))
    height, width = picture.shape[:2]
    step = sigma / 6
    small = cv2.resize(picture, (max(2, round(width / step)), max(2, round(height / step))), interpolation=cv2.INTER_AREA)
    small = cv2.GaussianBlur(small, (0, 0), 6)
    return cv2.resize(small, (width, height), interpolation=cv2.INTER_LINEAR)


def own(rng):
    """A generator for the noise of one thing: however much of it a larger picture needs, what follows stays the same."""
    return np.random.default_rng(int(rng.integers(1 << 62)))


def clouds(rng, height, width, size, octaves=4):
    """Smooth noise of about -1..1; `size` is the length of its largest lumps in pixels, each octave half of it."""
    rng = own(rng)
    total, weight = np.zeros((height, width), np.float32), 0.0
    for octave in range(octaves):
        cell = max(1.0, size / 2**octave)
        rows, columns = int(height / cell) + 3, int(width / cell) + 3
        grid = rng.uniform(-1, 1, (rows, columns)).astype(np.float32)
        whole = cv2.resize(grid, (int(columns * cell), int(rows * cell)), interpolation=cv2.INTER_CUBIC)
        total += 0.5**octave * whole[:height, :width]
        weight += 0.5**octave
    return total / weight


def ramp(value, low, high):
    """0 below low, 1 above high, smooth between."""
    part = np.clip((value - low) / (high - low), 0, 1)
    return part * part * (3 - 2 * part)
