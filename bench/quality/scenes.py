"""Draws scenes and clips with truth, the same bytes from the same kind, seed and size.

A still is a folder with frame.png (what a camera delivers, 8 bits), alpha.png (16 bits), fg.png (the subject's own
colour without spill, noise or coding; its edges are unmixed), shadow.png where a shadow is cast (its density) and
meta.json. A clip has clip.mp4, and frame-0000.png and so on.
"""

import hashlib
import json
import shutil
import zlib
from dataclasses import dataclass
from pathlib import Path

import cv2
import numpy as np

from . import codecs
from .kinds import CLIPS, KINDS
from .overlays import OVERLAYS
from .people import draw_person, moving_hand
from .pictures import Complaint, blur, to_codes, to_light, write
from .screens import cast_shadow, draw_screen, key_colour
from .shapes import Grid


@dataclass
class Drawn:
    frame: np.ndarray  # before noise and coding
    alpha: np.ndarray
    fg: np.ndarray
    shadow: np.ndarray | None
    key: list


def spilled(grid, recipe, alpha, colour, screen):
    """The subject's colour in the light that the screen sends back: most near the outline, some of it as sheen."""
    unit = grid.unit
    near, wide = blur(1 - alpha, 14 * unit), blur(1 - alpha, 140 * unit)
    glow = blur(to_light(screen), 60 * unit)
    light = to_light(colour)
    return to_codes(light + glow * (light * (2 * recipe.rim * near + 2 * recipe.wash * wide)[..., None] + 0.08 * recipe.rim * near[..., None]))


def coded_truth(light, alpha, screen):
    """Alpha and colour that give a picture mixed in linear light back when composited in coded values, as editors do."""
    picture = to_codes(light + (1 - alpha)[..., None] * to_light(screen))
    colour = to_codes(light / np.maximum(alpha, 1e-4)[..., None])
    apart = colour - screen
    share = ((picture - screen) * apart).sum(2) / np.maximum((apart * apart).sum(2), 1e-4)
    share = np.where(alpha >= 1, 1, np.where(alpha <= 0, 0, np.clip(share, 0, 1)))
    fg = (picture - (1 - share)[..., None] * screen) / np.maximum(share, 1e-3)[..., None]
    return share, np.where(share[..., None] > 0.02, np.clip(fg, 0, 1), colour)


def draw(recipe, seed, height, width, time=0.0):
    """One picture; seed: a list of numbers; `time` 0..1 over a clip. A panning camera sees a part of a wider picture."""
    margin = 2 * round(recipe.pan * height / 2)
    grid, rng = Grid(height, width + margin), np.random.default_rng(seed)
    place = rng.uniform(-0.12, 0.12)
    alpha, clean = draw_person(grid, rng, recipe.look, place, recipe.sway * time)
    screen = draw_screen(grid, rng, recipe, place)
    shadow = cast_shadow(grid, rng, alpha) if recipe.shadow else None
    if recipe.hand:
        cover, light = moving_hand(grid, rng, recipe.sway * time)
        back = alpha * (1 - cover)
        premultiplied = light + back[..., None] * to_light(clean)
        alpha = cover + back
        clean = to_codes(premultiplied / np.maximum(alpha, 1e-4)[..., None])
    lit = spilled(grid, recipe, alpha, clean, screen)
    if recipe.overlay:
        over, colour = OVERLAYS[recipe.overlay](grid, rng, place)
        tinted = colour if recipe.overlay == "glass" else spilled(grid, recipe, np.maximum(alpha, over), colour, screen)
        union = over + alpha * (1 - over)
        share = (over / np.maximum(union, 1e-4))[..., None]
        clean, lit, alpha = clean + share * (colour - clean), lit + share * (tinted - lit), union

    lens = recipe.softness * max(grid.unit, 0.6)
    key = key_colour(screen, alpha)
    whole = alpha
    alpha = np.clip(blur(alpha, lens), 0, 1)
    alpha[alpha < 0.002] = 0
    alpha[alpha > 0.998] = 1

    def through_lens(colour):
        to, back = (to_light, to_codes) if recipe.hand else (lambda c: c, lambda c: c)
        soft = blur(whole[..., None] * to(colour), lens) / np.maximum(blur(whole, lens), 1e-4)[..., None]
        return np.clip(back(soft), 0, 1)

    clean, lit = through_lens(clean), through_lens(lit)
    backdrop = screen if shadow is None else screen * (1 - shadow)[..., None]
    if recipe.hand:
        linear = alpha[..., None] * to_light(clean)
        frame = to_codes(alpha[..., None] * to_light(lit) + (1 - alpha)[..., None] * to_light(backdrop))
        alpha, clean = coded_truth(linear, alpha, backdrop)
    else:
        frame = alpha[..., None] * lit + (1 - alpha)[..., None] * backdrop
    frame = frame * (1 - recipe.dim * time)
    clean = clean * (1 - recipe.dim * time)
    first = int(round(margin * time))
    part = np.s_[:, first : first + width]
    return Drawn(frame[part], alpha[part].astype(np.float32), clean[part].astype(np.float32),
                 None if shadow is None else (shadow * (1 - alpha))[part], key)  # fmt: skip


