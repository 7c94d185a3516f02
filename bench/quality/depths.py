"""Depth: noise-free ramps in sources of many depths, keyed into every kind of output, and read back by ffmpeg.

    PYTHONPATH=bench python3 -m quality.depths --out DIR --kalvetra build/release/kalvetra

Prints a table: for each source and output how many levels a ramp of greys has, how many the matte of a veil that thins out,
and the largest difference of alpha and of green times alpha from the keyer's own floats (rgbaf32), in levels of 255; of
OpenEXR, of light by the standards' curves below, in percent. A level is the median of its cell's pixels, as codecs change
single ones; ProRes is counted in the 10 bits that it holds. Of half the chroma, brightness stands for green. OpenCV has to
read PNG and OpenEXR as ffmpeg does, to the bit.
"""

import argparse
import os
import subprocess
import sys
from pathlib import Path

import cv2
import numpy as np

from .codecs import ffmpeg
from .pictures import Complaint

CELLS, CELL, ROWS = 504, 2, 64  # one level to a cell, two pixels wide
WIDTH, HEIGHT, COUNT = CELLS * CELL, 2 * ROWS, CELLS * CELL * 2 * ROWS
LUMA = [(0.2126, 0.0722), (0.2627, 0.0593)]  # red and blue, BT.709 and BT.2020
SCREEN = np.array([60, 190, 80]) / 255
OPTIONS = ["--key-color", "60,190,80", "--plain", "--hidden-colors", "keep", "--over", "#808080", "-y"]
OUTPUTS = {"o.mov": "result", "o.mkv": "result", "o.png": "result", "o.exr": "result", "o.nut": "result", "o.webm": "result",
           "a.webm": "result", "m.mkv": "matte", "c.mov": "comp"}  # fmt: skip
FLOATS = {"o.rgbaf32": "result", "m.rgbaf32": "matte", "c.rgbaf32": "comp"}


def of_srgb(code):
    return np.where(code <= 0.0404482, code / 12.92, ((code + 0.055) / 1.055) ** 2.4)


def of_bt709(code):
    return np.where(code < 0.081, code / 4.5, ((code + 0.099) / 1.099) ** (1 / 0.45))


def of_pq(code):
    """ST 2084, 1 for 100 cd/m2."""
    power = code ** (32 / 2523)
    return 100 * (np.maximum(power - 107 / 128, 0) / (2413 / 128 - 2392 / 128 * power)) ** (16384 / 2610)


def of_hlg(code):
    """BT.2100: the scene's light, then the system gamma of a display of 1000 cd/m2; 1 for 100 cd/m2."""
    scene = np.where(code <= 0.5, code**2 / 3, (np.exp((code - 0.55991073) / 0.17883277) + 0.28466892) / 12)
    return 10 * ([0.2627, 0.6780, 0.0593] @ scene) ** 0.2 * scene


def scene():
    """Red green blue alpha: above, a ramp that 126 codes of 10 bits span; below, a grey veil that thins out over a screen."""
    grey = (336 + np.arange(CELLS).repeat(CELL) / 4) / 876
    cover = np.linspace(0.1, 0.9, CELLS).repeat(CELL)[:, None]
    picture = np.stack([np.stack([grey] * 3, 1)] * ROWS + [SCREEN + (0.4 - SCREEN) * cover] * ROWS)
    return np.dstack([picture, np.repeat([1.0, 0.75], ROWS)[:, None] * np.ones((1, WIDTH))])


def sources(out):
    """Each kind's name, file, and the curve from its code values to light."""
    pixels = scene()
    words = np.rint(pixels * 65535).astype("<u2")
    light = np.dstack([of_srgb(pixels[..., 2::-1]) * pixels[..., 3:], pixels[..., 3:]]).astype(np.float32)

    def clip(name, form, *coder, primaries="bt709", transfer="bt709"):
        tags = f"colorspace={primaries.replace('2020', '2020nc')}:color_primaries={primaries}:color_trc={transfer}:range=tv"
        scale = f"scale=out_color_matrix={primaries}:out_range=tv:flags=accurate_rnd+full_chroma_int,format={form},setparams={tags}"
        raw = ["-f", "rawvideo", "-pix_fmt", "rgba64le", "-s", f"{WIDTH}x{HEIGHT}", "-i", "pipe:0"]
        ffmpeg(*raw, "-vf", scale, *coder, out / name, data=words.tobytes())
        return out / name

    def still(name, picture, *options):
        if not cv2.imwrite(str(out / name), picture, options):
            raise Complaint(f"{out / name}: OpenCV cannot write it")
        return out / name

    x264, x265 = ("-c:v", "libx264", "-qp", 0), ("-c:v", "libx265", "-x265-params", "lossless=1:log-level=none")
    exr = cv2.IMWRITE_EXR_TYPE
    yield "H.264, 8 bits, 4:2:0", clip("h8.mp4", "yuv420p", *x264), of_bt709
    yield "H.264, 10 bits, 4:2:2", clip("h10.mp4", "yuv422p10le", *x264), of_bt709
    yield "HEVC, 10 bits, 4:2:0", clip("v10.mp4", "yuv420p10le", *x265), of_bt709
    yield "HEVC, 12 bits, 4:4:4", clip("v12.mp4", "yuv444p12le", *x265), of_bt709
    yield "the same in PQ, 10 bits", clip("pq.mp4", "yuv444p10le", *x265, primaries="bt2020", transfer="smpte2084"), of_pq
    yield "in HLG", clip("hlg.mp4", "yuv444p10le", *x265, primaries="bt2020", transfer="arib-std-b67"), of_hlg
    yield "ProRes 4444, alpha", clip("p.mov", "yuva444p10le", "-c:v", "prores_ks", "-profile:v", "4444"), of_bt709
    yield "PNG, RGB, 16 bits", still("rgb.png", words[..., 2::-1]), of_srgb
    yield "PNG, grey, 16 bits", still("grey.png", words[..., 1]), of_srgb
    yield "OpenEXR, half, alpha", still("h.exr", light, exr, cv2.IMWRITE_EXR_TYPE_HALF), of_srgb
    yield "OpenEXR, float, alpha", still("f.exr", light, exr, cv2.IMWRITE_EXR_TYPE_FLOAT), of_srgb


