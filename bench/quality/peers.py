"""Keyers of other makers, as they are installed here: ffmpeg's, frei0r's, GStreamer's, Blender's."""

import hashlib
import itertools
import json
import math
import shutil
import subprocess
import tempfile
from dataclasses import dataclass, replace
from pathlib import Path

from .keyers import Keyer, hexed, run
from .pictures import Complaint

RGBA = "video/x-raw,format=RGBA"  # also before GStreamer's alpha, which shears RGB whose rows are padded
BLENDER_SCRIPT = Path(__file__).with_name("in_blender.py")
CODE = hashlib.sha256(Path(__file__).read_bytes() + BLENDER_SCRIPT.read_bytes()).hexdigest()[:12]


@dataclass(frozen=True)
class Peer:
    name: str
    missing: str  # why it takes no part; empty when it is installed
    default: dict  # as its maker documents it
    stages: list  # the search: of each stage all products of its values are tried, the rest held
    finer: tuple  # the knobs that are tried a little lower and higher in the end
    key: object  # (Source, folder, setting) -> the keyed files
    many: object = None  # (Source of a still, folder, settings) -> a file each, at once; where that is faster
    again: bool = False  # a keyer that is there already, searched in another way: no row of defaults

    def key_many(self, source, folder, settings):
        if self.many:
            return self.many(source, folder, settings)
        files = []
        for number, setting in enumerate(settings):
            Path(folder, str(number)).mkdir()
            files += self.key(source, Path(folder, str(number)), setting)
        return files

    def trials(self, stage, held):
        """Each once: with despill off, what belongs to it says nothing."""
        settings = [held | dict(zip(stage, values)) for values in itertools.product(*stage.values())]
        return list({json.dumps(said(setting)): setting for setting in settings}.values())

    def finer_stage(self, held):
        return {name: sorted({held[name], *(round(held[name] * share, 4) for share in (0.85, 1.15))}) for name in self.finer}

    def keyer(self, label, setting):
        about = f"{self.name} {json.dumps(said(setting))}"
        return Keyer(f"{self.name} {label}", about, f"{about} {CODE}", lambda source, folder: self.key(source, folder, setting))


def said(setting):
    """What of a setting has an effect."""
    return {k: v for k, v in setting.items() if setting.get("despill") != 0 or k not in ("mix", "expand")}


def output(command):
    try:
        return subprocess.run(command, capture_output=True, text=True, timeout=60).stdout
    except (OSError, subprocess.TimeoutExpired):
        return ""


def hsv_key(key):
    """hsvkey's hue in degrees, saturation and value of a colour, from the YUV (BT.601) that it works on."""
    r, g, b = key
    y = 16 + (65.481 * r + 128.553 * g + 24.966 * b) / 255
    u = (-37.797 * r - 74.203 * g + 112 * b) / 255
    v = (112 * r - 93.786 * g - 18.214 * b) / 255
    hue = (526 - (math.degrees(math.atan2(u, v)) + 180)) % 360
    return hue, math.hypot(u, v) / (128 * math.sqrt(2)), y / 255


def chromakey(key, s):
    return f"format=yuva444p,chromakey={hexed(key)}:{s['similarity']}:{s['blend']}"


def colorkey(key, s):
    return f"format=rgba,colorkey={hexed(key)}:{s['similarity']}:{s['blend']}"


def hsvkey(key, s):
    hue, saturation, value = hsv_key(key)
    return f"format=yuva444p,hsvkey={hue:.2f}:{saturation:.4f}:{value:.4f}:{s['similarity']}:{s['blend']}"


def bluescreen0r(key, s):
    return f"format=bgra,frei0r=bluescreen0r:{hexed(key).replace('#', '0x')}|{s['distance']}"


def select0r(key, s):
    names = ["delta1", "delta2", "delta3", "slope", "subspace", "shape", "edge"]
    values = "|".join(str(s[name] if name in s else s["delta"]) for name in names)
    return f"format=bgra,frei0r=select0r:{hexed(key).replace('#', '0x')}|y|{values}"


