"""A drawn person: rounded, lit from the left, clothed, with hair of single strands."""

from dataclasses import dataclass

import numpy as np

from .pictures import clouds, own, ramp
from .shapes import joined, shading, strands

SKINS = [(0.89, 0.72, 0.62), (0.80, 0.61, 0.50), (0.66, 0.47, 0.36), (0.45, 0.30, 0.23)]
DARK_HAIR = [(0.09, 0.075, 0.07), (0.26, 0.17, 0.11), (0.42, 0.22, 0.13), (0.55, 0.54, 0.53)]
GOLD_HAIR = [(0.80, 0.64, 0.40), (0.84, 0.68, 0.31), (0.90, 0.79, 0.58), (0.72, 0.53, 0.26)]
PLAIN_CLOTH = [(0.88, 0.87, 0.85), (0.12, 0.12, 0.14), (0.50, 0.51, 0.52), (0.62, 0.12, 0.14), (0.75, 0.66, 0.55)]
BLUE_CLOTH = [(0.14, 0.19, 0.38), (0.35, 0.42, 0.62), (0.38, 0.20, 0.42)]
NEAR_GREEN_CLOTH = [(0.10, 0.46, 0.47), (0.42, 0.45, 0.18), (0.66, 0.82, 0.72), (0.33, 0.56, 0.60), (0.55, 0.56, 0.33)]
YELLOW_CLOTH = [(0.93, 0.79, 0.15), (0.95, 0.88, 0.48), (0.79, 0.60, 0.12), (0.88, 0.84, 0.20)]


@dataclass(frozen=True)
class Look:
    cloth: tuple = tuple(PLAIN_CLOTH + BLUE_CLOTH)
    hair: tuple = tuple(DARK_HAIR)
    strands: int = 140  # single hairs that stand out from the head
    length: float = 0.05  # of the longest of them, in picture heights
    raised_arm: bool = True


class Paint:
    """Parts laid over each other from back to front: coverage and straight coded colour."""

    def __init__(self, grid):
        self.alpha = np.zeros((grid.height, grid.width), np.float32)
        self.premultiplied = np.zeros((grid.height, grid.width, 3), np.float32)

    def lay(self, cover, colour):
        self.premultiplied *= (1 - cover)[..., None]
        self.premultiplied += cover[..., None] * colour
        self.alpha += cover * (1 - self.alpha)

    def straight(self):
        return self.premultiplied / np.maximum(self.alpha, 1e-4)[..., None]


def lit(colour, light):
    """A coded colour under some light, by the same power of 2.2 as everywhere here."""
    return np.clip(np.float32(colour) * np.power(np.clip(light, 0, None), np.float32(1 / 2.2))[..., None], 0, 1)


def pick(rng, palette):
    colour = np.array(palette[rng.integers(len(palette))], np.float32)
    return np.clip(colour + rng.uniform(-0.025, 0.025, 3).astype(np.float32), 0.02, 0.98)


def hair_lines(rng, look, x, y, rx, ry, phase):
    """Curves that leave the head outwards, curl and fall."""
    lines = []
    for _ in range(look.strands):
        angle = rng.uniform(-1.15 * np.pi, 0.15 * np.pi)
        length = look.length * rng.uniform(0.25, 1) ** 1.5
        curl, fall = rng.normal(0, 0.7), rng.uniform(0, 1.6)
        wave = rng.uniform(0, 2 * np.pi)
        s = np.linspace(0, 1, 14)
        turn = angle + curl * s + 0.25 * np.sin(wave + 5 * s + phase)
        dx = np.cumsum(np.cos(turn)) * length / 14
        dy = np.cumsum(np.sin(turn) + fall * s) * length / 14
        lines.append(np.stack([x + 0.96 * rx * np.cos(angle) + dx, y + 0.96 * ry * np.sin(angle) + dy], 1))
    return lines


def hand(grid, x, y, turn, size=0.045):
    """A palm with four fingers and a thumb; `turn` is where the fingers point, 0 upwards."""
    shape = grid.ellipse(x, y, size * 0.8, size)
    for finger in (-0.55, -0.2, 0.12, 0.45, 1.3):
        way = turn + finger
        reach = size * (1.55 if finger == 1.3 else 2.2 - abs(finger))
        shape = joined(shape, grid.capsule(x, y, x + reach * np.sin(way), y - reach * np.cos(way), size * 0.2, size * 0.15), 0.006)
    return shape


def draw_cloth(grid, rng, paint, shape, colour):
    unit = grid.unit
    light = shading(grid, shape, 0.16)
    light *= 1 + 0.35 * clouds(rng, grid.height, grid.width, 150 * unit, 3)
    weave = 1 + 0.03 * own(rng).standard_normal((grid.height, grid.width)).astype(np.float32)
    pattern = rng.integers(3)
    if pattern == 1:
        weave *= 1 - 0.3 * (np.sin(grid.x * rng.uniform(90, 160)) > 0.4)
    elif pattern == 2:
        weave *= 1 - 0.18 * (np.sin(grid.x * 120) * np.sin(grid.y * 120) > 0)
    paint.lay(grid.cover(shape), lit(colour, light * weave))


