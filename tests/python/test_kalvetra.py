"""The Python module on drawn pictures."""

import copy
import os
import pickle
import re
import subprocess
import sys
import tempfile
import threading
import time
import unittest
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from unittest import mock

import kalvetra
import numpy as np

GREEN = {"key-color": (40, 150, 70)}


def screen(height=54, width=96):
    """An unevenly lit green screen with a patch of skin and a white one."""
    rng = np.random.default_rng(1)
    picture = np.empty((height, width, 3), np.uint8)
    picture[...] = (40, 150, 70)
    picture[..., 1] -= np.linspace(0, 40, width).astype(np.uint8)
    picture[10:30, 20:50] = (205, 150, 125)
    picture[30:40, 40:60] = 235
    return picture + rng.integers(0, 4, picture.shape, np.uint8)


def fine_screen():
    """The same in floats, between the levels of bytes, with white that is brighter than 1."""
    picture = screen() / np.float32(255) + np.random.default_rng(2).random((54, 96, 3), np.float32) / 300
    picture[32:38, 42:58] = 1.75
    return picture


class Keying(unittest.TestCase):
    def test_clears_the_screen_and_keeps_the_subject(self):
        keyed = kalvetra.key(screen(), GREEN)
        self.assertEqual((keyed.shape, keyed.dtype), ((54, 96, 4), np.uint8))
        self.assertEqual(keyed[0, 0, 3], 0)
        np.testing.assert_allclose(keyed[35, 45, :3].astype(int), screen()[35, 45], atol=2)
        self.assertEqual(keyed[20, 30, 3], 255)
        matte = kalvetra.key(screen(), {**GREEN, "view": "matte"})
        np.testing.assert_array_equal(matte[..., 0], keyed[..., 3])
        source = kalvetra.key(screen(), {"view": "source"})
        np.testing.assert_array_equal(source, np.dstack([screen(), np.full((54, 96), 255, np.uint8)]))

    def test_takes_arrays_of_any_strides(self):
        rgba = np.dstack([screen(), np.linspace(255, 0, 54 * 96).astype(np.uint8).reshape(54, 96)])
        expected = kalvetra.key(rgba, GREEN)
        wide = np.zeros((54, 200, 4), np.uint8)
        wide[:, 7:103] = rgba
        planes = np.ascontiguousarray(rgba.transpose(2, 0, 1)).transpose(1, 2, 0)
        frozen = rgba.copy()
        frozen.flags.writeable = False
        for same in wide[:, 7:103], planes, np.asfortranarray(rgba), rgba[::-1].copy()[::-1], frozen, \
                rgba[:, ::-1].copy()[:, ::-1], rgba[..., ::-1].copy()[..., ::-1], np.repeat(rgba, 2, 0)[::2]:
            np.testing.assert_array_equal(kalvetra.key(same, GREEN), expected)
        opaque = np.dstack([screen(), np.full((54, 96), 255, np.uint8)])
        np.testing.assert_array_equal(kalvetra.key(screen()[..., ::-1][..., ::-1], GREEN), kalvetra.key(opaque, GREEN))
        row = np.broadcast_to(rgba[:1, :1], (4, 96, 4))  # strides of 0
        np.testing.assert_array_equal(kalvetra.key(row, GREEN), kalvetra.key(row.copy(), GREEN))
        np.testing.assert_array_equal(kalvetra.key(rgba[5:6, :1], GREEN), kalvetra.key(rgba[5:6, :1].copy(), GREEN))

    def test_options_reach_the_library(self):
        expected = kalvetra.key(screen(), GREEN)
        for level in kalvetra.cpu_levels():
            np.testing.assert_array_equal(kalvetra.key(screen(), GREEN, cpu=level, threads=2), expected)
        multiplied = kalvetra.key(screen(), GREEN, premultiplied=True)
        factor = expected[..., 3:].astype(np.uint16)
        np.testing.assert_array_equal(multiplied[..., :3], expected[..., :3] * factor // 255)
        by_fields = kalvetra.key(screen(), GREEN, fields=True)
        np.testing.assert_array_equal(by_fields[::2], kalvetra.key(screen()[::2], GREEN))
        moving = kalvetra.Settings.from_json(
            '{"look": 1, "settings": {"key-color": "#289646", "clip-black": [[0, 0], [10, 50]]}}')
        self.assertEqual((moving["clip-black"], moving.at(5)["clip-black"]), (0, 25))
        np.testing.assert_array_equal(kalvetra.key(screen(), moving, frame=5),
                                      kalvetra.key(screen(), {**GREEN, "clip-black": 25}))

    def test_threads_key_side_by_side(self):
        settings = kalvetra.Settings(GREEN)
        with ThreadPoolExecutor(8) as pool:
            results = list(pool.map(lambda _: kalvetra.key(screen(), settings, threads=1), range(40)))
        for result in results:
            np.testing.assert_array_equal(result, results[0])

    def test_settings_that_change_meanwhile_are_keyed_with_as_they_were(self):
        settings = kalvetra.Settings(GREEN)
        expected = kalvetra.key(screen(), settings)
        render = kalvetra._library.render

        def changed_meanwhile(*arguments):  # as by another thread, when the call has begun
            settings["view"] = "source"
            return render(*arguments)

        with mock.patch.object(kalvetra._library, "render", changed_meanwhile):
            np.testing.assert_array_equal(kalvetra.key(screen(), settings), expected)

    def test_no_other_thread_runs_while_settings_are_read(self):
        keys = [[i, i % 9] for i in range(50000)]
        settings = kalvetra.Settings.from_json(f'{{"look": 1, "settings": {{"shadow": {keys}}}}}')
        turns, done = [0], threading.Event()

        def take_turns():
            while not done.is_set():
                turns[0] += 1
                time.sleep(0)

        usual = sys.getswitchinterval()
        with ThreadPoolExecutor(1) as pool:
            sys.setswitchinterval(60)  # only what releases the interpreter's lock lets the other thread run
            try:
                pool.submit(take_turns)
                while not turns[0]:
                    time.sleep(0.001)
                before = turns[0]
                settings.to_json()
                after = turns[0]
            finally:
                sys.setswitchinterval(usual)
                done.set()
        self.assertEqual(before, after)

    def test_more_threads_than_the_machine_has_print_nothing(self):
        program = "import kalvetra, numpy; kalvetra.key(numpy.zeros((64, 64, 3), 'u1'), {}, threads=1024)"
        ran = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True)
        self.assertEqual((ran.stdout, ran.stderr, ran.returncode), ("", "", 0))

    def test_plate_and_status(self):
        plate, estimated = kalvetra.plate(screen(), GREEN)
        self.assertTrue(estimated)
        self.assertLess(plate[20, 30, 0], 80)  # green where the skin was
        self.assertFalse(kalvetra.plate(screen(), {**GREEN, "smooth-bg": False})[1])
        picture, counts = kalvetra.status(screen(), GREEN)
        self.assertEqual(counts.clear, np.count_nonzero(kalvetra.key(screen(), GREEN)[..., 3] == 0))
        self.assertEqual(sum(counts), 54 * 96)
        self.assertEqual(tuple(picture[0, 0]), (0, 0, 0, 255))

    def test_plates(self):
        pictures = [screen()] * 3
        fitted = kalvetra.fit_plate(pictures, GREEN, numbers=(0, 5, 9))
        self.assertTrue(fitted.sure, fitted.why)
        keyed = kalvetra.key(pictures[0], GREEN, against=fitted, frame=5)
        self.assertLess(keyed[0, 0, 3], 3)
        self.assertEqual(keyed[20, 30, 3], 255)
        self.assertTrue(np.array_equal(keyed, kalvetra.key(pictures[0], GREEN, against=fitted, threads=1, cpu="scalar")))
        self.assertIn("seen", repr(kalvetra.shot_plate(pictures, GREEN)))
        shown, is_plate = kalvetra.plate(pictures[0], {**GREEN, "plate": "fit"})
        self.assertTrue(is_plate)
        self.assertLess(shown[20, 30, 0], 80)
        with self.assertRaisesRegex(ValueError, "the clean plate "):
            kalvetra.clean_plate(np.full_like(screen(), 128), pictures, GREEN)
        with self.assertRaisesRegex(ValueError, "plate is NULL"):
            kalvetra.key(pictures[0], {**GREEN, "plate": "shot"})
        with self.assertRaisesRegex(ValueError, "1 numbers for 3 pictures"):
            kalvetra.fit_plate(pictures, GREEN, numbers=[1])

    def test_refuses_what_is_no_picture(self):
        for wrong, error in ((screen().astype(float), TypeError), ([[1]], TypeError), (screen()[..., 0], ValueError),
                             (screen()[..., :2], ValueError), (screen()[:0], ValueError)):
            with self.assertRaises(error):
                kalvetra.key(wrong, GREEN)
        with self.assertRaisesRegex(TypeError, "a result is an array of uint8, uint16 or float32, not float64"):
            kalvetra.key(screen(), GREEN, dtype=float)
        with self.assertRaisesRegex(ValueError, "give one of scalar"):
            kalvetra.key(screen(), GREEN, cpu="fast")

    def test_refuses_what_c_would_cut_short(self):
        for options in {"threads": 2**32 + 1}, {"threads": -1}, {"frame": 2**64 + 5}, {"frame": -1}, \
                {"cpu": "scalar\0"}:
            with self.assertRaises(ValueError):
                kalvetra.key(screen(), GREEN, **options)
        with self.assertRaisesRegex(ValueError, "65536 x 1 pixels"):
            kalvetra.key(np.zeros((1, 65536, 3), np.uint8), GREEN)
        settings = kalvetra.Settings(GREEN)
        for call in (lambda: settings.at(2**64), lambda: settings.update({"view": "matte\0"}),
                     lambda: settings.update({"view\0": "matte"}), lambda: kalvetra.propose(screen(), "#289646\0"),
                     lambda: kalvetra.Settings.from_json(settings.to_json() + "\0")):
            with self.assertRaises(ValueError):
                call()
        by_fields = kalvetra.key(screen(), GREEN, fields=True)
        for truth in np.bool_(True), 2**32:
            np.testing.assert_array_equal(kalvetra.key(screen(), GREEN, fields=truth), by_fields)