def keyed(program, source, out):
    more = [word for name, view in (OUTPUTS | FLOATS).items() if name != "a.webm" for word in ("--also", f"{view}={out / name}")]
    command = [program, "key", source, out / "a.webm", "--codec", "av1", *OPTIONS, *more]
    done = subprocess.run([str(c) for c in command], capture_output=True, text=True)
    if done.returncode:
        raise Complaint(f"{program}: {(done.stderr.strip().splitlines() or ['failed'])[-1]}")


def green_and_alpha(path):
    """Over white, as ffmpeg decodes them, unconverted; brightness where the chroma is halved, alpha 1 where there is none."""
    ask = ["ffprobe", "-v", "error", "-show_entries", "stream=pix_fmt,color_space", "-of", "csv=p=0", path]
    form, matrix = subprocess.run(ask, capture_output=True, text=True, check=True).stdout.strip().split(",")[:2]
    decoder = ["-c:v", "libvpx-vp9"] if path.name == "o.webm" else []
    form = "yuva420p" if decoder else form.replace("be", "le")
    data = ffmpeg(*decoder, "-i", path, "-f", "rawvideo", "-pix_fmt", form, "pipe:1")
    bits = next((b for b, name in ((10, "10le"), (12, "12le"), (16, "16le"), (16, "48le"), (16, "64le")) if name in form), 8)
    samples = np.frombuffer(data, "<f4" if "f32" in form else "u1" if bits == 8 else "<u2").astype(float)
    samples /= 1 if "f32" in form else 2**bits - 1
    if not form.startswith("yuv"):
        planes = samples.reshape(-1, COUNT)[[1, 0, 2, 3][: len(samples) // COUNT]] if form.startswith("gb") else samples.reshape(COUNT, -1).T
        return planes[1], planes[3] if "a" in form else np.ones(COUNT)
    unit = (2**bits - 1) / 2 ** (bits - 8)
    green, alpha = (samples[:COUNT] * unit - 16) / 219, samples[-COUNT:] if form.startswith("yuva") else np.ones(COUNT)
    if "444" in form:
        red, blue = LUMA["2020" in matrix]
        cb, cr = (samples[COUNT : 3 * COUNT].reshape(2, COUNT) * unit - 128) / 224
        green -= (2 * red * (1 - red) * cr + 2 * blue * (1 - blue) * cb) / (1 - red - blue)
    return green, alpha


def levels(plane, below, steps=2**20):
    cells = plane.reshape(2, ROWS, CELLS, CELL)[below].swapaxes(0, 1).reshape(CELLS, -1)
    return str(len(np.unique(np.rint(np.sort(cells)[:, ROWS * CELL // 2] * steps))))


def cell(out, name, curve, tags):
    """What the table says of an output."""
    red, green, blue, alpha = np.fromfile(out / f"{name[0].replace('a', 'o')}.rgbaf32", "<f4").reshape(-1, 4).T.astype(float)
    found, cover = green_and_alpha(out / name)
    if name in ("o.png", "o.exr"):
        read = cv2.imread(str(out / name), cv2.IMREAD_UNCHANGED)
        white = {np.uint8: 255, np.uint16: 65535}.get(read.dtype.type, 1)
        if not np.array_equal(read[..., [1, 3]].reshape(-1, 2) / white, np.stack([found, cover], 1)):
            raise Complaint(f"{out / name}: OpenCV reads something else than ffmpeg")
    if name == "a.webm":
        cover = green_and_alpha(out / "a-matte.webm")[0]
    count = [levels(found, 0, 876 if name.endswith(".mov") else 2**20), levels(found if name[0] == "m" else cover, 1)]
    text = ", ".join(count[name[0] == "m" :][: 1 if name[0] == "c" else 2]) + ", "
    if name == "o.exr":
        wanted = curve(np.stack([red, green, blue]))[1] * alpha
        seen = wanted > 1e-3
        return text + f"{100 * np.max(np.abs(found[seen] / wanted[seen] - 1)):.2f} %"
    if name.endswith(".webm"):
        kr, kb = LUMA[tags]
        green = kr * red + (1 - kr - kb) * green + kb * blue
    return text + f"{255 * max(np.max(np.abs(found * cover - green * alpha)), np.max(np.abs(cover - alpha))):.3f}"


def main():
    parser = argparse.ArgumentParser(prog="quality.depths", description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--out", type=Path, required=True, help="folder for the files")
    parser.add_argument("--kalvetra", type=Path, required=True, metavar="PATH", help="the program that keys")
    options = parser.parse_args()
    options.out.mkdir(parents=True, exist_ok=True)
    os.environ["OPENCV_IO_ENABLE_OPENEXR"] = "1"
    print("| source | " + " | ".join(OUTPUTS) + " |\n| --- |" + " --- |" * len(OUTPUTS))
    for name, file, curve in sources(options.out):
        keyed(options.kalvetra, file, options.out)
        tags = curve in (of_pq, of_hlg)
        print(f"| {name} | " + " | ".join(cell(options.out, n, curve, tags) for n in OUTPUTS) + " |", flush=True)


if __name__ == "__main__":
    try:
        main()
    except (Complaint, OSError) as complaint:
        sys.exit(f"depths: {complaint}")
