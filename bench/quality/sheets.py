"""Contact sheets of real shots, which have no truth: for each shot a PNG that people look at.

A row a keyer: the matte, and the keyed picture over grey, white, magenta and dark; below, three places at full size or
larger, marked in the source: two at edges, one where the keyers disagree. Keyers that give the same picture share a row.
On a blind sheet the rows are shuffled and named A, B, C ...; blind-key.json says who is who, and who failed.
"""

import hashlib
import json
import string
import sys
import tempfile
from dataclasses import dataclass
from pathlib import Path

import cv2
import numpy as np

from .bench import folder_name
from .codecs import ffmpeg
from .keyers import Source
from .pictures import Complaint, read, write
from .places import busiest, corner, hair_and_edges
from .screens import key_colour
from .score import over

PICTURES, CLIPS = {".png", ".jpg", ".jpeg", ".tif", ".tiff", ".bmp", ".webp"}, {".mp4", ".mov", ".mkv", ".webm", ".avi", ".m4v"}
BACKDROPS = {"grey": (128, 128, 128), "white": (255, 255, 255), "magenta": (255, 0, 255), "dark": (16, 16, 16)}
GAP, TITLE = 6, 22


@dataclass(frozen=True)
class Shot:
    name: str
    source: Source


def parse_key(text, where):
    digits = str(text).lstrip("#")
    try:
        if len(digits) != 6:
            raise ValueError
        return tuple(int(digits[i : i + 2], 16) for i in (0, 2, 4))
    except ValueError:
        raise Complaint(f"{where}: {text} is no colour; write it like #11a56d") from None


def guessed_key(picture):
    """The most common strong green or blue, where nobody named a colour."""
    small = cv2.resize(picture[..., :3], (160, 90), interpolation=cv2.INTER_AREA)
    strength = np.maximum(small[..., 1] - np.maximum(small[..., 0], small[..., 2]), small[..., 2] - np.maximum(small[..., 0], small[..., 1]))
    return tuple(key_colour(small, np.where(strength >= np.percentile(strength, 75), 0, 1).astype(np.float32)))


def shots_of(root, work, frames=3):
    """The pictures and clips of a folder; keys.json there names key colours by name without ending. Of a clip some frames."""
    root, keys = Path(root), {}
    if not root.is_dir():
        raise Complaint(f"{root}: no such folder of shots")
    if (root / "keys.json").exists():
        try:
            keys = json.loads((root / "keys.json").read_text())
        except ValueError as reason:
            raise Complaint(f"{root / 'keys.json'}: {reason}") from None
    shots = []
    for path in sorted(root.iterdir()):
        ending = path.suffix.lower()
        if ending not in PICTURES | CLIPS:
            continue
        folder = Path(work, path.stem)
        folder.mkdir(parents=True, exist_ok=True)
        if ending in CLIPS:
            ffmpeg("-i", path, "-frames:v", 300, "-vf", "thumbnail=24,format=rgb24", "-fps_mode", "vfr", "-frames:v", frames, folder / "still-%02d.png")
            found = sorted(folder.glob("still-*.png"))
        else:
            write(folder / "still-01.png", read(path)[..., :3] if read(path).ndim == 3 else np.repeat(read(path)[..., None], 3, 2))
            found = [folder / "still-01.png"]
        if not found:
            raise Complaint(f"{path}: no frame could be decoded")
        for number, still in enumerate(found, 1):
            name = path.stem + (f"-{number}" if len(found) > 1 else "")
            key = parse_key(keys[path.stem], f"{root / 'keys.json'}, {path.stem}") if path.stem in keys else guessed_key(read(still))
            shots.append(Shot(name, Source((still,), key)))
    if not shots:
        raise Complaint(f"{root}: holds no pictures or clips")
    return shots


def places(keyed, size):
    """Squares to look at, apart from each other: two full of hair and edges, one where the keyers disagree the most."""
    alphas = np.stack([k[..., 3] for k in keyed])
    median = np.median(alphas, 0)
    edges = hair_and_edges(median)
    taken, corners = np.zeros(median.shape, bool), []
    for interest in (edges, edges, alphas.std(0) + np.minimum(median, 1 - median)):
        y, x = busiest(interest, size, size, taken)
        corners.append(corner(median.shape, (y, x), size, size))
        taken[max(0, y - size) : y + size, max(0, x - size) : x + size] = True
    return corners


def titled(picture, text):
    """A picture of levels with a line of text above."""
    band = np.full((TITLE, picture.shape[1], 3), 40, np.float32)
    cv2.putText(band, text, (4, TITLE - 6), cv2.FONT_HERSHEY_SIMPLEX, 0.48, (235, 235, 235), 1, cv2.LINE_AA)
    return np.vstack([band, picture])


