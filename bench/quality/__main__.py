"""The bench for pictures: draws scenes with truth, keys them with ours and others' keyers, and compares.

    PYTHONPATH=bench python3 -m quality --out DIR --kalvetra build/release/kalvetra
"""

import argparse
import json
import re
import sys
import tempfile
import time
from dataclasses import replace
from pathlib import Path

from . import bench, keyers, page, peers, search, sheets, tables
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
    parser.add_argument("--size", type=size, default=(1920, 1080), help="of the drawn scenes (1920x1080); clips have a third of it")
    parser.add_argument("--kinds", help="only these kinds, parted by commas: " + ", ".join([*KINDS, *CLIPS]))
    parser.add_argument("--quick", action="store_true", help="one seed, 640x360, no clips")
    parser.add_argument("--draw-only", action="store_true", help="draw the scenes and stop")
    parser.add_argument("--scenes", type=Path, action="append", default=[], help="folder of further scenes with truth")
    parser.add_argument("--shots", type=Path, help="folder of pictures and clips without truth, for sheets (of peers with their best settings alone); keys.json there names key colours")
    parser.add_argument("--blind", type=int, metavar="SEED", help="sheets with the keyers shuffled and unnamed; blind-key.json names them")
    parser.add_argument("--peers", choices=["both", "best", "none"], default="both", help="other makers' keyers: default and best setting (both), best alone, none")
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


def programs_of(options):
    """Our own keyers."""
    entrants = []
    for spec in options.kalvetra:
        path, _, name = spec.partition("=")
        entrants += keyers.kalvetras(path, name or "kalvetra")
    if len({keyer.name for keyer in entrants}) < len(entrants):
        raise Complaint("two programs have the same name: write --kalvetra PATH=NAME")
    return entrants


def peers_of(options):
    """The others, and what there is to say about them: how they were searched, and who is missing."""
    everybody = peers.all_peers() if options.peers != "none" else []
    present = [peer for peer in everybody if not peer.missing]
    notes = [f"left out: {peer.name}: {peer.missing}" for peer in everybody if peer.missing]
    best = search.best_settings(present, options.out, options.jobs)
    entrants = []
    for peer in present:
        if peer.again and best[peer.name]["setting"] in [best[other.name]["setting"] for other in present if not other.again]:
            continue
        if options.peers == "both" and not peer.again:
            entrants.append(replace(peer.keyer("default", peer.default), untuned=True))
        entrants.append(peer.keyer("best", best[peer.name]["setting"]))
        notes.append(f"{peer.name}: best of {best[peer.name]['tried']} settings, comp {best[peer.name]['comp']:.2f} on the training scenes")
    return entrants, notes


def main():
    options = arguments()
    began = time.monotonic()
    options.out.mkdir(parents=True, exist_ok=True)
    # What can be wrong with the request is seen before anything that takes long.
    entrants = programs_of(options)
    if not (entrants or options.draw_only or options.peers != "none"):
        raise Complaint("there is nothing to compare: give --kalvetra PATH")
    given = [scene for root in options.scenes for scene in bench.given_scenes(root)]
    stills, clips = wanted(options, KINDS), [] if options.quick else wanted(options, CLIPS, 3)
    with tempfile.TemporaryDirectory() as work:
        shots = sheets.shots_of(options.shots, work) if options.shots else []
        compare(options, entrants, given, stills, clips, shots)
    print(f"{time.monotonic() - began:.0f} s; in {options.out}", file=sys.stderr)


def compare(options, entrants, given, stills, clips, shots):
    scenes = {"drawn": bench.draw_all(options.out / "scenes", stills, options.jobs)}
    scenes["clips"] = bench.draw_all(options.out / "scenes", clips, options.jobs)
    scenes["given"] = given
    if options.draw_only:
        return
    others, notes = peers_of(options)
    entrants = entrants + others
    notes += [f"{keyer.name}: {keyer.about}" for keyer in entrants]
    tuned = [keyer for keyer in entrants if not keyer.untuned]  # untuned peers say little on clips, and take long
    results = {group: bench.run_all(tuned if group == "clips" else entrants, found, options.out, options.jobs) for group, found in scenes.items()}
    text = "\n".join([tables.text(results), *notes, ""])
    (options.out / "table.txt").write_text(text)
    (options.out / "table.json").write_text(json.dumps({"notes": notes, "results": results}, indent=1) + "\n")
    files = sheets.write_sheets(shots, tuned, options.out, options.blind) if shots else []
    page.write_page(options.out, results, scenes, notes, files)
    print(text)


if __name__ == "__main__":
    try:
        main()
    except Complaint as reason:
        sys.exit(f"quality: {reason}")
    except KeyboardInterrupt:
        sys.exit("quality: interrupted; what is done is kept and used again")
