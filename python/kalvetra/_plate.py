"""Pictures of the bare screen that frames are keyed against."""

from __future__ import annotations

import ctypes
from typing import Callable, List

from . import _library


class Plate:
    """The bare screen of a clip, from fit_plate, shot_plate or clean_plate: to be given to key for each of its frames.

    It does not change: threads may share it.
    """

    def __init__(self, make: Callable[..., int], *arguments: object) -> None:
        handle = ctypes.c_void_p()
        make(*arguments, ctypes.byref(handle))
        self.handle = handle
        self._facts = _library.plate_facts_of(handle).contents

    def __del__(self) -> None:
        if getattr(self, "handle", None):
            _library.plate_free(self.handle)

    @property
    def covered(self) -> float:
        """The share of the picture that was seen to be bare screen, 0..1."""
        return float(self._facts.covered)

    @property
    def sure(self) -> bool:
        """Whether it is good to key against; where it is not, frames are keyed against the keyer's own estimate."""
        return bool(self._facts.sure)

    @property
    def locked(self) -> bool:
        """Of shot_plate: whether the camera stood still."""
        return bool(self._facts.locked)

    @property
    def why(self) -> str:
        """Where it is not sure, or a shot's camera moved: a sentence; otherwise ""."""
        return str(self._facts.why.decode())

    @property
    def notes(self) -> List[str]:
        """Of clean_plate: what was mended or does not quite fit."""
        return str(self._facts.notes.decode()).splitlines()

    def __repr__(self) -> str:
        return f"<Plate: {self.covered:.0%} seen, {'sure' if self.sure else 'not sure: ' + self.why}>"
