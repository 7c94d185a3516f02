"""Frames through a real coder and back, by ffmpeg: what the 4:2:0 of a camera does to a picture."""

import subprocess
import tempfile
from pathlib import Path

import numpy as np

from .pictures import Complaint

# BT.709 both ways, said on both sides so that no default takes part; one thread, so that the file is always the same.
TO_CODER = "scale=out_color_matrix=bt709:out_range=tv:flags=accurate_rnd+full_chroma_int,format=yuv420p"
TO_PICTURE = "scale=in_color_matrix=bt709:in_range=tv:flags=accurate_rnd+full_chroma_int+bicubic,format=rgb24"


def ffmpeg(*arguments, data=None):
    command = ["ffmpeg", "-nostdin", "-v", "error", "-y", "-threads", "1", *map(str, arguments)]
    done = subprocess.run(command, input=data, capture_output=True)
    if done.returncode:
        reason = done.stderr.decode(errors="replace").strip().splitlines()
        raise Complaint(f"ffmpeg: {reason[-1] if reason else 'failed'} (command: {' '.join(command)})")
    return done.stdout


def encode(frames, path, quality):
    """frames: uint8 red green blue. H.264 4:2:0 at that quality (crf); Motion JPEG where path ends in .avi (qscale)."""
    height, width = frames[0].shape[:2]
    if path.suffix == ".avi":
        coder = ["-c:v", "mjpeg", "-q:v", quality, "-color_range", "tv", "-strict", "unofficial"]
    else:
        coder = ["-c:v", "libx264", "-preset", "medium", "-crf", quality, "-threads", 1]
        coder += ["-colorspace", "bt709", "-color_primaries", "bt709", "-color_trc", "bt709", "-color_range", "tv"]
    ffmpeg("-f", "rawvideo", "-pix_fmt", "rgb24", "-s", f"{width}x{height}", "-r", 25, "-i", "pipe:0",
           "-vf", TO_CODER, *coder, path, data=b"".join(f.tobytes() for f in frames))  # fmt: skip


def decode(path, height, width):
    """Every frame of a clip, as float pictures."""
    data = ffmpeg("-i", path, "-vf", TO_PICTURE, "-f", "rawvideo", "pipe:1")
    frames = np.frombuffer(data, np.uint8).reshape(-1, height, width, 3)
    return [frame.astype(np.float32) / 255 for frame in frames]


def coded(frames, quality, suffix=".mp4"):
    with tempfile.TemporaryDirectory() as folder:
        path = Path(folder, "clip" + suffix)
        encode(frames, path, quality)
        return decode(path, *frames[0].shape[:2])
