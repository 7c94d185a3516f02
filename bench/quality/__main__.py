"""The bench for pictures: draws scenes with truth, keys them with ours and others' keyers, and compares.

    PYTHONPATH=bench python3 -m quality --out DIR --kalvetra build/release/kalvetra
"""

import argparse
import json
import re
import sys
import time
from pathlib import Path

from . import bench, keyers, tables
from .kinds import CLIPS, KINDS
from .pictures import Complaint


def size(text):
    found = re.fullmatch(r"(\d+)x(\d+)", text)
    if not found:
        raise argparse.ArgumentTypeError(f"{text}: give a size like 1920x1080")
    return int(found[1]), int(found[2])


def arguments():
    parser = argparse.ArgumentParser(prog="quality", description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--out", type=Path, required=True, help="folder for scenes, scores, sheets and the page; what is there is used again")
    parser.add_argument("--kalvetra", action="append", default=[], metavar="PATH[=NAME]", help="a kalvetra to compare; may be repeated")
    parser.add_argument("--seeds", type=int, default=2, help="drawn scenes of each kind (2)")
    parser.add_argument("--first-seed", type=int, default=1, help="the first seed; others give other scenes")
    parser.add_argument("--size", type=size, default=(1920, 1080), help="of the drawn scenes (1920x1080); clips have half of it")
    parser.add_argument("--kinds", help="only these kinds, parted by commas: " + ", ".join([*KINDS, *CLIPS]))
    parser.add_argument("--quick", action="store_true", help="one seed, 640x360, no clips")
    parser.add_argument("--draw-only", action="store_true", help="draw the scenes and stop")
    parser.add_argument("--scenes", type=Path, action="append", default=[], help="folder of further scenes with truth")
    parser.add_argument("--jobs", type=int, default=2, help="processes (2)")
    options = parser.parse_args()
    if options.seeds < 0 or options.jobs < 1:
        parser.error("--seeds must be 0 or more, --jobs 1 or more")
    if options.quick:
        options.seeds, options.size = 1, (640, 360)
    return options


def wanted(options, kinds, divisor=1):
    only = options.kinds.split(",") if options.kinds else [*KINDS, *CLIPS]
    for kind in only:
        if kind not in KINDS and kind not in CLIPS:
            raise Complaint(f"--kinds {kind}: there is no such kind; there are {', '.join([*KINDS, *CLIPS])}")
    width, height = (length // divisor // 2 * 2 for length in options.size)
    seeds = range(options.first_seed, options.first_seed + options.seeds)
    return [(kind, seed, height, width) for kind in kinds if kind in only for seed in seeds]


def main():
    options = arguments()
    began = time.monotonic()
    named = [spec.rsplit("=", 1) if "=" in spec else [spec, "kalvetra"] for spec in options.kalvetra]
    entrants = [keyer for path, name in named for keyer in keyers.kalvetras(path, name)]
    scenes = {"drawn": bench.draw_all(options.out / "scenes", wanted(options, KINDS), options.jobs)}
    scenes["clips"] = [] if options.quick else bench.draw_all(options.out / "scenes", wanted(options, CLIPS, 2), options.jobs)
    scenes["given"] = [scene for root in options.scenes for scene in bench.given_scenes(root)]
    if options.draw_only:
        return
    results = {group: bench.run_all(entrants, found, options.out, options.jobs) for group, found in scenes.items()}
    text = tables.text(results)
    (options.out / "table.txt").write_text(text)
    (options.out / "table.json").write_text(json.dumps(results, indent=1) + "\n")
    print(text)
    print(f"{time.monotonic() - began:.0f} s; written to {options.out}", file=sys.stderr)


if __name__ == "__main__":
    try:
        main()
    except Complaint as reason:
        sys.exit(f"quality: {reason}")