class FullDepth(unittest.TestCase):
    def test_results_have_the_pictures_dtype_or_another(self):
        words = (fine_screen().clip(0, 1) * 65535).astype(np.uint16)
        for picture in screen(), words, fine_screen():
            floats = kalvetra.key(picture, GREEN, dtype=np.float32)
            rounded = {np.uint8: np.floor(floats.clip(0, 1) * np.float32(255) + np.float32(0.5)),
                       np.uint16: np.rint(floats.clip(0, 1) * np.float32(65535)), np.float32: floats}
            self.assertEqual(kalvetra.key(picture, GREEN).dtype, picture.dtype)
            for dtype, expected in rounded.items():
                result = kalvetra.key(picture, GREEN, dtype=dtype)
                self.assertEqual(result.dtype, dtype)
                if not picture.dtype == dtype == np.uint8:  # the exact keyer's
                    np.testing.assert_array_equal(result, expected)
            self.assertLess(floats[0, 0, 3], 0.05)
            self.assertEqual(floats[35, 50, 3], 1)
        self.assertGreater(len(np.unique(kalvetra.key(fine_screen(), GREEN)[..., 3])), 256)
        self.assertGreater(kalvetra.deep_look(), 0)

    def test_what_is_left_alone_is_exact(self):
        every = np.arange(65536, dtype=np.uint16).reshape(128, 512)
        words = np.dstack([every, every[::-1], every[:, ::-1], every.T.reshape(128, 512)])
        np.testing.assert_array_equal(kalvetra.key(words, {"view": "source"}), words)
        picture = fine_screen()
        keyed = kalvetra.key(picture, GREEN)
        np.testing.assert_array_equal(keyed[32:38, 42:58], np.float32([[[1.75, 1.75, 1.75, 1]]] * 6).repeat(16, 1))
        subject = kalvetra.key(picture, {**GREEN, "despill-skin": 0, "despill-white": 0})[12:28, 22:48]
        self.assertGreater(np.mean(subject[..., :3] == picture[12:28, 22:48]), 0.9)

    def test_takes_arrays_of_any_strides_and_threads(self):
        rgba = np.dstack([fine_screen(), np.linspace(1, 0, 54 * 96, dtype=np.float32).reshape(54, 96)])
        expected = kalvetra.key(rgba, GREEN, threads=1)
        unaligned = np.frombuffer(b"x" + rgba.tobytes(), np.uint8)[1:].view(np.float32).reshape(rgba.shape)
        for same in rgba[::-1].copy()[::-1], np.asfortranarray(rgba), rgba[:, ::-1].copy()[:, ::-1], unaligned, \
                np.repeat(rgba, 2, 0)[::2]:
            for threads in 2, 7:
                np.testing.assert_array_equal(kalvetra.key(same, GREEN, threads=threads), expected)
        opaque = np.dstack([fine_screen(), np.ones((54, 96), np.float32)])
        np.testing.assert_array_equal(kalvetra.key(fine_screen(), GREEN), kalvetra.key(opaque, GREEN))
        np.testing.assert_array_equal(kalvetra.key(rgba[5:6], GREEN), kalvetra.key(rgba[5:6].copy(), GREEN))

    def test_takes_what_is_no_number_as_0_and_infinities_as_65504(self):
        picture = fine_screen()
        finite = picture.copy()
        for x, (value, stands_for) in enumerate(((np.nan, 0), (np.inf, 65504), (-np.inf, -65504))):
            picture[20, x], finite[20, x] = value, stands_for
        np.testing.assert_array_equal(kalvetra.key(picture, GREEN), kalvetra.key(finite, GREEN))
        self.assertTrue(np.isfinite(kalvetra.key(picture, GREEN)).all())

    def test_plates_status_and_findings(self):
        picture, bytes_ = fine_screen(), np.rint(fine_screen().clip(0, 1) * 255).astype(np.uint8)
        plate, estimated = kalvetra.plate(picture, GREEN)
        self.assertEqual((plate.dtype, estimated), (np.float32, True))
        np.testing.assert_allclose(plate[2, 2, :3], picture[2, 2], atol=0.02)
        matte, counts = kalvetra.status(picture, GREEN)
        alpha = kalvetra.key(picture, GREEN, dtype=np.uint8)[..., 3]
        self.assertEqual((matte.dtype, counts.clear), (np.float32, np.count_nonzero(alpha == 0)))
        self.assertEqual(kalvetra.pick([picture]), kalvetra.pick(bytes_))
        for fitted in kalvetra.fit_plate([picture, bytes_], GREEN), kalvetra.fit_plate(bytes_, GREEN):
            for given in picture, bytes_:
                keyed = kalvetra.key(given, GREEN, against=fitted, dtype=np.float32)
                self.assertLess(keyed[0, 0, 3], 0.02)
                self.assertEqual(keyed[35, 50, 3], 1)


