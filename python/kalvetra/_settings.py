"""Settings, presets and the table of parameters."""

from __future__ import annotations

import os
from numbers import Integral
from typing import Callable, Dict, Iterator, List, Mapping, MutableMapping, NamedTuple, Optional, Tuple, Union

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
    if isinstance(value, bool):
        return b"on" if value else b"off"
    if isinstance(value, tuple):
        return ",".join(map(str, value)).encode()
    if isinstance(value, (Integral, str)):
        return str(value).encode()
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

    A preset may hold keyframes: settings[slug] is then the value at frame 0, and at(frame) gives those of any frame.
    Raises KeyError where an unknown slug is read, and ValueError, with a sentence that says what to give, where one is set,
    for values that are none of the parameter's, and for text that is no preset.
    """

    def __init__(self, values: Mapping[str, Value] = {}) -> None:
        self.handle = _library.settings_new()
        if not self.handle:
            raise MemoryError(_library.last_error())
        self.update(values)

    def __del__(self) -> None:
        if getattr(self, "handle", None):
            _library.settings_free(self.handle)

    def __getitem__(self, slug: str) -> Value:
        return self._at(slug, 0)

    def __setitem__(self, slug: str, value: Value) -> None:
        _library.settings_set(self.handle, slug.encode(), _text(value))

    def __delitem__(self, slug: str) -> None:
        raise TypeError("settings always have all parameters; set it to its default")

    def __iter__(self) -> Iterator[str]:
        return iter(_PARAMETERS)

    def __len__(self) -> int:
        return len(_PARAMETERS)

    def __repr__(self) -> str:
        changed = {slug: value for slug, value in self.items() if value != _PARAMETERS[slug].default}
        return f"Settings({changed})"

    def __reduce__(self) -> Tuple[Callable[[str], Settings], Tuple[str]]:
        return Settings.from_json, (self.to_json(),)

    def __copy__(self) -> Settings:
        copy = Settings.__new__(Settings)
        copy.handle = _library.settings_copy(self.handle)
        if not copy.handle:
            raise MemoryError(_library.last_error())
        return copy

    def _at(self, slug: str, frame: int) -> Value:
        return _value(_PARAMETERS[slug].kind, _library.settings_get(self.handle, slug.encode(), frame))

    def at(self, frame: int) -> Dict[str, Value]:
        """All values at a frame, counted from 0."""
        return {slug: self._at(slug, frame) for slug in self}

    @classmethod
    def from_json(cls, text: str) -> Settings:
        """The settings of a preset; what it leaves out has its default."""
        settings = cls()
        _library.settings_read_preset(settings.handle, text.encode())
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
        reasons = {slug: _library.settings_reason(self.handle, slug.encode()) for slug in self}
        return {slug: reason for slug, reason in reasons.items() if reason}

    @property
    def left_out(self) -> List[str]:
        """What propose found and left out because it would do harm, a sentence each."""
        return _library.settings_reason(self.handle, b"left-out").splitlines()
