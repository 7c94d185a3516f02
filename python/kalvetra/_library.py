"""The C interface of kalvetra.h, as ctypes sees it. Its documentation is there."""

from __future__ import annotations

import ctypes
import operator
import os
import sys
from ctypes import POINTER, c_char_p, c_double, c_int, c_int64, c_size_t, c_ssize_t, c_ubyte, c_void_p
from typing import Any, Callable, Type

RGBA8, RGBAF32 = 3, 4
LONGEST_SIDE = 65535
MOST_THREADS = 1024
LAST_FRAME = 2**63 - 1


class Frame(ctypes.Structure):
    _fields_ = [("data", c_void_p), ("stride", c_ssize_t), ("width", c_int), ("height", c_int), ("format", c_int),
                ("premultiplied", c_int)]


class Options(ctypes.Structure):
    _fields_ = [("size", c_size_t), ("threads", c_int), ("fields", c_int), ("frame", c_int64), ("chroma", c_int),
                ("cpu", c_char_p), ("plate", c_void_p)]


class Parameter(ctypes.Structure):
    _fields_ = [("id", c_int), ("kind", c_int), ("slug", c_char_p), ("name", c_char_p), ("group", c_char_p),
                ("help", c_char_p), ("values", c_char_p), ("default_value", c_char_p), ("minimum", c_int),
                ("maximum", c_int), ("depends_on", c_char_p)]


class Status(ctypes.Structure):
    _fields_ = [("clear", c_int64), ("almost_clear", c_int64), ("partial", c_int64), ("almost_opaque", c_int64),
                ("opaque", c_int64)]


class Backdrop(ctypes.Structure):
    _fields_ = [("red", c_ubyte), ("green", c_ubyte), ("blue", c_ubyte), ("confidence", c_double),
                ("unevenness", c_double), ("reason", ctypes.c_char * 256)]


class PlateFacts(ctypes.Structure):
    _fields_ = [("covered", c_double), ("sure", c_int), ("locked", c_int), ("why", c_char_p), ("notes", c_char_p)]


class NoBackdropError(ValueError):
    """The frames show no green screen."""


def _load(kind: Type[ctypes.CDLL]) -> ctypes.CDLL:
    name = "libkalvetra.0.dylib" if sys.platform == "darwin" else "libkalvetra.so.0"
    file = os.environ.get("KALVETRA_LIBRARY", name)
    try:
        return kind(file)
    except OSError as error:
        raise ImportError(f"{file} cannot be loaded ({error}); install libkalvetra0, or name the library in the "
                          "environment variable KALVETRA_LIBRARY") from None


_library = _load(ctypes.CDLL)  # releases the interpreter's lock while it works
_holding = _load(ctypes.PyDLL)  # keeps it: a settings object may not be read while another thread changes it
_EXCEPTIONS = {-5: NoBackdropError, -6: MemoryError, -7: RuntimeError}  # the rest: ValueError


def _checked(answer: int, _function: object, _arguments: object) -> int:
    if answer < 0:
        raise _EXCEPTIONS.get(answer, ValueError)(last_error())
    return answer


def _function(name: str, result: object, *arguments: object, checked: bool = False) -> Any:
    function = getattr(_holding if name.startswith("settings_") else _library, "kalvetra_" + name)
    function.restype, function.argtypes = result, arguments
    if checked:
        function.errcheck = _checked
    return function


def _call(name: str, *arguments: object) -> Any:
    return _function(name, c_int, *arguments, checked=True)


version = _function("version", c_char_p)
look = _function("look", c_int)
deep_look = _function("deep_look", c_int)
cpu_level = _function("cpu_level", c_char_p, c_int)
parameter_at = _function("parameter_at", POINTER(Parameter), c_int)

settings_new = _function("settings_new", c_void_p)
settings_copy = _function("settings_copy", c_void_p, c_void_p)
settings_free = _function("settings_free", None, c_void_p)
settings_set = _call("settings_set", c_void_p, c_char_p, c_char_p)
settings_read_preset = _call("settings_read_preset", c_void_p, c_char_p)

_rendering = (c_void_p, POINTER(Frame), POINTER(Frame), POINTER(Options))
render = _call("render", *_rendering)
render_plate = _call("render_plate", *_rendering)
render_status = _call("render_status", *_rendering, POINTER(Status))
pick = _call("pick", POINTER(Frame), c_size_t, POINTER(Backdrop))
_plate_of = (c_void_p, POINTER(Frame), POINTER(c_int64), c_size_t, POINTER(Options), POINTER(c_void_p))
plate_fit = _call("plate_fit", *_plate_of)
plate_shot = _call("plate_shot", *_plate_of)
plate_clean = _call("plate_clean", c_void_p, POINTER(Frame), c_size_t, POINTER(Frame), c_size_t, POINTER(Options),
                    POINTER(c_void_p))
plate_free = _function("plate_free", None, c_void_p)
plate_facts_of = _function("plate_facts_of", POINTER(PlateFacts), c_void_p)
propose = _call("propose", POINTER(Frame), c_size_t, c_char_p, POINTER(Options), c_void_p)

_last_error = _function("last_error", c_char_p)


def last_error() -> str:
    return str(_last_error().decode())


def text(given: str) -> bytes:
    """As the library takes it, for which it would end at a NUL."""
    if "\0" in given:
        raise ValueError("there is a NUL character in a text; leave it out")
    return given.encode()


def number(name: str, given: int, most: int) -> int:
    """As the library takes it; ctypes would cut off what does not fit."""
    if not 0 <= (whole := operator.index(given)) <= most:
        raise ValueError(f"{name} cannot be {whole}; give 0..{most}")
    return whole


def _text(name: str, *arguments: object) -> Callable[..., str]:
    """A function that writes into a buffer as snprintf does, as one that answers the text."""
    write = _call(name, *arguments, c_char_p, c_size_t)

    def read(*given: object) -> str:
        buffer = ctypes.create_string_buffer(64)
        while (length := write(*given, buffer, len(buffer))) >= len(buffer):  # another thread may make it longer
            buffer = ctypes.create_string_buffer(length + 1)
        return buffer.value.decode()

    return read


settings_get = _text("settings_get", c_void_p, c_char_p, c_int64)
settings_write_preset = _text("settings_write_preset", c_void_p)
settings_reason = _text("settings_reason", c_void_p, c_char_p)