class Finding(unittest.TestCase):
    def test_picks_the_screens_colour(self):
        found = kalvetra.pick([screen(), screen()])
        red, green, blue = (int(found.color[i:i + 2], 16) for i in (1, 3, 5))
        self.assertLess(max(abs(red - 41), abs(green - 131), abs(blue - 71)), 10)
        self.assertIn("green", found.reason)
        self.assertEqual(found, kalvetra.pick(screen()))
        with self.assertRaises(kalvetra.NoBackdropError):
            kalvetra.pick(np.zeros((9, 9, 3), np.uint8))

    def test_proposes_settings_with_reasons(self):
        found = kalvetra.propose([screen()], chroma="4:2:0", threads=1)
        self.assertEqual(found["key-color"], kalvetra.pick(screen()).color)
        self.assertTrue(found.reasons["clip-black"])
        self.assertNotIn("view", found.reasons)
        self.assertIsInstance(found.left_out, list)
        for same in copy.copy(found), copy.deepcopy(found), pickle.loads(pickle.dumps(found)), kalvetra.Settings(found):
            self.assertEqual((same.reasons, same.left_out), (found.reasons, found.left_out))
            same["clip-black"] = 3
            self.assertEqual(same.reasons.keys(), found.reasons.keys() - {"clip-black"})
        self.assertEqual(kalvetra.propose(screen(), "#289646")["key-color"], "#289646")
        with self.assertRaisesRegex(ValueError, "4:2:2"):
            kalvetra.propose(screen(), chroma="4:1:0")


