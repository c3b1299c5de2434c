"""The whole program on the emulated board: what it prints, writes and returns.

tool_cli_test.py TOOL ENGINE [unittest arguments]
"""

import concurrent.futures
import contextlib
import functools
import json
import os
import re
import shutil
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest
import zlib
from pathlib import Path

TOOL = Path(sys.argv[1]).resolve()
ENGINE = Path(sys.argv[2]).resolve()
SOURCES = Path(__file__).resolve().parents[2] / "tools" / "enhance-depth"


def png(width, height, bits, channels, rows):
    """A PNG file; `rows` gives the bytes of each row."""
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    header = struct.pack(">IIBBBBB", width, height, bits, {1: 0, 3: 2}[channels], 0, 0, 0)
    pixels = b"".join(b"\0" + rows(y) for y in range(height))
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(pixels, 1)) +
            chunk(b"IEND", b""))


@functools.lru_cache
def color_png(width=64, height=48):
    def row(y):
        pixels = bytearray(3 * width)
        pixels[0::3] = bytes(x % 256 for x in range(width))
        pixels[1::3] = bytes([y % 256]) * width
        pixels[2::3] = bytes([90]) * width
        return bytes(pixels)
    return png(width, height, 8, 3, row)


@functools.lru_cache
def depth_png(width=64, height=48, offset=0):
    """A slanted wall with a hole of 4 x 4 pixels."""
    def row(y):
        values = list(range(1000 + y + offset, 1000 + y + offset + 5 * width, 5))
        if 10 <= y < 14:
            values[10:14] = [0] * 4
        return struct.pack(f">{width}H", *values)
    return png(width, height, 16, 1, row)


class Case(unittest.TestCase):
    def setUp(self):
        # In memory, where there is such a folder: the tool waits for the disk after every file.
        folder = tempfile.TemporaryDirectory(dir="/dev/shm" if os.access("/dev/shm", os.W_OK) else None)
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def run_tool(self, *arguments, **options):
        options = {"cwd": self.folder, "capture_output": True, "text": True, "timeout": 120, "check": False, **options}
        return subprocess.run([TOOL, *map(str, arguments)], **options)

    def write(self, name, data):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(data)
        return path

    def interleaved_engine(self):
        """The reference engine with colour as (H, W, 3)."""
        text = re.sub(r"\[1, 3, -1, -1\]", "[-1, -1, 3]", ENGINE.read_text())
        text = re.sub(r"(?<=rgb = )(.*)", lambda m: re.sub(r"\[1, 3, (\d+), (\d+)\]", r"[\1, \2, 3]", m[0]), text)
        return self.write("interleaved.toml", text.encode())

    def expect_failure(self, result, status, *texts):
        self.assertEqual(result.returncode, status, result.stderr)
        for text in texts:
            self.assertIn(text, result.stderr)