def despilled(chain, source, setting):
    """With ffmpeg's despill. It has to be said which channel to lower: of a green screen green is, by default; mix
    says whether red (1) or blue (0) is what the screen's channel is lowered to."""
    if setting["despill"] == 0:
        return chain + ",format=rgba"
    channel, other = ("blue", "green") if source.screen == "blue" else ("green", "blue")
    amount = f"{other}=0:{channel}={-setting['despill']}"
    return f"{chain},format=rgba,despill={source.screen}:{setting['mix']}:{setting['expand']}:{amount},format=rgba"


def with_ffmpeg(filter_of):
    """A Peer's key and many by a filter of ffmpeg and despill."""
    start = ["ffmpeg", "-nostdin", "-v", "error", "-y", "-threads", 1, "-filter_threads", 1, "-filter_complex_threads", 1]
    png = ["-threads", 1, "-compression_level", 1]

    def key(source, folder, setting):
        first = source.pictures[0]
        inputs = ["-start_number", 0, "-i", first.parent / "frame-%04d.png"] if source.clip else ["-i", first]
        chain = despilled(filter_of(source.key, setting), source, setting)
        run([*start, *inputs, "-vf", chain, *png, "-start_number", 0, Path(folder, "%04d.png")], "ffmpeg")
        return sorted(Path(folder).glob("*.png"))

    def many(source, folder, settings):
        count = range(len(settings))
        graph = f"[0]split={len(settings)}" + "".join(f"[i{n}]" for n in count) + ";"
        graph += ";".join(f"[i{n}]{despilled(filter_of(source.key, settings[n]), source, settings[n])}[o{n}]" for n in count)
        files = [Path(folder, f"{n:04d}.png") for n in count]
        outputs = [word for n in count for word in ("-map", f"[o{n}]", *png, "-update", 1, files[n])]
        run([*start, "-i", source.pictures[0], "-filter_complex", graph, *outputs], "ffmpeg")
        return files

    return {"key": key, "many": many}


def gstreamer(source, folder, setting):
    first = source.pictures[0]
    if source.clip:
        begin = ["multifilesrc", f"location={first.parent}/frame-%04d.png", "caps=image/png,framerate=25/1", f"stop-index={len(source.pictures) - 1}"]
    else:
        begin = ["filesrc", f"location={first}"]
    r, g, b = source.key
    alpha = ["alpha", "method=custom", f"target-r={r}", f"target-g={g}", f"target-b={b}", *(f"{k}={v}" for k, v in setting.items())]
    end = ["videoconvert", "!", RGBA, "!", "pngenc", "compression-level=1", "!", "multifilesink", f"location={folder}/%04d.png"]
    run(["gst-launch-1.0", "-q", *begin, "!", "pngdec", "!", "videoconvert", "!", RGBA, "!", *alpha, "!", *end], "GStreamer")
    return sorted(Path(folder).glob("*.png"))


def blender(source, folder, setting):
    jobs = [{"frame": str(p.resolve()), "out": str(Path(folder, f"{i:04d}.png")), "key": source.key, "setting": setting} for i, p in enumerate(source.pictures)]
    return blender_jobs(jobs)


def blender_many(source, folder, settings):
    frame = str(source.pictures[0].resolve())
    return blender_jobs([{"frame": frame, "out": str(Path(folder, f"{i:04d}.png")), "key": source.key, "setting": s} for i, s in enumerate(settings)])


def blender_jobs(jobs):
    with tempfile.TemporaryDirectory() as work:
        listed = Path(work, "jobs.json")
        listed.write_text(json.dumps(jobs))
        said = run(["blender", "--background", "--factory-startup", "-noaudio", "-t", 1, "--python-exit-code", 1, "--python", BLENDER_SCRIPT, "--", listed], "Blender")
    files = [Path(job["out"]) for job in jobs]
    if not all(file.exists() for file in files):
        raise Complaint(f"Blender wrote no picture: {said.strip().splitlines()[-1]}")
    return files