class TheSettings(unittest.TestCase):
    def test_are_a_mapping_with_every_parameter(self):
        settings = kalvetra.Settings(GREEN)
        self.assertEqual(list(settings), [row.slug for row in kalvetra.parameters()])
        self.assertEqual(settings["key-color"], "#289646")
        self.assertEqual(settings["smooth-bg"], True)
        settings["smooth-bg"] = np.bool_(False)
        self.assertEqual(settings["smooth-bg"], False)
        settings["smooth-bg"] = np.bool_(True)
        settings["screen-gain"] = np.int64(40)
        self.assertEqual(settings["screen-gain"], 40)
        self.assertEqual(repr(settings), "Settings({'key-color': '#289646', 'screen-gain': 40})")
        self.assertNotIn("no-such", settings)
        for slug, value, error in (("screen-gain", 101, ValueError), ("screen-gain", True, ValueError),
                                   ("no-such", 1, ValueError), ("shadow", 1.5, TypeError)):
            with self.assertRaises(error):
                settings[slug] = value

    def test_go_through_presets_copies_and_pickles(self):
        settings = kalvetra.Settings.from_json('{"look": 1, "settings": {"clip-black": [[0, 0], [10, 50]]}}')
        settings.update({**GREEN, "edge-blur": True})
        self.assertEqual(settings, dict(settings))
        self.assertNotEqual(settings, kalvetra.Settings(dict(settings)))  # which has no keyframes
        with tempfile.TemporaryDirectory() as folder:
            file = Path(folder) / "a.json"
            settings.save(file)
            self.assertEqual(kalvetra.Settings.load(file), settings)
            file.write_text('{"look": 1, "settings": {"shadow": 101}}')
            with self.assertRaisesRegex(ValueError, r"a\.json.*line 1.*0\.\.100"):
                kalvetra.Settings.load(file)
        for other in pickle.loads(pickle.dumps(settings)), copy.copy(settings), copy.deepcopy(settings), \
                kalvetra.Settings(settings):
            self.assertEqual(other, settings)
            other["edge-blur"] = False
            self.assertEqual(settings["edge-blur"], True)

    def test_parameters_describe_themselves(self):
        rows = {row.slug: row for row in kalvetra.parameters()}
        gain = rows["screen-gain"]
        self.assertEqual((gain.kind, gain.default, gain.minimum, gain.maximum), ("slider", 33, 0, 100))
        self.assertEqual(rows["blur-value"].depends_on, "edge-blur")
        self.assertIsNone(rows["shadow"].depends_on)


class TheModule(unittest.TestCase):
    def test_manuals_example_runs(self):
        page = Path(os.environ["KALVETRA_SOURCE"], "docs", "python.md").read_text(encoding="utf-8")
        with tempfile.TemporaryDirectory() as folder:
            program = "\n".join(re.findall(r"```python\n(.*?)```", page, re.DOTALL))
            ran = subprocess.run([sys.executable, "-c", program], cwd=folder, capture_output=True, text=True)
            self.assertEqual((ran.stderr, ran.returncode), ("", 0))
            self.assertEqual(ran.stdout, "".join(re.findall(r"```text\n(.*?)```", page, re.DOTALL)))

    def test_without_its_library_says_what_to_do(self):
        ran = subprocess.run([sys.executable, "-c", "import kalvetra"], capture_output=True, text=True,
                             env={**os.environ, "KALVETRA_LIBRARY": "/no/such.so"})
        self.assertIn("ImportError: /no/such.so cannot be loaded", ran.stderr)


if __name__ == "__main__":
    unittest.main()
