"""Shapes as signed distances: negative inside, lengths in picture heights, y downwards from 0 to 1."""

import cv2
import numpy as np

from .pictures import blur, ramp


class Grid:
    """The places of the pixels of a picture. `unit` is the length of a pixel of a picture 1080 lines high, in pixels."""

    def __init__(self, height, width):
        self.height, self.width, self.unit = height, width, height / 1080
        self.y, self.x = np.meshgrid(
            (np.arange(height, dtype=np.float32) + 0.5) / height,
            (np.arange(width, dtype=np.float32) + 0.5 - width / 2) / height,
            indexing="ij",
        )

    def ellipse(self, x, y, rx, ry):
        dx, dy = (self.x - x) / rx, (self.y - y) / ry
        return (np.sqrt(dx * dx + dy * dy) - 1) * min(rx, ry)

    def capsule(self, x0, y0, x1, y1, r0, r1=None):
        r1 = r0 if r1 is None else r1
        dx, dy = x1 - x0, y1 - y0
        along = np.clip(((self.x - x0) * dx + (self.y - y0) * dy) / (dx * dx + dy * dy + 1e-9), 0, 1)
        px, py = self.x - x0 - along * dx, self.y - y0 - along * dy
        return np.sqrt(px * px + py * py) - (r0 + (r1 - r0) * along)

    def cover(self, distance):
        """The share of each pixel inside the shape."""
        return np.clip(0.5 - distance * self.height, 0, 1)


def joined(first, second, soft=0.02):
    """Both shapes, with a rounded seam."""
    part = np.clip(0.5 + 0.5 * (second - first) / soft, 0, 1)
    return second + (first - second) * part - soft * part * (1 - part)


def shading(grid, distance, thickness=0.08, light=(-0.45, -0.55), soft=3):
    """Light on a rounded body, about .35..1.1: a lamp from above on the left and a weaker fill."""
    depth = np.clip(-distance / thickness, 0, 1)
    bulge = blur(np.sqrt(1 - (1 - depth) ** 2) * thickness, soft * grid.unit)
    nx = -cv2.Sobel(bulge, -1, 1, 0, ksize=3) / 8 * grid.height
    ny = -cv2.Sobel(bulge, -1, 0, 1, ksize=3) / 8 * grid.height
    nz = 1 / np.sqrt(1 + nx * nx + ny * ny)
    lamp = np.clip((nx * light[0] + ny * light[1] + 0.7) * nz, 0, None)
    return 0.35 + 0.85 * lamp


def strands(grid, lines, colours, widths):
    """Thin lines with their colours: coverage, and coded colours where it is not 0.

    lines: arrays of points (x, y) in heights; widths in pixels of 1080 lines. Drawn enlarged, then averaged, so that
    a strand thinner than a pixel covers a part of it.
    """
    scale = int(np.clip(round(3240 / grid.height), 3, 8))
    size = (grid.height * scale, grid.width * scale)
    ink = np.zeros(size, np.uint8)
    paint = np.zeros(size + (3,), np.uint8)
    for line, colour, width in zip(lines, colours, widths):
        points = np.empty((len(line), 1, 2), np.int32)
        points[:, 0, 0] = np.rint((line[:, 0] * grid.height + grid.width / 2) * scale * 16)
        points[:, 0, 1] = np.rint(line[:, 1] * grid.height * scale * 16)
        thick = max(1, round(width * grid.unit * scale))
        cv2.polylines(paint, [points], False, tuple(int(round(255 * c)) for c in colour), thick + 4, cv2.LINE_8, 4)
        cv2.polylines(ink, [points], False, 255, thick, cv2.LINE_AA, 4)
    known = (paint.max(2) > 0).astype(np.float32)
    small = (grid.width, grid.height)
    cover = cv2.resize(ink, small, interpolation=cv2.INTER_AREA).astype(np.float32) / 255
    weight = cv2.resize(known, small, interpolation=cv2.INTER_AREA)[..., None]
    colour = cv2.resize(paint, small, interpolation=cv2.INTER_AREA).astype(np.float32) / 255 / np.maximum(weight, 1e-3)
    return cover, np.clip(colour, 0, 1)


def depth_of(cover, radius):
    """How deep inside the subject, 0..1: 1 from `radius` pixels on."""
    inside = (cover > 0.5).astype(np.uint8)
    return ramp(cv2.distanceTransform(inside, cv2.DIST_L2, 3), 0, max(radius, 1))
