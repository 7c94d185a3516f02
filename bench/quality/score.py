"""How far a keyed picture is from the truth. One set of definitions for every keyer; smaller is better throughout.

comp     mean colour error, in levels of 0..255, of the keyed picture composited over grey, magenta, dark and light,
         against the true subject composited over the same: mean over pixels, channels and the four
edge     mean |alpha error| where the true alpha lies between 0 and 1, in %
haze     mean alpha where it should be 0, in %
holes    mean missing alpha where it should be 1, in %
spill    mean excess of the screen's colour over the truth at the rim, composited over grey, in levels: green less the
         mean of red and blue (of a blue screen: blue less the mean of red and green)
violet   mean lack of it there, which shows as a violet (yellow) fringe
sad      sum of |alpha error| / 1000, as if the picture had 1920 x 1080 pixels
mse      mean squared alpha error, times 1000
flicker  of clips: mean change, from one picture to the next, of the composites' error over grey and light, in levels
kept     in a cast shadow: mean |alpha - its density|, in %: 0 for a keyer that keeps the shadow as a layer
left     in a cast shadow: mean alpha, in %: 0 for a keyer that removes it
The rim is what lies within 12 / 1080 of the picture's height of a pixel that the screen shines through, and is not
empty itself. Pixels in a cast shadow count for kept and left alone: a keyer may choose to keep or to remove it.
"""

import json
from dataclasses import dataclass
from pathlib import Path

import cv2
import numpy as np

from .pictures import Complaint, read

BACKDROPS = {"grey": (128, 128, 128), "magenta": (255, 0, 255), "dark": (24, 24, 24), "light": (232, 232, 232)}
COLUMNS = ["comp", "edge", "haze", "holes", "spill", "violet", "sad", "mse", "flicker", "kept", "left"]
RIM = 12 / 1080


def over(colour, alpha, backdrop):
    """Straight colour 0..1 over a backdrop in levels; levels."""
    return 255 * colour * alpha[..., None] + np.float32(backdrop) * (1 - alpha[..., None])


@dataclass
class Truth:
    alpha: np.ndarray
    fg: np.ndarray
    shadow: np.ndarray | None = None
    screen: str = "green"

    @staticmethod
    def of(folder, screen, suffix=""):
        shadow = Path(folder, f"shadow{suffix}.png")
        alpha, fg = read(Path(folder, f"alpha{suffix}.png")), read(Path(folder, f"fg{suffix}.png"))[..., :3]
        if alpha.ndim != 2 or fg.shape[:2] != alpha.shape:
            raise Complaint(f"{folder}: alpha{suffix}.png must be a grey picture of the size of fg{suffix}.png")
        return Truth(alpha, fg, read(shadow) if shadow.exists() else None, screen)

    def counts(self):
        """Where pixels count: not in a cast shadow."""
        return np.ones(self.alpha.shape, bool) if self.shadow is None else self.shadow <= 0.02

    def rim(self):
        away = cv2.distanceTransform((self.alpha >= 0.98).astype(np.uint8), cv2.DIST_L2, 5)
        return (self.alpha > 0.02) & (away <= max(1, RIM * self.alpha.shape[0]))


def tint(levels, screen):
    """How much more of the screen's colour than of the two others."""
    main, first, second = (2, 0, 1) if screen == "blue" else (1, 0, 2)
    return levels[..., main] - (levels[..., first] + levels[..., second]) / 2


def mean(values, where=...):
    chosen = values[where]
    return float(chosen.mean()) if chosen.size else 0.0


def differences(truth, keyed):
    """The composites' signed errors in levels, by backdrop, without making the composites: from the premultiplied
    colours and from what shows of the backdrop."""
    alpha, colour = keyed[..., 3], keyed[..., :3]
    colours = 255 * (colour * alpha[..., None] - truth.fg * truth.alpha[..., None])
    shown = (truth.alpha - alpha)[..., None]
    return {name: colours + np.float32(levels) * shown for name, levels in BACKDROPS.items()}


def comp_of(errors, counts):
    everywhere = counts.all()
    return float(np.mean([np.abs(e if everywhere else e[counts]).mean() for e in errors.values()]))


def comp(truth, keyed):
    """That figure alone."""
    return comp_of(differences(truth, keyed), truth.counts())


def score(truth, keyed):
    """keyed: straight red, green, blue, alpha. The figures, and the signed errors over grey and light for flicker."""
    if keyed.ndim != 3 or keyed.shape[2] != 4 or keyed.shape[:2] != truth.alpha.shape:
        height, width = truth.alpha.shape
        raise Complaint(f"wanted {width}x{height} with alpha, got {'x'.join(map(str, keyed.shape[1::-1]))}, {keyed.ndim} dimensions")
    alpha, counts = keyed[..., 3], truth.counts()
    wrong = np.abs(alpha - truth.alpha)
    errors = differences(truth, keyed)
    rim = truth.rim() & counts
    excess = tint(errors["grey"][rim], truth.screen)
    figures = {
        "comp": comp_of(errors, counts),
        "edge": 100 * mean(wrong, (truth.alpha > 0) & (truth.alpha < 1) & counts),
        "haze": 100 * mean(alpha, (truth.alpha <= 0) & counts),
        "holes": 100 * mean(1 - alpha, (truth.alpha >= 1) & counts),
        "spill": mean(np.clip(excess, 0, None)),
        "violet": mean(np.clip(-excess, 0, None)),
        "sad": float(wrong[counts].sum()) / 1000 * 1920 * 1080 / alpha.size,
        "mse": 1000 * mean(wrong * wrong, counts),
    }
    if truth.shadow is not None:
        within = (truth.shadow > 0.1) & (truth.alpha <= 0)
        figures["kept"] = 100 * mean(np.abs(alpha - truth.shadow), within)
        figures["left"] = 100 * mean(alpha, within)
    return figures, np.stack([errors["grey"], errors["light"]])


def score_scene(folder, pictures):
    """pictures: the keyed files, one for each picture of the scene. Of a clip the means, and flicker."""
    meta = read_meta(folder)
    suffixes = [f"-{number:04d}" for number in range(meta["frames"])] if "frames" in meta else [""]
    if len(pictures) != len(suffixes):
        raise Complaint(f"{folder}: {len(suffixes)} pictures wanted, {len(pictures)} keyed")
    rows, before, changes = [], None, []
    for suffix, picture in zip(suffixes, pictures):
        row, errors = score(Truth.of(folder, meta.get("screen", "green"), suffix), read(picture))
        if before is not None:
            changes.append(float(np.abs(errors - before).mean()))
        rows.append(row)
        before = errors
    figures = {name: float(np.mean([row[name] for row in rows])) for name in rows[0]}
    return figures | ({"flicker": float(np.mean(changes))} if changes else {})


def read_meta(folder):
    path = Path(folder, "meta.json")
    try:
        meta = json.loads(path.read_text())
        key = meta["key"]
        good = len(key) == 3 and all(isinstance(c, int) and 0 <= c <= 255 for c in key)
    except (OSError, ValueError, KeyError, TypeError) as reason:
        raise Complaint(f'{path}: no scene\'s description: {{"key": [red, green, blue], ...}} is wanted ({reason})') from None
    if not good:
        raise Complaint(f"{path}: key must be three whole numbers of 0..255, got {key}")
    return {"kind": Path(folder).name, "screen": "blue" if key[2] > max(key[0], key[1]) else "green"} | meta


def average(rows):
    """Means of the figures that the rows have."""
    return {c: float(np.mean([row[c] for row in rows if c in row])) for c in COLUMNS if any(c in row for row in rows)}
