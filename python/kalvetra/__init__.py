"""Keys green-screen pictures held in numpy arrays.

A picture is an array of height x width x 3 (red, green, blue) or x 4 (with a straight alpha), with any strides: uint8,
uint16 (0..65535), or float32 with 0 as black and 1 as white, whose colours may lie below and above. Results have the
picture's dtype, or the one that is named. From uint8 to uint8 the exact keyer works, whose bytes are those of the command
`kalvetra key`; elsewhere the deep lane does, the same keyer in single precision. NaN counts as 0, infinities as +-65504.

Calls release the interpreter's lock: threads run side by side.
"""

from __future__ import annotations

import ctypes
from typing import Callable, Iterable, List, Mapping, NamedTuple, Optional, Tuple, Union

import numpy.typing as npt

from . import _library, _pictures
from ._library import NoBackdropError
from ._pictures import Picture
from ._plate import Plate
from ._settings import Parameter, Settings, Value, parameters

__all__ = ["Backdrop", "NoBackdropError", "Parameter", "Plate", "Settings", "Status", "Value", "clean_plate", "cpu_levels",
           "deep_look", "fit_plate", "key", "look", "parameters", "pick", "plate", "propose", "shot_plate", "status"]

__version__ = _library.version().decode()

AnySettings = Union[Settings, Mapping[str, Value]]

_CHROMA = {"4:4:4": 0, "4:2:2": 1, "4:2:0": 2}


class Backdrop(NamedTuple):
    """The colour of a green screen, and how it was found."""

    color: str  #: "#2da54b", as the setting key-color takes it
    confidence: float  #: 0..1; below about 0.7 another green competes with it, or it is small
    unevenness: float  #: of the light, in percent from the brightest to the darkest region
    reason: str  #: one sentence


class Status(NamedTuple):
    """How many pixels of a matte have which alpha, rounded to 8 bits."""

    clear: int  #: 0
    almost_clear: int  #: 1..25
    partial: int
    almost_opaque: int  #: 230..254
    opaque: int  #: 255


def key(picture: Picture, settings: AnySettings, *, frame: int = 0, fields: bool = False, premultiplied: bool = False,
        against: Optional[Plate] = None, dtype: Optional[npt.DTypeLike] = None, threads: int = 0,
        cpu: Optional[str] = None) -> Picture:
    """Keys one picture.

    picture: height x width x 3 or 4, uint8, uint16 or float32.
    settings: Settings, or a mapping such as {"key-color": "#2da54b", "screen-gain": 40}; what it leaves out has its
        default. Their view decides what is shown: the keyed result, the matte as grey or the source.
    frame: where in the clip the picture is, for presets with keyframes and for plates of several frames.
    fields: True for two interlaced fields, each of which is keyed as a picture of its own.
    against: the clip's bare screen, from fit_plate, shot_plate or clean_plate; None is what the setting "plate" says:
        the keyer's own estimate, or with "fit" a plate fitted to this picture alone.
    premultiplied: True where the colours of the picture are, and those of the result are to be, multiplied by alpha.
    dtype: of the result; None is the picture's. In uint8 and uint16, colours below black and above white are cut off.
    threads: how many may work on it, up to 1024; 0 stands for as many as the machine has.
    cpu: one of cpu_levels(); None is the fastest. The bytes are the same.

    Returns a new array of height x width x 4: red, green, blue, alpha. A pixel that is left as it was has the very colours
    that it had.
    Raises TypeError for what is no such array, ValueError for sizes and settings that cannot be, MemoryError.
    """
    options = _options(threads, cpu, fields=fields, frame=frame, against=against)
    return _pictures.rendered(_library.render, picture, Settings(settings), premultiplied, dtype, options)[0]


def plate(picture: Picture, settings: AnySettings, *, frame: int = 0, fields: bool = False,
          premultiplied: bool = False, against: Optional[Plate] = None, dtype: Optional[npt.DTypeLike] = None,
          threads: int = 0, cpu: Optional[str] = None) -> Tuple[Picture, bool]:
    """The backdrop that the picture is keyed against, opaque, and whether it is a plate, or an estimate from the picture.

    False stands for the one key colour, where smooth-bg is off or the key colour is black. Otherwise like key.
    """
    options = _options(threads, cpu, fields=fields, frame=frame, against=against)
    result, estimated = _pictures.rendered(_library.render_plate, picture, Settings(settings), premultiplied, dtype,
                                           options)
    return result, estimated == 1


def status(picture: Picture, settings: AnySettings, *, frame: int = 0, fields: bool = False,
           premultiplied: bool = False, against: Optional[Plate] = None, dtype: Optional[npt.DTypeLike] = None,
           threads: int = 0, cpu: Optional[str] = None) -> Tuple[Picture, Status]:
    """The matte as an opaque grey picture, almost clear pixels in red, almost opaque ones in blue, and their numbers.

    Otherwise like key.
    """
    options = _options(threads, cpu, fields=fields, frame=frame, against=against)
    counted = _library.Status()
    result, _ = _pictures.rendered(_library.render_status, picture, Settings(settings), premultiplied, dtype, options,
                                   counted)
    return result, Status(*(getattr(counted, name) for name in Status._fields))