def sensor(picture, level, rng):
    """Noise of a sensor, more where it is bright, a little smooth as developed pixels are."""
    grain = blur(rng.standard_normal(picture.shape).astype(np.float32), 0.55)
    grain += 0.35 * rng.standard_normal(picture.shape[:2]).astype(np.float32)[..., None]
    return picture + level / 255 * (0.6 + 0.8 * np.sqrt(np.clip(picture, 0, 1))) * grain


def eight_bits(picture):
    return np.rint(np.clip(picture, 0, 1) * 255).astype(np.uint8)


def through_webcam(drawn, recipe, rng):
    """A third of the size, noise, sharpening, Motion JPEG, and enlarged again; the truth takes the same way but noise."""
    height, width = drawn.alpha.shape
    small = (max(32, width // 6 * 2), max(32, height // 6 * 2))

    def there(picture):
        return cv2.resize(picture, small, interpolation=cv2.INTER_AREA)

    def back(picture):
        return np.clip(cv2.resize(picture, (width, height), interpolation=cv2.INTER_CUBIC), 0, 1)

    seen = sensor(there(drawn.frame), recipe.noise, rng)
    seen = eight_bits(seen + 0.6 * (seen - blur(seen, 1.0)))
    frame = back(codecs.coded([seen], 7, ".avi")[0])
    alpha = back(there(drawn.alpha))
    alpha[alpha < 0.004] = 0
    alpha[alpha > 0.996] = 1
    colour = back(there(drawn.fg * drawn.alpha[..., None])) / np.maximum(back(there(drawn.alpha)), 1e-3)[..., None]
    return Drawn(frame, alpha, np.clip(np.where(alpha[..., None] > 0.02, colour, drawn.fg), 0, 1), None, drawn.key)


def take(recipe, seed, height, width):
    """A still as the camera delivers it."""
    drawn = draw(recipe, seed, height, width)
    rng = np.random.default_rng([*seed, 1])
    if recipe.webcam:
        return through_webcam(drawn, recipe, rng)
    if recipe.coder:  # the fifth of six pictures of a clip: not its first, which is coded best
        drawn.frame = codecs.coded([eight_bits(sensor(drawn.frame, recipe.noise, rng)) for _ in range(6)], recipe.coder)[4]
    else:
        drawn.frame = sensor(drawn.frame, recipe.noise, rng)
    return drawn


def generator_mark():
    """Changes when any file that draws does: scenes of an older generator are drawn anew."""
    names = ["pictures", "shapes", "people", "overlays", "screens", "kinds", "scenes", "codecs"]
    text = b"".join(Path(__file__).with_name(name + ".py").read_bytes() for name in names)
    return hashlib.sha256(text).hexdigest()[:12]


def write_truth(folder, suffix, drawn):
    write(folder / f"alpha{suffix}.png", drawn.alpha, bits=16)
    write(folder / f"fg{suffix}.png", drawn.fg)


def write_scene(root, kind, seed, height, width):
    """Draws one scene into root/kind-seed unless it is there; returns its folder."""
    recipe = KINDS.get(kind) or CLIPS.get(kind)
    if recipe is None:
        raise Complaint(f"{kind}: there is no such kind of scene; there are {', '.join([*KINDS, *CLIPS])}")
    if height % 2 or width % 2 or height < 64 or width < 64:
        raise Complaint(f"{width}x{height}: give an even width and height of at least 64")
    folder = Path(root, f"{kind}-{seed}")
    mark = f"{generator_mark()} {width}x{height}"
    if (folder / "meta.json").exists() and json.loads((folder / "meta.json").read_text()).get("mark") == mark:
        return folder
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    meta = {"kind": kind, "seed": seed, "mark": mark, "about": recipe.about, "screen": recipe.screen}
    seed = [seed, zlib.crc32(kind.encode())]  # each kind has people and screens of its own
    if recipe.frames > 1:
        meta |= {"key": write_clip(folder, recipe, seed, height, width), "frames": recipe.frames}
    else:
        drawn = take(recipe, seed, height, width)
        write(folder / "frame.png", drawn.frame)
        write_truth(folder, "", drawn)
        if drawn.shadow is not None:
            write(folder / "shadow.png", drawn.shadow, bits=16)
        meta["key"] = drawn.key
    (folder / "meta.json").write_text(json.dumps(meta) + "\n")  # last: without it the scene is not complete
    return folder


def write_clip(folder, recipe, seed, height, width):
    frames, rng, key = [], np.random.default_rng([*seed, 1]), None
    for number in range(recipe.frames):
        drawn = draw(recipe, seed, height, width, number / (recipe.frames - 1))
        key = key or drawn.key
        write_truth(folder, f"-{number:04d}", drawn)
        frames.append(eight_bits(sensor(drawn.frame, recipe.noise, rng)))
    codecs.encode(frames, folder / "clip.mp4", recipe.coder)
    for number, frame in enumerate(codecs.decode(folder / "clip.mp4", height, width)):
        write(folder / f"frame-{number:04d}.png", frame)
    return key
