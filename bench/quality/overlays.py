"""What light passes through: a veil, smoke, glass. Coverage and straight coded colour."""

import numpy as np

from .pictures import blur, clouds, ramp


def veil(grid, rng, place):
    """Thin white cloth over head and shoulders: folds make it denser, and it has a hem."""
    unit = grid.unit
    wander = clouds(rng, grid.height, grid.width, 260 * unit, 3)
    half = 0.15 + 0.30 * ramp(grid.y, 0.12, 0.95) + 0.03 * wander
    inside = np.minimum(half - np.abs(grid.x - place), grid.y - 0.11 - 0.9 * (grid.x - place) ** 2)
    inside = np.minimum(inside, 0.97 + 0.03 * wander - grid.y)
    spread = (grid.x - place) / half + 0.10 * wander
    folds = np.zeros_like(grid.x)
    for _ in range(7):
        middle, width = rng.uniform(-1, 1), rng.uniform(0.02, 0.09)
        folds += rng.uniform(0.3, 1) * np.exp(-(((spread - middle) / width) ** 2))
    threads = 1 + 0.10 * np.sin(grid.x * grid.height * 2.1 / max(unit, 0.5)) * np.sin(grid.y * grid.height * 2.1 / max(unit, 0.5))
    density = (rng.uniform(0.16, 0.30) + 0.40 * np.tanh(folds)) * threads + 0.25 * np.exp(-((inside / 0.006) ** 2))
    colour = np.float32((0.93, 0.92, 0.90)) * (0.86 + 0.12 * np.tanh(folds) + 0.04 * wander)[..., None]
    return np.clip(density, 0, 0.95) * grid.cover(-inside), np.clip(colour, 0, 1)


def smoke(grid, rng, place):
    """Rising wisps, nowhere solid, without any edge."""
    unit = grid.unit
    drift = clouds(rng, grid.height, grid.width, 420 * unit, 3)
    wisps = clouds(rng, grid.height, grid.width, 330 * unit, 6)
    column = np.exp(-(((grid.x - place - 0.45 - 0.25 * drift) / (0.20 + 0.25 * (1 - grid.y))) ** 2))
    alpha = rng.uniform(0.7, 0.95) * column * ramp(wisps, -0.35, 0.65)
    grey = 0.80 + 0.12 * clouds(rng, grid.height, grid.width, 200 * unit, 3)
    return blur(alpha, 1.5 * unit), np.float32((1, 1, 1.01)) * grey[..., None] * 0.95


def glass(grid, rng, place):
    """A jar: clear in the middle, dark where the wall is seen along, with lamps mirrored in it."""
    x, y = place - 0.55 + rng.uniform(-0.04, 0.04), rng.uniform(0.62, 0.68)
    rx, ry = rng.uniform(0.13, 0.16), rng.uniform(0.22, 0.26)
    body = np.minimum(grid.ellipse(x, y, rx, ry), grid.capsule(x, y - ry, x, y - ry - 0.03, rx * 0.55))
    depth = np.clip(-body, 0, None)
    through = 0.90 - 0.55 * np.exp(-depth / 0.010) - 0.10 * np.exp(-depth / 0.035)
    lamps = 0.9 * np.exp(-(((grid.x - x + rx * 0.55) / (rx * 0.07)) ** 2) - (((grid.y - y) / (ry * 0.55)) ** 4))
    lamps += 0.4 * np.exp(-(((grid.x - x - rx * 0.62) / (rx * 0.05)) ** 2) - (((grid.y - y - 0.02) / (ry * 0.4)) ** 4))
    neck = np.abs(grid.ellipse(x, y - ry - 0.035, rx * 0.55, rx * 0.10))
    lamps += 0.6 * np.exp(-((neck / 0.003) ** 2))
    lamps = np.clip(lamps, 0, 0.95)
    inside = np.maximum(grid.cover(body), grid.cover(neck - 0.005))
    alpha = 1 - through * (1 - lamps)
    colour = (lamps + (1 - lamps) * (1 - through) * 0.16) / np.maximum(alpha, 1e-3)
    return alpha * inside, np.clip(colour, 0, 1)[..., None] * np.float32((0.97, 1, 0.98))


OVERLAYS = {"veil": veil, "smoke": smoke, "glass": glass}