def pick(pictures: Union[Picture, Iterable[Picture]]) -> Backdrop:
    """Finds the green screen's colour in pictures from all over a clip, or in one; about eight are enough.

    Raises NoBackdropError, a ValueError, where they show none. The pictures are like those of key.
    """
    arrays = _pictures.arrays_of(pictures)
    found = _library.Backdrop()
    _library.pick(_pictures.frames(arrays), len(arrays), found)
    color = f"#{found.red:02x}{found.green:02x}{found.blue:02x}"
    return Backdrop(color, found.confidence, found.unevenness, found.reason.decode())


def propose(pictures: Union[Picture, Iterable[Picture]], key_color: Optional[str] = None, *, chroma: str = "4:4:4",
            threads: int = 0, cpu: Optional[str] = None) -> Settings:
    """Settings that suit the clip which the pictures are from, found by keying two of them in many ways: takes seconds.

    key_color: "#2da54b"; None stands for the screen's.
    chroma: how the clip's chroma was sampled: "4:4:4" for RGB, "4:2:2" or "4:2:0".

    The settings carry their reasons, see Settings.reasons. Raises NoBackdropError, a ValueError, where no key colour is
    named and the pictures show no green screen. Otherwise like pick and key.
    """
    if chroma not in _CHROMA:
        raise ValueError(f"chroma cannot be {chroma!r}; give {', '.join(_CHROMA)}")
    arrays = _pictures.arrays_of(pictures)
    settings = Settings()
    options = _options(threads, cpu, chroma=_CHROMA[chroma])
    color = None if key_color is None else _library.text(key_color)
    _library.propose(_pictures.frames(arrays), len(arrays), color, options, settings.handle)
    settings._take_reasons()
    return settings


def fit_plate(pictures: Union[Picture, Iterable[Picture]], settings: AnySettings, *,
              numbers: Optional[Iterable[int]] = None, threads: int = 0, cpu: Optional[str] = None) -> Plate:
    """The bare screen, fitted to pictures from all over a clip, all of one size; one is enough where nothing moves.

    numbers: which frames of the clip they are; None stands for 0, 1, 2 and so on.
    settings: their key colour and screen count.

    It follows strong gradients and folds of the screen, and the clip's light from picture to picture: give key the frame's
    number and this plate.
    """
    return _plate_of(_library.plate_fit, pictures, settings, numbers, threads, cpu)


def shot_plate(pictures: Iterable[Picture], settings: AnySettings, *, numbers: Optional[Iterable[int]] = None,
               threads: int = 0, cpu: Optional[str] = None) -> Plate:
    """What was seen bare at any time in pictures from all over one shot, about 20 to 60, of a camera that stands still.

    Shadows on the screen are kept. Where the camera moves, it is like fit_plate, and its `why` says so.
    """
    return _plate_of(_library.plate_shot, pictures, settings, numbers, threads, cpu)


def clean_plate(clean: Union[Picture, Iterable[Picture]], pictures: Union[Picture, Iterable[Picture]],
                settings: AnySettings, *, threads: int = 0, cpu: Optional[str] = None) -> Plate:
    """From pictures of the empty set, up to 9, corrected to the light of some pictures of the shot. Shadows are kept.

    Raises ValueError, with a sentence, where they do not belong to that shot: another size, set or light.
    """
    empty, arrays = _pictures.arrays_of(clean), _pictures.arrays_of(pictures)
    copied = Settings(settings)
    return Plate(_library.plate_clean, copied.handle, _pictures.frames(empty), len(empty), _pictures.frames(arrays),
                 len(arrays), _options(threads, cpu))


def _plate_of(make: Callable[..., int], pictures: Union[Picture, Iterable[Picture]], settings: AnySettings,
              numbers: Optional[Iterable[int]], threads: int, cpu: Optional[str]) -> Plate:
    arrays = _pictures.arrays_of(pictures)
    counted = None
    if numbers is not None:
        given = [_library.number("a frame's number", number, _library.LAST_FRAME) for number in numbers]
        if len(given) != len(arrays):
            raise ValueError(f"there are {len(given)} numbers for {len(arrays)} pictures; give one for each")
        counted = (ctypes.c_int64 * len(given))(*given)
    copied = Settings(settings)
    return Plate(make, copied.handle, _pictures.frames(arrays), counted, len(arrays), _options(threads, cpu))


def cpu_levels() -> List[str]:
    """The CPU levels of this machine, "scalar" first, the fastest last."""
    levels: List[str] = []
    while (name := _library.cpu_level(len(levels))) is not None:
        levels.append(name.decode())
    return levels


def look() -> int:
    """The number of the keyer's look: it rises whenever any picture with any settings would get other bytes."""
    return int(_library.look())


def deep_look() -> int:
    """The same for the deep lane, which keys wherever the picture or the result is not uint8."""
    return int(_library.deep_look())


def _options(threads: int, cpu: Optional[str], fields: bool = False, frame: int = 0,
             chroma: int = 0, against: Optional[Plate] = None) -> _library.Options:
    return _library.Options(size=ctypes.sizeof(_library.Options),
                            threads=_library.number("threads", threads, _library.MOST_THREADS), fields=bool(fields),
                            frame=_library.number("frame", frame, _library.LAST_FRAME), chroma=chroma,
                            cpu=None if cpu is None else _library.text(cpu), plate=None if against is None else against.handle)
