"""A keyer: a name, a setting, and how to key a scene with it."""

import hashlib
import shutil
import subprocess
from dataclasses import dataclass, field
from pathlib import Path

from .pictures import Complaint


@dataclass(frozen=True)
class Source:
    """A still, or the pictures of a clip. `clip` is the coded file, where there is one."""

    pictures: tuple
    key: tuple
    clip: Path | None = None

    @property
    def screen(self):
        return "blue" if self.key[2] > max(self.key[0], self.key[1]) else "green"

    @staticmethod
    def of(folder, meta):
        folder = Path(folder)
        if "frames" not in meta:
            return Source((folder / "frame.png",), tuple(meta["key"]))
        pictures = tuple(folder / f"frame-{number:04d}.png" for number in range(meta["frames"]))
        return Source(pictures, tuple(meta["key"]), folder / "clip.mp4")


@dataclass(frozen=True)
class Keyer:
    name: str
    about: str  # for the page: what it is, with which settings
    mark: str  # changes when what it writes may change
    key: object = field(compare=False)  # (Source, folder) -> the keyed files in order
    untuned: bool = False  # a peer at its defaults: in the tables of stills alone


def run(command, what):
    """Runs a program; a failure becomes one sentence with the program's last line."""
    done = subprocess.run([str(word) for word in command], capture_output=True)
    if done.returncode:
        lines = (done.stderr or done.stdout).decode(errors="replace").strip().splitlines()
        raise Complaint(f"{what} failed: {lines[-1] if lines else f'exit status {done.returncode}'}")
    return done.stdout.decode(errors="replace")


def hexed(key):
    return "#%02x%02x%02x" % tuple(key)


def kalvetra(program, name, options):
    """Our own command: with its page of help it says which keys it knows."""

    def key(source, folder):
        inputs = [source.clip] if source.clip else source.pictures
        output = Path(folder, "%04d.png" if source.clip else "0000.png")
        numbers = ["--start-number", 0] if source.clip else []
        run([program, "key", "-y", "--no-verify", *options, "--key-color", hexed(source.key), *numbers, *inputs, output], name)
        return sorted(Path(folder).glob("*.png"))

    mark = hashlib.sha256(Path(program).read_bytes()).hexdigest()[:12] + " " + " ".join(options)
    return Keyer(name, " ".join(["kalvetra key", *options]), mark, key)


def kalvetras(path, name):
    """The plain key, the default and --auto of one program. An older one has no --plain: its default is the plain key."""
    program = shutil.which(path)
    if program is None:
        raise Complaint(f"{path}: no such program; build kalvetra and give its path with --kalvetra")
    knows_plain = "--plain" in run([program, "key", "--help"], path)
    variants = {"plain": ["--plain"], "default": []} if knows_plain else {"plain": []}
    return [kalvetra(program, f"{name} {variant}", options) for variant, options in (variants | {"auto": ["--auto"]}).items()]
