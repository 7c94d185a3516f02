"""Where to look at a picture at full size."""

import cv2
import numpy as np

from .pictures import blur


def hair_and_edges(alpha):
    """Hair is part transparent over many pixels, an outline over one or two; a haze is, too, but has no such steps."""
    steps = np.hypot(cv2.Sobel(alpha, -1, 1, 0), cv2.Sobel(alpha, -1, 0, 1))  # 4 at an edge from 0 to 1
    return (alpha > 0.08) & (alpha < 0.92) & (steps > 0.25)


def busiest(interest, height, width, taken=None):
    """The middle of the rectangle that has the most of it, there above all, and not where it is taken."""
    sums = blur(interest.astype(np.float32), min(height, width) / 4)
    return np.unravel_index(int((sums if taken is None else np.where(taken, -1, sums)).argmax()), sums.shape)


def corner(shape, middle, height, width):
    """Row and column of its upper left corner, moved so that it lies within the picture."""
    return tuple(int(np.clip(at - size // 2, 0, most - size)) for at, size, most in zip(middle, (height, width), shape))
