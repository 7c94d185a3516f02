"""The kinds of drawn scenes: each is a mild studio picture in which one thing is hard."""

from dataclasses import dataclass, field

from .people import GOLD_HAIR, NEAR_GREEN_CLOTH, PLAIN_CLOTH, YELLOW_CLOTH, Look


@dataclass(frozen=True)
class Recipe:
    about: str
    look: Look = field(default_factory=Look)
    screen: str = "green"
    gradient: float = 0.12  # share of the coded level that the dark side of the screen lacks
    gradient_width: float = 1.6  # over how many picture heights the light falls
    folds: float = 0.0  # change of light by the folds of the screen, about
    rim: float = 0.18  # the screen's light on the subject near its outline, over the subject's own light
    wash: float = 0.03  # the same everywhere
    overlay: str = ""  # veil, smoke or glass before everything
    hand: bool = False  # a hand in fast motion, mixed in linear light as in a camera
    shadow: bool = False
    softness: float = 0.8  # the lens: sigma in pixels
    noise: float = 1.2  # of the sensor: standard deviation in levels in the middle of the range
    coder: int = 0  # H.264 4:2:0 at this quality (crf)
    webcam: bool = False
    # of clips
    frames: int = 1
    sway: float = 0.0  # turns of the subject's sway over the clip
    pan: float = 0.0  # picture heights that the camera turns aside over the clip
    dim: float = 0.0  # share of the coded level lost by the end of the clip


LONG_HAIR = Look(strands=1300, length=0.24)
KINDS = {
    "hair": Recipe("dark and brown hair in single strands", LONG_HAIR),
    "gold_hair": Recipe("blond and golden hair in single strands", Look(hair=tuple(GOLD_HAIR), strands=1300, length=0.22)),
    "veil": Recipe("a thin white veil with folds", overlay="veil", rim=0.25),
    "smoke": Recipe("smoke beside and before the subject", overlay="smoke"),
    "glass": Recipe("a glass jar", overlay="glass"),
    "motion": Recipe("a hand in fast motion, mixed in linear light", Look(raised_arm=False), hand=True),
    "near_green": Recipe("teal, olive and mint cloth", Look(cloth=tuple(NEAR_GREEN_CLOTH))),
    "yellow_cloth": Recipe("yellow cloth", Look(cloth=tuple(YELLOW_CLOTH))),
    "spill_light": Recipe("a pale subject near the screen", Look(cloth=(PLAIN_CLOTH[0], PLAIN_CLOTH[4])), rim=0.6, wash=0.12),
    "spill_heavy": Recipe("a subject before the screen, bathed in its light", LONG_HAIR, rim=1.8, wash=0.70),
    "gradient": Recipe("one side of the screen at three quarters of the light", gradient=0.27),
    "gradient_strong": Recipe("one half of the screen at two fifths of the other", LONG_HAIR, gradient=0.6, gradient_width=0.9),
    "folds": Recipe("cloth that hangs in folds", folds=0.22),
    "shadow": Recipe("the subject's shadow on the screen", shadow=True),
    "noise": Recipe("a dark, noisy sensor", LONG_HAIR, noise=5.5),
    "h264": Recipe("a camera's H.264, 4:2:0", LONG_HAIR, coder=23),
    "h264_low": Recipe("H.264 at a low bit rate", Look(strands=300, length=0.15), coder=31, noise=2.0),
    "webcam": Recipe("a web camera: small, noisy, Motion JPEG, enlarged", Look(strands=300, length=0.15), webcam=True, noise=5.0, rim=0.4),
    "blue": Recipe("a blue screen", Look(cloth=tuple(PLAIN_CLOTH), strands=1300, length=0.2), screen="blue"),
    "everyday": Recipe("a little of everything, H.264", Look(strands=400, length=0.2), gradient=0.35, folds=0.10, rim=0.4, wash=0.08, noise=2.0, coder=22),
}  # fmt: skip

CLIPS = {
    "clip_locked": Recipe("a locked camera, the subject sways, H.264", LONG_HAIR, coder=23, noise=1.5, frames=24, sway=0.6),
    "clip_pan": Recipe("the camera pans over a graded screen, H.264", LONG_HAIR, gradient=0.3, coder=23, noise=1.5, frames=24, sway=0.2, pan=0.25),
    "clip_light": Recipe("the light falls by three tenths, H.264", Look(strands=300, length=0.15), coder=23, noise=1.5, frames=24, sway=0.3, dim=0.3),
    "clip_low": Recipe("folds, noise and a low bit rate", Look(strands=300, length=0.15), folds=0.12, coder=30, noise=3.0, frames=24, sway=0.5),
}  # fmt: skip
