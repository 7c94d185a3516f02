"""Draws, keys and scores, on several cores; what was done before and has not changed is not done again."""

import hashlib
import json
import multiprocessing
import sys
import tempfile
from dataclasses import dataclass
from pathlib import Path

import cv2
import numpy as np

from . import score as scoring
from .keyers import Source
from .pictures import Complaint, read
from .places import busiest, corner, hair_and_edges
from .scenes import write_scene


@dataclass(frozen=True)
class Job:
    keyer: object
    scene: Path
    scores: Path  # the folder of this keyer's scores

    def mark(self, meta):
        scorer = Path(scoring.__file__).read_bytes()
        scene = meta.get("mark") or [int(p.stat().st_mtime_ns) for p in sorted(self.scene.glob("*.png"))]
        return f"{self.keyer.mark} | {scene} | {hash_of(scorer)}"


def hash_of(data):
    return hashlib.sha256(data).hexdigest()[:8]


def do(job):
    """One keyer on one scene: figures, or the sentence that says why there are none."""
    meta = scoring.read_meta(job.scene)
    kept, close = job.scores / f"{job.scene.name}.json", job.scores / f"{job.scene.name}-close.jpg"
    mark = job.mark(meta)
    if kept.exists() and close.exists():
        row = json.loads(kept.read_text())
        if row.get("mark") == mark:
            return row
    row = {"mark": mark, "kind": meta["kind"]}
    with tempfile.TemporaryDirectory() as folder:
        try:
            pictures = job.keyer.key(Source.of(job.scene, meta), Path(folder))
            row["figures"] = scoring.score_scene(job.scene, pictures)
            job.scores.mkdir(parents=True, exist_ok=True)
            first = read(pictures[0])
            thumbnail(first).tofile(job.scores / f"{job.scene.name}.jpg")
            close_up(first, close_place(job.scene)).tofile(close)
        except Complaint as reason:
            row["failed"] = str(reason)
    if "figures" in row:
        kept.write_text(json.dumps(row) + "\n")
    return row


def jpeg(levels):
    return cv2.imencode(".jpg", levels[..., ::-1], [cv2.IMWRITE_JPEG_QUALITY, 80])[1]


def beside_matte(keyed, backdrop):
    alpha = keyed[..., 3]
    return np.hstack([scoring.over(keyed[..., :3], alpha, backdrop), np.repeat(255 * alpha[..., None], 3, 2)])


def thumbnail(keyed, height=200):
    """Over grey and the matte side by side, small, as the bytes of a JPEG."""
    pair = beside_matte(keyed, (128, 128, 128))
    return jpeg(cv2.resize(pair, (max(2, pair.shape[1] * height // pair.shape[0]), height), interpolation=cv2.INTER_AREA))


def close_place(scene):
    """The part of a scene that is looked at in full size: slices of a picture, by the truth, alike for every keyer."""
    alpha = read(sorted(scene.glob("alpha*.png"))[0])
    height, width = min(200, alpha.shape[0]), min(266, alpha.shape[1])
    y, x = corner(alpha.shape, busiest(hair_and_edges(alpha), height, width), height, width)
    return np.s_[y : y + height, x : x + width]


def close_up(keyed, place):
    """That part over light and its matte."""
    return jpeg(beside_matte(keyed[place], (232, 232, 232)))


def folder_name(name):
    return "".join(c if c.isalnum() or c in "-+." else "_" for c in name)


def in_parallel(work, items, cores, what):
    """work(item) for each, in the order of the items, with a line of progress on a terminal."""
    results = []
    with multiprocessing.get_context("fork").Pool(cores) as pool:
        for result in pool.imap(work, items):
            results.append(result)
            if sys.stderr.isatty():
                print(f"\r{what}: {len(results)} of {len(items)}   ", end="", file=sys.stderr, flush=True)
    if sys.stderr.isatty() and items:
        print(file=sys.stderr)
    return results


def _draw(arguments):
    try:
        return write_scene(*arguments)
    except Complaint as reason:
        return reason


def draw_all(root, wanted, cores):
    """wanted: (kind, seed, height, width). The folders."""
    drawn = in_parallel(_draw, [(root, *w) for w in wanted], cores, "drawing")
    for result in drawn:
        if isinstance(result, Complaint):
            raise result
    return drawn


_jobs = []  # the keyers hold functions, which no pipe carries: the workers inherit the list by forking


def _do_number(number):
    return do(_jobs[number])


def run_all(keyers, scenes, out, cores):
    """Rows by keyer's name and scene's name."""
    global _jobs
    _jobs = [Job(keyer, scene, Path(out, "scores", folder_name(keyer.name))) for scene in scenes for keyer in keyers]
    rows = in_parallel(_do_number, range(len(_jobs)), cores, "keying")
    table = {}
    for job, row in zip(_jobs, rows):
        table.setdefault(job.keyer.name, {})[job.scene.name] = row
        if "failed" in row:
            print(f"{job.keyer.name}, {job.scene.name}: {row['failed']}", file=sys.stderr)
    return table


def given_scenes(root):
    """The folders with truth below a folder."""
    found = sorted(path.parent for path in Path(root).glob("*/meta.json"))
    if not found:
        raise Complaint(f"{root}: holds no scenes; a scene is a folder with meta.json, frame.png, alpha.png and fg.png")
    for folder in found:
        for name in [] if "frames" in scoring.read_meta(folder) else ["frame.png", "alpha.png", "fg.png"]:
            if not (folder / name).exists():
                raise Complaint(f"{folder}: {name} is missing")
    return found
