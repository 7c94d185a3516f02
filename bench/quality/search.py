"""The one best setting of each peer: the lowest mean comp over drawn training scenes, whose truth it may see.

The training scenes have seeds of their own, the scenes of the table are others. They are small: these keyers look at
single pixels, whose noise is that of the large ones, and hundreds of settings are to be tried.
"""

import hashlib
import json
import sys
import tempfile
from pathlib import Path

from . import bench, score
from .keyers import Source
from .kinds import KINDS
from .pictures import read
from .scenes import generator_mark

TRAINING_SEED, WIDTH, HEIGHT = 9001, 384, 216

_work = None  # peer, settings: inherited by the forked workers


def comps(scene):
    """comp of each setting on one scene."""
    peer, settings = _work
    meta = score.read_meta(scene)
    truth = score.Truth.of(scene, meta["screen"])
    with tempfile.TemporaryDirectory() as folder:
        files = peer.key_many(Source.of(scene, meta), Path(folder), settings)
        return [score.comp(truth, read(file)) for file in files]


def best_setting(peer, scenes, cores):
    """Stage after stage, at last the finer one: of each all settings are tried, the best is held. With its mean comp and
    the number tried."""
    global _work
    held, comp, tried = peer.default, None, 0
    for stage in [*peer.stages, None]:
        settings = peer.trials(stage or peer.finer_stage(held), held)
        _work = (peer, settings)
        rows = bench.in_parallel(comps, scenes, cores, f"searching {peer.name}")
        means = [sum(column) / len(rows) for column in zip(*rows)]
        best = min(range(len(settings)), key=lambda n: means[n])
        if comp is None or means[best] < comp:
            held, comp = settings[best], means[best]
        tried += len(settings)
    return {"setting": held, "comp": comp, "tried": tried}


def mark_of(peer):
    """Changes when the scenes, the scorer or what is tried do."""
    tried = json.dumps([peer.default, peer.stages, peer.finer]).encode() + Path(score.__file__).read_bytes()
    return f"{generator_mark()} {WIDTH}x{HEIGHT} {hashlib.sha256(tried).hexdigest()[:12]}"


def best_settings(peers, out, cores):
    """{peer's name: what best_setting gives}; kept in best.json and used again while neither scenes nor search change."""
    kept = Path(out, "best.json")
    known = json.loads(kept.read_text()) if kept.exists() else {}
    scenes = None
    for peer in peers:
        mark = mark_of(peer)
        if known.get(peer.name, {}).get("mark") == mark:
            continue
        scenes = scenes or bench.draw_all(Path(out, "training"), [(kind, TRAINING_SEED, HEIGHT, WIDTH) for kind in KINDS], cores)
        known[peer.name] = best_setting(peer, scenes, cores) | {"mark": mark}
        print(f"{peer.name}: comp {known[peer.name]['comp']:.2f} with {known[peer.name]['setting']}", file=sys.stderr)
        kept.write_text(json.dumps(known, indent=1) + "\n")
    return known
