"""Arrays as the C interface reads and writes them: in bytes, or in floats for whatever has more than 8 bits."""

from __future__ import annotations

from typing import Callable, Iterable, List, Optional, Tuple, Union

import numpy as np
import numpy.typing as npt

from . import _library
from ._settings import Settings

Picture = Union[npt.NDArray[np.uint8], npt.NDArray[np.uint16], npt.NDArray[np.float32]]

_DTYPES = [np.dtype(name) for name in ("uint8", "uint16", "float32")]
_BYTE, _WORD, _FLOAT = _DTYPES
_WORD_WHITE = 65535


def rendered(render: Callable[..., int], picture: Picture, settings: Settings, premultiplied: bool,
             dtype: Optional[npt.DTypeLike], *more: object) -> Tuple[Picture, int]:
    """What a function of the library makes of the picture, and what it answers."""
    source = _as_rgba(picture)
    wanted = picture.dtype if dtype is None else np.dtype(dtype)
    if wanted not in _DTYPES:
        raise TypeError(f"a result is an array of uint8, uint16 or float32, not {wanted}")
    result = np.empty(source.shape, _BYTE if wanted == _BYTE else _FLOAT)
    answer = render(settings.handle, _frame(source, premultiplied), _frame(result, premultiplied), *more)
    return _as_words(result) if wanted == _WORD else result, answer


def arrays_of(pictures: Union[Picture, Iterable[Picture]]) -> List[Picture]:
    """Each picture as the C interface can read it."""
    if isinstance(pictures, np.ndarray) and pictures.ndim == 3:
        return [_as_rgba(pictures)]
    return [_as_rgba(picture) for picture in pictures]


def frames(arrays: List[Picture]) -> object:
    """An array of frames; the pictures have to outlive it."""
    return (_library.Frame * len(arrays))(*(_frame(array, False) for array in arrays))


def _frame(array: Picture, premultiplied: bool) -> _library.Frame:
    height, width = array.shape[:2]
    stride = array.strides[0] if height > 1 else 4 * array.itemsize * width  # numpy leaves it open for a single row
    kind = _library.RGBA8 if array.dtype == _BYTE else _library.RGBAF32
    return _library.Frame(array.ctypes.data, stride, width, height, kind, bool(premultiplied))


def _as_rgba(picture: Picture) -> Picture:
    """The picture itself where the C interface can read it, otherwise a copy; of uint16 one of float32."""
    if not isinstance(picture, np.ndarray) or picture.dtype not in _DTYPES:
        kind = f"an array of {picture.dtype}" if isinstance(picture, np.ndarray) else type(picture).__name__
        raise TypeError(f"a picture is an array of uint8, uint16 or float32, not {kind}")
    if picture.ndim != 3 or picture.shape[2] not in (3, 4):
        raise ValueError(f"a picture has the shape (height, width, 3 or 4), not {picture.shape}")
    height, width, channels = picture.shape
    if not (1 <= width <= _library.LONGEST_SIDE and 1 <= height <= _library.LONGEST_SIDE):
        raise ValueError(f"{width} x {height} pixels are no size; give 1 to {_library.LONGEST_SIDE} on each side")
    if picture.dtype != _WORD and _is_packed(picture):
        return picture
    copy = np.empty((height, width, 4), _BYTE if picture.dtype == _BYTE else _FLOAT)
    copy[..., 3] = 255 if picture.dtype == _BYTE else 1
    if picture.dtype == _WORD:
        np.divide(picture, _WORD_WHITE, out=copy[..., :channels], dtype=_FLOAT)
    else:
        copy[..., :channels] = picture
    return copy


def _is_packed(picture: Picture) -> bool:
    """Whether pixels of four channels lie side by side, and rows apart."""
    height, width, channels = picture.shape
    pixel = 4 * picture.itemsize
    if channels != 4 or picture.strides[2] != picture.itemsize or not picture.flags.aligned:
        return False
    return (width < 2 or picture.strides[1] == pixel) and (height < 2 or abs(picture.strides[0]) >= pixel * width)


def _as_words(floats: npt.NDArray[np.float32]) -> npt.NDArray[np.uint16]:
    """Rounded, what lies outside 0..1 cut off."""
    np.clip(floats, 0, 1, out=floats)
    floats *= _WORD_WHITE
    return np.rint(floats, out=floats).astype(_WORD)