def all_peers():
    filters = output(["ffmpeg", "-hide_banner", "-filters"])
    despill = {"despill": 1, "mix": 0.5, "expand": 0}
    despills = {"despill": [0, 0.5, 1], "mix": [0.5, 0.75, 1], "expand": [0, 0.3]}
    linear = {"similarity": 0.01, "blend": 0} | despill

    def lacks(name):
        return "" if f" {name} " in filters else f"ffmpeg has no filter {name}"

    def lacks_frei0r(name):
        if lacks("frei0r"):
            return lacks("frei0r")
        probe = ["ffmpeg", "-v", "error", "-f", "lavfi", "-i", "color=s=64x64", "-vf", f"format=bgra,frei0r={name}", "-frames:v", "1", "-f", "null", "-"]
        return "" if subprocess.run(probe, capture_output=True).returncode == 0 else f"frei0r's {name} is not installed"

    gst = bool(shutil.which("gst-launch-1.0")) and all(output(["gst-inspect-1.0", name]) for name in ("alpha", "pngdec"))
    off_and_on = {"despill": [0, 1]}  # in every first stage: the best shape of the key is another with spill than without
    near = ("similarity", "blend")
    chroma = Peer("ffmpeg chromakey", lacks("chromakey") or lacks("despill"), linear,
                  [{"similarity": [0.03, 0.05, 0.07, 0.09, 0.12, 0.16], "blend": [0, 0.02, 0.05, 0.1, 0.18]} | off_and_on, despills], near, **with_ffmpeg(chromakey))
    # With despill held on, wherever the search above leaves it out: what it takes from the spill, and what it costs.
    despilled_chroma = replace(chroma, name="ffmpeg chromakey, despilled", again=True,
                               stages=[chroma.stages[0] | {"despill": [1]}, despills | {"despill": [0.5, 1]}])
    return [
        chroma, despilled_chroma,
        Peer("ffmpeg colorkey", lacks("colorkey") or lacks("despill"), linear,
             [{"similarity": [0.1, 0.15, 0.2, 0.25, 0.3, 0.36], "blend": [0, 0.05, 0.1, 0.2, 0.3]} | off_and_on, despills], near, **with_ffmpeg(colorkey)),
        Peer("ffmpeg hsvkey", lacks("hsvkey") or lacks("despill"), linear,
             [{"similarity": [0.04, 0.07, 0.1, 0.14, 0.2, 0.28, 0.36], "blend": [0, 0.05, 0.1, 0.2, 0.3]} | off_and_on, despills], near, **with_ffmpeg(hsvkey)),
        Peer("frei0r bluescreen0r", lacks_frei0r("bluescreen0r"), {"distance": 0.288} | despill,
             [{"distance": [0.06, 0.08, 0.1, 0.12, 0.14, 0.17, 0.2, 0.24, 0.288, 0.34]} | off_and_on, despills], ("distance",), **with_ffmpeg(bluescreen0r)),
        Peer("frei0r select0r", lacks_frei0r("select0r"),
             {"delta": 0.2, "slope": 0, "subspace": 0, "shape": 0, "edge": 0} | despill,
             [{"delta": [0.1, 0.2], "subspace": [0, 0.5, 0.9], "shape": [0, 0.5]} | off_and_on,
              {"delta": [0.08, 0.14, 0.2], "slope": [0.15, 0.35], "edge": [0.35, 0.6, 0.9]} | off_and_on, despills], ("delta", "slope"), **with_ffmpeg(select0r)),
        Peer("gstreamer alpha", "" if gst else "GStreamer's alpha or pngdec is not installed",
             {"angle": 20, "noise-level": 2, "black-sensitivity": 100, "white-sensitivity": 100},
             [{"angle": [20, 35, 50, 65], "noise-level": [2, 10, 30, 45, 60]}, {"black-sensitivity": [100, 128], "white-sensitivity": [20, 60, 128]}],
             ("angle", "noise-level"), gstreamer),
        Peer("blender keying", "" if shutil.which("blender") else "Blender is not installed",
             {"clip_black": 0, "clip_white": 1, "screen_balance": 0.5, "despill_factor": 1, "despill_balance": 0.5, "edge_kernel_radius": 3, "edge_kernel_tolerance": 0.1, "blur_pre": 0},
             [{"clip_black": [0.1, 0.35, 0.5, 0.7], "clip_white": [1, 0.8]},
              {"screen_balance": [0.5, 0.7, 0.9], "despill_factor": [0, 0.7, 1]}, {"blur_pre": [0, 2], "edge_kernel_radius": [0, 3]}],
             ("clip_black", "screen_balance"), blender, blender_many),
    ]  # fmt: skip