class RefineTest(Case):
    def setUp(self):
        super().setUp()
        self.write("color.png", color_png())
        self.write("depth.png", depth_png())

    def refine(self, *arguments, color="color.png", depth="depth.png", engine=ENGINE, output="out.png", **options):
        return self.run_tool("refine", "--engine", engine, "--color", color, "--depth", depth, "--output", output,
                             *arguments, **options)

    def test_writes_what_was_asked_for_and_says_what_it_did(self):
        result = self.refine("--confidence", "c.tif", "--preview", "p.png", "--json", "s.json")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("Refined 64 x 48 pixels", result.stdout)
        self.assertIn("99.5 % before, 100.0 % after", result.stdout)
        summary = json.loads((self.folder / "s.json").read_text())
        self.assertEqual((summary["width"], summary["height"]), (64, 48))
        self.assertGreater(summary["library_ms"], summary["network_ms"])
        self.assertGreater(summary["total_ms"], summary["library_ms"])
        self.assertAlmostEqual(summary["depth_before"]["valid_fraction"], 1 - 16 / (64 * 48))
        self.assertAlmostEqual(summary["depth_before"]["nearest_m"], 1.0)
        self.assertEqual(sorted(os.listdir(self.folder)),
                         ["c.tif", "color.png", "depth.png", "out.png", "p.png", "s.json"])
        self.assertNotIn("\033", result.stdout, "no colours in a pipe")

    def test_colours_a_terminal_unless_no_color_holds_something(self):
        for kind, value, coloured in (("xterm", "", True), ("xterm", "1", False), ("dumb", "", False)):
            terminal, standard_output = os.openpty()
            self.refine(stdout=standard_output, stderr=subprocess.PIPE, capture_output=False,
                        env={**os.environ, "TERM": kind, "NO_COLOR": value})
            os.close(standard_output)
            self.assertEqual(b"\033[1m" in os.read(terminal, 4096), coloured)
            os.close(terminal)

    def test_fails_when_its_summary_cannot_be_written(self):
        with open("/dev/full", "w", encoding="ascii") as full:
            result = self.refine(stdout=full, stderr=subprocess.PIPE, capture_output=False)
        self.expect_failure(result, 1, "standard output cannot be written")

    def test_states_metres_by_the_depth_scale_and_leaves_the_depth_alone(self):
        self.assertIn("depth before    1.00 to", self.refine().stdout)
        first = (self.folder / "out.png").read_bytes()
        first_json, scaled = (json.loads(self.refine(*scale, "--json", "-").stdout) for scale in ((), ("--depth-scale", 5000)))
        self.assertAlmostEqual(scaled["depth_after"]["median_m"], first_json["depth_after"]["median_m"] / 5)
        self.assertIn("depth before    0.20 to", self.refine("--depth-scale", 5000).stdout)
        self.assertEqual(self.refine("--depth-scale", "1e9").returncode, 0)
        self.assertEqual((self.folder / "out.png").read_bytes(), first)

    def test_reports_unusable_input_as_usage(self):
        self.write("small.png", depth_png(32, 24))
        self.expect_failure(self.refine(depth="small.png"), 2, "color.png has 64 x 48 pixels and small.png has 32 x 24",
                            "Register the depth")
        self.expect_failure(self.refine(depth="missing.png"), 2, "missing.png does not exist")
        self.expect_failure(self.refine(output="depth.png"), 2, "depth.png is read by this command")
        self.write("grey.png", png(64, 48, 8, 1, lambda y: bytes(64)))
        for color in ("color.png", "grey.png"):
            self.expect_failure(self.refine(color="depth.png", depth=color), 2, "depth.png is given as colour but is a depth "
                                f"image, and {color} is given as depth but is a colour image. Swap them.")
        self.write("wide.png", depth_png(8193, 2))
        self.expect_failure(self.refine(depth="wide.png"), 2, "wide.png has 8193 x 2 pixels; at most 8192 x 8192")
        for option, value, sentence in (
                *(("--depth-scale", scale, f"{scale} is not a number from 1 to 1e+09") for scale in
                  ("0", "nan", "inf", "5000mm", "1e10")),
                ("--depth-scale", "0.001", "0.001 would be metres per unit. Give units per metre: 1000."),
                *(("--clip", text, f"{text} is not a range in metres such as 0.3..5") for text in
                  ("1", "1..", "2..2", "5..1", "-1..2", "1..nan", "1..2..3", "1..2m")),
                *(("--intrinsics", text, f"{text} is not fx,fy,cx,cy in pixels") for text in
                  ("1,2,3", "1,2,3,4,5", "0,1,2,3", "1,2,3,x"))):
            self.expect_failure(self.refine(option, value), 2, f"enhance-depth: {option}: {sentence}")
        self.expect_failure(self.refine("--cloud", "c.ply"), 2, "--cloud requires --intrinsics")
        self.expect_failure(self.refine("--intrinsics", "50,50,32,24"), 2, "--intrinsics requires --cloud")
        self.expect_failure(self.refine("--cloud", "c.ply", "--intrinsics", "1,1,0,0", "--json", "c.ply"), 2,
                            "c.ply is named twice")
        self.expect_failure(self.refine("--json", "no/s.json"), 2, "the folder no does not exist")
        for arguments, sentence in ((["refine"], "required"), ([], "A subcommand is required"),
                                    (["sequence", "c", "a", "b", "--bogus"], "not expected: a b --bogus. Run with --help"),
                                    *((["refine", option, "color.png", "depth.png"], f"{option} is followed by several "
                                       "files, such as depth.png: the shell replaced a pattern")
                                      for option in ("--color", "-c", "--depth", "-d"))):
            result = self.run_tool(*arguments)
            self.expect_failure(result, 2, sentence)
            self.assertTrue(result.stderr.startswith("enhance-depth: "), result.stderr)
        self.assertFalse((self.folder / "out.png").exists())

    def test_asks_the_engine_for_its_colour_layout(self):
        self.assertEqual(self.refine().returncode, 0)
        planar = (self.folder / "out.png").read_bytes()
        engine = self.interleaved_engine()
        self.assertEqual(self.refine(engine=engine).returncode, 0)
        self.assertEqual((self.folder / "out.png").read_bytes(), planar)
        self.assertEqual(self.refine("--rgb-layout", "interleaved", engine=engine).returncode, 0)
        for options, colour in (((engine, "planar"), "interleaved, (H, W, 3)"), ((ENGINE, "interleaved"), "planar, (1, 3, H, W)")):
            self.expect_failure(self.refine("--rgb-layout", options[1], engine=options[0], output="no.png"), 2,
                                f"--rgb-layout contradicts the engine {options[0]}, whose colour is {colour}. Leave")

    def test_leaves_what_lies_beside_its_output(self):
        shutil.copy(self.folder / "color.png", self.folder / "out.png.part")
        os.mkfifo(self.folder / "x.png.part")
        before = (self.folder / "out.png.part").read_bytes()
        self.assertEqual(self.refine(color="out.png.part", timeout=60).returncode, 0)
        self.assertEqual(self.refine(output="x.png", timeout=60).returncode, 0)
        self.assertEqual((self.folder / "out.png.part").read_bytes(), before)

    def test_shows_no_control_characters_of_names(self):
        name = "a\x1b[2J\x1b]0;owned\x07\nb\udcff"
        os.symlink("missing", self.folder / name)
        for result in (self.refine(color=name, errors="surrogateescape"), self.refine(output=name + ".png"),
                       self.run_tool("inspect", ENGINE, name), self.run_tool("bench", "--size", name)):
            text = (result.stdout + result.stderr).replace("\n", "")
            self.assertIn("a\\x1b[2J\\x1b]0;owned\\x07", text)
            self.assertTrue(text.isprintable(), text)
        shutil.copy(ENGINE, self.folder / "\udcff")
        self.assertEqual(json.loads(self.run_tool("inspect", "\udcff", "--json", "-").stdout)["model"], "\ufffd")

    def test_ends_under_a_limit_of_its_memory(self):
        limited = subprocess.run(["sh", "-c", 'ulimit -v 400000; exec "$@"', "sh", TOOL, "--version"], check=False,
                                 capture_output=True, text=True, timeout=60)
        if "AddressSanitizer" not in limited.stderr and "error while loading" not in limited.stderr:
            self.assertEqual((limited.returncode, limited.stdout[:14]), (0, "enhance-depth "), limited.stderr)

    def test_reports_an_engine_that_cannot_be_loaded(self):
        self.write("bad.engine", b"not an engine")
        self.expect_failure(self.refine(engine="bad.engine"), 3, "The engine bad.engine cannot be loaded", "(code 13)",
                            "Build the engine on this machine")
        self.expect_failure(self.refine(engine="missing.engine"), 3, "missing.engine", "(code 1)")

    def test_names_trtexec_for_a_model_and_every_reason_for_a_refused_size(self):
        self.write("m.onnx", b"\x08\x08\0")
        self.expect_failure(self.refine(engine="m.onnx"), 3, "A board runs no ONNX models: trtexec --onnx=m.onnx "
                            "--saveEngine=model.engine makes an engine of it there.")
        text = ENGINE.read_text()
        profile = text[text.index("[[profile]]"):]
        self.write("many.toml", (text + "\n" + profile * 10).encode())
        self.write("color.png", color_png(2000, 8))
        self.write("depth.png", depth_png(2000, 8))
        self.expect_failure(self.refine(engine="many.toml"), 1, "(code 26)", "profile 21: rgb outside range.")

    def test_keeps_what_libraries_print_out_of_its_own(self):
        chatty = self.refine()
        self.assertRegex(chatty.stderr, r"(?m)^\[.*\]\[INFO\]\[EnhanceDepth\]")
        self.assertEqual(self.refine("--quiet").stderr, "")
        self.assertEqual(json.loads(self.refine("--json", "-").stdout)["width"], 64)
        self.write("bad.engine", b'"\\u001b[2J" = 1')
        failed = self.refine("--quiet", engine="bad.engine")
        self.assertEqual(failed.stdout, "")
        self.assertRegex(failed.stderr, r"^TRT: [^\n]*\nenhance-depth: [^\n]*\(code 13\)[^\n]*\n$", "each failure once")
        self.assertEqual(json.loads(self.run_tool("inspect", ENGINE, "--json", "-").stdout)["fits"], True)

    def test_takes_out_what_a_consumer_should_not_see(self):
        sure = self.refine("--json", "all.json", "--min-confidence", 0)
        self.assertIn("unsure          0 pixels below confidence 0 set to 0", sure.stdout)
        result = self.refine("--min-confidence", 0.5, "--clip", "1.05..1.2", "--json", "s.json", "--cloud", "c.ply",
                             "--intrinsics", "50,50,-1000,24")
        self.assertEqual(result.returncode, 0, result.stderr)
        whole, rest = (json.loads((self.folder / name).read_text()) for name in ("all.json", "s.json"))
        self.assertGreater(rest["unsure_pixels"], 0)
        self.assertGreater(rest["clipped_pixels"], 0)
        self.assertIn(f"unsure          {rest['unsure_pixels']} pixels below confidence 0.5 set to 0", result.stdout)
        self.assertIn(f"clipped         {rest['clipped_pixels']} pixels outside of 1.05 to 1.2 m set to 0", result.stdout)
        left = round(rest["depth_after"]["valid_fraction"] * 64 * 48)
        self.assertEqual(round(whole["depth_after"]["valid_fraction"] * 64 * 48) - left,
                         rest["unsure_pixels"] + rest["clipped_pixels"])
        self.assertGreaterEqual(rest["depth_after"]["nearest_m"], 1.05)
        self.assertLessEqual(rest["depth_after"]["farthest_m"], 1.2)
        head, points = (self.folder / "c.ply").read_bytes().split(b"end_header\n", 1)
        self.assertIn(f"element vertex {left}\n".encode(), head)
        x, y, z = struct.unpack("<3f", points[:12])
        self.assertGreater(x, 20 * z, "the camera looks past the scene")
        self.assertLess(abs(y), z)

    def test_warns_of_an_unlikely_unit(self):
        def expect_warning(depth, sentence, *options):
            result = self.refine("--quiet", *options, depth=depth)
            self.assertEqual(result.returncode, 0)
            self.assertEqual(result.stderr, f"enhance-depth: warning: {sentence}\n" if sentence else "")
            return result.stdout
        self.assertIn("depth scale     1000 units per metre  (assumed; --depth-scale sets another)", expect_warning("depth.png", ""))
        self.write("far.png", depth_png(offset=29_000))
        expect_warning("far.png", "The median depth of far.png is 30.182 m at 1000 units per metre, which no RGB-D camera "
                       "delivers. It would be 6.04 m with --depth-scale 5000 (the TUM benchmark).")
        self.assertIn("depth scale     5000 units per metre\n", expect_warning("far.png", "", "--depth-scale", 5000))
        self.write("none.png", png(64, 48, 16, 1, lambda y: bytes(128)))
        expect_warning("none.png", "none.png has no depth: every pixel is 0. Check that it is the right file.")
        grey = self.write("grey.png", png(64, 48, 8, 1, lambda y: bytes(range(64))))
        self.assertIn("colour          grey, given to the engine as three equal channels", self.refine(color=grey).stdout)

    def test_says_when_the_engine_has_no_confidence(self):
        text = ENGINE.read_text()
        start = text.index('[[tensor]]\nname = "confidence_output"')
        end = text.index("\n\n", start)
        self.write("plain.engine.toml", (text[:start] + text[end:]).encode())
        self.expect_failure(self.refine("--confidence", "c.tiff", engine="plain.engine.toml"), 2,
                            "has no confidence output. Leave out --confidence")
        self.expect_failure(self.refine("--min-confidence", 1, engine="plain.engine.toml"), 2, "Leave out --min-confidence")
        self.assertFalse((self.folder / "out.png").exists())
        self.assertEqual(self.refine("--preview", "p.jpg", engine="plain.engine.toml").returncode, 0)
        for option in (("--confidence",), ("--min-confidence", 1)):
            self.expect_failure(self.run_tool("sequence", "--engine", "plain.engine.toml", "--color", "color.png", "--depth",
                                              "depth.png", "--output", "out", *option), 2,
                                f"The engine plain.engine.toml has no confidence output. Leave out {option[0]}, or use")
        self.assertFalse((self.folder / "out").exists())


