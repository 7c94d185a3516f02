"""The screen: paint, light, unevenness, folds, and the shadow that the subject throws on it."""

import cv2
import numpy as np

from .pictures import blur, clouds, own, ramp
from .shapes import depth_of

PAINTS = {
    "green": [(0.05, 0.66, 0.27), (0.17, 0.60, 0.27), (0.30, 0.74, 0.32), (0.12, 0.50, 0.22), (0.28, 0.82, 0.18)],
    "blue": [(0.07, 0.22, 0.72), (0.13, 0.30, 0.80), (0.05, 0.16, 0.58)],
}


def draw_folds(grid, rng, strength):
    """Hanging cloth: each fold is brighter on the side that faces the lamp and darker on the other."""
    light = np.zeros_like(grid.x)
    wander = clouds(rng, grid.height, grid.width, 500 * grid.unit, 2)
    half = grid.width / grid.height / 2
    for _ in range(rng.integers(6, 11)):
        middle, slant, width = rng.uniform(-half, half), rng.uniform(-0.25, 0.25), rng.uniform(0.008, 0.05)
        across = (grid.x - middle - slant * (grid.y - 0.5) - 0.04 * wander) / width
        reach = ramp(grid.y, *sorted(rng.uniform(-0.4, 0.9, 2) + (0, 0.01)))
        light += rng.uniform(0.4, 1) * reach * across * np.exp(-across * across) * 1.6
    return 1 + strength * np.clip(light, -1.4, 1.1)


def draw_screen(grid, rng, recipe, place):
    """Coded colours of the bare screen. recipe.gradient is the share of the coded level that the dark side lacks."""
    unit, (height, width) = grid.unit, grid.x.shape
    paint = np.float32(PAINTS[recipe.screen][rng.integers(len(PAINTS[recipe.screen]))])
    paint = np.clip(paint + rng.uniform(-0.03, 0.03, 3).astype(np.float32), 0.02, 0.95)
    way = rng.uniform(-0.5, 0.5) + (np.pi if rng.integers(2) else 0)
    along = np.cos(way) * (grid.x - 0.6 * place) + np.sin(way) * (grid.y - 0.5)
    light = 1 - recipe.gradient * ramp(along, -recipe.gradient_width / 2, recipe.gradient_width / 2)
    light *= 1 + 0.035 * clouds(rng, height, width, 500 * unit, 3)
    light *= 1.02 - 0.10 * (grid.x**2 + (grid.y - 0.45) ** 2)
    if recipe.folds:
        light *= draw_folds(grid, rng, recipe.folds)
    texture = blur(own(rng).standard_normal((height, width)).astype(np.float32), 0.8 * unit)
    light *= 1 + 0.012 * texture / texture.std()
    colour = paint * light[..., None]
    # Light from elsewhere washes the paint out a little, differently from place to place.
    haze = np.clip(0.015 + 0.015 * clouds(rng, height, width, 600 * unit, 2), 0, None)
    return np.clip(colour + haze[..., None] * np.float32((1, 1, 0.9)), 0, 1)


def cast_shadow(grid, rng, alpha):
    """The density of the shadow, 0..1: the subject's outline, moved aside and down, softer the farther away."""
    move = np.float32([[1, 0, rng.uniform(0.10, 0.16) * grid.height], [0, 1, rng.uniform(0.02, 0.05) * grid.height]])
    moved = cv2.warpAffine(alpha, move, (grid.width, grid.height), borderMode=cv2.BORDER_REPLICATE)
    return rng.uniform(0.30, 0.5) * blur(moved, rng.uniform(8, 20) * grid.unit)


def key_colour(screen, alpha):
    """What a person picks: the colour of well-lit bare screen not far from the subject, 0..255."""
    bare = (alpha == 0) & (depth_of(1 - alpha, alpha.shape[0] * 0.25) < 1)
    colours = screen[bare if bare.sum() > 100 else alpha <= alpha.min() + 0.05]
    luma = colours @ np.float32((0.2126, 0.7152, 0.0722))
    low, high = np.percentile(luma, (65, 85))
    return [int(round(255 * float(c))) for c in np.median(colours[(luma >= low) & (luma <= high)], axis=0)]