def draw_face(grid, paint, x, y, skin, iris):
    for side in (-1, 1):
        paint.lay(grid.cover(grid.ellipse(x + side * 0.038, y - 0.012, 0.017, 0.009)), np.float32((0.88, 0.87, 0.86)))
        paint.lay(grid.cover(grid.ellipse(x + side * 0.038, y - 0.012, 0.008, 0.008)), np.float32(iris))
        paint.lay(grid.cover(grid.ellipse(x + side * 0.040, y - 0.040, 0.024, 0.005)), 0.45 * np.float32(skin))
    paint.lay(grid.cover(grid.ellipse(x, y + 0.068, 0.030, 0.009)), np.float32(skin) * np.float32((0.88, 0.58, 0.60)))
    paint.lay(0.35 * grid.cover(grid.ellipse(x + 0.006, y + 0.03, 0.012, 0.018)), 0.8 * np.float32(skin))


def draw_person(grid, rng, look, place=0.0, time=0.0):
    """`place` is the middle in heights beside the picture's; `time` in turns of its sway. The same draws at any time."""
    paint, swing = Paint(grid), np.sin(2 * np.pi * time)
    x = place + 0.035 * swing
    top = rng.uniform(0.27, 0.32)
    skin, hair, cloth = pick(rng, SKINS), pick(rng, look.hair), pick(rng, look.cloth)
    iris = pick(rng, [(0.25, 0.15, 0.08), (0.25, 0.38, 0.33), (0.33, 0.42, 0.55)])
    rx, ry = rng.uniform(0.092, 0.108), rng.uniform(0.125, 0.140)
    wobble = 0.006 * clouds(rng, grid.height, grid.width, 90 * grid.unit, 3)
    flow = clouds(rng, grid.height, grid.width, 26 * grid.unit, 3)

    locks = joined(grid.ellipse(x, top - 0.03, rx * 1.18, ry * 1.08), grid.ellipse(x, top + 0.06, rx * 1.25, ry * 1.1)) + wobble
    hair_light = shading(grid, locks, 0.12) * (1 + 0.5 * flow)
    lines = hair_lines(rng, look, x, top - 0.02, rx * 1.18, ry * 1.15, 2 * np.pi * time)
    shades = [np.clip(hair * rng.uniform(0.7, 1.35), 0, 1) for _ in lines]
    fine, fine_colour = strands(grid, lines, shades, rng.uniform(0.25, 1.1, len(lines)))
    paint.lay(fine, fine_colour)
    paint.lay(grid.cover(locks), lit(hair, hair_light))

    neck = grid.capsule(x, top, x, top + 0.24, 0.052, 0.062)
    paint.lay(grid.cover(neck), lit(skin, 0.72 * shading(grid, neck, 0.05)))
    torso = joined(grid.capsule(x - 0.16, top + 0.33, x + 0.16, top + 0.33, 0.085), grid.capsule(x, top + 0.45, x, 1.2, 0.21), 0.08)
    torso = joined(torso, grid.capsule(x - 0.21, top + 0.36, x - 0.27, 1.1, 0.062), 0.02)
    draw_cloth(grid, rng, paint, torso + wobble, cloth)
    head = grid.ellipse(x, top + 0.015, rx, ry)
    paint.lay(grid.cover(head), lit(skin, shading(grid, head, 0.09)))
    draw_face(grid, paint, x, top + 0.02, skin, iris)
    fringe = np.maximum(grid.ellipse(x, top - 0.075, rx * 1.08, ry * 0.55), -grid.ellipse(x + 0.02, top + 0.03, rx * 0.85, ry * 0.8)) + wobble
    paint.lay(grid.cover(fringe), lit(hair, hair_light))
    if look.raised_arm:
        elbow, wrist = (x + 0.29, top + 0.62), (x + 0.37 + 0.05 * swing, top + 0.24 - 0.02 * swing)
        arm = joined(grid.capsule(x + 0.19, top + 0.36, *elbow, 0.065, 0.05), grid.capsule(*elbow, *wrist, 0.05, 0.038), 0.02)
        draw_cloth(grid, rng, paint, arm + wobble, cloth)
        fist = hand(grid, wrist[0] + 0.005, wrist[1] - 0.045, 0.1 + 0.3 * swing)
        paint.lay(grid.cover(fist), lit(skin, shading(grid, fist, 0.03)))
    return paint.alpha, paint.straight()


def moving_hand(grid, rng, time=0.0):
    """A hand and a forearm in fast motion: premultiplied linear light and coverage, over the open shutter."""
    skin, steps = pick(rng, SKINS), 20
    x, y, reach = rng.uniform(-0.62, -0.5), rng.uniform(1.05, 1.12), rng.uniform(0.50, 0.62)
    start, sweep = rng.uniform(0.0, 0.15), rng.uniform(0.16, 0.30)
    cover, light = 0, 0
    for step in range(steps):
        angle = start + sweep * step / (steps - 1) + 0.4 * np.sin(2 * np.pi * time)
        wrist = (x + reach * np.sin(angle), y - reach * np.cos(angle))
        shape = joined(grid.capsule(x, y, *wrist, 0.05, 0.036), hand(grid, *wrist, angle), 0.01)
        now = np.clip(0.5 - shape * grid.height / max(1, sweep * reach * grid.height / steps), 0, 1)  # as wide as a step
        cover = cover + now / steps
        light = light + now[..., None] * np.power(lit(skin, 0.6 + 0.5 * ramp(-shape, 0, 0.04)), np.float32(2.2)) / steps
    return cover, light