class SequenceTest(Case):
    """Recordings of `count` frames; each depth has an offset of its own, so that mixed-up frames show."""

    def setUp(self):
        super().setUp()
        self.make_frames(6, 64, 48)

    def make_frames(self, count, width=320, height=240):
        self.count = count
        for i in range(count):
            self.write(f"rec/color/{i}.png", color_png(width, height))
            self.write(f"rec/depth/{i}.png", depth_png(width, height, offset=i))

    def start(self, *arguments, output="out", until=None, before=(), streams=subprocess.DEVNULL):
        """The tool at work, once it has written the depth `until`."""
        process = subprocess.Popen([*before, TOOL, "sequence", "--engine", ENGINE, "rec", "--output", output, *arguments],
                                   cwd=self.folder, stderr=streams, stdout=streams, text=True,
                                   # Freed memory that the address sanitizer keeps is no growth.
                                   env={**os.environ, "ASAN_OPTIONS": "quarantine_size_mb=1"})
        while until and not (self.folder / output / "depth" / until).exists() and process.poll() is None:
            time.sleep(0.001)
        return process

    def sequence(self, *arguments, **options):
        if not arguments or str(arguments[0]).startswith("--"):
            arguments = ("rec", *arguments)
        for option, value in (("--output", "out"), ("--engine", ENGINE)):
            if option not in arguments:
                arguments = (*arguments, option, value)
        return self.run_tool("sequence", *arguments, **options)

    def make_tum(self):
        """The same frames as a TUM-layout folder: colour 10 ms before depth, one colour image without a partner."""
        for name, kind, delay, extra in (("rgb", "color", 0.0, "2000.0 color/0.png\n"), ("depth", "depth", 0.01, "")):
            lines = [f"{1000 + i / 30 + delay:.6f} {kind}/{i}.png\n" for i in range(self.count)]
            self.write(f"rec/{name}.txt", "".join(["# comment\n", *lines, extra]).encode())

    def content(self, folder):
        """Every file below `folder` with its bytes."""
        root = self.folder / folder
        return {str(p.relative_to(root)): p.read_bytes() for p in root.rglob("*") if p.is_file()}

    def summary(self, name="s.json"):
        return json.loads((self.folder / name).read_text())

    def test_refines_folders_as_refine_does_frame_by_frame(self):
        result = self.sequence("--confidence", "--preview", "--json", "s.json")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("Refined 6 of 6 frames", result.stdout)
        for i in range(self.count):
            single = self.run_tool("refine", "--engine", ENGINE, "--color", f"rec/color/{i}.png", "--depth",
                                   f"rec/depth/{i}.png", "--output", "one.png", "--confidence", "one.tiff")
            self.assertEqual(single.returncode, 0, single.stderr)
            self.assertEqual((self.folder / f"out/depth/{i}.png").read_bytes(),
                             (self.folder / "one.png").read_bytes())
            self.assertEqual((self.folder / f"out/confidence/{i}.tiff").read_bytes(),
                             (self.folder / "one.tiff").read_bytes())
            self.assertTrue((self.folder / f"out/preview/{i}.jpg").exists())
        summary = self.summary()
        self.assertEqual((summary["frames"], summary["refined"], summary["failed"]), (6, 6, 0))
        self.assertGreaterEqual(summary["library_ms"]["maximum"], summary["library_ms"]["median"])
        self.assertAlmostEqual(summary["valid_fraction_before"], 1 - 16 / (64 * 48))

    def test_makes_a_tum_folder_of_a_tum_folder(self):
        self.make_tum()
        result = self.sequence()
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("1 colour image and 0 depth images without a partner", result.stdout)
        lines = (self.folder / "out/depth.txt").read_text().splitlines()
        self.assertEqual(lines[-1], "1000.176667 depth/5.png")
        self.assertRegex((self.folder / "out/rgb.txt").read_text(), r"\n1000\.166667 \S*color/5\.png\n$")
        for line in (self.folder / "out/rgb.txt").read_text().splitlines():
            if not line.startswith("#"):
                self.assertTrue((self.folder / "out" / line.split()[1]).exists(), line)
        again = self.sequence("out", "--output", "twice")
        self.assertEqual(again.returncode, 0, again.stderr)
        self.assertIn("Refined 6 of 6 frames", again.stdout)
        self.assertEqual(self.sequence("--max-difference", "0.005", "--output", "no").returncode, 2)
        self.expect_failure(self.sequence("--max-difference", "nan", "--output", "no"), 2, "nan is not a number from 0")

    def test_resumes_after_a_kill_with_the_same_bytes(self):
        self.make_frames(12)  # large ones, so that the kill comes in the middle
        self.make_tum()
        options = ["--confidence", "--preview"]
        self.assertEqual(self.sequence("--output", "whole", *options).returncode, 0)
        with self.start(*options, until="3.png") as process:
            process.send_signal(signal.SIGSTOP)
            second = self.sequence("--resume", *options)
            process.kill()
            self.assertEqual(process.wait(), -signal.SIGKILL)
        self.expect_failure(second, 2, "Another run writes to the output folder out.")
        self.assertFalse((self.folder / "out/depth/11.png").exists(), "the kill came too late to show anything")
        self.expect_failure(self.sequence("--output", "out", *options), 2, "already exists", "--resume")
        result = self.sequence("--output", "out", "--resume", *options)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertRegex(result.stdout, r"done earlier    [1-9]")
        self.assertEqual(self.content("out"), self.content("whole"))
        # As a full disk, a user and a power cut may leave them.
        os.truncate(self.folder / "out/depth/2.png", 100)
        (self.folder / "out/preview/3.jpg").unlink()
        (self.folder / "out/confidence/4.tiff").write_bytes(b"")
        again = self.sequence("--output", "out", "--resume", *options)
        self.assertIn("Refined 3 of 3 frames ", again.stdout)
        self.assertEqual(self.content("out"), self.content("whole"))
        nothing_left = self.sequence("--output", "out", "--resume", *options)
        self.assertEqual(nothing_left.returncode, 0)
        self.assertIn("Nothing to do: 12 frames refined by an earlier run\n", nothing_left.stdout)

    def test_refines_several_frames_at_a_time_with_the_same_bytes(self):
        self.make_frames(12)
        self.write("rec/depth/7.png", depth_png(32, 24))
        one = self.sequence("--preview", "--output", "one", "--video", "one.avi")
        for jobs in (3, 0):
            several = self.sequence("--preview", "--output", f"out{jobs}", "--video", f"{jobs}.avi", "--jobs", jobs)
            self.assertEqual(several.returncode, 1)
            self.assertEqual(several.stderr.count("Tensor rgb:"), jobs or len(os.sched_getaffinity(0)), "engines")
            self.assertEqual([line for line in several.stderr.splitlines() if "INFO" not in line],
                             [line for line in one.stderr.splitlines() if "INFO" not in line])
            self.assertEqual(self.content(f"out{jobs}"), self.content("one"))
            self.assertEqual((self.folder / f"{jobs}.avi").read_bytes(), (self.folder / "one.avi").read_bytes())

    def test_makes_results_again_that_are_not_of_the_images_that_belong_together(self):
        self.make_tum()
        self.write("rec/color/5.png", color_png(64, 48) + b"a")
        self.assertEqual(self.sequence("--output", "out").returncode, 0)
        # A recording that moved is the same one, also when its files look new.
        shutil.copytree(self.folder / "rec", self.folder / "moved")
        shutil.rmtree(self.folder / "rec")
        moved = self.sequence("moved", "--resume")
        self.assertIn("Nothing to do", moved.stdout, moved.stderr)
        # A closer colour image as old and as large as the other, a depth image of the same size, one that changed at
        # the same time, a damaged one, a colour image that changed right afterwards, a result that cannot be written.
        with open(self.folder / "moved/rgb.txt", "a", encoding="ascii") as stream:
            stream.write("1000.043333 color/other.png\n")
        other = png(64, 48, 8, 3, lambda y: bytes(64 * 3))
        old = self.folder / "moved/color/1.png"
        shutil.copystat(old, self.write("moved/color/other.png", other.ljust(old.stat().st_size, b"\0")))
        self.write("moved/depth/2.png", depth_png(64, 48, offset=7))
        self.write("moved/depth/3.png", b"damaged")
        changed = (self.folder / "moved/color/5.png").stat().st_mtime_ns
        os.utime(self.write("moved/color/5.png", color_png(64, 48) + b"b"), ns=(changed + 1, changed + 1))
        (self.folder / "out/depth/4.png").unlink()
        (self.folder / "out/depth/4.png").mkdir()
        before = self.content("out/depth")
        again = self.sequence("moved", "--resume", "--json", "s.json")
        self.expect_failure(again, 1, "3.png", "out/depth/4.png cannot be written: Is a directory")
        self.assertIn("refined again   4 frames whose images changed", again.stdout)
        self.assertEqual(self.summary()["changed"], 4)
        after = self.content("out/depth")
        self.assertEqual({name for name in before if before[name] != after.get(name)}, {"1.png", "2.png", "3.png"})
        self.assertNotIn("3.png", after, "the result of another image would pass for that of this one")
        self.assertEqual(len((self.folder / "out/depth.txt").read_text().splitlines()), 2 + 4)

    def test_keeps_results_of_another_recording_with_a_frame_in_common(self):
        self.assertEqual(self.sequence().returncode, 0)
        before = self.content("out")
        shutil.copytree(self.folder / "rec", self.folder / "other")
        for i in range(1, self.count):
            self.write(f"other/depth/{i}.png", depth_png(64, 48, offset=100 + i))
        self.expect_failure(self.sequence("other", "--resume"), 2, "were made with another recording")
        self.assertEqual(self.content("out"), before)

    def test_refuses_what_is_no_description_of_earlier_results(self):
        self.assertEqual(self.sequence().returncode, 0)
        manifest = self.folder / "out/run.json"
        damaged = "out/run.json is missing or damaged"
        manifest.write_text('{"engine":' + "[" * 200000 + "]" * 200000 + "}")
        self.expect_failure(self.sequence("--resume"), 2, "with another ")
        manifest.write_text("[1")
        self.expect_failure(self.sequence("--resume"), 2, damaged)
        manifest.unlink()
        os.mkfifo(manifest)
        self.expect_failure(self.sequence("--resume", timeout=60), 2, damaged)

    def test_needs_no_more_memory_for_a_longer_recording(self):
        self.make_frames(6, 160, 120)
        peaks = []
        for count in (50, 800):
            for i in range(self.count, count):
                for kind in ("color", "depth"):
                    (self.folder / f"rec/{kind}/{i}.png").symlink_to(f"{i % 6}.png")
            self.count = count
            self.make_tum()
            with self.start(output=f"out{count}") as process:
                _, status, usage = os.wait4(process.pid, 0)
                process.returncode = os.waitstatus_to_exitcode(status)
            self.assertEqual(process.returncode, 0)
            peaks.append(usage.ru_maxrss)  # kilobytes
        self.assertLess(peaks[1] - peaks[0], 16 * 1024, peaks)

    def test_stops_cleanly_on_ctrl_c(self):
        self.make_frames(40)
        self.make_tum()
        with self.start("--json", "s.json", "--strict", until="5.png", streams=subprocess.PIPE) as process:
            process.send_signal(signal.SIGINT)
            output, errors = process.communicate(timeout=60)
            self.assertEqual(process.returncode, 1, errors)
        self.assertIn("stopped before the end: interrupted. Continue with --resume.\n", errors)
        refined = self.summary()["refined"]
        self.assertIn(f"Refined {refined} of 40 frames", output)
        self.assertLess(refined, 40)
        self.assertEqual(self.summary()["stopped_by"], "interrupted")
        files = sorted(os.listdir(self.folder / "out/depth"))
        self.assertEqual(len(files), refined, files)
        self.assertEqual(len((self.folder / "out/depth.txt").read_text().splitlines()) - 2, refined)

    def test_ends_cleanly_when_its_terminal_closes(self):
        self.make_frames(40)
        self.make_tum()
        with self.start("--video", "v.avi", until="2.png") as process:
            process.send_signal(signal.SIGHUP)
            self.assertEqual(process.wait(60), 1)
        self.assertTrue((self.folder / "out/depth.txt").exists())
        self.assertEqual([p for p in self.folder.rglob("*") if p.is_file() and (p.name[0] == "." or p.suffix == ".avi")], [])

    def test_fails_one_frame_whose_name_is_too_long_for_a_result(self):
        name = "0" * 251
        for kind in ("color", "depth"):
            (self.folder / f"rec/{kind}/3.png").rename(self.folder / f"rec/{kind}/{name}.png")
        result = self.sequence("--confidence")
        self.expect_failure(result, 1, f"{name}.tiff cannot be written: File name too long")
        self.assertIn("Refined 5 of 6 frames", result.stdout)

    def test_takes_any_finite_time_stamp(self):
        # Pairs of stamps, and the microseconds per frame of the video: its header has them.
        for stamps, interval in ((("1e-310", "20"), 1000000), (("5", "5"), 33333), (("5", "5.1", "5.2"), 100000)):
            for name, kind in (("rgb", "color"), ("depth", "depth")):
                lines = (f"{stamp} {kind}/{i}.png\n" for i, stamp in enumerate(stamps))
                self.write(f"rec/{name}.txt", "".join(lines).encode())
            result = self.sequence("--video", f"{interval}.avi", "--output", f"out{interval}")
            self.assertEqual(result.returncode, 0, result.stderr)
            self.assertEqual(struct.unpack("<I", (self.folder / f"{interval}.avi").read_bytes()[32:36])[0], interval)

    def test_names_unreadable_frames_and_goes_on(self):
        damaged = bytearray(depth_png())
        damaged[len(damaged) // 2] ^= 0xff
        self.write("rec/depth/1.png", bytes(damaged))
        self.write("rec/color/2.png", color_png()[:500])
        self.write("rec/depth/4.png", depth_png(32, 24))
        result = self.sequence("--json", "s.json")
        self.expect_failure(result, 1, "rec/depth/1.png is cut short or damaged. Copy or record it again.",
                            "rec/color/2.png is cut short or damaged", "rec/depth/4.png has 32 x 24. Register the depth")
        self.assertNotIn("libpng", result.stderr)
        self.assertIn("Refined 3 of 6 frames", result.stdout)
        self.assertIn("3 failed", result.stdout)
        self.assertEqual([f["frame"] for f in self.summary()["failures"]],
                         ["rec/depth/1.png", "rec/depth/2.png", "rec/depth/4.png"])
        self.assertEqual(sorted(os.listdir(self.folder / "out/depth")), ["0.png", "3.png", "5.png"])
        strict = self.sequence("--output", "strict", "--strict")
        self.expect_failure(strict, 1, "stopped before the end", "rec/depth/1.png is cut short or damaged",
                            "Continue with --resume, without --strict or with that frame mended")
        self.assertEqual(sorted(os.listdir(self.folder / "strict/depth")), ["0.png"])
        video = self.sequence("--output", "video", "--strict", "--video", "v.avi")
        self.expect_failure(video, 1, "The video is not written: it would pass for that of the whole recording. Leave out")
        self.assertFalse((self.folder / "v.avi").exists(), "a video of some frames would pass for the whole")

    def test_follows_a_change_of_size_and_reports_one_that_the_engine_refuses(self):
        self.write("rec/color/2.png", color_png(100, 60))
        self.write("rec/depth/2.png", depth_png(100, 60))
        self.write("rec/color/4.png", color_png(2000, 8))
        self.write("rec/depth/4.png", depth_png(2000, 8))
        result = self.sequence("--preview", "--video", "v.avi")
        self.expect_failure(result, 1, "rec/depth/4.png: The engine", "2000 x 8 pixels", "(code 26)")
        self.assertIn("Refined 5 of 6 frames", result.stdout)
        self.assertIn("video           v.avi\n", result.stdout)
        self.expect_failure(self.sequence("--output", "2", "--video", "v.avi"), 2, "v.avi already exists. Choose another")
        (self.folder / "v.avi").unlink()
        for i in range(self.count):
            self.write(f"rec/depth/{i}.png", b"")
        result = self.sequence("--output", "4", "--video", "v.avi")
        self.expect_failure(result, 1, "The video is not written: there was no frame to show.")
        self.assertIn("video           none\n", result.stdout)
        self.assertEqual(struct.unpack(">II", (self.folder / "out/depth/2.png").read_bytes()[16:24]), (100, 60))

    def test_takes_the_colours_of_the_previews_from_the_first_depth_that_has_any(self):
        places = ("--color", "rec/color/[1-5].png", "--depth", "rec/depth/[1-5].png")
        self.assertEqual(self.run_tool("sequence", "--engine", ENGINE, *places, "--output", "late", "--preview").returncode,
                         0)
        for output, depth in (("out", png(64, 48, 16, 1, lambda y: bytes(128))), ("far", depth_png(offset=500))):
            self.write("rec/depth/0.png", depth)
            self.assertEqual(self.sequence("--preview", "--output", output).returncode, 0)
        late, out, far = (self.content(f"{output}/preview")["3.jpg"] for output in ("late", "out", "far"))
        self.assertTrue(late == out)
        self.assertFalse(late == far)

    def require_namespaces(self):
        if subprocess.run(["unshare", "-rm", "true"], capture_output=True, check=False).returncode != 0:
            self.skipTest("this system lets no one make a mount namespace")

    def run_on_tmpfs(self, mount_options, *arguments, disk="out"):
        """Runs the tool with a tmpfs on `disk`, in a namespace of its own, and lists what is on it afterwards."""
        (self.folder / disk).mkdir(exist_ok=True)
        script = f'mount -t tmpfs -o {mount_options} none {disk} && "$@"; status=$?; find {disk} -type f; exit $status'
        self.require_namespaces()
        with self.start(*arguments, before=("unshare", "-rm", "sh", "-c", script, "sh"),
                        streams=subprocess.PIPE) as process:
            output, errors = process.communicate(timeout=120)
        return subprocess.CompletedProcess(process.args, process.returncode, output, errors)

    def test_stops_when_the_disk_is_full_and_leaves_only_whole_files(self):
        self.make_tum()
        result = self.run_on_tmpfs("size=64k", "--confidence", "--json", "s.json")
        self.expect_failure(result, 1, "stopped before the end: out/", "No space left on device",
                            "Make room on the disk", "Continue with --resume.")
        self.assertRegex(result.stdout, r"Refined [1-5] of 6 frames")
        self.assertIn("No space left", self.summary()["stopped_by"])
        self.assertNotIn("/.", result.stdout)

    def test_leaves_no_video_that_a_full_disk_cut_short(self):
        # The results go elsewhere; only the video meets the full disk.
        result = self.run_on_tmpfs("size=40k", "--video", "disk/v.avi", disk="disk")
        self.expect_failure(result, 1, "The video is not written: disk/v.avi cannot be written whole. Make room on the")
        self.assertNotIn("stopped", result.stderr)
        self.assertNotIn("disk/", result.stdout)
        self.assertEqual(len(os.listdir(self.folder / "out/depth")), 6)

    def test_leaves_nothing_of_files_beyond_the_limit_of_their_size(self):
        with self.start("--video", "v.avi", before=("sh", "-c", 'ulimit -f 1; exec "$@"', "sh"),
                        streams=subprocess.PIPE) as process:
            errors = process.communicate(timeout=120)[1]
        self.assertEqual(process.returncode, 1, errors)
        self.assertIn(".png cannot be written: File too large", errors)
        self.assertEqual([*self.folder.glob("**/.*"), *self.folder.glob("**/*.avi")], [])

    def test_refuses_an_output_folder_that_cannot_be_written_to(self):
        result = self.run_on_tmpfs("ro")
        self.expect_failure(result, 2, "The output folder out cannot be written to: Read-only file system",
                            "Choose another folder with --output")

    def test_never_overwrites_the_recording(self):
        self.make_tum()
        before = self.content("rec")
        for output in ("rec", "rec/../rec", "rec/depth/.."):
            self.expect_failure(self.sequence("--output", output), 2, "is that of the recording")
        # Patterns without a folder, and lists whose images lie elsewhere.
        result = self.run_tool("sequence", "--engine", ENGINE, "--color", "../color/*.png", "--depth", "*.png",
                               "--output", "..", "--confidence", cwd=self.folder / "rec/depth")
        self.expect_failure(result, 2, "is that of the recording")
        for kind in ("rgb", "depth"):
            text = self.write(f"rec/raw/{kind}.txt", before[f"{kind}.txt"]).read_text()
            (self.folder / f"rec/raw/{kind}.txt").write_text(re.sub(r"(color|depth)/", r"../\1/", text))
        lists = self.content("rec/raw")
        self.expect_failure(self.sequence("rec/raw", "--output", "rec/raw"), 2, "rec/raw/rgb.txt is read by this")
        self.assertEqual(self.content("rec/raw"), lists)
        shutil.rmtree(self.folder / "rec/raw")
        for file in ("rec/depth/1.png", "rec/rgb.txt", "out/depth/1.png"):
            for option in ("--json", "--video", "--csv"):
                self.expect_failure(self.sequence(option, file), 2, f"{file} is ")
        # An image that is a link to what would become a result of another.
        self.write("out/depth/3.png", before["depth/3.png"])
        (self.folder / "rec/depth/3.png").unlink()
        (self.folder / "rec/depth/3.png").symlink_to("../../out/depth/3.png")
        self.expect_failure(self.sequence("--resume", "--confidence"), 2, "out/depth/3.png is read by this command")
        self.assertEqual(self.content("rec"), before)

    def test_reports_lists_that_cannot_be_written(self):
        self.make_tum()
        self.assertEqual(self.sequence().returncode, 0)
        shutil.rmtree(self.folder / "rec/color")
        (self.folder / "rec/color").symlink_to("color")  # a link in a circle: there is no way to it
        result = self.sequence("--resume", "--json", "s.json")
        self.expect_failure(result, 1, "The lists are not written: ", "symbolic links")
        self.assertIn("Nothing to do: 6 frames", result.stdout)
        self.assertIsNone(self.summary()["stopped_by"])
        self.assertIn("symbolic links", self.summary()["not_written"][0])

    def test_refuses_a_video_that_the_system_cannot_encode(self):
        no_encoders = {f"OPENCV_VIDEOIO_PRIORITY_{name}": "0" for name in ("FFMPEG", "GSTREAMER", "CV_MJPEG", "CV_IMAGES")}
        result = self.sequence("--video", "v.avi", env={**os.environ, **no_encoders})
        self.expect_failure(result, 2, "OpenCV has no encoder for it on this system")
        self.assertEqual(os.listdir(self.folder / "out/depth"), [])
        self.assertEqual(list(self.folder.glob("v*")), [])
        self.assertEqual(self.sequence().returncode, 0)  # there is nothing yet that it could overwrite

    def test_lets_an_ignored_interrupt_be_ignored(self):
        self.make_frames(6)
        with self.start(until="0.png", before=("sh", "-c", 'trap "" INT; exec "$@"', "sh")) as process:
            process.send_signal(signal.SIGINT)
            self.assertEqual(process.wait(60), 0)

    def test_never_overwrites_results_without_being_told_to_resume(self):
        self.make_tum()
        self.assertEqual(self.sequence("--preview").returncode, 0)
        before = self.content("out")
        shutil.copytree(self.folder / "rec", self.folder / "other")
        for i in range(self.count):
            self.write(f"other/depth/{i}.png", depth_png(64, 48, offset=100 + i))
        engine = self.write("other.toml", ENGINE.read_bytes().replace(b"# The", b"# Not"))  # of the same size
        for arguments, differences in ((("other",), "recording"),
                                       (("--engine", engine, "--depth-scale", 2500), "depth scale, engine"),
                                       (("--max-difference", 0.01), "max difference")):
            self.expect_failure(self.sequence(*arguments), 2, "out/depth already exists", "--resume")
            self.expect_failure(self.sequence(*arguments, "--resume"), 2, f"with another {differences}. Choose another")
        self.assertEqual(self.content("out"), before)
        self.assertEqual(self.sequence("--resume").returncode, 0)
        for left in ("depth", "preview"):
            self.expect_failure(self.sequence(), 2, f"out/{left} already exists")
            shutil.rmtree(self.folder / "out" / left)
        self.expect_failure(self.sequence(), 2, "out/rgb.txt already exists")
        (self.folder / "out/run.json").unlink()
        self.expect_failure(self.sequence("--resume"), 2, "out/run.json is missing or damaged", "another folder")
        self.assertEqual(self.content("out"), {name: before[name] for name in ("rgb.txt", "depth.txt", "results.jsonl")})

    def test_takes_the_frames_that_are_wanted_and_tells_of_each(self):
        for i in range(self.count):
            (self.folder / f"rec/color/{i}.png").rename(self.folder / f"rec/color/c{i}.png")
        result = self.sequence("--from", 2, "--to", 5, "--every", 2, "--csv", "frames.csv", "--confidence")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("the 6 colour and 6 depth images are paired by their order", result.stderr)
        self.assertEqual(sorted(os.listdir(self.folder / "out/depth")), ["1.png", "3.png"])
        lines = (self.folder / "frames.csv").read_text().splitlines()
        self.assertEqual([line.split(",")[0] for line in lines], ["frame", '"1"', '"3"'])
        self.assertRegex(lines[1], r",0\.994792,1\.000000,0\.\d{6},0,0$")
        expanded = [f"rec/color/c{i}.png" for i in range(3)]
        result = self.run_tool("sequence", "--engine", ENGINE, "--color", *expanded, "--depth", "rec/depth", "--output", "o")
        self.expect_failure(result, 2, "--color is followed by several files, such as rec/color/c1.png", "in quotes")

    def test_takes_out_what_a_consumer_should_not_see(self):
        options = ("--min-confidence", 0.5, "--clip", "1.05..1.2")
        result = self.sequence(*options, "--preview", "--json", "s.json", "--csv", "s.csv")
        self.assertEqual(result.returncode, 0, result.stderr)
        lines = [line.split(",") for line in (self.folder / "s.csv").read_text().splitlines()]
        self.assertEqual(lines[0][-2:], ["unsure_pixels", "clipped_pixels"])
        unsure = clipped = 0
        for i in range(self.count):
            one = self.run_tool("refine", "--engine", ENGINE, "--color", f"rec/color/{i}.png", "--depth",
                                f"rec/depth/{i}.png", "--output", "one.png", *options, "--json", "-")
            of_refine = json.loads(one.stdout)
            self.assertEqual((self.folder / f"out/depth/{i}.png").read_bytes(), (self.folder / "one.png").read_bytes())
            unsure += of_refine["unsure_pixels"]
            clipped += of_refine["clipped_pixels"]
            self.assertEqual(lines[1 + i][-2:], [str(of_refine["unsure_pixels"]), str(of_refine["clipped_pixels"])])
            self.assertAlmostEqual(float(lines[1 + i][6]), of_refine["depth_after"]["valid_fraction"], places=5)
        self.assertGreater(min(unsure, clipped), 0)
        self.assertIn(f"unsure          {unsure} pixels below confidence 0.5 set to 0\n"
                      f"  clipped         {clipped} pixels outside of 1.05 to 1.2 m set to 0\n", result.stdout)
        summary = self.summary()
        self.assertEqual((summary["unsure_pixels"], summary["clipped_pixels"]), (unsure, clipped))
        self.assertAlmostEqual(summary["valid_fraction_after"], sum(float(line[6]) for line in lines[1:]) / self.count,
                               places=5)
        # What is resumed has the same pixels taken out, and the pictures show it.
        self.sequence("--preview", "--output", "whole")
        same_picture = self.content("out/preview")["3.jpg"] == self.content("whole/preview")["3.jpg"]
        self.assertFalse(same_picture)
        before = self.content("out")
        for other, differences in (((), "clip, min confidence"), ((*options[:3], "1.05..1.3"), "clip"),
                                   (("--min-confidence", 0.4, *options[2:]), "min confidence")):
            self.expect_failure(self.sequence(*other, "--preview", "--resume"), 2, f"with another {differences}. Choose")
        self.assertEqual(self.content("out"), before)
        (self.folder / "out/depth/3.png").unlink()
        again = self.sequence(*options, "--preview", "--resume")
        self.assertIn("Refined 1 of 1 frame ", again.stdout)
        self.assertEqual(self.content("out"), before)
        done = self.sequence(*options, "--preview", "--resume").stdout
        self.assertIn("Nothing to do", done)
        self.assertNotIn("unsure", done)
        # A folder that a version without these options wrote.
        manifest = json.loads((self.folder / "whole/run.json").read_text())
        del manifest["clip"], manifest["min_confidence"]
        self.write("whole/run.json", json.dumps(manifest).encode())
        self.assertEqual(self.sequence("--output", "whole", "--resume").returncode, 0)
        for option, value in (("--clip", "5..1"), ("--min-confidence", "nan")):
            self.expect_failure(self.sequence(option, value, "--output", "no"), 2, f"{option}: {value} is not a ")

    def test_warns_of_an_unlikely_unit(self):
        self.write("rec/depth/0.png", png(64, 48, 16, 1, lambda y: bytes(128)))
        self.write("rec/depth/1.png", b"damaged")  # whatever is wrong with it comes later
        none = "rec/depth/0.png has no depth: every pixel is 0. Check that it is the right file."
        unlikely = ("The median depth of rec/depth/2.png is {} m at 1000 units per metre, which no RGB-D camera delivers. "
                    "It would be {} m with --depth-scale {}.")
        for depth, *warnings in ((1500,), (30_182, unlikely.format("30.182", "6.04", "5000 (the TUM benchmark)")),
                                 (82, unlikely.format("0.082", "0.32", "256 (KITTI)"))):
            row = struct.pack(">64H", *[depth] * 64)
            self.write("rec/depth/2.png", png(64, 48, 16, 1, lambda _, row=row: row))
            for command, status in ((("sequence", "--output", f"out{depth}"), 1), (("evaluate",), 2)):
                result = self.run_tool(*command, "--quiet", "--engine", ENGINE, "rec")
                self.assertEqual([line for line in result.stderr.splitlines() if "warning" in line],
                                 [f"enhance-depth: warning: {warning}" for warning in (none, *warnings)])
                self.assertEqual(result.returncode, status, result.stderr)

    def test_prints_one_result_for_programs_in_place_of_the_text(self):
        table = self.sequence("--csv", "-", "--json", "s.json")
        self.assertEqual(table.returncode, 0, table.stderr)
        lines = table.stdout.splitlines()
        self.assertEqual([line.split(",")[0] for line in lines], ["frame", *(f'"{i}"' for i in range(6))])
        self.assertEqual(self.summary()["refined"], 6)
        self.assertEqual(json.loads(self.sequence("--json", "-", "--csv", "s.csv", "--output", "again").stdout)["refined"], 6)
        table = self.run_tool("evaluate", "--engine", ENGINE, "rec", "--csv", "-")
        self.assertEqual(table.stdout.splitlines()[0], f"kind,measure,{ENGINE.name}", table.stderr)
        self.assertNotIn("Evaluated", table.stdout)
        for command in (("sequence", "--output", "both"), ("evaluate",)):
            self.expect_failure(self.run_tool(*command, "--engine", ENGINE, "rec", "--csv", "-", "--json", "-"), 2,
                                "--json and --csv would both be printed to standard output. Name a file for one of them.")
        self.assertFalse((self.folder / "both").exists())
        self.assertFalse((self.folder / "-").exists())

    def test_does_not_suggest_a_scale_for_floats(self):
        header = b"{'descr': '<f4', 'fortran_order': False, 'shape': (48, 64), }"
        shutil.rmtree(self.folder / "rec/depth")
        self.write("rec/depth/0.npy", b"\x93NUMPY\1\0" + struct.pack("<H", len(header)) + header + struct.pack("<f", 30) * 3072)
        for command in (("sequence", "rec"), ("refine", "--color", "rec/color/0.png", "--depth", "rec/depth/0.npy")):
            result = self.run_tool(*command, "--engine", ENGINE, "--output", f"{command[0]}.png")
            self.assertIn("rec/depth/0.npy is 30.000 m, which no RGB-D camera delivers. Floats are taken", result.stderr)
            self.assertNotIn("with --depth-scale", result.stderr)

    def test_takes_images_of_all_formats_from_folders(self):
        shutil.rmtree(self.folder / "rec")
        for i in ("0", "\udcff"):  # the other name is no UTF-8
            values = b"".join(struct.pack(">64H", *range(29000 + y, 29320 + y, 5)) for y in range(48))
            self.write(f"rec/depth/{i}.pgm", b"P5 64 48 65535\n" + values)
            self.write(f"rec/color/{i}.ppm", b"P6 64 48 255\n" + bytes(64 * 48 * 3))
            alone = self.run_tool("refine", "--engine", ENGINE, "--color", f"rec/color/{i}.ppm", "--depth",
                                  f"rec/depth/{i}.pgm", "--output", f"{i}.png")
            self.assertEqual(alone.returncode, 0, alone.stderr)
        result = self.sequence()
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(result.stderr.count("warning"), 1, "of the unlikely unit, once")
        for i in ("0", "\udcff"):
            self.assertEqual((self.folder / f"out/depth/{i}.png").read_bytes(), (self.folder / f"{i}.png").read_bytes())
        self.assertIn("Nothing to do: 2 frames", self.sequence("--resume").stdout)

    def test_recognises_swapped_images(self):
        (self.folder / "rec").rename(self.folder / "right")
        swapped = {"rec/color": "right/depth", "rec/depth": "right/color"}
        for place, images in swapped.items():
            shutil.copytree(self.folder / images, self.folder / place)
        self.make_tum()
        hint = ("{}/0.png is given as colour but is a depth image, and {}/0.png is given as depth but is a colour image. "
                "Swap them.")
        places = ("--color", "right/depth", "--depth", "right/color")
        for command in (("sequence", "--output", "out"), ("bench",), ("evaluate",)):
            for recording, color, depth in ((("rec",), "rec/color", "rec/depth"), (places, "right/depth", "right/color")):
                result = self.run_tool(*command, "--engine", ENGINE, *recording)
                self.expect_failure(result, 2, hint.format(color, depth))
        self.assertFalse((self.folder / "out").exists())
        for place, images in swapped.items():  # one frame among others that are right
            (self.folder / f"right/{Path(place).name}/5.png").write_bytes((self.folder / f"{place}/5.png").read_bytes())
        result = self.sequence("right")
        self.expect_failure(result, 1, hint.format("right/color", "right/depth").replace("0.png", "5.png"))
        self.assertIn("Refined 5 of 6 frames", result.stdout)

    def test_refuses_contradictions(self):
        self.expect_failure(self.sequence("--color", "rec/color", "--depth", "rec/depth"), 2, "excludes")
        self.expect_failure(self.run_tool("sequence", "--engine", ENGINE, "--output", "out"), 2, "No recording is named")
        self.expect_failure(self.sequence("--video", "v.avi", "--resume"), 2, "excludes")
        self.expect_failure(self.sequence("--video", "v.gif"), 2, "must end in .mp4 or .avi")
        self.expect_failure(self.sequence("--csv", "no/f.csv"), 2, "the folder no does not exist")
        self.write("bad.engine", b"not an engine")
        self.expect_failure(self.run_tool("sequence", "--engine", "bad.engine", "rec", "--output", "none"), 3,
                            "cannot be loaded")
        self.assertFalse((self.folder / "none").exists())


class DecoderLimitTest(Case):
    def test_gives_the_decoders_the_limit_of_the_tool(self):
        with subprocess.Popen([TOOL, "bench", "--engine", ENGINE, "--duration", "600", "--size", "64x48"],
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as process:
            try:
                deadline = time.monotonic() + 30
                expected = b"OPENCV_IO_MAX_IMAGE_PIXELS=67108864"
                while expected not in Path(f"/proc/{process.pid}/environ").read_bytes().split(b"\0"):
                    self.assertLess(time.monotonic(), deadline)
                    time.sleep(0.05)
            finally:
                process.kill()

    def test_takes_a_smaller_limit_from_the_environment(self):
        self.write("color.png", color_png())
        self.write("depth.png", depth_png())
        result = self.run_tool("refine", "--engine", ENGINE, "--color", "color.png", "--depth", "depth.png", "--output",
                               "out.png", env={**os.environ, "OPENCV_IO_MAX_IMAGE_PIXELS": "100"})
        self.expect_failure(result, 2, "color.png")


class BenchTest(Case):
    def test_measures_the_frames_that_were_asked_for(self):
        result = self.run_tool("bench", "--engine", ENGINE, "--size", "160x120", "--frames", 7, "--warm-up", 2,
                               "--json", "b.json")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("Refined 7 frames of 160 x 120 pixels", result.stdout)
        summary = json.loads((self.folder / "b.json").read_text())
        self.assertEqual((summary["width"], summary["height"], summary["frames"]), (160, 120, 7))
        self.assertGreater(summary["library_ms"]["median"], summary["network_ms"]["median"])
        self.assertGreater(summary["network_ms"]["median"], 0)
        self.assertAlmostEqual(summary["frames_per_s"], 1000 / summary["library_ms"]["median"])

    def test_measures_own_frames_and_stops_when_it_is_told_to(self):
        self.write("rec/color/a.png", color_png(100, 60))
        self.write("rec/depth/a.png", depth_png(100, 60))
        self.write("rec/color/b.png", color_png())  # of another size, left out
        self.write("rec/depth/b.png", depth_png())
        result = self.run_tool("bench", "--engine", ENGINE, "rec", "--frames", 1, "--duration", 20)
        self.assertIn("Refined 1 frame of 100 x 60 pixels", result.stdout)
        self.expect_failure(self.run_tool("bench", "--engine", ENGINE, "rec", "--size", "64x48"), 2, "excludes")
        started = time.monotonic()
        result = self.run_tool("bench", "--engine", ENGINE, "rec", "--duration", 0.5, "--json", "-")
        self.assertLess(time.monotonic() - started, 60)
        self.assertGreaterEqual(json.loads(result.stdout)["frames"], 1)
        terminal, standard_error = os.openpty()
        with subprocess.Popen([TOOL, "bench", "--engine", ENGINE, "--duration", "600", "--json", "-", "--size", "64x48"], text=True,
                              stdout=subprocess.PIPE, stderr=standard_error) as process:
            os.close(standard_error)
            errors = b""
            while b" frames/s" not in errors:  # progress, from the first measured frame on
                errors += os.read(terminal, 4096)
            process.send_signal(signal.SIGINT)
            with contextlib.suppress(OSError):  # nobody writes there any more
                while part := os.read(terminal, 4096):
                    errors += part
            output = process.stdout.read()
        os.close(terminal)
        errors = errors.decode()
        self.assertEqual(process.returncode, 1, errors)
        summary = json.loads(output)
        self.assertTrue(summary["interrupted"])
        self.assertRegex(errors, f"warning:\\S* interrupted after {summary['frames']} frame")
        self.assertRegex(errors, r"\r1 frame, [0-9.]+ frames/s, (10 min 00|9 min \d\d) s left")

    def test_never_overwrites_the_engine(self):
        shutil.copy(ENGINE, self.folder / "e.toml")
        self.expect_failure(self.run_tool("bench", "--engine", "e.toml", "--json", "./e.toml", "--frames", 1), 2,
                            "./e.toml is read by this command and would be overwritten")
        self.assertEqual((self.folder / "e.toml").read_bytes(), ENGINE.read_bytes())

    def test_refuses_what_is_no_size(self):
        for size in ("640", "640x", "0x480", "640x480x3", "9000x9000", "axb"):
            self.expect_failure(self.run_tool("bench", "--engine", ENGINE, "--size", size), 2, f"{size} is not a size")
        large = self.run_tool("bench", "--engine", ENGINE, "--size", "8192x8192")
        self.expect_failure(large, 1, "(code 26)")


class EvaluateTest(Case):
    def setUp(self):
        super().setUp()
        for name in ("1", "2"):
            self.write(f"rec/color/{name}.png", color_png(256, 192))
            self.write(f"rec/depth/{name}.png", depth_png(256, 192))

    def evaluate(self, *arguments):
        return self.run_tool("evaluate", "--engine", ENGINE, "rec", *arguments)

    def test_hides_pixels_and_measures_what_the_engine_makes_of_them(self):
        result = self.evaluate("--engine", self.interleaved_engine(), "--seed", 3, "--json", "e.json", "--csv", "e.csv", "--plot", "p.png",
                               "--sheet", "s.png", "--sheet-rows", 1)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("Evaluated 2 frames, truth by hiding with seed 3", result.stdout)
        run = json.loads((self.folder / "e.json").read_text())
        first, second = (engine["figures"] for engine in run["engines"])
        self.assertEqual(first["hidden"], second["hidden"])
        self.assertLess(first["hidden"]["relative error [%]"], 3)  # the wall is smooth
        self.assertGreater(first["hidden"]["filled [%]"], 50)
        self.assertLess(first["hidden"]["filled [%]"], 100, "the engine saw what was hidden")
        self.assertIn("hidden,relative error [%],", (self.folder / "e.csv").read_text())
        for picture, height in (("p.png", 588), ("s.png", 292)):
            self.assertEqual((self.folder / picture).read_bytes()[:4], b"\x89PNG")
            self.assertEqual(struct.unpack(">I", (self.folder / picture).read_bytes()[20:24])[0], height)

    def test_compares_with_an_earlier_run(self):
        self.assertEqual(self.evaluate("--json", "e.json").returncode, 0)
        self.assertIn("All figures are within 1 %", self.evaluate("--compare", "e.json").stdout)
        run = json.loads((self.folder / "e.json").read_text())
        run["engines"][0]["figures"]["visible"]["change [mm]"] *= 1.5
        self.write("e.json", json.dumps(run).encode())
        differs = self.evaluate("--compare", "e.json")
        self.assertEqual(differs.returncode, 1)
        self.assertIn("visible, change [mm]", differs.stdout)
        for printed in ("--json", "--csv"):
            differs = self.evaluate("--compare", "e.json", printed, "-")
            self.assertEqual((differs.returncode, "visible, change [mm]" in differs.stderr), (1, True))
            self.assertNotIn("differs", differs.stdout)
        wrong = self.evaluate("--compare", "rec/color/1.png")
        self.expect_failure(wrong, 2, "rec/color/1.png was not written by evaluate --json")
        self.assertEqual(wrong.stdout, "", "before the work, not after it")
        self.expect_failure(self.evaluate("--compare", "e.json", "--csv", "e.json"), 2, "e.json is read by this command")

    def test_takes_a_given_truth(self):
        self.write("truth/2.png", depth_png(256, 192, offset=10))
        result = self.evaluate("--truth", "truth", "--json", "e.json")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("Evaluated 1 frame, truth from truth", result.stdout)
        figures = json.loads((self.folder / "e.json").read_text())["engines"][0]["figures"]["visible"]
        self.assertAlmostEqual(figures["mean absolute error [mm]"], 10, delta=1)
        (self.folder / "truth/2.png").rename(self.folder / "truth/x.png")
        self.expect_failure(self.evaluate("--truth", "truth"), 2, "1 and 2 images cannot be paired by their order")
        shutil.copy(self.folder / "truth/x.png", self.folder / "truth/y.png")
        self.assertIn("enhance-depth: No name is in both places: the 2 true and 2 depth images are paired by their order.\n",
                      self.evaluate("--truth", "truth").stderr)
        self.write("truth/2.png", depth_png(64, 48))
        self.expect_failure(self.evaluate("--truth", "truth"), 2, "truth/2.png", "rec/depth/2.png")


class InspectTest(Case):
    def test_reads_no_more_of_a_large_file_than_it_needs(self):
        os.truncate(self.write("large.ONNX", b"ftrt\0"), 3 << 30)
        self.expect_failure(self.run_tool("inspect", "large.ONNX"), 2,
                            "large.ONNX is not an ONNX model: it does not begin like one.")

    def test_says_what_is_wrong_with_a_damaged_model(self):
        self.write("m.onnx", b"\x08\x08")
        self.expect_failure(self.run_tool("inspect", "m.onnx"), 2, "m.onnx is not an ONNX model: it has no graph.")

    def test_says_in_json_what_it_says_in_words(self):
        result = self.run_tool("inspect", ENGINE, "--json", "i.json")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("It meets the contract.\nThe library loads it", result.stdout)
        summary = json.loads((self.folder / "i.json").read_text())
        self.assertEqual((summary["fits"], summary["runs"]), (True, True))
        self.assertEqual(summary["tensors"][0],
                         {"name": "rgb", "direction": "input", "type": "UINT8", "shape": [1, 3, -1, -1]})
        self.assertEqual(summary["profiles"][1]["dep"], {"min": [1, 1, 1, 1], "max": [1, 1, 1080, 1920]})
        self.write("n.toml", ENGINE.read_bytes().replace(b'"dep"\n', b'"de\\u001b"\n').replace(b"\ndep =", b'\n"de\\u001b" ='))
        result = self.run_tool("inspect", "n.toml", "--json", "i.json")
        self.assertEqual(result.returncode, 1, result.stderr)
        self.assertIn('(is it "de\\x1b"?)', result.stdout)
        summary = json.loads((self.folder / "i.json").read_text())
        self.assertEqual((summary["fits"], summary["runs"]), (False, None))
        self.assertEqual(summary["violations"][0]["subject"], "dep")

    def test_says_whether_an_onnx_model_runs_here(self):
        whole = (SOURCES.parents[1] / "bench" / "u_net.onnx").read_bytes()
        self.write("whole.onnx", whole)
        self.write("strange.onnx", whole.replace(b"ConvTranspose", b"ConvFrobnicat"))
        # The file tells the layout of its colour: nothing has to compile it for that, and nothing could.
        result = self.run_tool("bench", "--engine", "strange.onnx", "--rgb-layout", "interleaved")
        self.expect_failure(result, 2, "--rgb-layout contradicts the engine strange.onnx, whose colour is planar")
        self.assertNotIn("TRT:", result.stderr)
        strange = self.run_tool("inspect", "strange.onnx", "--json", "strange.json")
        self.assertEqual(strange.returncode, 0, strange.stderr)
        self.assertIn("It meets the contract.\nIt does not run here. ", strange.stdout)
        summary = json.loads((self.folder / "strange.json").read_text())
        self.assertEqual((summary["fits"], summary["runs"], len(summary["messages"])), (True, False, 1))
        if "built without OpenVINO" in summary["messages"][0]:
            return
        self.assertIn("ConvFrobnicat", summary["messages"][0])
        result = self.run_tool("inspect", "whole.onnx", "--json", "whole.json")
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("runs it at 640 x 480 pixels here, by OpenVINO ", result.stdout)
        self.assertIs(json.loads((self.folder / "whole.json").read_text())["runs"], True)

    def test_believes_the_board_alone_about_engine_descriptions(self):
        start = b'format = "enhance-depth-emulated-engine"\nversion = 1\n'
        for name, content in {
                "nested": start + b".".join([b"a"] * 200_000) + b" = 1\n",
                "long": start + b'network = "nothing"\n"TEST Tensor ' + b"a" * 200_000 + b'" = 1\n',
                "forged": start + b'network = "nothing"\n"\\u001b[2JTEST Tensor rgb: mode=INPUT, shape=(9999999999'
                                  b'9999999999), dtype=UINT8" = 1\n',
                "without version": ENGINE.read_bytes().replace(b"version = 1\n", b""),
                "unknown network": ENGINE.read_bytes().replace(b'network = "', b'network = "no '),
                "without opt": re.sub(rb"opt = \[[0-9, ]*\], ", b"", ENGINE.read_bytes())}.items():
            with self.subTest(name):
                self.write("e.toml", content)
                result = self.run_tool("inspect", "e.toml", "--json", "i.json")
                self.expect_failure(result, 3, "The engine e.toml cannot be loaded", "(code 13)")
                summary = json.loads((self.folder / "i.json").read_text())
                self.assertEqual((summary["fits"], summary["tensors"], len(summary["messages"])), (False, [], 1))
                self.assertLess(len(summary["messages"][0]), 1000)

    def test_prints_little_of_a_hostile_model(self):
        def field(number, data):
            length = len(data)
            varint = b""
            while length > 127:
                varint += bytes([length & 127 | 128])
                length >>= 7
            return bytes([number << 3 | 2]) + varint + bytes([length]) + data
        tensors = field(12, field(1, b"n" * 1_000_000)) + field(12, field(1, b"\x1b[2J")) * 100_000
        self.write("m.onnx", b"\x08\x08" + field(7, tensors))
        result = self.run_tool("inspect", "m.onnx", "--json", "i.json")
        self.assertEqual(result.returncode, 1, result.stderr)
        self.assertIn("\\x1b[2J", result.stdout)
        self.assertNotIn("\x1b", result.stdout)
        self.assertLess(len(result.stdout), 30_000)
        self.assertIn("... and 99961 more\n", result.stdout)


class HelpTest(Case):
    def test_prints_the_version_of_the_library(self):
        result = self.run_tool("--version")
        self.assertRegex(result.stdout, r"^enhance-depth \d+\.\d+\.\d+ \(built on .*\)\n$")
        self.assertEqual(result.returncode, 0)

    def test_shows_an_example_of_every_subcommand_within_80_columns(self):
        overview = self.run_tool("--help").stdout
        listed = overview.split("Subcommands:\n")[1].split("\n\n")[0]
        names = [line.split()[0] for line in listed.splitlines() if line.startswith("  ") and line[2] != " "]
        self.assertEqual(names[:3], ["refine", "sequence", "bench"])
        self.assertLessEqual(max(map(len, overview.splitlines())), 80)
        for name in names:
            result = self.run_tool(name, "--help")
            self.assertEqual(result.returncode, 0)
            self.assertIn(f"Example:\n  enhance-depth {name} ", result.stdout)
            self.assertIn("(required)", result.stdout)
            self.assertLessEqual(max(map(len, result.stdout.splitlines())), 80)

    def options_of(self, subcommand):
        return set(re.findall(r"--[a-z-]+", self.run_tool(subcommand, "--help").stdout.split("Example:")[0]))

    def complete(self, *words):
        """What bash offers after `words`."""
        script = ('source "$1"; shift; COMP_WORDS=(enhance-depth "$@"); COMP_CWORD=$#; '
                  '_enhance_depth; printf "%s\\n" "${COMPREPLY[@]}"')
        result = subprocess.run(["bash", "-c", script, "bash", SOURCES / "enhance-depth.bash", *words],
                                cwd=self.folder, capture_output=True, text=True, timeout=120, check=True)
        return result.stdout.split()

    def test_completes_and_documents_every_option(self):
        manual = (SOURCES / "enhance-depth.1").read_text().replace("\\-", "-")
        names = [name for name in self.complete("") if not name.startswith("-")]
        listed = re.findall(r"^  ([a-z]+) +[A-Z]", self.run_tool("--help").stdout, re.MULTILINE)
        self.assertEqual(names, listed)
        for name in names:
            options = self.options_of(name)
            self.assertEqual(set(self.complete(name, "--")), options)
            for option in options:
                self.assertIn(f"Fl {option[1:]}", manual)

    def test_completes_values(self):
        self.write("a.engine", b"")
        (self.folder / "afolder").mkdir()
        self.assertCountEqual(self.complete("refine", "--engine", "a"), ["a.engine", "afolder"])
        self.assertCountEqual(self.complete("refine", "--engine", "=", "a"), ["a.engine", "afolder"])
        self.assertEqual(self.complete("sequence", "--strict", "a"), ["afolder"])
        self.assertEqual(self.complete("bench", "--rgb-layout", "p"), ["planar"])
        self.assertEqual(self.complete("bench", "--frames", ""), [])


def tests_of(suite):
    """The tests of a suite, one by one."""
    for test in suite:
        if isinstance(test, unittest.TestSuite):
            yield from tests_of(test)
        else:
            yield test


class ParallelSuite(unittest.TestSuite):
    """Runs its tests on all cores: each waits for processes of its own."""

    def run(self, result, debug=False):
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            list(pool.map(lambda test: test(result), tests_of(self)))
        return result


if __name__ == "__main__":
    loader = unittest.TestLoader()
    loader.suiteClass = ParallelSuite
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]], testLoader=loader)
