"""Settings, presets and the table of parameters."""

from __future__ import annotations

import os
from numbers import Integral
from typing import Callable, Dict, Iterator, List, Mapping, MutableMapping, NamedTuple, Optional, Tuple, Union

import numpy as np

from . import _library

Value = Union[bool, int, str, Tuple[int, int, int]]
_KINDS = {1: "popup", 2: "color", 3: "toggle", 4: "slider"}


class Parameter(NamedTuple):
    """One row of the table of parameters."""

    id: int  #: fixed for ever
    kind: str  #: "popup", "color", "toggle" or "slider"
    slug: str  #: its name in settings: "clip-black"
    name: str  #: and for people, in English: "Clip Black"
    group: str  #: the names of the groups around it, outermost first: "Basic: Edge Blur Group"
    help: str  #: one sentence
    values: str  #: "0..100", "on, off", "source, matte, result", "#rrggbb, r,g,b (0..255)"
    default: Value
    minimum: int  #: of a slider
    maximum: int
    depends_on: Optional[str]  #: slug of the toggle that must be on for it to count


def _value(kind: str, text: str) -> Value:
    if kind == "toggle":
        return text == "on"
    return int(text) if kind == "slider" else text


def _text(value: Value) -> bytes:
    if isinstance(value, (bool, np.bool_)):
        return b"on" if value else b"off"
    if isinstance(value, tuple):
        return _library.text(",".join(map(str, value)))
    if isinstance(value, (Integral, str)):
        return _library.text(str(value))
    raise TypeError(f"a setting is a bool, an int, a str or a tuple of three ints, not {type(value).__name__}")


def _rows() -> List[Parameter]:
    rows: List[Parameter] = []
    while row := _library.parameter_at(len(rows)):
        p = row.contents
        kind = _KINDS[p.kind]
        slug, name, group, help_, values = (text.decode() for text in (p.slug, p.name, p.group, p.help, p.values))
        default = _value(kind, p.default_value.decode())
        depends_on = None if p.depends_on is None else p.depends_on.decode()
        rows.append(Parameter(p.id, kind, slug, name, group, help_, values, default, p.minimum, p.maximum, depends_on))
    return rows


_PARAMETERS = {row.slug: row for row in _rows()}


def parameters() -> List[Parameter]:
    """All parameters, in the order in which a panel shows them."""
    return list(_PARAMETERS.values())


class Settings(MutableMapping[str, Value]):
    """The settings of one key: a mapping from the slugs of the parameters to their values.

    Toggles are bools, sliders ints, the view "source", "matte" or "result", the key colour "#rrggbb", to be set as
    (red, green, blue) as well. What is not set has its default; nothing can be deleted. The default key colour, black,
    keys nothing.

        settings = kalvetra.Settings({"key-color": "#2da54b"})
        settings["screen-gain"] = 40

    Settings(other) is a copy of other settings, keyframes included. Threads may share settings and change them: each
    call keys with a copy of them as they are when it begins.

    A preset may hold keyframes: settings[slug] is then the value at frame 0, and at(frame) gives those of any frame.
    Raises KeyError where an unknown slug is read, and ValueError, with a sentence that says what to give, where one is set,
    for values that are none of the parameter's, and for text that is no preset.
    """

    def __init__(self, values: Mapping[str, Value] = {}) -> None:
        other = values if isinstance(values, Settings) else None
        self.handle: int = _library.settings_new() if other is None else _library.settings_copy(other.handle)
        if not self.handle:
            raise MemoryError(_library.last_error())
        self._reasons: Dict[str, str] = {}
        self._left_out: List[str] = []
        if other is None:
            self.update(values)
        else:
            self._reasons, self._left_out = other.reasons, other.left_out

    def __del__(self) -> None:
        if getattr(self, "handle", None):
            _library.settings_free(self.handle)

    def __getitem__(self, slug: str) -> Value:
        return self._at(slug, 0)

    def __setitem__(self, slug: str, value: Value) -> None:
        _library.settings_set(self.handle, _library.text(slug), _text(value))
        self._reasons.pop(slug, None)

    def __delitem__(self, slug: str) -> None:
        raise TypeError("settings always have all parameters; set it to its default")

    def __iter__(self) -> Iterator[str]:
        return iter(_PARAMETERS)

    def __len__(self) -> int:
        return len(_PARAMETERS)

    def __repr__(self) -> str:
        changed = {slug: value for slug, value in self.items() if value != _PARAMETERS[slug].default}
        return f"Settings({changed})"

    def __eq__(self, other: object) -> bool:
        if isinstance(other, Settings):
            return self.to_json() == other.to_json()  # with its keyframes
        return super().__eq__(other)

    def __reduce__(self) -> Tuple[Callable[[str], Settings], Tuple[str], Dict[str, object]]:
        state: Dict[str, object] = {"_reasons": self.reasons, "_left_out": self.left_out}
        return Settings.from_json, (self.to_json(),), state

    def _at(self, slug: str, frame: int) -> Value:
        return _value(_PARAMETERS[slug].kind, _library.settings_get(self.handle, _library.text(slug), frame))

    def at(self, frame: int) -> Dict[str, Value]:
        """All values at a frame, counted from 0."""
        counted = _library.number("frame", frame, _library.LAST_FRAME)
        return {slug: self._at(slug, counted) for slug in self}

    @classmethod
    def from_json(cls, text: str) -> Settings:
        """The settings of a preset; what it leaves out has its default."""
        settings = cls()
        _library.settings_read_preset(settings.handle, _library.text(text))
        return settings

    def to_json(self) -> str:
        """A preset with every parameter."""
        return _library.settings_write_preset(self.handle)

    @classmethod
    def load(cls, file: Union[str, os.PathLike[str]]) -> Settings:
        """The settings of a preset file. Raises OSError where it cannot be read."""
        with open(file, encoding="utf-8") as preset:
            try:
                return cls.from_json(preset.read())
            except ValueError as error:
                raise ValueError(f"{os.fspath(file)}: {error}") from None

    def save(self, file: Union[str, os.PathLike[str]]) -> None:
        """Writes a preset file. Raises OSError where it cannot be written."""
        with open(file, "w", encoding="utf-8") as preset:
            preset.write(self.to_json())

    @property
    def reasons(self) -> Dict[str, str]:
        """Why propose chose which value, a sentence for each parameter that still has it; empty for other settings."""
        return dict(self._reasons)

    @property
    def left_out(self) -> List[str]:
        """What propose found and left out because it would do harm, a sentence each."""
        return list(self._left_out)

    def _take_reasons(self) -> None:
        """Keeps what the library says of proposed settings: pickles take it along, its presets do not hold it."""
        reasons = {slug: _library.settings_reason(self.handle, slug.encode()) for slug in self}
        self._reasons = {slug: reason for slug, reason in reasons.items() if reason}
        self._left_out = _library.settings_reason(self.handle, b"left-out").splitlines()