def marked(picture, corners, size):
    """With a numbered frame around each place."""
    picture = np.ascontiguousarray(picture)
    for number, (y, x) in enumerate(corners, 1):
        for colour, width in (((0, 0, 0), 3), ((255, 255, 255), 1)):
            cv2.rectangle(picture, (x, y), (x + size, y + size), colour, width)
            cv2.putText(picture, str(number), (x + 4, y + 16), cv2.FONT_HERSHEY_SIMPLEX, 0.5, colour, width, cv2.LINE_AA)
    return picture


def joined(pictures, axis):
    """Beside or below each other, parted by a gap, filled up where sizes differ."""
    other = 1 - axis
    longest = max(p.shape[other] for p in pictures)
    parts = []
    for picture in pictures:
        fill = [(0, 0), (0, 0), (0, 0)]
        fill[other] = (0, longest - picture.shape[other])
        fill[axis] = (0, GAP)
        parts.append(np.pad(picture, fill, constant_values=70))
    return np.concatenate(parts, axis)


def views(keyed):
    alpha = keyed[..., 3]
    return {"matte": np.repeat(255 * alpha[..., None], 3, 2)} | {n: over(keyed[..., :3], alpha, c) for n, c in BACKDROPS.items()}


def sheet(source, keyed, names, cell=480, zoom=320):
    """source: the picture; keyed: one for each name. The sheet as a picture 0..1."""
    height, width = source.shape[:2]
    small = (cell, max(2, round(cell * height / width)))
    enlarge = 2 if max(height, width) <= 800 else 1
    size = min(zoom // enlarge, height, width)
    corners = places(keyed, size)

    def fit(picture):
        return cv2.resize(picture, small, interpolation=cv2.INTER_AREA)

    def crop(picture, at):
        part = picture[at[0] : at[0] + size, at[1] : at[1] + size]
        return cv2.resize(part, None, fx=enlarge, fy=enlarge, interpolation=cv2.INTER_NEAREST)

    levels = 255 * source[..., :3]
    rows = [titled(marked(fit(levels), [(y * small[0] // width, x * small[0] // width) for y, x in corners], size * small[0] // width), "source")]
    for name, picture in zip(names, keyed):
        rows.append(joined([titled(fit(view), f"{name}: {what}") for what, view in views(picture).items()], 1))
    for number, place in enumerate(corners, 1):
        rows.append(titled(crop(levels, place), f"source, place {number}"))
        for name, picture in zip(names, keyed):
            seen = views(picture)
            kinds = ["matte", "grey", "white", "magenta", "dark"]
            rows.append(joined([titled(crop(seen[k], place), f"{name}: place {number}, {k}") for k in kinds], 1))
    return joined(rows, 0) / 255


def shuffled(count, seed, name):
    order = np.random.default_rng([seed, *name.encode()]).permutation(count)
    return [int(n) for n in order], list(string.ascii_uppercase[:count])


def keyed_by_all(shot, keyers):
    """The pictures, each with the names of those that gave it, and what there is to say about who gave none. Equal rows
    side by side would give away on a blind sheet which are of one program."""
    pictures, names, failed = {}, {}, []
    for keyer in keyers:
        with tempfile.TemporaryDirectory() as work:
            try:
                picture = read(keyer.key(shot.source, Path(work))[0])
            except Complaint as reason:
                failed.append(f"{keyer.name}: {reason}")
                continue
        seen = hashlib.sha256((picture * picture[..., 3:]).tobytes()).digest()
        pictures.setdefault(seen, picture)
        names.setdefault(seen, []).append(keyer.name)
    return list(pictures.values()), [" = ".join(same) for same in names.values()], failed


def write_sheets(shots, keyers, out, blind=None):
    """A sheet for each shot; with `blind`, a seed, shuffled and unnamed ones. The files."""
    folder = Path(out, "blind" if blind is not None else "sheets")
    folder.mkdir(parents=True, exist_ok=True)
    key, files = {}, []
    for shot in shots:
        keyed, names, failed = keyed_by_all(shot, keyers)
        if blind is not None:
            order, letters = shuffled(len(names), blind, shot.name)
            key[shot.name] = dict(zip(letters, [names[n] for n in order])) | {"failed": failed}
            keyed, names = [keyed[n] for n in order], letters
        for line in [] if blind is not None else failed:
            print(f"{shot.name}: {line}", file=sys.stderr)
        file = folder / f"{folder_name(shot.name)}.png"
        write(file, sheet(read(shot.source.pictures[0]), keyed, names))
        files.append(file)
    if blind is not None:
        (Path(out) / "blind-key.json").write_text(json.dumps({"seed": blind, "shots": key}, indent=1) + "\n")
    return files
